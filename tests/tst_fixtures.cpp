#include "oscemulatorbackend.h"

#include <QDir>
#include <QFile>
#include <QRegularExpression>
#include <QSignalSpy>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>

#include <csignal>
#include <sys/resource.h>

// The fixtures file: normalisation, the two document forms, and loading and saving
// through the backend with every outcome as one log line.
class TestFixtures : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase();
    void hostileFileSavedNormalised();
    void exampleThroughTheDefaultFile();
    void saveKeepsThePreviousFile();
    void loadAndSave_data();
    void loadAndSave();

private:
    QString path(const QString &name) const { return m_dir.filePath(name); }
    QTemporaryDir m_dir;
};

static const QString kExample = qEnvironmentVariable("OSC_EXAMPLES_DIR") + "/osc_fixtures.json";
static const QString kNewId = "[0-9a-f]{8}-[0-9a-f]{4}-4[0-9a-f]{3}-[89ab][0-9a-f]{3}-[0-9a-f]{12}";

static QByteArray readBytes(const QString &name)
{
    QFile file(name);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

static bool writeBytes(const QString &name, const QByteArray &bytes)
{
    QFile file(name);
    return file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size();
}

// The newest log line without its "[hh:mm:ss] " stamp.
static QString lastLine(const OscEmulatorBackend &backend)
{
    return backend.logMessages().isEmpty() ? QString() : backend.logMessages().last().mid(11);
}

void TestFixtures::initTestCase()
{
    // exampleThroughTheDefaultFile() empties the configuration folder: never the user's own.
    QVERIFY2(QStandardPaths::writableLocation(QStandardPaths::AppConfigLocation)
                     .startsWith(qEnvironmentVariable("XDG_CONFIG_HOME", "/nowhere")), "run through ctest");
    QVERIFY(m_dir.isValid());
}

void TestFixtures::hostileFileSavedNormalised()
{
    const QString hostile = qEnvironmentVariable("OSC_TEST_DATA_DIR") + "/fixtures/hostile";
    OscEmulatorBackend backend;
    backend.loadFixturesFromFile(hostile + ".json");
    QCOMPARE(backend.fixtures().size(), 4);
    backend.saveFixturesToFile(path("saved.json"));
    const QString saved = QString::fromUtf8(readBytes(path("saved.json")));
    QCOMPARE(QString(saved).replace(QRegularExpression(R"("id": ")" + kNewId + "\""), R"("id": "<new id>")"),
             QString::fromUtf8(readBytes(hostile + "-saved.json")));

    // Once saved, the ids hold from load to load.
    backend.loadFixturesFromFile(path("saved.json"));
    backend.saveFixturesToFile(path("saved.json"));
    QCOMPARE(QString::fromUtf8(readBytes(path("saved.json"))), saved);
}

// The example saved to the default file, in a configuration folder made anew, and read
// back by a blank path.
void TestFixtures::exampleThroughTheDefaultFile()
{
    const QString folder = QStandardPaths::writableLocation(QStandardPaths::AppConfigLocation);
    const QString defaultPath = folder + "/osc_fixtures.json";
    QVERIFY(QDir(folder).removeRecursively());

    OscEmulatorBackend backend;
    QSignalSpy changed(&backend, &OscEmulatorBackend::fixturesChanged);
    backend.loadDefaultFixturesConfig();
    QCOMPARE(lastLine(backend), "[WARNING] Fixtures file not found: " + defaultPath);
    QCOMPARE(changed.count(), 0);
    backend.saveDefaultFixturesConfig();
    QCOMPARE(readBytes(defaultPath), QByteArray("{\n    \"fixtures\": [\n    ]\n}\n"));

    backend.loadFixturesFromFile(kExample);
    QCOMPARE(backend.fixtures().size(), 4);
    QVERIFY(QDir(folder).removeRecursively());
    backend.saveDefaultFixturesConfig();
    QCOMPARE(lastLine(backend), "[INFO] Saved 4 fixtures to " + defaultPath);
    QCOMPARE(readBytes(defaultPath), readBytes(kExample));

    OscEmulatorBackend other;
    other.loadFixturesFromFile(" \t ");
    QCOMPARE(lastLine(other), "[INFO] Loaded 4 fixtures from " + defaultPath);
    QCOMPARE(other.fixtures(), backend.fixtures());
}

