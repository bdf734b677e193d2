// Replay keeps the recorded times: a 1,000-step scenario at 30 sends a second, a fader
// sweep, played through the desk's send path to a socket nobody reads; how late each
// datagram left against its scheduled time, as the median and the 99th percentile, beside
// the same schedule kept by a bare QTimer loop that only sends (the event loop's own
// precision on this machine).
#include "oscemulatorbackend.h"
#include "oscmessage.h"
#include "scenarioplayer.h"

#include <QElapsedTimer>
#include <QEventLoop>
#include <QTimer>
#include <QUdpSocket>

#include <algorithm>
#include <benchmark/benchmark.h>

namespace {

constexpr int kSteps = 1000;
constexpr double kStepMs = 1000.0 / 30;

quint16 sinkPort()
{
    static QUdpSocket sink;
    if (sink.state() != QAbstractSocket::BoundState)
        sink.bind(QHostAddress::LocalHost, 0);
    return sink.localPort();
}

qint64 scheduledMs(int step)
{
    return qint64(step * kStepMs + 0.5);
}

void report(benchmark::State &state, QList<qint64> latenessUs)
{
    std::sort(latenessUs.begin(), latenessUs.end());
    state.counters["median_late_ms"] = latenessUs.at(latenessUs.size() / 2) / 1000.0;
    state.counters["p99_late_ms"] = latenessUs.at(latenessUs.size() * 99 / 100) / 1000.0;
}

void Replay_Scenario(benchmark::State &state)
{
    for (auto _ : state) {
        OscEmulatorBackend backend;
        Scenario::File file;
        file.targetHost = QStringLiteral("127.0.0.1");
        file.targetPort = sinkPort();
        for (int i = 0; i < kSteps; ++i) {
            Scenario::Step step;
            step.kind = Scenario::Step::Kind::Send;
            step.at = scheduledMs(i);
            step.address = QStringLiteral("/deck1/volume");
            step.tags = QStringLiteral("f");
            step.values = {double(i % 256) / 255.0};
            file.steps.append(step);
        }
        Scenario::Player player(backend.sender(), backend.device(), nullptr);
        QEventLoop loop;
        QObject::connect(&player, &Scenario::Player::finished, &loop, &QEventLoop::quit);
        QElapsedTimer clock;
        clock.start();
        player.start(file);
        loop.exec();
        state.SetIterationTime(double(clock.nsecsElapsed()) / 1e9);
        report(state, player.sendLateness());
    }
}
BENCHMARK(Replay_Scenario)->UseManualTime()->Iterations(1)->Unit(benchmark::kMillisecond);

// The baseline: a precise single-shot timer to each scheduled time and one bare send.
void Replay_BareTimerLoop(benchmark::State &state)
{
    for (auto _ : state) {
        QUdpSocket socket;
        const QByteArray datagram = Osc::buildFloat32Message(QStringLiteral("/deck1/volume"), 0.5f);
        QList<qint64> lateness;
        QEventLoop loop;
        QTimer timer;
        timer.setSingleShot(true);
        timer.setTimerType(Qt::PreciseTimer);
        QElapsedTimer clock;
        int step = 0;
        QObject::connect(&timer, &QTimer::timeout, &loop, [&] {
            lateness.append(clock.nsecsElapsed() / 1000 - scheduledMs(step) * 1000);
            socket.writeDatagram(datagram, QHostAddress::LocalHost, sinkPort());
            if (++step == kSteps) {
                loop.quit();
                return;
            }
            timer.start(int(qMax<qint64>(0, scheduledMs(step) - clock.elapsed())));
        });
        clock.start();
        timer.start(0);
        loop.exec();
        state.SetIterationTime(double(clock.nsecsElapsed()) / 1e9);
        report(state, lateness);
    }
}
BENCHMARK(Replay_BareTimerLoop)->UseManualTime()->Iterations(1)->Unit(benchmark::kMillisecond);

} // namespace
