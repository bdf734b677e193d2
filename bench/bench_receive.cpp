// The receive path: another process floods the listening port with /osc/channel datagrams;
// how many are processed (table updated, log-file line written) and how fast, beside a
// plain recvmmsg() drain of the same flood, and beside that drain making the two writes
// the desk makes for each datagram (its diagnostic and its log-file line). The same flood
// at the monitor: how many are decoded and counted, whether its list stays bounded, the
// longest gap between two of a 50 ms timer's ticks (the window's repaints wait as long),
// and the resident memory it took. Every receiver also reports the kernel's count of
// datagrams its socket dropped (a full receive buffer) and its own CPU time a datagram,
// which, unlike the rate, does not depend on how fast the sender could go.
#include "oscemulatorbackend.h"
#include "defaults.h"
#include "oscmonitor.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QFile>
#include <QProcess>
#include <QTemporaryFile>
#include <QTimer>

#include <benchmark/benchmark.h>
#include <ctime>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {

constexpr int kFlood = 200000;

QString senderPath()
{
    return QCoreApplication::applicationDirPath() + QStringLiteral("/flood_sender");
}

// The CPU time of this thread, where every receiver here does all of its work.
qint64 threadCpuNs()
{
    timespec now;
    ::clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return qint64(now.tv_sec) * 1000000000 + now.tv_nsec;
}

// The datagrams the kernel dropped at the socket bound to `port` because its receive
// buffer was full: the last column of /proc/net/udp (-1 when no such socket).
long kernelDrops(quint16 port)
{
    const QByteArray local = ':' + QByteArray::number(port, 16).toUpper().rightJustified(4, '0');
    for (const char *table : {"/proc/net/udp", "/proc/net/udp6"}) {
        QFile file(QString::fromLatin1(table));
        if (!file.open(QIODevice::ReadOnly))
            continue;
        for (const QByteArray &line : file.readAll().split('\n')) {
            const QList<QByteArray> fields = line.simplified().split(' ');
            if (fields.size() >= 13 && fields.at(1).endsWith(local))
                return fields.last().toLong();
        }
    }
    return -1;
}

// Datagrams dropped before any socket saw them: the loopback device's input queue was full
// (net.core.netdev_max_backlog). The namespace's own loopback when run as tools/bench.sh does.
long loopbackDrops()
{
    QFile file(QStringLiteral("/sys/class/net/lo/statistics/rx_dropped"));
    return file.open(QIODevice::ReadOnly) ? file.readAll().trimmed().toLong() : -1;
}

// What each receiver counts: `drops` at its socket, `loopbackDropped` before it.
void report(benchmark::State &state, int processed, qint64 elapsedNs, qint64 cpuNs, long drops, long loopbackDropped)
{
    state.SetIterationTime(double(elapsedNs) / 1e9);
    state.counters["processed_pct"] = 100.0 * processed / kFlood;
    state.counters["datagrams_per_s"] = processed / (double(elapsedNs) / 1e9);
    state.counters["cpu_us_per_datagram"] = processed > 0 ? double(cpuNs) / 1e3 / processed : 0.0;
    state.counters["kernel_drops"] = double(drops);
    state.counters["loopback_drops"] = double(loopbackDropped);
}

void ReceivePath_Backend(benchmark::State &state)
{
    for (auto _ : state) {
        OscEmulatorBackend backend;
        backend.startEmulation();
        if (!backend.isRunning()) {
            state.SkipWithError("port 9000 is taken");
            return;
        }
        QEventLoop loop;
        QElapsedTimer clock;
        qint64 elapsed = 0;
        QObject::connect(&backend, &OscEmulatorBackend::errorOccurred, &loop, [&] {
            if (elapsed == 0)
                elapsed = clock.nsecsElapsed();
            loop.quit();
        });
        QTimer::singleShot(30000, &loop, &QEventLoop::quit);
        QProcess sender;
        clock.start();
        const qint64 cpuBefore = threadCpuNs();
        const long loopbackBefore = loopbackDrops();
        sender.start(senderPath(), {QStringLiteral("9000"), QString::number(kFlood)});
        loop.exec();
        const qint64 cpu = threadCpuNs() - cpuBefore;
        sender.waitForFinished();
        if (elapsed == 0)
            elapsed = clock.nsecsElapsed();
        const long drops = kernelDrops(9000);
        backend.stopEmulation();

        QFile log(backend.logFileName());
        log.open(QIODevice::ReadOnly);
        const int processed = int(log.readAll().count("] Raw OSC datagram received - Size: 36 bytes"));
        report(state, processed, elapsed, cpu, drops, loopbackDrops() - loopbackBefore);
    }
}
BENCHMARK(ReceivePath_Backend)->UseManualTime()->Iterations(1)->Repetitions(3)->Unit(benchmark::kMillisecond);

long residentKiB()
{
    QFile status(QStringLiteral("/proc/self/status"));
    status.open(QIODevice::ReadOnly);
    for (const QByteArray &line : status.readAll().split('\n')) {
        if (line.startsWith("VmRSS:"))
            return line.mid(6).trimmed().split(' ').first().toLong();
    }
    return 0;
}

