// The desk under load, in the real window (run under xvfb-run: a real X server and
// OpenGL, as tools/bench.sh does). Start-up to the first frame, and a 64 x 16 fixtures
// file loaded and drawn with the resident memory then. Desks of 1,024, 4,096 and 16,384
// controls: from the load to the first frame that shows the desk, and the resident memory
// the desk adds (each size alone in a process of its own: tools/bench.sh runs them so).
// The 16,384-control desk scrolled from top to bottom in 2 s: the time between frames.
// Feedback to that desk, 10,000 messages a second for 5 s to addresses over the whole
// desk: the longest gap between two of a 50 ms timer's ticks, and whether every control
// ends where the last message to its address put it. A learn flood: 5,000 distinct
// addresses announced within one second, each learned as a control: the longest gap
// between the ticks until the desk holds all 5,000. The send path with the window open,
// its log view showing every line as it comes, beside the same sends without a window.
#include "deskeditor.h"
#include "eventlog.h"
#include "loglines.h"
#include "oscdesk.h"
#include "oscemulatorbackend.h"
#include "oscmonitor.h"

#include <QElapsedTimer>
#include <QFile>
#include <QGuiApplication>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QMutex>
#include <QQmlApplicationEngine>
#include <QQmlContext>
#include <QQuickItem>
#include <QQuickStyle>
#include <QQuickWindow>
#include <QTemporaryDir>
#include <QThread>
#include <QTimer>
#include <QUdpSocket>

#include <benchmark/benchmark.h>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstring>
#include <memory>
#include <vector>

namespace {

QElapsedTimer g_sinceStart;

// `fixtures` fixtures of 16 channels: faders of every argument type, an XY pad, buttons
// of every kind, 32 fixtures to a universe.
QByteArray deskFile(int fixtures)
{
    static const char *const fader[] = {"f", "i", "h", "d", ""};
    static const char *const button[] = {"", "T", "none", "I", "s"};
    QJsonArray list;
    for (int f = 0; f < fixtures; ++f) {
        const int start = (f % 32) * 16 + 1;
        QJsonObject channels;
        for (int c = 0; c < 16; ++c) {
            const int channel = start + c;
            QJsonObject entry{{"label", QStringLiteral("Ch %1").arg(channel)}};
            if (c < 8) {
                entry["oscAddress"] = QStringLiteral("/fx%1/fader%2").arg(f).arg(c);
                entry["argType"] = fader[c % 5];
            } else if (c == 8) {
                entry["controlType"] = "xy";
                entry["oscAddress"] = QStringLiteral("/fx%1/xy").arg(f);
            } else {
                entry["controlType"] = "button";
                entry["mode"] = c % 2 ? "toggle" : "momentary";
                entry["argType"] = button[c % 5];
                entry["stringValue"] = "go";
                entry["oscAddress"] = QStringLiteral("/fx%1/button%2").arg(f).arg(c);
            }
            channels[QString::number(channel)] = entry;
        }
        list.append(QJsonObject{{"name", QStringLiteral("Fixture %1").arg(f + 1)},
                                {"universe", f / 32},
                                {"startChannel", start},
                                {"channelCount", 16},
                                {"capabilities", QJsonObject{{"channels", channels}}}});
    }
    return QJsonDocument(QJsonObject{{"fixtures", list}}).toJson();
}

double residentMegabytes()
{
    QFile status(QStringLiteral("/proc/self/status"));
    status.open(QIODevice::ReadOnly);
    for (const QByteArray &line : status.readAll().split('\n')) {
        if (line.startsWith("VmRSS:"))
            return line.mid(6).trimmed().split(' ').first().toDouble() / 1024.0;
    }
    return 0;
}

bool waitForFrame(QQuickWindow *window, int timeoutMs)
{
    QEventLoop loop;
    bool swapped = false;
    QObject::connect(window, &QQuickWindow::frameSwapped, &loop, [&] {
        swapped = true;
        loop.quit();
    });
    QTimer::singleShot(timeoutMs, &loop, &QEventLoop::quit);
    window->update();
    loop.exec();
    return swapped;
}

void idle(int ms)
{
    QEventLoop loop;
    QTimer::singleShot(ms, &loop, &QEventLoop::quit);
    loop.exec();
}

// The real window with the backend, the monitor and the desk, as the program publishes them.
struct Window
{
    QQmlApplicationEngine engine;
    OscEmulatorBackend *backend = new OscEmulatorBackend(&engine);
    OscMonitor *monitor = new OscMonitor(backend->eventLog(), backend->sender(), &engine);
    OscDesk *desk = new OscDesk(&engine);
    DeskEditor *editor = new DeskEditor(backend->fixtureStore(), desk, backend->eventLog(), &engine);
    QQuickWindow *window = nullptr;

