#include "oscemulatorbackend.h"

#include <QFile>
#include <QSignalSpy>
#include <QTest>
#include <QUdpSocket>

// Starting and stopping the emulated receiving device, through the backend's public interface.
class TestEmulation : public QObject
{
    Q_OBJECT
private slots:
    void lifecycle_data();
    void lifecycle();
    void tickAndDestruction();
};

// Log lines without their "[hh:mm:ss] " stamp, from index `from` on.
static QStringList linesFrom(const OscEmulatorBackend &backend, int from)
{
    QStringList out;
    for (const QString &line : backend.logMessages().mid(from))
        out << line.mid(11);
    return out;
}

static QString state(const OscEmulatorBackend &backend)
{
    return QStringLiteral("%1 %2 %3 %4").arg(backend.isRunning() ? "running" : "stopped").arg(backend.baudRate())
            .arg(backend.selectedPortIndex()).arg(backend.statusMessage());
}

// Each row: steps to get there, the step under test, the log lines it adds (by key) and
// the state it leaves: running, baud rate, selected port index, status.
void TestEmulation::lifecycle_data()
{
    QTest::addColumn<QString>("steps");
    QTest::addColumn<QString>("step");
    QTest::addColumn<QString>("lines");
    QTest::addColumn<QString>("after");

    const auto row = [](const char *name, const char *steps, const char *step, const char *lines, const char *after) {
        QTest::newRow(name) << steps << step << lines << after;
    };
    row("start", "", "start", "bound started9000", "running 9000 0 Listening OSC on UDP 9000");
    row("start on 9001", "select1", "start", "bound started9001", "running 9001 1 Listening OSC on UDP 9001");
    row("start twice", "start", "start", "alreadyRunning", "running 9000 0 Listening OSC on UDP 9000");
    row("start on a port held by another socket", "hold", "start", "portError notRunning bindFailed",
        "stopped 9000 0 Failed to start OSC emulation");
    row("start without selection", "select-1", "start", "selectPort", "stopped 8000 -1 Ready");
    row("start after sending", "send", "start", "closed bound started9000", "running 9000 0 Listening OSC on UDP 9000");
    row("stop", "select1 start", "stop", "closed stopped", "stopped 9001 1 Stopped");
    row("stop before start", "", "stop", "notRunning", "stopped 8000 0 Ready");
    row("stop after sending", "send", "stop", "closed stopped", "stopped 8000 0 Stopped");
    row("refresh keeps selection", "select1", "refresh", "port9000 port9001", "stopped 8000 1 Ready");
    row("refresh selects the first", "select-1", "refresh", "port9000 port9001", "stopped 8000 0 Ready");
}

