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
    void startAndStop();
    void startWithoutSelection();
    void portHeldByAnotherSocket();
    void startAfterSending();
    void stopClosesSocketBoundBySending();
    void refreshPortsKeepsSelection();
    void tickAndForceUpdate();
    void destructionStopsAndEndsTheLogFile();
};

// Log lines without their "[hh:mm:ss] " stamp, from index `from` on.
static QStringList linesFrom(const OscEmulatorBackend &backend, int from)
{
    QStringList out;
    const QStringList all = backend.logMessages();
    for (int i = from; i < all.size(); ++i)
        out << all.at(i).mid(11);
    return out;
}

void TestEmulation::startAndStop()
{
    OscEmulatorBackend backend;
    backend.setSelectedPortIndex(1);
    QSignalSpy running(&backend, &OscEmulatorBackend::isRunningChanged);
    int mark = backend.logMessages().size();

    backend.startEmulation();
    QCOMPARE(linesFrom(backend, mark), (QStringList{"[INFO] OSC UDP socket successfully bound.",
                                                    "[INFO] OSC emulation started on UDP port 9001."}));
    QVERIFY(backend.isRunning());
    QCOMPARE(running.count(), 1);
    QCOMPARE(backend.statusMessage(), QStringLiteral("Listening OSC on UDP 9001"));
    QCOMPARE(backend.baudRate(), 9001);
    QCOMPARE(backend.packetCount(), 0);
    QFile file(backend.logFileName());
    QVERIFY(file.open(QIODevice::ReadOnly | QIODevice::Text));
    const QString text = QString::fromUtf8(file.readAll());
    QVERIFY(text.contains("] OSC emulation started - UDP Port: 9001\n["));
    QVERIFY(text.endsWith("] Update timer started - Interval: 50ms\n"));

    mark = backend.logMessages().size();
    backend.startEmulation();
    QCOMPARE(linesFrom(backend, mark), QStringList{"[WARNING] OSC emulator is already running."});
    QVERIFY(backend.isRunning());

    mark = backend.logMessages().size();
    backend.stopEmulation();
    QCOMPARE(linesFrom(backend, mark),
             (QStringList{"[INFO] OSC UDP socket closed.", "[INFO] OSC emulation stopped."}));
    QVERIFY(!backend.isRunning());
    QCOMPARE(running.count(), 2);
    QCOMPARE(backend.statusMessage(), QStringLiteral("Stopped"));
    QCOMPARE(backend.baudRate(), 9001);

    mark = backend.logMessages().size();
    backend.stopEmulation();
    QCOMPARE(linesFrom(backend, mark), QStringList{"[WARNING] OSC emulator is not running."});
    QCOMPARE(backend.statusMessage(), QStringLiteral("Stopped"));
}

void TestEmulation::startWithoutSelection()
{
    OscEmulatorBackend backend;
    backend.setSelectedPortIndex(-1);
    QSignalSpy baud(&backend, &OscEmulatorBackend::baudRateChanged);
    QSignalSpy status(&backend, &OscEmulatorBackend::statusMessageChanged);
    const int mark = backend.logMessages().size();
    backend.startEmulation();
    QCOMPARE(linesFrom(backend, mark), QStringList{"[WARNING] Please select an OSC UDP port."});
    QCOMPARE(baud.count(), 0);
    QCOMPARE(status.count(), 0);
    QCOMPARE(backend.baudRate(), 8000);
    QVERIFY(!backend.isRunning());
}

void TestEmulation::portHeldByAnotherSocket()
{
    QUdpSocket holder;
    QVERIFY(holder.bind(QHostAddress::AnyIPv4, 9000));

    OscEmulatorBackend backend;
    QSignalSpy errors(&backend, &OscEmulatorBackend::errorOccurred);
    const int mark = backend.logMessages().size();
    QTest::ignoreMessage(QtWarningMsg, QRegularExpression("^Failed to bind OSC UDP port 9000"));
    backend.startEmulation();

    QCOMPARE(errors.count(), 1);
    const QString error = errors.first().first().toString();
    QVERIFY(!error.isEmpty());
    QCOMPARE(linesFrom(backend, mark), (QStringList{"[CRITICAL] Emulator Port Error: " + error,
                                                    "[WARNING] OSC emulator is not running.",
                                                    "[CRITICAL] Failed to bind OSC UDP port 9000."}));
    QVERIFY(!backend.isRunning());
    QCOMPARE(backend.statusMessage(), QStringLiteral("Failed to start OSC emulation"));
    QCOMPARE(backend.baudRate(), 9000);
}

