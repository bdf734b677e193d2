#include "testsupport.h"

#include <QProcess>
#include <QDir>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QStandardPaths>
#include <QTest>
#include <QUdpSocket>

// The monitor without a window, fed by liblo's oscsend and raw bytes from python3: what
// it prints, and how it ends.
class TestMonitorCommandLine : public QObject
{
    Q_OBJECT
private slots:
    void everyTypeOscsendKnows();
    void learnFromOscsend();
    void exitCodes_data();
    void exitCodes();
};

// Starts the headless monitor and waits until it listens.
static void startMonitor(QProcess &monitor, quint16 port, const QStringList &more)
{
    monitor.start(qEnvironmentVariable("OSC_PROGRAM"), QStringList{"--monitor", QString::number(port)} + more);
    QVERIFY(monitor.waitForStarted(5000));
    monitor.setReadChannel(QProcess::StandardError);
    QTRY_VERIFY_WITH_TIMEOUT(monitor.canReadLine(), 10000);
    QCOMPARE(monitor.readLine(), QByteArray("Monitoring OSC on UDP port " + QByteArray::number(port) + "\n"));
    monitor.setReadChannel(QProcess::StandardOutput);
}

void TestMonitorCommandLine::everyTypeOscsendKnows()
{
    for (const char *tool : {"oscsend", "python3"}) {
        if (QStandardPaths::findExecutable(tool).isEmpty())
            QSKIP(qPrintable(QString(tool) + " is not installed"));
    }
    // What oscsend sends, and the JSON line the monitor must print for it.
    const QList<QPair<QStringList, QByteArray>> sent = {
        {{"/i", "i", "-5"}, R"({"address":"/i","tags":"i","values":[-5]})"},
        {{"/h", "hh", "42", "9007199254740993"}, R"({"address":"/h","tags":"hh","values":[42,"9007199254740993"]})"},
        {{"/f", "fd", "0.1", "-2.5"}, R"({"address":"/f","tags":"fd","values":[0.1,-2.5]})"},
        {{"/z", "fd", "-0.0", "-0.0"}, R"({"address":"/z","tags":"fd","values":[-0.0,-0.0]})"},
        {{"/s", "sS", "h\"\xc3\xa9", "sym"}, "{\"address\":\"/s\",\"tags\":\"sS\",\"values\":[\"h\\\"\xc3\xa9\",\"sym\"]}"},
        {{"/c", "cm", "A", "00903c7f"}, R"({"address":"/c","tags":"cm","values":["'A'","midi 00903c7f"]})"},
        {{"/tfni", "TFNI"}, R"({"address":"/tfni","tags":"TFNI","values":[true,false,null,"infinitum"]})"},
    };
    const quint16 port = TestSupport::closedPort();
    QProcess monitor;
    startMonitor(monitor, port, {"--count", QString::number(sent.size() + 2), "--json"});
    for (const auto &[arguments, expected] : sent)
        QCOMPARE(QProcess::execute("oscsend", QStringList{"127.0.0.1", QString::number(port)} + arguments), 0);
    // Datagrams that do not decode (counted as none), then a bundle of two messages.
    QCOMPARE(QProcess::execute("python3", {qEnvironmentVariable("OSC_TEST_SCRIPTS_DIR") + "/send_datagrams.py",
                                           QString::number(port), "2f780000" "2c7a0000", "-",
                                           "2362756e646c650000000000000000010000000c2f610000"
                                           "2c69000000000007" "000000082f620000" "2c540000"}),
             0);
    QVERIFY(monitor.waitForFinished(10000));
    QCOMPARE(monitor.exitCode(), 0);

    QList<QByteArray> expected;
    for (const auto &row : sent)
        expected << row.second;
    expected << R"({"address":"/a","bundle":"immediately","tags":"i","values":[7]})"
             << R"({"address":"/b","bundle":"immediately","tags":"T","values":[true]})";
    // Compared as printed, "from" and "time" taken out: a JSON reader would lose the sign of -0.0.
    static const QRegularExpression fromAndTime(R"(,"from":"127\.0\.0\.1:\d+"|,"time":"\d\d:\d\d:\d\d\.\d{3}")");
    QList<QByteArray> printed;
    for (const QByteArray &line : monitor.readAllStandardOutput().split('\n')) {
        if (!line.isEmpty())
            printed << QString::fromUtf8(line).remove(fromAndTime).toUtf8();
    }
    QCOMPARE(printed, expected);
    monitor.setReadChannel(QProcess::StandardError);
    const QByteArray errors = monitor.readAll();
    QCOMPARE(errors.count("undecodable datagram of 8 bytes: unknown type tag 'z' (at byte 5)\n"), 1);
    QCOMPARE(errors.count("undecodable datagram of 0 bytes: empty datagram (at byte 0)\n"), 1);
}

