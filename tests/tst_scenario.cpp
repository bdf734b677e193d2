#include "oscemulatorbackend.h"
#include "scenario.h"
#include "scenarioplayer.h"
#include "testsupport.h"

#include <QDir>
#include <QProcess>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <QUdpSocket>
#include <QXmlStreamReader>

// Scenario files: what a bad one is told, and whole runs of the program without a window
// against its own emulated device and monitor.
class TestScenario : public QObject
{
    Q_OBJECT
private slots:
    void invalidFiles_data();
    void invalidFiles();
    void writtenFileReadsBack();
    void aStepNeverRunsBeforeItsAt();
    void headlessRuns_data();
    void headlessRuns();
};

void TestScenario::invalidFiles_data()
{
    QTest::addColumn<QByteArray>("steps");
    QTest::addColumn<QString>("error");

    const auto row = [](const char *name, const char *steps, const char *error) {
        QTest::newRow(name) << QByteArray(steps) << QString::fromUtf8(error);
    };
    row("unknown step key", R"([{"sned": {}}])", R"(step 1: unknown key "sned")");
    row("two kinds", R"([{"wait": 1, "send": {"address": "/a"}}])", R"(step 1: a step is one of "send", "wait" or "expect")");
    row("negative at", R"([{"wait": 1}, {"at": -5, "wait": 1}])",
        R"(step 2: "at" must be a number of milliseconds from 0 to 86400000 (24 hours))");
    row("wait beyond 32 bits", R"([{"wait": 4294967306}])",
        R"(step 1: "wait" must be a number of milliseconds from 0 to 86400000 (24 hours))");
    row("within on a send", R"([{"send": {"address": "/a"}, "within": 5}])", R"(step 1: "within" goes with "expect")");
    row("address", R"([{"send": {"address": "deck"}}])", R"(step 1: "address" must begin with '/')");
    row("NUL in an address", R"([{"send": {"address": "/a\u0000b"}}])", R"(step 1: "address" must not hold U+0000)");
    row("pattern as an address", R"([{"send": {"address": "/deck*/play"}}])",
        R"(step 1: "address" must not hold '*' (only a pattern may))");
    row("NUL in a string", R"([{"send": {"address": "/a", "tags": "s", "values": ["x\u0000"]}}])",
        R"(step 1: "values"[0] must not hold U+0000)");
    row("too few values", R"([{"send": {"address": "/a", "tags": "iii", "values": [1, 2]}}])",
        R"(step 1: "tags" and "values" do not match: ',iii' takes 3 values, got 2)");
    row("value type", R"([{"send": {"address": "/a", "tags": "fs", "values": [1, 2]}}])",
        R"(step 1: "values"[1] must be a text for 's')");
    row("whole number", R"([{"send": {"address": "/a", "tags": "i", "values": [1.5]}}])",
        R"(step 1: "values"[0] must be a whole number for 'i')");
    row("unknown tag", R"([{"send": {"address": "/a", "tags": "r", "values": [1]}}])",
        R"(step 1: "tags": unknown type tag 'r' (the desk sends i h f d s b T F N I))");
    row("bundle type", R"([{"send": {"address": "/a", "bundle": "yes"}}])", R"(step 1: "bundle" must be true or false)");
    row("unknown expectation", R"([{"expect": {"light": {}}}])",
        R"(step 1: unknown expectation "light" (device, monitor or none))");
    row("channel 0 without a universe", R"([{"wait": 1}, {"expect": {"device": {"channel": 0, "value": 1}}}])",
        R"(step 2: "channel" must be a whole number from 1 to 512)");
    row("universe 1", R"([{"expect": {"device": {"universe": 1, "channel": 1, "value": 1}}}])",
        R"(step 1: "universe" must be 0: the emulated device keeps universe 0 only)");
    row("monitor key", R"([{"expect": {"monitor": {"address": "/a", "value": 1}}}])", R"(step 1: unknown key "value")");
    row("a host name", R"([], "target": {"host": "localhost"})",
        R"(target: "host" must be a numeric IPv4 or IPv6 address, as 127.0.0.1, not 'localhost')");
    row("no steps", R"("none")", R"("steps" must be an array)");
}

void TestScenario::invalidFiles()
{
    QFETCH(QByteArray, steps);
    QFETCH(QString, error);
    Scenario::File file;
    QString said;
    QVERIFY(!Scenario::readScenario(R"({"formatVersion": 1, "steps": )" + steps + "}", &file, &said));
    QCOMPARE(said, error);
}

