#include "oscemulatorbackend.h"

#include <QProcess>
#include <QStandardPaths>
#include <QTest>

// The receiving device driven by other programs: liblo's oscsend and raw bytes from python3.
class TestReceiveEndToEnd : public QObject
{
    Q_OBJECT
private slots:
    void oscsendChannels();
    void rawDatagrams();

private:
    static void run(const QString &program, const QStringList &arguments);
};

void TestReceiveEndToEnd::run(const QString &program, const QStringList &arguments)
{
    if (QStandardPaths::findExecutable(program).isEmpty())
        QSKIP(qPrintable(program + " is not installed"));
    QProcess process;
    process.start(program, arguments);
    QVERIFY2(process.waitForFinished(10000), qPrintable(program));
    QCOMPARE(process.exitCode(), 0);
}

void TestReceiveEndToEnd::oscsendChannels()
{
    OscEmulatorBackend backend;
    backend.startEmulation();
    QVERIFY(backend.isRunning());

    run("oscsend", {"localhost", "9000", "/osc/channel", "iii", "0", "1", "200"});
    run("oscsend", {"localhost", "9000", "/osc/channel", "iii", "0", "2", "999"});
    run("oscsend", {"localhost", "9000", "/osc/channel", "iii", "0", "3", "-4"});
    run("oscsend", {"localhost", "9000", "/osc/channel", "iii", "0", "400", "17"});
    run("oscsend", {"localhost", "9000", "/osc/channel", "iif", "0", "5", "1.0"});
    QTRY_COMPARE_WITH_TIMEOUT(backend.getChannelValue(400), 17, 5000);
    QTRY_VERIFY_WITH_TIMEOUT(!backend.logMessages().filter("Protocol Error").isEmpty(), 5000);

    QCOMPARE(backend.redValue(), 200);
    QCOMPARE(backend.greenValue(), 255);
    QCOMPARE(backend.blueValue(), 0);
    QCOMPARE(backend.getChannelValue(5), 0);
    QCOMPARE(backend.packetCount(), 0);
    QCOMPARE(backend.logMessages().last().mid(11),
             QStringLiteral("[CRITICAL] Protocol Error: Unsupported OSC type tags for /osc/channel: ',iif' "
                            "(expected ',iii')"));
    QVERIFY(backend.isRunning());
}

void TestReceiveEndToEnd::rawDatagrams()
{
    OscEmulatorBackend backend;
    backend.setSelectedPortIndex(1);
    backend.startEmulation();
    QVERIFY(backend.isRunning());

    const QStringList datagrams{
            "-",                                                       // empty: ignored
            "2f6f73632f6368616e6e656c",                                // no terminator
            "2f6f73632f6368616e6e656c00",                              // 13 bytes
            "2362756e646c6500" "0000000000000001" "00000024"            // a bundle around /osc/channel
            "2f6f73632f6368616e6e656c000000002c6969690000000000000000000000010000007f",
            "2f6f73632f6368616e6e656c000000002c6969690000000000000000000000ff",  // value missing
            "2f6f73632f756e697665727365000000" "2c696200" "00000000" "000000ff",  // blob runs past the end
            "2f6f73632f756e697665727365000000" "2c696200" "00000000" "00000003" "0b162100",
            "2f6f73632f6368616e6e656c000000002c696969000000000000000000000004000000c8",
    };
    run("python3", QStringList{qEnvironmentVariable("OSC_TEST_SCRIPTS_DIR") + "/send_datagrams.py", "9001"}
                           + datagrams);
    QTRY_COMPARE_WITH_TIMEOUT(backend.getChannelValue(4), 200, 5000);

    QCOMPARE(backend.packetCount(), 1);
    QCOMPARE(backend.redValue(), 11);
    QCOMPARE(backend.greenValue(), 22);
    QCOMPARE(backend.blueValue(), 33);
    QStringList errors;
    for (const QString &line : backend.logMessages().filter(QRegularExpression("Protocol Error|RX OSC")))
        errors << line.mid(11);
    QCOMPARE(errors, (QStringList{
            "[CRITICAL] Protocol Error: OSC parse error (address): unterminated OSC string",
            "[CRITICAL] Protocol Error: OSC parse error (type tags): offset out of range while reading string",
            "[CRITICAL] Protocol Error: OSC bundles are not supported yet; expected a single OSC message.",
            "[CRITICAL] Protocol Error: OSC parse error (/osc/channel args): not enough data for int32",
            "[CRITICAL] Protocol Error: OSC parse error (/osc/universe args): not enough data for blob",
            "[INFO] RX OSC datagram -> universe=0, size=3 bytes, packet#1, hex=0b1621",
    }));
    QVERIFY(backend.isRunning());
}

QTEST_GUILESS_MAIN(TestReceiveEndToEnd)
#include "tst_receive_e2e.moc"