    bool open()
    {
        desk->follow(backend, monitor);
        engine.rootContext()->setContextProperty(QStringLiteral("backend"), backend);
        engine.rootContext()->setContextProperty(QStringLiteral("monitor"), monitor);
        engine.rootContext()->setContextProperty(QStringLiteral("scenarios"), nullptr);
        engine.rootContext()->setContextProperty(QStringLiteral("desk"), desk);
        engine.rootContext()->setContextProperty(QStringLiteral("deskEditor"), editor);
        engine.rootContext()->setContextProperty(QStringLiteral("logLines"), backend->eventLog()->model());
        editor->follow(monitor);
        engine.load(QUrl(QStringLiteral("qrc:/main.qml")));
        window = qobject_cast<QQuickWindow *>(engine.rootObjects().value(0));
        return window && waitForFrame(window, 10000);
    }

    // The strips built now, in view or not.
    int stripsBuilt() const { return int(named(window->contentItem(), QStringLiteral("buttonGrid")).size()); }

    // The desk's scrolling view.
    QObject *deskView() const
    {
        const QList<QQuickItem *> scroll = named(window->contentItem(), QStringLiteral("fixturesScroll"));
        return scroll.isEmpty() ? nullptr : scroll.first()->property("contentItem").value<QObject *>();
    }