void TestScenario::writtenFileReadsBack()
{
    const QByteArray json = R"({"formatVersion": 1, "name": "n", "target": {"host": "::1", "port": 9},
        "steps": [{"at": 0, "send": {"address": "/a", "tags": ",hfsTb", "values": ["9007199254740993", 0.1, "x", "y"],
                   "bundle": true}}, {"at": 86400000, "wait": 7},
                  {"expect": {"device": {"universe": 0, "channel": 5, "value": 9, "tolerance": 2}}, "within": 30},
                  {"expect": {"monitor": {"address": "/b/*", "values": [1, "s", true, null], "tolerance": 0.5}}},
                  {"expect": {"none": {"address": "/c"}}, "within": 0}]})";
    Scenario::File first;
    Scenario::File second;
    QString error;
    QVERIFY2(Scenario::readScenario(json, &first, &error), qPrintable(error));
    QVERIFY2(Scenario::readScenario(Scenario::writeScenario(first), &second, &error), qPrintable(error));
    QCOMPARE(Scenario::writeScenario(second), Scenario::writeScenario(first));
    QCOMPARE(second.steps.size(), 5);
    QCOMPARE(second.steps.at(0).values.at(0).toLongLong(), 9007199254740993LL);
    QCOMPARE(Scenario::describeStep(second.steps.at(0)), "send [bundle] /a ,hfsTb 9007199254740993 0.1 x y");
    QCOMPARE(second.steps.at(1).at, 86400000);
    QCOMPARE(second.steps.at(2).at, std::nullopt);
    QCOMPARE(second.steps.at(2).milliseconds, 30);
    QCOMPARE(second.steps.at(3).milliseconds, Scenario::kDefaultWithinMs);
}

void TestScenario::aStepNeverRunsBeforeItsAt()
{
    Scenario::File file;
    QString error;
    QVERIFY2(Scenario::readScenario(R"({"formatVersion": 1, "target": {"host": "127.0.0.1", "port": 9},
        "steps": [{"send": {"address": "/a"}}, {"at": 300, "send": {"address": "/b"}}]})", &file, &error),
             qPrintable(error));
    OscEmulatorBackend backend(QString(), nullptr);
    Scenario::Player player(backend.sender(), backend.device(), nullptr);
    QList<qint64> started;
    connect(&player, &Scenario::Player::stepStarted, this, [&] { started << player.elapsedMs(); });
    QSignalSpy finished(&player, &Scenario::Player::finished);
    player.start(file);
    QVERIFY(finished.count() || finished.wait(5000));
    QCOMPARE(started.size(), 2);
    QCOMPARE_GE(started.at(1), 300);
}

void TestScenario::headlessRuns_data()
{
    QTest::addColumn<QStringList>("files");
    QTest::addColumn<int>("exitCode");
    QTest::addColumn<QString>("lastLine");
    QTest::addColumn<QStringList>("failures"); // the JUnit failure messages
    QTest::addColumn<int>("errors");           // expectations never judged
    QTest::addColumn<QString>("interruptAfter"); // SIGTERM once this line is out

    const QString examples = qEnvironmentVariable("OSC_EXAMPLES_DIR") + "/scenarios/";
    QTest::newRow("the device loop") << QStringList{examples + "device-loop.json"} << 0 << "3 passed, 0 failed"
                                     << QStringList() << 0 << QString();
    QTest::newRow("a failure on purpose")
            << QStringList{examples + "device-loop.json", examples + "fails-on-purpose.json"} << 1
            << "4 passed, 1 failed"
            << QStringList{"expect device universe 0 channel 3 = 101; saw 100 at the end of 300 ms"} << 0 << QString();
    QTest::newRow("the monitor hears the desk") << QStringList{"monitor.json"} << 1 << "3 passed, 1 failed"
                                                << QStringList{"expect none /deck1/* within 300 ms; saw /deck1/cue ,T true after "}
                                                << 0 << QString();
    QTest::newRow("a send that does not leave") << QStringList{"large.json"} << 1 << "0 passed, 1 failed"
                                                << QStringList{"; Datagram was too large to send"} << 0 << QString();
    QTest::newRow("an invalid file sends nothing")
            << QStringList{examples + "device-loop.json", "invalid.json"} << 2
            << "invalid.json: step 2: \"wait\" must be a number of milliseconds from 0 to 86400000 (24 hours)"
            << QStringList() << 0 << QString();
    QTest::newRow("interrupted") << QStringList{"slow.json", examples + "device-loop.json"} << 2
                                 << "Interrupted at step 2 of slow.json" << QStringList() << 4
                                 << "WAIT step 2: wait 60000 ms";
}

