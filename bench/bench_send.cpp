// The whole send path, from the backend's sendOscChannel to the datagram on the wire with
// its "TX OSC" line in memory, on the debug output and flushed to the log file, beside a
// plain sendto() loop writing the same datagrams to the same port, and beside the bare
// system calls the path has to make: sendto() and the three writes of its lines.
#include "oscemulatorbackend.h"
#include "oscmessage.h"

#include <QCoreApplication>
#include <QTemporaryFile>
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

sockaddr_in sinkAddress()
{
    sockaddr_in to{};
    to.sin_family = AF_INET;
    to.sin_port = htons(sinkPort());
    to.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return to;
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
    const sockaddr_in to = sinkAddress();
    const QByteArray datagram = Osc::buildOscChannelMessage(0, 1, 127);
    for (auto _ : state) {
        benchmark::DoNotOptimize(::sendto(fd, datagram.constData(), size_t(datagram.size()), 0,
                                          reinterpret_cast<const sockaddr *>(&to), sizeof to));
    }
    ::close(fd);
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(SendPath_RawSendto)->MinTime(1.0);

// The floor of the path's input and output: the datagram, the port's diagnostic and the
// TX line on the debug output (standard error), and the TX line written to a file, each
// by one system call with lines of the real lengths and nothing formatted.
void SendPath_SystemCallFloor(benchmark::State &state)
{
    const int fd = ::socket(AF_INET, SOCK_DGRAM, 0);
    const sockaddr_in to = sinkAddress();
    const QByteArray datagram = Osc::buildOscChannelMessage(0, 1, 127);
    const QByteArray diagnostic = "Sent OSC datagram to \"127.0.0.1\" port 8000 - size: 36\n";
    const QByteArray line = "[12:00:00] [INFO] TX OSC /osc/channel ,iii 0 1 127, size=36 bytes, dst=127.0.0.1:8000, hex="
            + datagram.toHex() + '\n';
    const QByteArray fileLine = "[2026-01-01 12:00:00.000] " + line;
    QTemporaryFile file;
    file.open();
    const int logFd = int(file.handle());
    for (auto _ : state) {
        benchmark::DoNotOptimize(::sendto(fd, datagram.constData(), size_t(datagram.size()), 0,
                                          reinterpret_cast<const sockaddr *>(&to), sizeof to));
        benchmark::DoNotOptimize(::write(STDERR_FILENO, diagnostic.constData(), size_t(diagnostic.size())));
        benchmark::DoNotOptimize(::write(STDERR_FILENO, line.constData(), size_t(line.size())));
        benchmark::DoNotOptimize(::write(logFd, fileLine.constData(), size_t(fileLine.size())));
    }
    ::close(fd);
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(SendPath_SystemCallFloor)->MinTime(1.0);

} // namespace
