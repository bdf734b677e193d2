// Floods a loopback UDP port with /osc/channel datagrams at full speed, then sends an
// end marker (an OSC message with another address) a few times.
//
// usage: flood_sender PORT COUNT
#include <arpa/inet.h>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {

void putInt32(unsigned char *at, int value)
{
    const unsigned v = unsigned(value);
    at[0] = (v >> 24) & 0xff;
    at[1] = (v >> 16) & 0xff;
    at[2] = (v >> 8) & 0xff;
    at[3] = v & 0xff;
}

} // namespace

int main(int argc, char **argv)
{
    if (argc != 3) {
        std::fprintf(stderr, "usage: %s PORT COUNT\n", argv[0]);
        return 2;
    }
    const int port = std::atoi(argv[1]);
    const long count = std::atol(argv[2]);
    const int fd = ::socket(AF_INET, SOCK_DGRAM, 0);
    sockaddr_in to{};
    to.sin_family = AF_INET;
    to.sin_port = htons(static_cast<unsigned short>(port));
    to.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    const auto *address = reinterpret_cast<const sockaddr *>(&to);

    unsigned char datagram[36];
    std::memcpy(datagram, "/osc/channel\0\0\0\0,iii\0\0\0\0", 24);
    for (long i = 0; i < count; ++i) {
        putInt32(datagram + 24, 0);
        putInt32(datagram + 28, int(i % 512) + 1);
        putInt32(datagram + 32, int(i % 256));
        ::sendto(fd, datagram, sizeof datagram, 0, address, sizeof to);
    }
    static const char end[] = "/end\0\0\0\0,\0\0\0";
    for (int i = 0; i < 5; ++i) {
        ::usleep(20000);
        ::sendto(fd, end, 12, 0, address, sizeof to);
    }
    ::close(fd);
    return 0;
}
