#include "fixtureformat.h"
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
    void init();
    void cleanup();
    void normalizeFixture_data();
    void normalizeFixture();
    void documentForms_data();
    void documentForms();
    void exampleDesk();
    void hostileFileSavedNormalised();
    void defaultFile();
    void emptyListSavedIntoNewFolders();
    void failures_data();
    void failures();
    void failedSaveKeepsPreviousFile();

private:
    QString path(const QString &name) const { return m_dir->filePath(name); }
    QTemporaryDir *m_dir = nullptr;
};

static const QRegularExpression kNewId(QStringLiteral(
        "^[0-9a-f]{8}-[0-9a-f]{4}-4[0-9a-f]{3}-[89ab][0-9a-f]{3}-[0-9a-f]{12}$"));

static QString examplePath()
{
    return qEnvironmentVariable("OSC_EXAMPLES_DIR") + QStringLiteral("/osc_fixtures.json");
}

static QString dataPath(const QString &name)
{
    return qEnvironmentVariable("OSC_TEST_DATA_DIR") + QStringLiteral("/fixtures/") + name;
}

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
    const QString config = qEnvironmentVariable("XDG_CONFIG_HOME");
    QVERIFY2(!config.isEmpty()
                     && QStandardPaths::writableLocation(QStandardPaths::AppConfigLocation).startsWith(config),
             "run through ctest, which gives the test its own configuration folder");
}

void TestFixtures::init()
{
    m_dir = new QTemporaryDir;
    QVERIFY(m_dir->isValid());
}

void TestFixtures::cleanup()
{
    delete m_dir;
    m_dir = nullptr;
}

void TestFixtures::normalizeFixture_data()
{
    QTest::addColumn<QVariantMap>("input");
    QTest::addColumn<QString>("key");
    QTest::addColumn<QVariant>("expected"); // invalid: a freshly made id

    const QVariant nothing = QVariant::fromValue(nullptr);
    const QVariantMap channels{{"channels", QVariantMap{{"1", QVariantMap{{"label", "Vol"}}}}}, {"vendor", 1}};
    QTest::newRow("id missing") << QVariantMap{} << "id" << QVariant();
    QTest::newRow("id blank") << QVariantMap{{"id", " \t "}} << "id" << QVariant();
    QTest::newRow("id null") << QVariantMap{{"id", nothing}} << "id" << QVariant();
    QTest::newRow("id object") << QVariantMap{{"id", QVariantMap{{"a", 1}}}} << "id" << QVariant();
    QTest::newRow("id number kept") << QVariantMap{{"id", qlonglong(17)}} << "id" << QVariant(qlonglong(17));
    QTest::newRow("id false kept") << QVariantMap{{"id", false}} << "id" << QVariant(false);
    QTest::newRow("id not trimmed") << QVariantMap{{"id", " a "}} << "id" << QVariant(" a ");
    QTest::newRow("name missing") << QVariantMap{} << "name" << QVariant("Dispositivo OSC");
    QTest::newRow("name empty kept") << QVariantMap{{"name", ""}} << "name" << QVariant("");
    QTest::newRow("name null kept") << QVariantMap{{"name", nothing}} << "name" << nothing;
    QTest::newRow("manufacturer missing") << QVariantMap{} << "manufacturer" << QVariant("");
    QTest::newRow("model missing") << QVariantMap{} << "model" << QVariant("");
    QTest::newRow("deviceType missing") << QVariantMap{} << "deviceType" << QVariant("Generic");
    QTest::newRow("universe missing") << QVariantMap{} << "universe" << QVariant(0);
    QTest::newRow("universe negative") << QVariantMap{{"universe", -4}} << "universe" << QVariant(0);
    QTest::newRow("universe numeric text") << QVariantMap{{"universe", "2"}} << "universe" << QVariant(2);
    QTest::newRow("universe true") << QVariantMap{{"universe", true}} << "universe" << QVariant(1);
    QTest::newRow("universe fraction") << QVariantMap{{"universe", 2.5}} << "universe" << QVariant(3);
    QTest::newRow("startChannel missing") << QVariantMap{} << "startChannel" << QVariant(1);
    QTest::newRow("startChannel 0") << QVariantMap{{"startChannel", 0}} << "startChannel" << QVariant(1);
    QTest::newRow("startChannel 512") << QVariantMap{{"startChannel", 512}} << "startChannel" << QVariant(512);
    QTest::newRow("startChannel 600") << QVariantMap{{"startChannel", 600}} << "startChannel" << QVariant(512);
    QTest::newRow("channelCount missing") << QVariantMap{} << "channelCount" << QVariant(3);
    QTest::newRow("channelCount not numeric") << QVariantMap{{"channelCount", "lots"}} << "channelCount" << QVariant(1);
    QTest::newRow("channelCount false") << QVariantMap{{"channelCount", false}} << "channelCount" << QVariant(1);
    QTest::newRow("channelCount 513") << QVariantMap{{"channelCount", 513.0}} << "channelCount" << QVariant(512);
    QTest::newRow("capabilities missing") << QVariantMap{} << "capabilities" << QVariant(QVariantMap{});
    QTest::newRow("capabilities text") << QVariantMap{{"capabilities", "none"}} << "capabilities" << QVariant(QVariantMap{});
    QTest::newRow("capabilities array") << QVariantMap{{"capabilities", QVariantList{channels}}} << "capabilities" << QVariant(QVariantMap{});
    QTest::newRow("capabilities kept whole") << QVariantMap{{"capabilities", channels}} << "capabilities" << QVariant(channels);
    QTest::newRow("unknown key kept") << QVariantMap{{"colour", "amber"}} << "colour" << QVariant("amber");
}