    static QList<QQuickItem *> named(QQuickItem *item, const QString &name)
    {
        QList<QQuickItem *> found;
        if (item->objectName() == name)
            found.append(item);
        for (QQuickItem *child : item->childItems())
            found += named(child, name);
        return found;
    }
};

QString writeDesk(const QTemporaryDir &dir, int fixtures)
{
    const QString path = dir.filePath(QStringLiteral("desk.json"));
    QFile file(path);
    file.open(QIODevice::WriteOnly);
    file.write(deskFile(fixtures));
    return path;
}

void Desk_StartAndLoad64x16(benchmark::State &state)
{
    for (auto _ : state) {
        QTemporaryDir dir;
        const QString path = writeDesk(dir, 64);
        Window w;
        if (!w.open()) {
            state.SkipWithError("the main window did not show");
            return;
        }
        const double firstFrameMs = g_sinceStart.nsecsElapsed() / 1e6;
        const double emptyRss = residentMegabytes();

        QElapsedTimer load;
        load.start();
        w.backend->loadFixturesFromFile(path);
        waitForFrame(w.window, 10000);
        const qint64 loadNs = load.nsecsElapsed();
        idle(2000);
        state.SetIterationTime(double(loadNs) / 1e9);
        state.counters["first_frame_ms"] = firstFrameMs;
        state.counters["load_and_draw_ms"] = loadNs / 1e6;
        state.counters["rss_mb"] = residentMegabytes();
        state.counters["rss_empty_mb"] = emptyRss;
        state.counters["fixtures"] = w.desk->stripCount();
    }
}
BENCHMARK(Desk_StartAndLoad64x16)->UseManualTime()->Iterations(1)->Unit(benchmark::kMillisecond);

// From the load to the first frame after it, which shows the strips in view (built at
// once; those near the view follow between frames); the resident memory before the load
// and once those near have been built.
void deskOfSize(benchmark::State &state, int controls)
{
    for (auto _ : state) {
        QTemporaryDir dir;
        const QString path = writeDesk(dir, controls / 16);
        Window w;
        if (!w.open()) {
            state.SkipWithError("the main window did not show");
            return;
        }
        idle(1000);
        const double before = residentMegabytes();
        QElapsedTimer load;
        load.start();
        w.backend->loadFixturesFromFile(path);
        const qint64 returnedNs = load.nsecsElapsed();
        waitForFrame(w.window, 10000);
        const qint64 loadNs = load.nsecsElapsed();
        const int builtAtFrame = w.stripsBuilt();
        state.counters["load_returned_ms"] = returnedNs / 1e6;
        idle(2000);
        state.SetIterationTime(double(loadNs) / 1e9);
        state.counters["controls"] = w.desk->controlCount();
        state.counters["load_to_frame_ms"] = loadNs / 1e6;
        state.counters["strips_at_frame"] = builtAtFrame;
        state.counters["strips_built"] = w.stripsBuilt();
        state.counters["rss_before_mb"] = before;
        state.counters["rss_growth_mb"] = residentMegabytes() - before;
    }
}

// Top to bottom in 2 s, the view moved as the clock says before each frame.
void Desk_Scroll16384(benchmark::State &state)
{
    for (auto _ : state) {
        QTemporaryDir dir;
        const QString path = writeDesk(dir, 1024);
        Window w;
        if (!w.open()) {
            state.SkipWithError("the main window did not show");
            return;
        }
        w.backend->loadFixturesFromFile(path);
        waitForFrame(w.window, 10000);
        idle(1000);
        QObject *view = w.deskView();
        const double bottom = view->property("contentHeight").toDouble() - view->property("height").toDouble();

        std::vector<qint64> frames;
        frames.reserve(10000);
        QElapsedTimer clock;
        std::atomic<bool> recording{false};
        QMutex mutex;
        // frameSwapped comes from the render thread where there is one.
        QObject::connect(w.window, &QQuickWindow::frameSwapped, w.window, [&] {
            if (!recording)
                return;
            QMutexLocker lock(&mutex);
            frames.push_back(clock.nsecsElapsed());
        }, Qt::DirectConnection);
        QTimer step;
        step.setInterval(4);
        QEventLoop loop;
        QObject::connect(&step, &QTimer::timeout, &loop, [&] {
            const double t = std::min(1.0, clock.nsecsElapsed() / 2e9);
            view->setProperty("contentY", t * bottom);
            if (t >= 1.0)
                loop.quit();
        });
        clock.start();
        recording = true;
        step.start();
        loop.exec();
        waitForFrame(w.window, 1000);
        recording = false;

        QMutexLocker lock(&mutex);
        std::vector<double> gaps;
        for (size_t i = 1; i < frames.size(); ++i)
            gaps.push_back((frames[i] - frames[i - 1]) / 1e6);
        std::sort(gaps.begin(), gaps.end());
        const auto percentile = [&](double p) {
            return gaps.empty() ? 0.0 : gaps[std::min(gaps.size() - 1, size_t(std::ceil(p * gaps.size())) - 1)];
        };
        state.SetIterationTime(clock.nsecsElapsed() / 1e9);
        state.counters["frames"] = double(frames.size());
        state.counters["median_frame_ms"] = percentile(0.5);
        state.counters["p99_frame_ms"] = percentile(0.99);
        state.counters["longest_frame_ms"] = gaps.empty() ? 0.0 : gaps.back();
        state.counters["scrolled_px"] = bottom;
    }
}
BENCHMARK(Desk_Scroll16384)->UseManualTime()->Iterations(1)->Unit(benchmark::kMillisecond);

// One message: `address` and a float, two floats, or T/F.
QByteArray oscMessage(const QByteArray &address, const QByteArray &tags, const std::vector<float> &floats)
{
    const auto padded = [](QByteArray text) {
        text.append('\0');
        while (text.size() % 4)
            text.append('\0');
        return text;
    };
    QByteArray datagram = padded(address) + padded(',' + tags);
    for (float value : floats) {
        quint32 bits;
        std::memcpy(&bits, &value, sizeof bits);
        for (int shift = 24; shift >= 0; shift -= 8)
            datagram.append(char((bits >> shift) & 0xff));
    }
    return datagram;
}

// 10,000 messages a second for 5 s from another thread, each to the next of the desk's
// addresses taken in a stride that visits the whole desk; the last message to each
// address decides where its control should end.
void Desk_Feedback16384(benchmark::State &state)
{
    for (auto _ : state) {
        QTemporaryDir dir;
        const QString path = writeDesk(dir, 1024);
        Window w;
        if (!w.open()) {
            state.SkipWithError("the main window did not show");
            return;
        }
        w.backend->loadFixturesFromFile(path);
        waitForFrame(w.window, 10000);
        quint16 port;
        {
            QUdpSocket probe;
            probe.bind(QHostAddress::LocalHost, 0);
            port = probe.localPort();
        }
        w.monitor->setPort(port);
        w.monitor->start();
        if (!w.monitor->running()) {
            state.SkipWithError("the monitor could not listen");
            return;
        }

        // What each message does to its control, as the desk reads it.
        struct Target { int control; QByteArray address; };
        std::vector<Target> targets;
        for (int i = 0; i < w.desk->controlCount(); ++i) {
            const OscDesk::Control &c = w.desk->control(i);
            if (c.kind != OscDesk::Kind::Button || c.toggle)
                targets.push_back({i, w.desk->text(c.oscAddress).toUtf8()});
        }
        constexpr int kRate = 10000;
        constexpr int kSeconds = 5;
        constexpr int kMessages = kRate * kSeconds;
        std::vector<QByteArray> datagrams(kMessages);
        std::vector<int> lastTo(size_t(w.desk->controlCount()), -1);
        std::vector<std::vector<float>> values(kMessages);
        const size_t stride = 7919;  // a prime: every target in turn, far apart
        for (int k = 0; k < kMessages; ++k) {
            const Target &target = targets[(size_t(k) * stride) % targets.size()];
            const OscDesk::Control &c = w.desk->control(target.control);
            const float a = float((k * 37) % 1000) / 1000.0f;
            const float b = float((k * 91) % 1000) / 1000.0f;
            if (c.kind == OscDesk::Kind::Fader) {
                values[size_t(k)] = {a};
                datagrams[size_t(k)] = oscMessage(target.address, "f", values[size_t(k)]);
            } else if (c.kind == OscDesk::Kind::XYPad) {
                values[size_t(k)] = {a, b};
                datagrams[size_t(k)] = oscMessage(target.address, "ff", values[size_t(k)]);
            } else {
                values[size_t(k)] = {k % 2 ? 1.0f : 0.0f};
                datagrams[size_t(k)] = oscMessage(target.address, k % 2 ? "T" : "F", {});
            }
            lastTo[size_t(target.control)] = k;
        }

        std::atomic<bool> sent{false};
        std::unique_ptr<QThread> sender(QThread::create([&] {
            QUdpSocket socket;
            QElapsedTimer clock;
            clock.start();
            for (int k = 0; k < kMessages; ++k) {
                // Paced to the rate, a millisecond's messages at a time.
                if (k % (kRate / 1000) == 0) {
                    const qint64 due = qint64(k) * 1000000000 / kRate;
                    while (clock.nsecsElapsed() < due)
                        QThread::usleep(100);
                }
                socket.writeDatagram(datagrams[size_t(k)], QHostAddress::LocalHost, port);
            }
            sent = true;
        }));

        qint64 longestGapNs = 0;
        QElapsedTimer sinceTick;
        QTimer tick;
        tick.setInterval(50);
        QObject::connect(&tick, &QTimer::timeout, &tick, [&] {
            longestGapNs = std::max(longestGapNs, sinceTick.nsecsElapsed());
            sinceTick.start();
        });
        QElapsedTimer clock;
        clock.start();
        sinceTick.start();
        tick.start();
        sender->start();
        QEventLoop loop;
        QTimer poll;
        poll.setInterval(10);
        QObject::connect(&poll, &QTimer::timeout, &loop, [&] {
            if (sent)
                loop.quit();
        });
        poll.start();
        loop.exec();
        sender->wait();
        const qint64 elapsed = clock.nsecsElapsed();
        idle(300);
        tick.stop();

        int wrong = 0;
        for (int i = 0; i < w.desk->controlCount(); ++i) {
            const int k = lastTo[size_t(i)];
            if (k < 0)
                continue;
            const OscDesk::Control &c = w.desk->control(i);
            const std::vector<float> &v = values[size_t(k)];
            const bool right = c.kind == OscDesk::Kind::Fader   ? std::abs(c.value - double(v[0]) * 255) < 1e-6
                             : c.kind == OscDesk::Kind::XYPad  ? c.x == double(v[0]) && c.y == double(v[1])
                                                              : c.checked == (v[0] != 0);
            wrong += right ? 0 : 1;
        }
        state.SetIterationTime(elapsed / 1e9);
        state.counters["messages"] = kMessages;
        state.counters["send_s"] = elapsed / 1e9;
        state.counters["addresses"] = double(targets.size());
        state.counters["received"] = w.monitor->received();
        state.counters["longest_tick_gap_ms"] = longestGapNs / 1e6;
        state.counters["controls_wrong"] = wrong;
        w.monitor->stop();
    }
}
BENCHMARK(Desk_Feedback16384)->UseManualTime()->Iterations(1)->Unit(benchmark::kMillisecond);

// 5,000 addresses, each once, in one second from another thread, learned into the empty
// desk while the window shows it.
void Desk_LearnFlood5000(benchmark::State &state)
{
    for (auto _ : state) {
        Window w;
        if (!w.open()) {
            state.SkipWithError("the main window did not show");
            return;
        }
        quint16 port;
        {
            QUdpSocket probe;
            probe.bind(QHostAddress::LocalHost, 0);
            port = probe.localPort();
        }
        w.monitor->setPort(port);
        w.monitor->start();
        w.editor->setLearning(true);
        constexpr int kAddresses = 5000;
        std::atomic<bool> sent{false};
        std::unique_ptr<QThread> sender(QThread::create([&] {
            QUdpSocket socket;
            QElapsedTimer clock;
            clock.start();
            for (int k = 0; k < kAddresses; ++k) {
                if (k % 5 == 0) {
                    while (clock.nsecsElapsed() < qint64(k) * 1000000000 / kAddresses)
                        QThread::usleep(100);
                }
                socket.writeDatagram(oscMessage("/learn/" + QByteArray::number(k), "f", {0.5f}), QHostAddress::LocalHost,
                                     port);
            }
            sent = true;
        }));
        qint64 longestGapNs = 0;
        QElapsedTimer sinceTick;
        QTimer tick;
        tick.setInterval(50);
        QObject::connect(&tick, &QTimer::timeout, &tick, [&] {
            longestGapNs = std::max(longestGapNs, sinceTick.nsecsElapsed());
            sinceTick.start();
        });
        QElapsedTimer clock;
        clock.start();
        sinceTick.start();
        tick.start();
        sender->start();
        QEventLoop loop;
        QTimer poll;
        poll.setInterval(10);
        QObject::connect(&poll, &QTimer::timeout, &loop, [&] {
            if ((sent && w.desk->controlCount() >= kAddresses) || clock.elapsed() > 20000)
                loop.quit();
        });
        poll.start();
        loop.exec();
        sender->wait();
        const qint64 elapsed = clock.nsecsElapsed();
        idle(200);
        tick.stop();
        state.SetIterationTime(elapsed / 1e9);
        state.counters["controls"] = w.desk->controlCount();
        state.counters["undo_steps"] = w.editor->stack()->count();
        state.counters["longest_tick_gap_ms"] = longestGapNs / 1e6;
        w.monitor->stop();
    }
}
BENCHMARK(Desk_LearnFlood5000)->UseManualTime()->Iterations(1)->Unit(benchmark::kMillisecond);

// A bound socket nobody reads: the kernel drops what overflows, the sender never waits.
quint16 sinkPort()
{
    static QUdpSocket sink;
    if (sink.state() != QAbstractSocket::BoundState)
        sink.bind(QHostAddress::LocalHost, 0);
    return sink.localPort();
}

// One send a step; after every `burst` sends, whatever the event loop has to do: a frame
// is drawn when one is due. A burst of 1 is a fader's pace (a frame for each line); one
// of 100 is a flood of received datagrams, many lines to each frame.
void sendAndProcess(benchmark::State &state, OscEmulatorBackend *backend)
{
    const int burst = int(state.range(0));
    backend->setOscTargetPort(sinkPort());
    int value = 0;
    for (auto _ : state) {
        backend->sendOscChannel(0, 1 + (value & 255), value & 255);
        if (++value % burst == 0)
            QCoreApplication::processEvents();
    }
    state.SetItemsProcessed(state.iterations());
}

void Desk_SendWithLogView(benchmark::State &state)
{
    Window w;
    if (!w.open()) {
        state.SkipWithError("the main window did not show");
        return;
    }
    auto *logView = w.window->findChild<QQuickItem *>(QStringLiteral("logListView"));
    if (!logView || !logView->isVisible()) {
        state.SkipWithError("the log view is hidden");
        return;
    }
    // The log at its 500 lines, as in any session that has run a while.
    w.backend->setOscTargetPort(sinkPort());
    for (int i = 0; i < 600; ++i)
        w.backend->sendOscChannel(0, 1, i & 255);
    waitForFrame(w.window, 10000);
    sendAndProcess(state, w.backend);
    state.counters["view_rows"] = logView->property("count").toDouble();
}
BENCHMARK(Desk_SendWithLogView)->Arg(1)->Arg(100)->MinTime(1.0);

void Desk_SendWithoutWindow(benchmark::State &state)
{
    OscEmulatorBackend backend;
    sendAndProcess(state, &backend);
}
BENCHMARK(Desk_SendWithoutWindow)->Arg(1)->Arg(100)->MinTime(1.0);

} // namespace

int main(int argc, char **argv)
{
    g_sinceStart.start();
    QGuiApplication app(argc, argv);
    QQuickStyle::setStyle(QStringLiteral("Material"));
    for (int controls : {1024, 4096, 16384}) {
        benchmark::RegisterBenchmark(QStringLiteral("Desk_Load%1").arg(controls).toLatin1().constData(),
                                     [controls](benchmark::State &state) { deskOfSize(state, controls); })
                ->UseManualTime()
                ->Iterations(1)
                ->Unit(benchmark::kMillisecond);
    }
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
