// The desk under load: start-up to the first frame, a 64 x 16 fixtures file loaded and
// the desk fully built and drawn, and the resident memory with that desk. Run under
// xvfb-run (a real X server and OpenGL), as tools/bench.sh does.
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
#include <QQuickWindow>
#include <QTemporaryDir>
#include <QTimer>

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