void TestFixtures::normalizeFixture()
{
    QFETCH(QVariantMap, input);
    QFETCH(QString, key);
    QFETCH(QVariant, expected);

    const QVariantMap fixture = FixtureFormat::normalizeFixture(input);
    for (const char *name : {"id", "name", "manufacturer", "model", "deviceType", "universe", "startChannel",
                             "channelCount", "capabilities"})
        QVERIFY2(fixture.contains(name), name);
    const QVariant actual = fixture.value(key);
    if (!expected.isValid()) {
        QVERIFY2(kNewId.match(actual.toString()).hasMatch(), qPrintable(actual.toString()));
        QVERIFY(FixtureFormat::normalizeFixture(input).value(key) != actual);
        return;
    }
    QCOMPARE(actual.metaType(), expected.metaType());
    QCOMPARE(actual, expected);
}

void TestFixtures::documentForms_data()
{
    QTest::addColumn<QByteArray>("json");
    QTest::addColumn<QStringList>("names");

    QTest::newRow("array form, number skipped") << QByteArray(R"([{"name":"A"},{"name":"B"},3])") << QStringList{"A", "B"};
    QTest::newRow("array form, non-objects skipped")
            << QByteArray(R"([1,"x",true,null,[{"name":"N"}],{"name":"A"}])") << QStringList{"A"};
    QTest::newRow("object form, other keys ignored")
            << QByteArray(R"({"version":2,"fixtures":[{"name":"A"},{"name":"B"}]})") << QStringList{"A", "B"};
    QTest::newRow("object form without fixtures") << QByteArray(R"({"name":"A"})") << QStringList{};
    QTest::newRow("fixtures a number") << QByteArray(R"({"fixtures":5})") << QStringList{};
    QTest::newRow("fixtures an object") << QByteArray(R"({"fixtures":{"name":"A"}})") << QStringList{};
    QTest::newRow("empty array") << QByteArray("[]") << QStringList{};
    QTest::newRow("byte order mark") << QByteArray("\xef\xbb\xbf[{\"name\":\"A\"}]") << QStringList{"A"};
}

