// The receive path: another process floods the listening port with /osc/channel datagrams;
// how many are processed (table updated, log-file line written) and how fast, beside a
// plain recvmmsg() drain of the same flood, and beside that drain making the two writes
// the desk makes for each datagram (its diagnostic and its log-file line). The same flood
// at the monitor: how many are decoded and counted, whether its list stays bounded, the
// longest gap between two of a 50 ms timer's ticks (the window's repaints wait as long),
// and the resident memory it took.
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

void report(benchmark::State &state, int processed, qint64 elapsedNs)
{
    state.SetIterationTime(double(elapsedNs) / 1e9);
    state.counters["processed_pct"] = 100.0 * processed / kFlood;
    state.counters["datagrams_per_s"] = processed / (double(elapsedNs) / 1e9);
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
        sender.start(senderPath(), {QStringLiteral("9000"), QString::number(kFlood)});
        loop.exec();
        sender.waitForFinished();
        if (elapsed == 0)
            elapsed = clock.nsecsElapsed();
        backend.stopEmulation();

        QFile log(backend.logFileName());
        log.open(QIODevice::ReadOnly);
        const int processed = int(log.readAll().count("] Raw OSC datagram received - Size: 36 bytes"));
        report(state, processed, elapsed);
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
        QTimer tick;
        tick.setInterval(50);
        QObject::connect(&tick, &QTimer::timeout, &loop, [&] {
            longestGapMs = qMax(longestGapMs, sinceTick.restart());
            // The flood ends with five "/end" messages.
            if (monitor.received() > kFlood)
                loop.quit();
        });
        QTimer::singleShot(30000, &loop, &QEventLoop::quit);
        QProcess sender;
        clock.start();
        sinceTick.start();
        tick.start();
        sender.start(senderPath(), {QString::number(Defaults::kMonitorPort), QString::number(kFlood)});
        loop.exec();
        const qint64 elapsed = clock.nsecsElapsed();
        sender.waitForFinished();
        const int rows = qobject_cast<QAbstractItemModel *>(monitor.rows())->rowCount();
        report(state, qMin(monitor.received(), kFlood), elapsed);
        state.counters["longest_tick_gap_ms"] = double(longestGapMs);
        state.counters["rows"] = rows;
        state.counters["memory_mb"] = double(residentKiB() - before) / 1024.0;
        monitor.stop();
    }
}
BENCHMARK(ReceivePath_Monitor)->UseManualTime()->Iterations(1)->Repetitions(3)->Unit(benchmark::kMillisecond);

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
        sender.waitForFinished();
        ::close(fd);
        report(state, processed, elapsed);
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