void ReceivePath_Monitor(benchmark::State &state)
{
    for (auto _ : state) {
        OscEmulatorBackend backend;
        OscMonitor monitor(backend.eventLog(), backend.sender());
        monitor.start();
        if (!monitor.running()) {
            state.SkipWithError("port 9002 is taken");
            return;
        }
        const long before = residentKiB();
        QEventLoop loop;
        QElapsedTimer clock;
        QElapsedTimer sinceTick;
        qint64 longestGapMs = 0;
        qint64 elapsed = 0;
        int ends = 0;
        QTimer tick;
        tick.setInterval(50);
        QObject::connect(&tick, &QTimer::timeout, &loop,
                         [&] { longestGapMs = qMax(longestGapMs, sinceTick.restart()); });
        // The flood ends with five "/end" messages: the first one heard ends the run.
        QObject::connect(&monitor, &OscMonitor::messageHeard, &loop,
                         [&](const Osc::OscPacket &packet, const Osc::OscDecodedMessage &message) {
                             if (packet.addressBytes(message) != "/end")
                                 return;
                             if (ends++ == 0)
                                 elapsed = clock.nsecsElapsed();
                             loop.quit();
                         });
        QTimer::singleShot(30000, &loop, &QEventLoop::quit);
        QProcess sender;
        clock.start();
        sinceTick.start();
        tick.start();
        const qint64 cpuBefore = threadCpuNs();
        const long loopbackBefore = loopbackDrops();
        sender.start(senderPath(), {QString::number(Defaults::kMonitorPort), QString::number(kFlood)});
        loop.exec();
        const qint64 cpu = threadCpuNs() - cpuBefore;
        if (elapsed == 0)
            elapsed = clock.nsecsElapsed();
        sender.waitForFinished();
        const long drops = kernelDrops(quint16(Defaults::kMonitorPort));
        const int rows = qobject_cast<QAbstractItemModel *>(monitor.rows())->rowCount();
        report(state, qMin(monitor.received() - ends, kFlood), elapsed, cpu, drops, loopbackDrops() - loopbackBefore);
        state.counters["longest_tick_gap_ms"] = double(longestGapMs);
        state.counters["rows"] = rows;
        state.counters["memory_mb"] = double(residentKiB() - before) / 1024.0;
        monitor.stop();
    }
}
BENCHMARK(ReceivePath_Monitor)->UseManualTime()->Iterations(1)->Repetitions(5)->Unit(benchmark::kMillisecond);

// Drains the flood with recvmmsg; with writeLines, also writes a diagnostic to standard
// error and a line to a file for each datagram, as the desk does, unformatted.
void drainFlood(benchmark::State &state, bool writeLines)
{
    for (auto _ : state) {
        const int fd = ::socket(AF_INET, SOCK_DGRAM, 0);
        const int buffer = 64 << 20;
        ::setsockopt(fd, SOL_SOCKET, SO_RCVBUFFORCE, &buffer, sizeof buffer);
        sockaddr_in local{};
        local.sin_family = AF_INET;
        local.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        ::bind(fd, reinterpret_cast<sockaddr *>(&local), sizeof local);
        socklen_t length = sizeof local;
        ::getsockname(fd, reinterpret_cast<sockaddr *>(&local), &length);

        constexpr int kBatch = 32;
        static char data[kBatch][2048];
        iovec iov[kBatch];
        mmsghdr messages[kBatch];
        for (int i = 0; i < kBatch; ++i) {
            iov[i] = {data[i], sizeof data[i]};
            messages[i] = {};
            messages[i].msg_hdr.msg_iov = &iov[i];
            messages[i].msg_hdr.msg_iovlen = 1;
        }
        const QByteArray diagnostic = "Received OSC datagram from \"127.0.0.1\" port 40000 - size: 36\n";
        const QByteArray line = "[2026-01-01 12:00:00.000] Raw OSC datagram received - Size: 36 bytes, Hex: "
                + QByteArray(64, 'f') + '\n';
        QTemporaryFile file;
        file.open();
        const int logFd = int(file.handle());

        QProcess sender;
        QElapsedTimer clock;
        clock.start();
        const qint64 cpuBefore = threadCpuNs();
        const long loopbackBefore = loopbackDrops();
        sender.start(senderPath(), {QString::number(ntohs(local.sin_port)), QString::number(kFlood)});
        int processed = 0;
        bool ended = false;
        while (!ended && clock.elapsed() < 30000) {
            pollfd waitFor{fd, POLLIN, 0};
            if (::poll(&waitFor, 1, 100) <= 0)
                continue;
            const int got = ::recvmmsg(fd, messages, kBatch, MSG_DONTWAIT, nullptr);
            for (int i = 0; i < got; ++i) {
                if (messages[i].msg_len != 36) {
                    ended = true;
                    continue;
                }
                ++processed;
                if (writeLines) {
                    benchmark::DoNotOptimize(::write(STDERR_FILENO, diagnostic.constData(), size_t(diagnostic.size())));
                    benchmark::DoNotOptimize(::write(logFd, line.constData(), size_t(line.size())));
                }
            }
        }
        const qint64 elapsed = clock.nsecsElapsed();
        const qint64 cpu = threadCpuNs() - cpuBefore;
        sender.waitForFinished();
        const long drops = kernelDrops(ntohs(local.sin_port));
        ::close(fd);
        report(state, processed, elapsed, cpu, drops, loopbackDrops() - loopbackBefore);
    }
}

void ReceivePath_RawRecvmmsg(benchmark::State &state)
{
    drainFlood(state, false);
}
BENCHMARK(ReceivePath_RawRecvmmsg)->UseManualTime()->Iterations(1)->Repetitions(3)->Unit(benchmark::kMillisecond);

void ReceivePath_SystemCallFloor(benchmark::State &state)
{
    drainFlood(state, true);
}
BENCHMARK(ReceivePath_SystemCallFloor)->UseManualTime()->Iterations(1)->Repetitions(3)->Unit(benchmark::kMillisecond);

} // namespace