void TestFixtures::documentForms()
{
    QFETCH(QByteArray, json);
    QFETCH(QStringList, names);

    OscEmulatorBackend backend;
    backend.loadFixturesFromFile(examplePath());
    QCOMPARE(backend.fixtures().size(), 4);
    QVERIFY(writeBytes(path("fx.json"), json));
    QSignalSpy changed(&backend, &OscEmulatorBackend::fixturesChanged);
    QVERIFY(changed.isValid());
    backend.loadFixturesFromFile(path("fx.json"));

    QCOMPARE(changed.count(), 1);
    QStringList loaded;
    for (const QVariant &fixture : backend.fixtures())
        loaded << fixture.toMap().value("name").toString();
    QCOMPARE(loaded, names);
    QCOMPARE(lastLine(backend), QString("[INFO] Loaded %1 fixtures from %2").arg(names.size()).arg(path("fx.json")));
}

void TestFixtures::exampleDesk()
{
    OscEmulatorBackend backend;
    backend.loadFixturesFromFile(examplePath());
    QCOMPARE(backend.fixtures().size(), 4);

    // What a new user should find in the example, and a strip that fits on a screen.
    QSet<QString> seen;
    for (const QVariant &value : backend.fixtures()) {
        const QVariantMap fixture = value.toMap();
        const int first = fixture.value("startChannel").toInt();
        const int last = first + fixture.value("channelCount").toInt() - 1;
        const QVariantMap channels = fixture.value("capabilities").toMap().value("channels").toMap();
        int faders = 0;
        int pads = 0;
        for (int channel = first; channel <= last; ++channel) {
            const QVariantMap entry = channels.value(QString::number(channel)).toMap();
            const QString type = entry.value("controlType").toString();
            const QString sends = entry.value("oscAddress").toString().isEmpty()
                    ? QStringLiteral("generic") : "," + entry.value("argType").toString();
            if (entry.contains("note"))
                seen << "note";
            if (type == "button") {
                seen << "button " + entry.value("mode").toString() << "button " + sends;
                if (sends == ",s" && entry.value("stringValue").toString().isEmpty())
                    QFAIL("a text button without a stringValue");
            } else if (type == "xy") {
                seen << "xy " + sends;
                ++pads;
            } else {
                seen << "fader " + sends;
                ++faders;
            }
            if (fixture.value("deviceType").toString().contains("rgb", Qt::CaseInsensitive)
                    && channel - first < 3 && entry.value("label").toString().isEmpty())
                seen << QStringLiteral("automatic RGB label %1").arg(channel - first);
        }
        for (const QString &key : channels.keys())
            QVERIFY2(key.toInt() >= first && key.toInt() <= last, qPrintable("entry outside its fixture: " + key));
        QVERIFY(faders <= 8 && pads <= 1);
    }
    for (const char *kind : {"fader ,i", "fader ,h", "fader ,f", "fader ,d", "fader ,", "fader generic",
                             "xy ,", "button toggle", "button momentary", "button ,", "button ,T", "button ,none",
                             "button ,I", "button ,s", "button generic", "automatic RGB label 0",
                             "automatic RGB label 1", "automatic RGB label 2", "note"})
        QVERIFY2(seen.contains(kind), kind);

    backend.saveFixturesToFile(path("saved.json"));
    QCOMPARE(readBytes(path("saved.json")), readBytes(examplePath()));
}

void TestFixtures::hostileFileSavedNormalised()
{
    OscEmulatorBackend backend;
    backend.loadFixturesFromFile(dataPath("hostile.json"));
    QCOMPARE(backend.fixtures().size(), 4);
    const QVariant firstId = backend.fixtures().at(0).toMap().value("id");
    backend.loadFixturesFromFile(dataPath("hostile.json"));
    QVERIFY(backend.fixtures().at(0).toMap().value("id") != firstId);

    backend.saveFixturesToFile(path("saved.json"));
    QString saved = QString::fromUtf8(readBytes(path("saved.json")));
    saved.replace(QRegularExpression(R"("id": "[0-9a-f]{8}-[0-9a-f]{4}-4[0-9a-f]{3}-[89ab][0-9a-f]{3}-[0-9a-f]{12}")"),
                  R"("id": "<new id>")");
    QCOMPARE(saved, QString::fromUtf8(readBytes(dataPath("hostile-saved.json"))));

    // Once saved, the ids hold from load to load.
    backend.loadFixturesFromFile(path("saved.json"));
    const QVariantList once = backend.fixtures();
    backend.loadFixturesFromFile(path("saved.json"));
    QCOMPARE(backend.fixtures(), once);
}