// --learn: a control for each address oscsend sends, by its type tags, once each; an
// address no control sends is said and skipped; the one file asked for is all it leaves.
void TestMonitorCommandLine::learnFromOscsend()
{
    if (QStandardPaths::findExecutable("oscsend").isEmpty())
        QSKIP("oscsend is not installed");
    QTemporaryDir dir;
    const quint16 port = TestSupport::closedPort();
    QProcess learn;
    learn.setWorkingDirectory(dir.path());
    learn.start(qEnvironmentVariable("OSC_PROGRAM"), {"--learn", QString::number(port), "--seconds", "3", "--out", "desk.json"});
    learn.setReadChannel(QProcess::StandardError);
    QTRY_VERIFY_WITH_TIMEOUT(learn.canReadLine(), 10000);
    QCOMPARE(learn.readLine(), "Learning OSC on UDP port " + QByteArray::number(port) + " for 3 s\n");
    const QList<QStringList> sent = {{"/mix/vol", "f", "0.5"}, {"/mix/vol", "f", "0.7"}, {"/d/speed", "d", "1"},
                                     {"/d/pitch", "i", "3"}, {"/d/pos", "h", "4"}, {"/d/play", "T"}, {"/d/loop", "F"},
                                     {"/d/jog", "ff", "0.1", "0.2"}, {"/d/cue", "s", "hot"}, {"/d/sync"},
                                     {"/d/bad", "ii", "1", "2"}};
    for (const QStringList &arguments : sent)
        QCOMPARE(QProcess::execute("oscsend", QStringList{"127.0.0.1", QString::number(port)} + arguments), 0);
    QVERIFY(learn.waitForFinished(10000));
    QCOMPARE(learn.exitCode(), 0);
    QCOMPARE(learn.readAll(), QByteArray("[WARNING] Cannot learn /d/bad: no control sends ,ii\nLearned 9 controls into desk.json\n"));
    QCOMPARE(QDir(dir.path()).entryList(QDir::Files | QDir::Hidden), QStringList{"desk.json"});
    QFile file(dir.filePath("desk.json"));
    QVERIFY(file.open(QIODevice::ReadOnly));
    const QJsonObject fixture = QJsonDocument::fromJson(file.readAll())["fixtures"][0].toObject();
    QCOMPARE(fixture["name"].toString(), "Aprendido");
    QStringList controls;
    for (const QJsonValue &entry : fixture["capabilities"]["channels"].toObject()) {
        const QJsonObject c = entry.toObject();
        controls << QStringList{c["oscAddress"].toString(), c["controlType"].toString(), c["mode"].toString(),
                                c["argType"].toString(), c["stringValue"].toString()}.join(' ').trimmed();
    }
    QCOMPARE(controls, QStringList({"/mix/vol fader  f", "/d/speed fader  f", "/d/pitch fader  i", "/d/pos fader  i",
                                    "/d/play button toggle T", "/d/loop button toggle T", "/d/jog xy", "/d/cue button momentary s hot",
                                    "/d/sync button momentary none"}));
}

void TestMonitorCommandLine::exitCodes_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<int>("exitCode");
    QTest::addColumn<QByteArray>("says");

    QTest::newRow("version") << QStringList{"--version"} << 0 << QByteArray("1.0");
    QTest::newRow("help") << QStringList{"--help"} << 0 << QByteArray("--monitor <port>");
    QTest::newRow("port 0") << QStringList{"--monitor", "0"} << 2 << QByteArray("from 1 to 65535, not '0'");
    QTest::newRow("count 0") << QStringList{"--monitor", "9", "--count", "0"} << 2 << QByteArray("at least 1");
    QTest::newRow("json alone") << QStringList{"--json"} << 2 << QByteArray("go with --monitor");
    QTest::newRow("unknown option") << QStringList{"--monitor", "9", "--loud"} << 2 << QByteArray("loud");
    QTest::newRow("port taken") << QStringList{"--monitor", "taken"} << 2 << QByteArray("Cannot listen on UDP port");
    QTest::newRow("learn: port taken") << QStringList{"--learn", "taken", "--seconds", "1", "--out", "l.json"} << 2
                                       << QByteArray("Cannot listen on UDP port");
    QTest::newRow("learn: an output that cannot be written") << QStringList{"--learn", "9", "--seconds", "1", "--out", "/"}
                                                             << 2 << QByteArray("Cannot write /");
    QTest::newRow("learn without seconds") << QStringList{"--learn", "9", "--out", "l.json"} << 2 << QByteArray("--seconds N");
    QTest::newRow("SIGTERM") << QStringList{"--monitor", "free"} << 0 << QByteArray();
    // Without a display a window would abort: these must end before one is made.
    QTest::newRow("a misspelt option") << QStringList{"--rnu", "x.json"} << 2 << QByteArray("Unknown option '--rnu'.\nUsage:");
    QTest::newRow("a file without --run") << QStringList{"-platform", "offscreen", "x.json"} << 2
                                          << QByteArray("Unexpected argument 'x.json'");
    QTest::newRow("device port 70000") << QStringList{"--run", "x.json", "--device-port", "70000"} << 2
                                       << QByteArray("from 1 to 65535, not '70000'");
}

void TestMonitorCommandLine::exitCodes()
{
    QFETCH(QStringList, arguments);
    QFETCH(int, exitCode);
    QFETCH(QByteArray, says);
    QUdpSocket holder;
    QVERIFY(holder.bind(QHostAddress::AnyIPv4, 0));
    if (arguments.value(1) == "taken")
        arguments[1] = QString::number(holder.localPort());
    QProcess monitor;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.remove("QT_QPA_PLATFORM");
    environment.remove("DISPLAY");
    monitor.setProcessEnvironment(environment);
    if (arguments.value(1) == "free") {
        startMonitor(monitor, TestSupport::closedPort(), {});
        monitor.terminate();
    } else {
        monitor.start(qEnvironmentVariable("OSC_PROGRAM"), arguments);
    }
    QVERIFY(monitor.waitForFinished(10000));
    QCOMPARE(monitor.exitStatus(), QProcess::NormalExit);
    QCOMPARE(monitor.exitCode(), exitCode);
    const QByteArray output = monitor.readAllStandardOutput() + monitor.readAllStandardError();
    QVERIFY2(output.contains(says), output);
}

QTEST_GUILESS_MAIN(TestMonitorCommandLine)
#include "tst_monitor_cli.moc"