void TestEmulation::lifecycle()
{
    QFETCH(QString, steps);
    QFETCH(QString, step);
    QFETCH(QString, lines);
    QFETCH(QString, after);
    const QHash<QString, QString> texts{
            {"bound", "[INFO] OSC UDP socket successfully bound."}, {"closed", "[INFO] OSC UDP socket closed."},
            {"started9000", "[INFO] OSC emulation started on UDP port 9000."},
            {"started9001", "[INFO] OSC emulation started on UDP port 9001."},
            {"stopped", "[INFO] OSC emulation stopped."}, {"notRunning", "[WARNING] OSC emulator is not running."},
            {"alreadyRunning", "[WARNING] OSC emulator is already running."},
            {"selectPort", "[WARNING] Please select an OSC UDP port."},
            {"bindFailed", "[CRITICAL] Failed to bind OSC UDP port 9000."},
            {"port9000", "[INFO] Available OSC UDP port: UDP 9000 (OSC)"},
            {"port9001", "[INFO] Available OSC UDP port: UDP 9001 (OSC)"}};

    QUdpSocket holder;
    OscEmulatorBackend backend;
    backend.setOscTargetPort(9);  // discard: nobody answers, and that is fine here
    QSignalSpy running(&backend, &OscEmulatorBackend::isRunningChanged);
    QSignalSpy errors(&backend, &OscEmulatorBackend::errorOccurred);
    const auto run = [&](const QString &step) {
        if (step == "hold") {
            QVERIFY(holder.bind(QHostAddress::AnyIPv4, 9000));
            QTest::ignoreMessage(QtWarningMsg, QRegularExpression("^Failed to bind OSC UDP port 9000"));
        } else if (step.startsWith("select"))
            backend.setSelectedPortIndex(step.mid(6).toInt());
        else if (step == "send")
            backend.sendOscChannel(0, 1, 10);
        else if (step == "start")
            backend.startEmulation();
        else if (step == "stop")
            backend.stopEmulation();
        else
            backend.refreshPorts();
    };
    for (const QString &s : steps.split(' ', Qt::SkipEmptyParts))
        run(s);
    const bool wasRunning = backend.isRunning();
    const int changes = running.count();
    const int mark = backend.logMessages().size();
    run(step);

    QCOMPARE(errors.count(), lines.contains("portError") ? 1 : 0);
    QStringList expected;
    for (const QString &key : lines.split(' '))
        expected << texts.value(key, "[CRITICAL] Emulator Port Error: " + errors.value(0).value(0).toString());
    // An answer from the discard port may arrive at any time: its warning is not ours.
    QCOMPARE(linesFrom(backend, mark).filter(QRegularExpression("^(?!\\[WARNING\\] Nobody is listening)")), expected);
    QCOMPARE(state(backend), after);
    if (backend.isRunning() != wasRunning)
        QCOMPARE(running.count() - changes, 1);
    if (backend.isRunning() && !wasRunning) {
        QCOMPARE(backend.packetCount(), 0);
        QFile file(backend.logFileName());
        QVERIFY(file.open(QIODevice::ReadOnly | QIODevice::Text));
        const QString text = QString::fromUtf8(file.readAll());
        QVERIFY(text.contains(QStringLiteral("] OSC emulation started - UDP Port: %1\n[").arg(backend.baudRate())));
        QVERIFY(text.endsWith("] Update timer started - Interval: 50ms\n"));
    }
}

// The tick announces buffer, colours and packet count, in that order, while running; a
// backend destroyed while running stops first and then ends its log file.
void TestEmulation::tickAndDestruction()
{
    QString name;
    {
        OscEmulatorBackend backend;
        name = backend.logFileName();
        QStringList order;
        connect(&backend, &OscEmulatorBackend::oscBufferChanged, this, [&] { order << "buffer"; });
        connect(&backend, &OscEmulatorBackend::rgbValuesChanged, this, [&] { order << "rgb"; });
        connect(&backend, &OscEmulatorBackend::packetCountChanged, this, [&] { order << "packets"; });
        backend.startEmulation();
        order.clear();
        QTRY_VERIFY_WITH_TIMEOUT(order.size() >= 6, 5000);
        QCOMPARE(order.mid(0, 6), (QStringList{"buffer", "rgb", "packets", "buffer", "rgb", "packets"}));
        backend.stopEmulation();
        order.clear();
        QTest::qWait(200);
        QVERIFY(order.isEmpty());
        backend.forceUpdate();
        QCOMPARE(order, (QStringList{"buffer", "rgb", "packets"}));
        disconnect(&backend, nullptr, this, nullptr);
        backend.startEmulation();
    }
    QFile file(name);
    QVERIFY(file.open(QIODevice::ReadOnly | QIODevice::Text));
    QStringList lines = QString::fromUtf8(file.readAll()).split('\n', Qt::SkipEmptyParts);
    lines = lines.mid(lines.size() - 3);
    QCOMPARE(QStringList({lines.at(0).mid(37), lines.at(1).mid(37), lines.at(2).mid(26)}),
             (QStringList{"[INFO] OSC UDP socket closed.", "[INFO] OSC emulation stopped.",
                          "=== OSC Emulator Debug Log Ended ==="}));
}

QTEST_GUILESS_MAIN(TestEmulation)
#include "tst_emulation.moc"