void TestFixtures::defaultFile()
{
    const QString folder = QStandardPaths::writableLocation(QStandardPaths::AppConfigLocation);
    const QString defaultPath = folder + "/osc_fixtures.json";
    QVERIFY(QDir(folder).removeRecursively());

    OscEmulatorBackend backend;
    QSignalSpy changed(&backend, &OscEmulatorBackend::fixturesChanged);
    QVERIFY(changed.isValid());
    backend.loadDefaultFixturesConfig();
    QCOMPARE(lastLine(backend), "[WARNING] Fixtures file not found: " + defaultPath);
    QVERIFY(QFileInfo(folder).isDir());
    QCOMPARE(changed.count(), 0);

    backend.loadFixturesFromFile(examplePath());
    QVERIFY(QDir(folder).removeRecursively());
    backend.saveDefaultFixturesConfig();
    QCOMPARE(lastLine(backend), "[INFO] Saved 4 fixtures to " + defaultPath);
    QCOMPARE(readBytes(defaultPath), readBytes(examplePath()));

    OscEmulatorBackend other;
    other.loadFixturesFromFile(" \t ");
    QCOMPARE(lastLine(other), "[INFO] Loaded 4 fixtures from " + defaultPath);
    QCOMPARE(other.fixtures(), backend.fixtures());
}

void TestFixtures::emptyListSavedIntoNewFolders()
{
    OscEmulatorBackend backend;
    backend.saveFixturesToFile(path("a/b/c/fx.json"));
    QCOMPARE(lastLine(backend), "[INFO] Saved 0 fixtures to " + path("a/b/c/fx.json"));
    QCOMPARE(readBytes(path("a/b/c/fx.json")), QByteArray("{\n    \"fixtures\": [\n    ]\n}\n"));
}

void TestFixtures::failures_data()
{
    QTest::addColumn<QString>("prepare");  // made first: a folder when it ends in '/', else a file with content
    QTest::addColumn<QByteArray>("content");
    QTest::addColumn<bool>("save");
    QTest::addColumn<QString>("target");
    QTest::addColumn<QString>("line");     // level tag and message, %1: the path as given
    QTest::addColumn<QString>("error");    // empty: no errorOccurred

    const QString notFound = "Fixtures file not found: %1";
    const QString cannotOpen = "Cannot open fixtures file: %1";
    const QString cannotWrite = "Cannot write fixtures file: %1";
    const QString parse = "[CRITICAL] Error parsing fixtures JSON: ";
    const QString invalid = "Error reading fixtures file (invalid JSON).";
    const QByteArray deep = QByteArray(100000, '[') + QByteArray(100000, ']');

    QTest::newRow("missing file") << "" << QByteArray() << false << "absent.json" << "[WARNING] " + notFound << "";
    QTest::newRow("path not trimmed") << "fx.json" << QByteArray("[]") << false << "fx.json " << "[WARNING] " + notFound << "";
    QTest::newRow("directory as path") << "folder.json/" << QByteArray() << false << "folder.json" << "[CRITICAL] " + cannotOpen << cannotOpen;
    QTest::newRow("read fails after open") << "" << QByteArray() << false << "/proc/self/mem" << "[CRITICAL] " + cannotOpen << cannotOpen;
    QTest::newRow("empty file") << "fx.json" << QByteArray() << false << "fx.json" << parse + "illegal value" << invalid;
    QTest::newRow("invalid JSON") << "fx.json" << QByteArray(R"({"fixtures": [)") << false << "fx.json"
                                  << parse + "unterminated array" << invalid;
    QTest::newRow("top-level number") << "fx.json" << QByteArray("42") << false << "fx.json" << parse + "illegal value" << invalid;
    QTest::newRow("top-level string") << "fx.json" << QByteArray(R"("fixtures")") << false << "fx.json"
                                      << parse + "illegal value" << invalid;
    QTest::newRow("invalid UTF-8") << "fx.json" << QByteArray("[{\"name\": \"\xff\xfe\"}]") << false << "fx.json"
                                   << parse + "invalid UTF8 string" << invalid;
    QTest::newRow("deeply nested") << "fx.json" << deep << false << "fx.json" << parse + "too deeply nested document" << invalid;
    QTest::newRow("save onto a directory") << "folder.json/" << QByteArray() << true << "folder.json" << "[CRITICAL] " + cannotWrite << cannotWrite;
    QTest::newRow("save under a regular file") << "plain.json" << QByteArray("[]") << true << "plain.json/sub/fx.json"
                                               << "[CRITICAL] " + cannotWrite << cannotWrite;
}

