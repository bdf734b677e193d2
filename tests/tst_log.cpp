#include "oscemulatorbackend.h"

#include <QDir>
#include <QFile>
#include <QRegularExpression>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

#include <csignal>
#include <sys/resource.h>

// The levelled log: in-memory lines, the debug log file of each run, and their limits.
class TestLog : public QObject
{
    Q_OBJECT
private slots:
    void init();
    void cleanup();
    void lineFormats();
    void messageKeptVerbatim_data();
    void messageKeptVerbatim();
    void debugOutputAsQDebugWritesIt_data();
    void debugOutputAsQDebugWritesIt();
    void capAt500Lines();
    void clearLog();
    void fileFirstAndLastLines();
    void sameSecondRunsKeepTheirFiles();
    void unwritableWorkingDirectory();
    void writeFailureSaidOnce();

private:
    static QStringList fileLines(const QString &name);
    QTemporaryDir *m_dir = nullptr;
    QString m_oldCwd;
};

static const QRegularExpression kMemoryLine(QStringLiteral(R"(^\[\d\d:\d\d:\d\d\] \[INFO\] OSC target port set to 9000$)"));
static const QRegularExpression kFileStamp(QStringLiteral(R"(^\[\d{4}-\d\d-\d\d \d\d:\d\d:\d\d\.\d{3}\] )"));

void TestLog::init()
{
    m_oldCwd = QDir::currentPath();
    m_dir = new QTemporaryDir;
    QVERIFY(m_dir->isValid());
    QVERIFY(QDir::setCurrent(m_dir->path()));
}

void TestLog::cleanup()
{
    QDir::setCurrent(m_oldCwd);
    delete m_dir;
    m_dir = nullptr;
}

QStringList TestLog::fileLines(const QString &name)
{
    QFile file(name);
    if (!file.open(QIODevice::ReadOnly | QIODevice::Text))
        return {};
    QStringList lines = QString::fromUtf8(file.readAll()).split(QLatin1Char('\n'));
    if (!lines.isEmpty() && lines.last().isEmpty())
        lines.removeLast();
    return lines;
}

void TestLog::lineFormats()
{
    OscEmulatorBackend backend;
    backend.setOscTargetPort(9000);
    const QString line = backend.logMessages().last();
    QVERIFY2(kMemoryLine.match(line).hasMatch(), qPrintable(line));

    const QStringList lines = fileLines(backend.logFileName());
    const QString last = lines.last();
    QVERIFY2(kFileStamp.match(last).hasMatch(), qPrintable(last));
    QCOMPARE(last.mid(26), line);
}

void TestLog::messageKeptVerbatim_data()
{
    QTest::addColumn<QString>("host");
    QTest::newRow("placeholder") << QStringLiteral("a%1b%2");
    QTest::newRow("line break") << QStringLiteral("first\nsecond");
    QTest::newRow("percent at end") << QStringLiteral("100%");
}

void TestLog::messageKeptVerbatim()
{
    QFETCH(QString, host);
    OscEmulatorBackend backend;
    backend.setOscTargetHost(host);
    QVERIFY(backend.logMessages().last().endsWith("[INFO] OSC target host set to " + host));
    QFile file(backend.logFileName());
    QVERIFY(file.open(QIODevice::ReadOnly | QIODevice::Text));
    QVERIFY(QString::fromUtf8(file.readAll()).contains("] [INFO] OSC target host set to " + host + "\n"));
}

void TestLog::debugOutputAsQDebugWritesIt_data()
{
    QTest::addColumn<QString>("host");
    QTest::newRow("plain") << QStringLiteral("10.0.0.1");
    QTest::newRow("quote") << QStringLiteral("a\"b");
    QTest::newRow("backslash") << QStringLiteral("a\\b");
    QTest::newRow("tab") << QStringLiteral("a\tb");
    QTest::newRow("accent") << QStringLiteral("caf\u00e9");
}

static QStringList s_debugMessages;

void TestLog::debugOutputAsQDebugWritesIt()
{
    QFETCH(QString, host);
    OscEmulatorBackend backend;
    s_debugMessages.clear();
    const QtMessageHandler previous = qInstallMessageHandler(
            [](QtMsgType type, const QMessageLogContext &, const QString &message) {
                if (type == QtDebugMsg)
                    s_debugMessages << message;
            });
    backend.setOscTargetHost(host);
    qInstallMessageHandler(previous);

    QString expected;
    QDebug(&expected).nospace() << backend.logMessages().last();
    QCOMPARE(s_debugMessages, QStringList{expected});
}

void TestLog::capAt500Lines()
{
    OscEmulatorBackend backend;
    for (int i = 1; backend.logMessages().size() < 500; ++i)
        backend.setOscTargetPort(1000 + i);
    QCOMPARE(backend.logMessages().size(), 500);
    const QString oldest = backend.logMessages().first();
    const QString second = backend.logMessages().at(1);

    QSignalSpy spy(&backend, &OscEmulatorBackend::logMessagesChanged);
    backend.setOscTargetPort(80);
    QCOMPARE(spy.count(), 1);
    QCOMPARE(backend.logMessages().size(), 500);
    QCOMPARE(backend.logMessages().first(), second);
    QVERIFY(backend.logMessages().last().endsWith("OSC target port set to 80"));
    // The file keeps every line, the dropped one included.
    QVERIFY(fileLines(backend.logFileName()).at(2).endsWith(oldest));
}