void TestScenario::headlessRuns()
{
    QFETCH(QStringList, files);
    QFETCH(int, exitCode);
    QFETCH(QString, lastLine);
    QFETCH(QStringList, failures);
    QFETCH(int, errors);
    QFETCH(QString, interruptAfter);
    QTemporaryDir dir;
    QDir::setCurrent(dir.path());
    const quint16 monitorPort = TestSupport::closedPort();
    QVERIFY(TestSupport::writeBytes("monitor.json", QStringLiteral(R"({"formatVersion": 1, "target": {"host": "127.0.0.1", "port": %1}, "steps": [
        {"send": {"address": "/deck1/play", "tags": "f", "values": [1.0], "bundle": true}},
        {"expect": {"monitor": {"address": "/deck1/p*", "values": [0.999], "tolerance": 0.01}}, "within": 2000},
        {"expect": {"none": {"address": "/deck2/*"}}, "within": 100},
        {"send": {"address": "/deck1/cue", "tags": "T"}},
        {"expect": {"monitor": {"address": "/deck1/cue", "values": [true]}}, "within": 2000},
        {"send": {"address": "/deck1/cue", "tags": "T"}},
        {"expect": {"none": {"address": "/deck1/*"}}, "within": 300}]})").arg(monitorPort).toUtf8()));
    QVERIFY(TestSupport::writeBytes("invalid.json", R"({"formatVersion": 1, "steps": [{"wait": 1}, {"wait": -1}]})"));
    QVERIFY(TestSupport::writeBytes("slow.json", R"({"formatVersion": 1, "steps": [{"send": {"address": "/a"}},
        {"wait": 60000}, {"expect": {"none": {"address": "/a"}}}]})"));
    QVERIFY(TestSupport::writeBytes("large.json", R"({"formatVersion": 1, "steps": [{"send": {"address": "/a", "tags": "s",
        "values": [")" + QByteArray(70000, 'x') + R"("]}}]})"));

    QProcess run;
    run.start(qEnvironmentVariable("OSC_PROGRAM"), QStringList{"--run"} + files
                      + QStringList{"--monitor-port", QString::number(monitorPort), "--junit", "results.xml"});
    if (!interruptAfter.isEmpty()) {
        QByteArray printed;
        QTRY_VERIFY_WITH_TIMEOUT((printed += run.readAllStandardOutput()).contains(interruptAfter.toUtf8()), 10000);
        run.terminate();
    }
    QVERIFY(run.waitForFinished(30000));
    QCOMPARE(run.exitCode(), exitCode);
    const QString output = QString::fromUtf8(exitCode == 2 ? run.readAllStandardError() : run.readAllStandardOutput());
    QCOMPARE(output.trimmed().split('\n').last(), lastLine);
    QCOMPARE(QDir().entryList({"*.log"}, QDir::Files), QStringList()); // no debug log unless asked
    if (exitCode == 2 && interruptAfter.isEmpty()) {
        QVERIFY2(!output.contains("SENT"), qPrintable(output));
        return;
    }
    // The JUnit file's counts agree with its elements, and with the summary line.
    QFile junit("results.xml");
    QVERIFY(junit.open(QIODevice::ReadOnly));
    QXmlStreamReader xml(&junit);
    QStringList said;
    int suites = 0;
    QMap<QString, int> counted;
    QMap<QString, int> attributes;
    while (!xml.atEnd()) {
        if (xml.readNext() != QXmlStreamReader::StartElement)
            continue;
        const QString name = xml.name().toString();
        counted[name] += 1;
        if (name == u"testsuite") {
            ++suites;
            for (const char *key : {"tests", "failures", "errors"})
                attributes[key] += xml.attributes().value(key).toInt();
        }
        if (name == u"failure")
            said << xml.attributes().value("message").toString();
    }
    QVERIFY2(!xml.hasError(), qPrintable(xml.errorString()));
    QCOMPARE(suites, files.size());
    QCOMPARE(attributes["tests"], counted["testcase"]);
    QCOMPARE(attributes["failures"], counted["failure"]);
    QCOMPARE(attributes["errors"], counted["error"]);
    QCOMPARE(counted["error"], errors);
    if (interruptAfter.isEmpty()) {
        QCOMPARE(lastLine, QStringLiteral("%1 passed, %2 failed")
                                   .arg(counted["testcase"] - counted["failure"] - counted["error"])
                                   .arg(counted["failure"]));
    }
    QCOMPARE(said.size(), failures.size());
    for (int i = 0; i < said.size(); ++i)
        QVERIFY2(said.at(i).contains(failures.at(i)), qPrintable(said.at(i)));
}

QTEST_GUILESS_MAIN(TestScenario)
#include "tst_scenario.moc"