void TestFixtures::failures()
{
    QFETCH(QString, prepare);
    QFETCH(QByteArray, content);
    QFETCH(bool, save);
    QFETCH(QString, target);
    QFETCH(QString, line);
    QFETCH(QString, error);

    if (prepare.endsWith('/'))
        QVERIFY(QDir().mkpath(path(prepare)));
    else if (!prepare.isEmpty())
        QVERIFY(writeBytes(path(prepare), content));
    const QString given = QDir::isAbsolutePath(target) ? target : path(target);

    OscEmulatorBackend backend;
    backend.loadFixturesFromFile(examplePath());
    const QVariantList before = backend.fixtures();
    QCOMPARE(before.size(), 4);
    const int lines = backend.logMessages().size();
    QSignalSpy changed(&backend, &OscEmulatorBackend::fixturesChanged);
    QSignalSpy errors(&backend, &OscEmulatorBackend::errorOccurred);
    QVERIFY(changed.isValid() && errors.isValid());

    if (save)
        backend.saveFixturesToFile(given);
    else
        backend.loadFixturesFromFile(given);

    QCOMPARE(backend.logMessages().size(), lines + 1);
    QCOMPARE(lastLine(backend), line.contains("%1") ? line.arg(given) : line);
    QCOMPARE(errors.count(), error.isEmpty() ? 0 : 1);
    if (!error.isEmpty())
        QCOMPARE(errors.at(0).at(0).toString(), error.contains("%1") ? error.arg(given) : error);
    QCOMPARE(changed.count(), 0);
    QCOMPARE(backend.fixtures(), before);
}

void TestFixtures::failedSaveKeepsPreviousFile()
{
    QByteArray many = "[";
    for (int i = 0; i < 300; ++i)
        many += R"({"name": "x"},)";
    many.back() = ']';
    QVERIFY(writeBytes(path("fx.json"), many));
    OscEmulatorBackend backend;
    backend.loadFixturesFromFile(path("fx.json"));
    QCOMPARE(backend.fixtures().size(), 300);
    QVERIFY(writeBytes(path("fx.json"), "[]"));

    // A file-size limit makes the write fail half-way, as a full disk would.
    std::signal(SIGXFSZ, SIG_IGN);
    rlimit saved;
    QVERIFY(getrlimit(RLIMIT_FSIZE, &saved) == 0);
    rlimit tight = saved;
    tight.rlim_cur = 16384;
    QVERIFY(setrlimit(RLIMIT_FSIZE, &tight) == 0);
    backend.saveFixturesToFile(path("fx.json"));
    setrlimit(RLIMIT_FSIZE, &saved);

    QCOMPARE(lastLine(backend), "[CRITICAL] Cannot write fixtures file: " + path("fx.json"));
    QCOMPARE(readBytes(path("fx.json")), QByteArray("[]"));
}

QTEST_GUILESS_MAIN(TestFixtures)
#include "tst_fixtures.moc"