// Saving fewer fixtures over a file says so, naming the copy of the previous file kept
// beside it, from which the desk comes back; pressing save again keeps that copy, and a
// save that cannot keep it writes nothing.
void TestFixtures::saveKeepsThePreviousFile()
{
    const QString target = path("desk.json");
    const QString backup = target + ".bak";
    QVERIFY(writeBytes(target, readBytes(kExample)));
    OscEmulatorBackend backend;
    const int mark = backend.logMessages().size();
    backend.saveFixturesToFile(target);
    backend.saveFixturesToFile(target);
    QStringList lines;
    for (const QString &line : backend.logMessages().mid(mark))
        lines << line.mid(11);
    QCOMPARE(lines, (QStringList{"[INFO] Saved 0 fixtures to " + target,
                                 "[WARNING] Saved 0 fixtures over a file that held 4; the previous file is kept as "
                                         + backup,
                                 "[INFO] Saved 0 fixtures to " + target}));
    QCOMPARE(readBytes(backup), readBytes(kExample));

    backend.loadFixturesFromFile(backup);
    OscEmulatorBackend reference;
    reference.loadFixturesFromFile(kExample);
    QCOMPARE(backend.fixtures(), reference.fixtures());

    const QByteArray saved = readBytes(target);
    QVERIFY(QFile::remove(backup) && QDir().mkpath(backup));
    backend.saveFixturesToFile(target);
    QCOMPARE(lastLine(backend), "[CRITICAL] Cannot write fixtures file: " + target
                     + " (the previous file could not be kept as " + backup + ")");
    QCOMPARE(readBytes(target), saved);
}

// Each row: what to make first (a folder when it ends in '/', else a file with the
// content), load or save, the path, the one log line and errorOccurred text (%1: the path
// as given), a size limit for files (0: none) and the fixtures then held as "name:id", a
// freshly made id as "new" (none: the example's, untouched).
void TestFixtures::loadAndSave_data()
{
    QTest::addColumn<QString>("prepare");
    QTest::addColumn<QByteArray>("content");
    QTest::addColumn<bool>("save");
    QTest::addColumn<QString>("target");
    QTest::addColumn<QString>("line");
    QTest::addColumn<QString>("error");
    QTest::addColumn<int>("sizeLimit");
    QTest::addColumn<QStringList>("fixtures");

    const auto loaded = [](const char *name, const QByteArray &content, const QStringList &fixtures) {
        QTest::newRow(name) << "fx.json" << content << false << "fx.json"
                            << QString("[INFO] Loaded %1 fixtures from %2").arg(fixtures.size()).arg("%1")
                            << QString() << 0 << fixtures;
    };
    const auto failed = [](const char *name, bool save, const char *prepare, const QByteArray &content,
                           const char *target, const QString &line, const QString &error, int sizeLimit = 0) {
        QTest::newRow(name) << prepare << content << save << target << (line.isEmpty() ? "[CRITICAL] " + error : line)
                            << error << sizeLimit << QStringList();
    };
    loaded("array form, blank ids", R"([{"name":"A","id":null},3,{"name":"B","id":{"a":1}}])", {"A:new", "B:new"});
    loaded("object form, ids kept", R"({"fixtures":[{"name":"A","id":false},{"name":"B","id":" a "}]})",
           {"A:false", "B: a "});
    loaded("object form without fixtures", R"({"name":"A"})", {});
    loaded("empty array", "[]", {});
    loaded("byte order mark", "\xef\xbb\xbf[{\"name\":\"A\",\"id\":1}]", {"A:1"});
    const QString parse = "[CRITICAL] Error parsing fixtures JSON: ";
    const QString invalid = "Error reading fixtures file (invalid JSON).";
    const QString notFound = "[WARNING] Fixtures file not found: %1";
    failed("missing file", false, "", "", "absent.json", notFound, "");
    failed("path not trimmed", false, "fx.json", "[]", "fx.json ", notFound, "");
    failed("directory as path", false, "dir.json/", "", "dir.json", "", "Cannot open fixtures file: %1");
    failed("read fails after open", false, "", "", "/proc/self/mem", "", "Cannot open fixtures file: %1");
    failed("empty file", false, "fx.json", "", "fx.json", parse + "illegal value", invalid);
    failed("invalid JSON", false, "fx.json", R"({"fixtures": [)", "fx.json", parse + "unterminated array", invalid);
    failed("top-level number", false, "fx.json", "42", "fx.json", parse + "illegal value", invalid);
    failed("save onto a directory", true, "dir.json/", "", "dir.json", "", "Cannot write fixtures file: %1");
    failed("save under a regular file", true, "plain.json", "[]", "plain.json/sub/fx.json", "",
           "Cannot write fixtures file: %1");
    // The document is larger than the limit, the debug log file is not: as on a full disk.
    failed("save fails half-way", true, "fx.json", "[]", "fx.json", "", "Cannot write fixtures file: %1", 4096);
    // Kept whole as the backup; a file of as many fixtures, or none to count, gives no warning.
    const auto savedOver = [](const char *name, const QByteArray &content) {
        QTest::newRow(name) << "fx.json" << content << true << "fx.json" << "[INFO] Saved 4 fixtures to %1"
                            << QString() << 0 << QStringList();
    };
    savedOver("save over as many fixtures", readBytes(kExample) + ' ');
    savedOver("save over invalid JSON", R"({"fixtures": [)");
}