void TestEmulation::startAfterSending()
{
    OscEmulatorBackend backend;
    backend.setOscTargetPort(9);  // discard: nobody answers, and that is fine here
    backend.sendOscChannel(0, 1, 10);
    const int mark = backend.logMessages().size();
    backend.startEmulation();
    const QStringList lines = linesFrom(backend, mark).filter(QRegularExpression("socket|started"));
    QCOMPARE(lines, (QStringList{"[INFO] OSC UDP socket closed.", "[INFO] OSC UDP socket successfully bound.",
                                 "[INFO] OSC emulation started on UDP port 9000."}));
    QVERIFY(backend.isRunning());
}

void TestEmulation::stopClosesSocketBoundBySending()
{
    OscEmulatorBackend backend;
    backend.setOscTargetPort(9);
    backend.sendOscToAddress("/x", 1);
    const int mark = backend.logMessages().size();
    backend.stopEmulation();
    QCOMPARE(linesFrom(backend, mark).filter(QRegularExpression("socket|stopped|running")),
             (QStringList{"[INFO] OSC UDP socket closed.", "[INFO] OSC emulation stopped."}));
    QCOMPARE(backend.statusMessage(), QStringLiteral("Stopped"));
}

void TestEmulation::refreshPortsKeepsSelection()
{
    OscEmulatorBackend backend;
    QSignalSpy selection(&backend, &OscEmulatorBackend::selectedPortIndexChanged);
    QSignalSpy ports(&backend, &OscEmulatorBackend::availablePortsChanged);
    backend.setSelectedPortIndex(1);
    backend.refreshPorts();
    QCOMPARE(backend.selectedPortIndex(), 1);
    QCOMPARE(selection.count(), 1);
    QCOMPARE(ports.count(), 1);

    backend.setSelectedPortIndex(-1);
    backend.refreshPorts();
    QCOMPARE(backend.selectedPortIndex(), 0);
    QCOMPARE(selection.count(), 3);
    QCOMPARE(backend.availablePorts(), (QStringList{"UDP 9000 (OSC)", "UDP 9001 (OSC)"}));
}

void TestEmulation::tickAndForceUpdate()
{
    OscEmulatorBackend backend;
    QStringList order;
    connect(&backend, &OscEmulatorBackend::oscBufferChanged, this, [&] { order << "buffer"; });
    connect(&backend, &OscEmulatorBackend::rgbValuesChanged, this, [&] { order << "rgb"; });
    connect(&backend, &OscEmulatorBackend::packetCountChanged, this, [&] { order << "packets"; });
    backend.forceUpdate();
    QCOMPARE(order, (QStringList{"buffer", "rgb", "packets"}));

    backend.startEmulation();
    QSignalSpy ticks(&backend, &OscEmulatorBackend::oscBufferChanged);
    QTRY_VERIFY_WITH_TIMEOUT(ticks.count() >= 3, 5000);
    backend.stopEmulation();
    const int afterStop = ticks.count();
    QTest::qWait(200);
    QCOMPARE(ticks.count(), afterStop);
    disconnect(&backend, nullptr, this, nullptr);
}

void TestEmulation::destructionStopsAndEndsTheLogFile()
{
    QString name;
    {
        OscEmulatorBackend backend;
        name = backend.logFileName();
        backend.startEmulation();
    }
    QFile file(name);
    QVERIFY(file.open(QIODevice::ReadOnly | QIODevice::Text));
    QStringList lines = QString::fromUtf8(file.readAll()).split('\n', Qt::SkipEmptyParts);
    for (QString &line : lines)
        line = line.mid(26);
    QCOMPARE(lines.mid(lines.size() - 3),
             (QStringList{"[" + lines.at(lines.size() - 3).mid(1, 8) + "] [INFO] OSC UDP socket closed.",
                          "[" + lines.at(lines.size() - 2).mid(1, 8) + "] [INFO] OSC emulation stopped.",
                          "=== OSC Emulator Debug Log Ended ==="}));
}

QTEST_GUILESS_MAIN(TestEmulation)
#include "tst_emulation.moc"
