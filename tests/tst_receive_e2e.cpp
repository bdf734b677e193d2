#include "oscemulatorbackend.h"

#include <QProcess>
#include <QStandardPaths>
#include <QTest>

// The receiving device driven by other programs: liblo's oscsend and raw bytes from python3.
class TestReceiveEndToEnd : public QObject
{
    Q_OBJECT
private slots:
    void otherPrograms();
};

static void run(const QString &program, const QStringList &arguments)
{
    if (QStandardPaths::findExecutable(program).isEmpty())
        QSKIP(qPrintable(program + " is not installed"));
    QProcess process;
    process.start(program, arguments);
    QVERIFY2(process.waitForFinished(10000), qPrintable(program));
    QCOMPARE(process.exitCode(), 0);
}

void TestReceiveEndToEnd::otherPrograms()
{
    OscEmulatorBackend backend;
    backend.setSelectedPortIndex(1);
    backend.startEmulation();
    QVERIFY(backend.isRunning());

    for (const QStringList &arguments : {QStringList{"iii", "0", "3", "200"}, QStringList{"iii", "0", "400", "17"},
                                         QStringList{"iif", "0", "5", "1.0"}})
        run("oscsend", QStringList{"localhost", "9001", "/osc/channel"} + arguments);
    // An empty datagram, a bundle, then a whole universe.
    run("python3", {qEnvironmentVariable("OSC_TEST_SCRIPTS_DIR") + "/send_datagrams.py", "9001", "-",
                    "2362756e646c65000000000000000001",
                    "2f6f73632f756e697665727365000000" "2c696200" "00000000" "00000002" "0b160000"});
    QTRY_COMPARE_WITH_TIMEOUT(backend.packetCount(), 1, 5000);

    QCOMPARE(QList<int>({backend.redValue(), backend.greenValue(), backend.blueValue(), backend.getChannelValue(5),
                         backend.getChannelValue(400)}), QList<int>({11, 22, 200, 0, 17}));
    QStringList lines;
    for (const QString &line : backend.logMessages().filter(QRegularExpression("Protocol Error|RX OSC")))
        lines << line.mid(11);
    QCOMPARE(lines, (QStringList{
            "[CRITICAL] Protocol Error: Unsupported OSC type tags for /osc/channel: ',iif' (expected ',iii')",
            "[CRITICAL] Protocol Error: OSC bundles are not supported yet; expected a single OSC message.",
            "[INFO] RX OSC datagram -> universe=0, size=2 bytes, packet#1, hex=0b16"}));
    QVERIFY(backend.isRunning());
}

QTEST_GUILESS_MAIN(TestReceiveEndToEnd)
#include "tst_receive_e2e.moc"