void TestFixtures::loadAndSave()
{
    QFETCH(QString, prepare);
    QFETCH(QByteArray, content);
    QFETCH(bool, save);
    QFETCH(QString, target);
    QFETCH(QString, line);
    QFETCH(QString, error);
    QFETCH(int, sizeLimit);
    QFETCH(QStringList, fixtures);

    QTemporaryDir dir;
    if (prepare.endsWith('/'))
        QVERIFY(QDir().mkpath(dir.filePath(prepare)));
    else if (!prepare.isEmpty())
        QVERIFY(writeBytes(dir.filePath(prepare), content));
    const QString given = QDir::isAbsolutePath(target) ? target : dir.filePath(target);

    OscEmulatorBackend backend;
    backend.loadFixturesFromFile(kExample);
    const QVariantList example = backend.fixtures();
    const int lines = backend.logMessages().size();
    QSignalSpy changed(&backend, &OscEmulatorBackend::fixturesChanged);
    QSignalSpy errors(&backend, &OscEmulatorBackend::errorOccurred);
    std::signal(SIGXFSZ, SIG_IGN);
    rlimit saved;
    QVERIFY(getrlimit(RLIMIT_FSIZE, &saved) == 0);
    rlimit tight = saved;
    tight.rlim_cur = sizeLimit;
    QVERIFY(sizeLimit == 0 || setrlimit(RLIMIT_FSIZE, &tight) == 0);
    if (save)
        backend.saveFixturesToFile(given);
    else
        backend.loadFixturesFromFile(given);
    setrlimit(RLIMIT_FSIZE, &saved);

    QCOMPARE(backend.logMessages().size(), lines + 1);
    QCOMPARE(lastLine(backend), QString(line).replace("%1", given));
    QStringList errorTexts;
    for (const QVariantList &emission : std::as_const(errors))
        errorTexts << emission.at(0).toString();
    QCOMPARE(errorTexts, error.isEmpty() ? QStringList() : QStringList{QString(error).replace("%1", given)});
    // What was there is kept: in place, or beside it after a save.
    if (prepare == target)
        QCOMPARE(readBytes(save && error.isEmpty() ? given + ".bak" : given), content);
    if (!line.startsWith("[INFO] Loaded")) {
        QCOMPARE(changed.count(), 0);
        QCOMPARE(backend.fixtures(), example);
        return;
    }
    QCOMPARE(changed.count(), 1);
    QStringList held;
    for (const QVariant &fixture : backend.fixtures()) {
        const QString id = fixture.toMap().value("id").toString();
        held << fixture.toMap().value("name").toString() + ":"
                        + (QRegularExpression("^" + kNewId + "$").match(id).hasMatch() ? "new" : id);
    }
    QCOMPARE(held, fixtures);
}

QTEST_GUILESS_MAIN(TestFixtures)
#include "tst_fixtures.moc"
