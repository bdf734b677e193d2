#include "oscemulatorbackend.h"

#include <QDir>
#include <QFile>
#include <QRegularExpression>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

#include <cerrno>
#include <csignal>
#include <memory>
#include <sys/resource.h>

// The levelled log: in-memory lines, the debug log file of each run, and their limits.
// Every test runs in a fresh working directory, where the log files land.
class TestLog : public QObject
{
    Q_OBJECT
private slots:
    void init();
    void debugOutputAsQDebugWritesIt();
    void capAt500LinesAndClear();
    void lineFormatsAndFileFirstAndLastLines();
    void sameSecondRunsKeepTheirFiles();
    void unwritableWorkingDirectory();
    void writeFailureSaidOnce();

private:
    std::unique_ptr<QTemporaryDir> m_dir;
};

static QStringList fileLines(const QString &name)
{
    QFile file(name);
    return file.open(QIODevice::ReadOnly | QIODevice::Text)
            ? QString::fromUtf8(file.readAll()).split(QLatin1Char('\n'), Qt::SkipEmptyParts) : QStringList();
}

// A file line is "[yyyy-MM-dd hh:mm:ss.zzz] " (26 characters) and its text.
static const QRegularExpression kFileStamp(QStringLiteral(R"(^\[\d{4}-\d\d-\d\d \d\d:\d\d:\d\d\.\d{3}\] )"));

void TestLog::init()
{
    m_dir = std::make_unique<QTemporaryDir>();
    QVERIFY(m_dir->isValid() && QDir::setCurrent(m_dir->path()));
}

static QStringList s_debugMessages;

// Plain lines take a faster way to the debug output; the message is the same.
void TestLog::debugOutputAsQDebugWritesIt()
{
    OscEmulatorBackend backend;
    const QtMessageHandler previous = qInstallMessageHandler([](QtMsgType type, const QMessageLogContext &,
                                                                const QString &message) {
        if (type == QtDebugMsg)
            s_debugMessages << message;
    });
    QStringList expected;
    for (const QString &host : QStringList{"10.0.0.1", "a\"b", "a\\b", "a\tb", "caf\u00e9"}) {
        backend.setOscTargetHost(host);
        QDebug(&expected.emplace_back()).nospace() << backend.logMessages().last();
    }
    qInstallMessageHandler(previous);
    QCOMPARE(s_debugMessages, expected);
}

void TestLog::capAt500LinesAndClear()
{
    OscEmulatorBackend backend;
    for (int i = 1; backend.logMessages().size() < 500; ++i)
        backend.setOscTargetPort(1000 + i);
    const QStringList full = backend.logMessages();

    QSignalSpy spy(&backend, &OscEmulatorBackend::logMessagesChanged);
    backend.setOscTargetPort(80);
    QCOMPARE(spy.count(), 1);
    QCOMPARE(backend.logMessages().mid(0, 499), full.mid(1));
    QVERIFY(backend.logMessages().at(499).endsWith("OSC target port set to 80"));
    // The file keeps every line, the dropped one included.
    QVERIFY(fileLines(backend.logFileName()).at(2).endsWith(full.first()));

    backend.clearLog();
    QCOMPARE(spy.count(), 2);
    QVERIFY(backend.logMessages().isEmpty());
    backend.setOscTargetPort(9000);
    QCOMPARE(backend.logMessages().size(), 1);
    QCOMPARE(fileLines(backend.logFileName()).size(), 2 + 501 + 1);
}

// In memory "[hh:mm:ss] [LEVEL] message", the message verbatim (no placeholders filled);
// in the file the same line after the date and time.
void TestLog::lineFormatsAndFileFirstAndLastLines()
{
    QString name;
    QString line;
    {
        OscEmulatorBackend backend;
        name = backend.logFileName();
        QVERIFY(QRegularExpression(R"(^osc_emulator_debug_\d{8}_\d{6}\.log$)").match(name).hasMatch());
        backend.setOscTargetHost("a%1b 100%");
        line = backend.logMessages().last();
        QVERIFY2(QRegularExpression(R"(^\[\d\d:\d\d:\d\d\] \[INFO\] OSC target host set to a%1b 100%$)").match(line)
                         .hasMatch(), qPrintable(line));
        QVERIFY(backend.logMessages().filter("===").isEmpty());
    }
    const QStringList lines = fileLines(name);
    for (const QString &fileLine : lines)
        QVERIFY2(kFileStamp.match(fileLine).hasMatch(), qPrintable(fileLine));
    QCOMPARE(lines.size(), 7);
    QCOMPARE(lines.at(0).mid(26), QStringLiteral("=== OSC Emulator Debug Log Started ==="));
    QCOMPARE(lines.at(1).mid(26), "Log file: " + name);
    QCOMPARE(lines.at(4).mid(26), line);
    QCOMPARE(lines.at(5).mid(37), QStringLiteral("[WARNING] OSC emulator is not running."));
    QCOMPARE(lines.at(6).mid(26), QStringLiteral("=== OSC Emulator Debug Log Ended ==="));
}

void TestLog::sameSecondRunsKeepTheirFiles()
{
    // Whatever second the backends start in, its plain name is taken already.
    const QDateTime now = QDateTime::currentDateTime();
    for (int s = 0; s < 3; ++s) {
        QFile taken(now.addSecs(s).toString("'osc_emulator_debug_'yyyyMMdd_hhmmss'.log'"));
        QVERIFY(taken.open(QIODevice::WriteOnly) && taken.write("earlier run\n") > 0);
    }
    OscEmulatorBackend first;
    OscEmulatorBackend second;
    QVERIFY2(first.logFileName().endsWith("_2.log"), qPrintable(first.logFileName()));
    QVERIFY2(QRegularExpression("_[23]\\.log$").match(second.logFileName()).hasMatch()
                     && first.logFileName() != second.logFileName(), qPrintable(second.logFileName()));
    QCOMPARE(fileLines(QString(first.logFileName()).replace("_2.log", ".log")), QStringList{"earlier run"});
}

void TestLog::unwritableWorkingDirectory()
{
    // A working directory that no longer exists cannot take a file, even for root.
    const QString gone = m_dir->path() + "/gone";
    QVERIFY(QDir().mkdir(gone) && QDir::setCurrent(gone) && QDir().rmdir(gone));

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
    OscEmulatorBackend backend;
    rlimit tight = saved;
    tight.rlim_cur = QFileInfo(backend.logFileName()).size() + 200;
    QVERIFY(setrlimit(RLIMIT_FSIZE, &tight) == 0);
    for (int port = 1; port <= 20; ++port)
        backend.setOscTargetPort(port);
    setrlimit(RLIMIT_FSIZE, &saved);

    const QStringList warnings = backend.logMessages().filter("[WARNING]");
    QCOMPARE(warnings.size(), 1);
    QCOMPARE(warnings.first().mid(11), "[WARNING] Cannot write the debug log file " + backend.logFileName()
                                               + ": " + qt_error_string(EFBIG));
    QVERIFY(backend.logMessages().last().endsWith("OSC target port set to 20"));
    // The log goes on in memory, and in the file again once writing works.
    backend.setOscTargetPort(21);
    QVERIFY(fileLines(backend.logFileName()).last().endsWith("OSC target port set to 21"));
}

QTEST_GUILESS_MAIN(TestLog)
#include "tst_log.moc"
