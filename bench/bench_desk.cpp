// The desk under load: start-up to the first frame, a 64 x 16 fixtures file loaded and
// the desk fully built and drawn, and the resident memory with that desk; and the send
// path with the window open, its log view showing every line as it comes, beside the same
// sends without a window. Run under xvfb-run (a real X server and OpenGL), as
// tools/bench.sh does.
#include "eventlog.h"
#include "loglines.h"
#include "oscemulatorbackend.h"

#include <QElapsedTimer>
#include <QFile>
#include <QGuiApplication>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QQmlApplicationEngine>
#include <QQmlContext>
#include <QQuickStyle>
#include <QQuickItem>
#include <QQuickWindow>
#include <QTemporaryDir>
#include <QTimer>
#include <QUdpSocket>

#include <benchmark/benchmark.h>

namespace {

QElapsedTimer g_sinceStart;

// 64 fixtures of 16 channels: faders of every argument type, buttons of every kind, an XY pad.
QByteArray bigDesk()
{
    static const char *const fader[] = {"f", "i", "h", "d", ""};
    static const char *const button[] = {"", "T", "none", "I", "s"};
    QJsonArray fixtures;
    for (int f = 0; f < 64; ++f) {
        QJsonObject channels;
        for (int c = 0; c < 16; ++c) {
            const int channel = f * 16 + c + 1;
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
        fixtures.append(QJsonObject{{"name", QStringLiteral("Fixture %1").arg(f + 1)},
                                    {"universe", f / 32},
                                    {"startChannel", (f % 32) * 16 + 1},
                                    {"channelCount", 16},
                                    {"capabilities", QJsonObject{{"channels", channels}}}});
    }
    return QJsonDocument(QJsonObject{{"fixtures", fixtures}}).toJson();
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

void Desk_StartAndLoad64x16(benchmark::State &state)
{
    for (auto _ : state) {
        QTemporaryDir dir;
        const QString path = dir.filePath(QStringLiteral("desk.json"));
        QFile file(path);
        file.open(QIODevice::WriteOnly);
        file.write(bigDesk());
        file.close();

        QQmlApplicationEngine engine;
        auto *backend = new OscEmulatorBackend(&engine);
        engine.rootContext()->setContextProperty(QStringLiteral("backend"), backend);
        engine.rootContext()->setContextProperty(QStringLiteral("logLines"), backend->eventLog()->model());
        engine.load(QUrl(QStringLiteral("qrc:/main.qml")));
        auto *window = qobject_cast<QQuickWindow *>(engine.rootObjects().value(0));
        if (!window || !waitForFrame(window, 10000)) {
            state.SkipWithError("the main window did not show");
            return;
        }
        const double firstFrameMs = g_sinceStart.nsecsElapsed() / 1e6;
        const double emptyRss = residentMegabytes();

        QElapsedTimer load;
        load.start();
        backend->loadFixturesFromFile(path);
        // The desk is built when the load returns; the frame after it draws it all.
        waitForFrame(window, 10000);
        const qint64 loadNs = load.nsecsElapsed();
        state.SetIterationTime(double(loadNs) / 1e9);
        state.counters["first_frame_ms"] = firstFrameMs;
        state.counters["load_and_draw_ms"] = loadNs / 1e6;
        state.counters["rss_mb"] = residentMegabytes();
        state.counters["rss_empty_mb"] = emptyRss;
        state.counters["fixtures"] = backend->fixtures().size();
    }
}
BENCHMARK(Desk_StartAndLoad64x16)->UseManualTime()->Iterations(1)->Unit(benchmark::kMillisecond);

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
    QQmlApplicationEngine engine;
    auto *backend = new OscEmulatorBackend(&engine);
    engine.rootContext()->setContextProperty(QStringLiteral("backend"), backend);
    engine.rootContext()->setContextProperty(QStringLiteral("logLines"), backend->eventLog()->model());
    engine.load(QUrl(QStringLiteral("qrc:/main.qml")));
    auto *window = qobject_cast<QQuickWindow *>(engine.rootObjects().value(0));
    if (!window || !waitForFrame(window, 10000)) {
        state.SkipWithError("the main window did not show");
        return;
    }
    auto *logView = window->findChild<QQuickItem *>(QStringLiteral("logListView"));
    if (!logView || !logView->isVisible()) {
        state.SkipWithError("the log view is hidden");
        return;
    }
    // The log at its 500 lines, as in any session that has run a while.
    backend->setOscTargetPort(sinkPort());
    for (int i = 0; i < 600; ++i)
        backend->sendOscChannel(0, 1, i & 255);
    waitForFrame(window, 10000);
    sendAndProcess(state, backend);
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
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
