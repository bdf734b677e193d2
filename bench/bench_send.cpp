// The whole send path, from the backend's sendOscChannel to the datagram on the wire with
// its "TX OSC" line in memory, on the debug output and flushed to the log file, beside a
// plain sendto() loop writing the same datagrams to the same port.
#include "oscemulatorbackend.h"
#include "oscmessage.h"

#include <QCoreApplication>
#include <QUdpSocket>

#include <arpa/inet.h>
#include <benchmark/benchmark.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {

// A bound socket nobody reads: the kernel drops what overflows, the sender never waits.
quint16 sinkPort()
{
    static QUdpSocket sink;
    if (sink.state() != QAbstractSocket::BoundState)
        sink.bind(QHostAddress::LocalHost, 0);
    return sink.localPort();
}

void SendPath_Backend(benchmark::State &state)
{
    OscEmulatorBackend backend;
    backend.setOscTargetPort(sinkPort());
    int value = 0;
    for (auto _ : state) {
        backend.sendOscChannel(0, 1 + (value & 255), value & 255);
        ++value;
        if ((value & 1023) == 0)
            QCoreApplication::processEvents();
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(SendPath_Backend)->MinTime(1.0);

void SendPath_RawSendto(benchmark::State &state)
{
    const int fd = ::socket(AF_INET, SOCK_DGRAM, 0);
    sockaddr_in to{};
    to.sin_family = AF_INET;
    to.sin_port = htons(sinkPort());
    to.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    const QByteArray datagram = Osc::buildOscChannelMessage(0, 1, 127);
    for (auto _ : state) {
        benchmark::DoNotOptimize(::sendto(fd, datagram.constData(), size_t(datagram.size()), 0,
                                          reinterpret_cast<const sockaddr *>(&to), sizeof to));
    }
    ::close(fd);
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(SendPath_RawSendto)->MinTime(1.0);

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