void TestLog::clearLog()
{
    OscEmulatorBackend backend;
    QSignalSpy spy(&backend, &OscEmulatorBackend::logMessagesChanged);
    backend.clearLog();
    QCOMPARE(spy.count(), 1);
    QVERIFY(backend.logMessages().isEmpty());
    backend.setOscTargetPort(9000);
    QCOMPARE(backend.logMessages().size(), 1);
    const QStringList lines = fileLines(backend.logFileName());
    QVERIFY(lines.at(2).endsWith("Available OSC UDP port: UDP 9000 (OSC)"));
    QVERIFY(lines.last().endsWith("OSC target port set to 9000"));
}

void TestLog::fileFirstAndLastLines()
{
    QString name;
    {
        OscEmulatorBackend backend;
        name = backend.logFileName();
        QVERIFY(QRegularExpression(R"(^osc_emulator_debug_\d{8}_\d{6}\.log$)").match(name).hasMatch());
        for (const QString &line : backend.logMessages())
            QVERIFY(!line.contains("==="));
    }
    const QStringList lines = fileLines(name);
    QVERIFY(lines.size() >= 6);
    QCOMPARE(lines.at(0).mid(26), QStringLiteral("=== OSC Emulator Debug Log Started ==="));
    QCOMPARE(lines.at(1).mid(26), "Log file: " + name);
    QVERIFY(lines.at(lines.size() - 2).endsWith("] [WARNING] OSC emulator is not running."));
    QCOMPARE(lines.last().mid(26), QStringLiteral("=== OSC Emulator Debug Log Ended ==="));
    for (const QString &line : lines)
        QVERIFY2(kFileStamp.match(line).hasMatch(), qPrintable(line));
}

void TestLog::sameSecondRunsKeepTheirFiles()
{
    // Whatever second the backend starts in, its plain name is taken already.
    const QDateTime now = QDateTime::currentDateTime();
    for (int s = 0; s < 3; ++s) {
        QFile taken(now.addSecs(s).toString("'osc_emulator_debug_'yyyyMMdd_hhmmss'.log'"));
        QVERIFY(taken.open(QIODevice::WriteOnly));
        taken.write("earlier run\n");
    }
    OscEmulatorBackend first;
    OscEmulatorBackend second;
    QVERIFY2(first.logFileName().endsWith("_2.log"), qPrintable(first.logFileName()));
    QVERIFY2(second.logFileName().endsWith("_3.log") || second.logFileName().endsWith("_2.log"),
             qPrintable(second.logFileName()));
    QVERIFY(first.logFileName() != second.logFileName());
    const QString plain = QString(first.logFileName()).replace("_2.log", ".log");
    QCOMPARE(fileLines(plain), QStringList{"earlier run"});
}

void TestLog::unwritableWorkingDirectory()
{
    // A working directory that no longer exists cannot take a file, even for root.
    const QString gone = m_dir->path() + "/gone";
    QVERIFY(QDir().mkdir(gone));
    QVERIFY(QDir::setCurrent(gone));
    QVERIFY(QDir().rmdir(gone));

    QTest::ignoreMessage(QtWarningMsg, QRegularExpression("^Failed to open log file: \"osc_emulator_debug_"));
    OscEmulatorBackend backend;
    QVERIFY(backend.logFileName().isEmpty());
    backend.setOscTargetPort(9000);
    QCOMPARE(backend.logMessages().size(), 3);
    QVERIFY(backend.logMessages().last().endsWith("OSC target port set to 9000"));
}

void TestLog::writeFailureSaidOnce()
{
    // A file-size limit makes every write past it fail with EFBIG, as a full disk would.
    std::signal(SIGXFSZ, SIG_IGN);
    rlimit saved;
    QVERIFY(getrlimit(RLIMIT_FSIZE, &saved) == 0);
    {
        OscEmulatorBackend backend;
        rlimit tight = saved;
        tight.rlim_cur = QFileInfo(backend.logFileName()).size() + 200;
        QVERIFY(setrlimit(RLIMIT_FSIZE, &tight) == 0);
        for (int port = 1; port <= 20; ++port)
            backend.setOscTargetPort(port);
        setrlimit(RLIMIT_FSIZE, &saved);

        const QStringList warnings = backend.logMessages().filter("[WARNING] Cannot write the debug log file");
        QCOMPARE(warnings.size(), 1);
        QVERIFY2(warnings.first().contains(backend.logFileName()), qPrintable(warnings.first()));
        QVERIFY(backend.logMessages().last().endsWith("OSC target port set to 20"));
        // The log goes on in memory, and in the file again once writing works.
        backend.setOscTargetPort(21);
        QVERIFY(fileLines(backend.logFileName()).last().endsWith("OSC target port set to 21"));
    }
    setrlimit(RLIMIT_FSIZE, &saved);
}

QTEST_GUILESS_MAIN(TestLog)
#include "tst_log.moc"
