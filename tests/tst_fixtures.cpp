#include "deskcontrol.h"
#include "deskeditor.h"
#include "fixturestore.h"
#include "oscdesk.h"
#include "oscmonitor.h"
#include "testsupport.h"

#include <QDir>
#include <QJsonDocument>
#include <QRegularExpression>
#include <QScopeGuard>
#include <QSignalSpy>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>

#include <cerrno>
#include <csignal>
#include <sched.h>
#include <sys/mount.h>
#include <sys/resource.h>

using namespace TestSupport;

// The fixtures file: normalisation, the two document forms, and loading and saving
// through the backend with every outcome as one log line; then hostile and unlucky
// surroundings: huge and deep files, a read-only folder, a full disk, a working
// directory gone. Nothing already held is lost. Last, the desk that a load builds.
class TestFixtures : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase();
    void savedNormalisedAndReadBack();
    void saveKeepsThePreviousFile();
    void loadAndSave_data();
    void loadAndSave();
    void logFileOnAFullDisk();
    void workingDirectoryGone();
    void desk_data();
    void desk();
    void edits_data();
    void edits();

private:
    QTemporaryDir m_dir;
    bool m_mounted = false;  // read-only/ (holding fx.json) and a 64 KiB full/ are mounted
};

static const QRegularExpression kNewId("^[0-9a-f]{8}-[0-9a-f]{4}-4[0-9a-f]{3}-[89ab][0-9a-f]{3}-[0-9a-f]{12}$");

// Every default and bound of a fixture: data/fixtures/hostile.json saved gives
// hostile-saved.json but for the new ids, which then hold. The example, saved to the
// default file in a configuration folder made anew, comes out byte for byte and is read
// back by a blank path.
void TestFixtures::savedNormalisedAndReadBack()
{
    const QString hostile = qEnvironmentVariable("OSC_TEST_DATA_DIR") + "/fixtures/hostile";
    const QString saved = m_dir.filePath("saved.json");
    OscEmulatorBackend backend;
    backend.loadFixturesFromFile(hostile + ".json");
    backend.saveFixturesToFile(saved);
    const QString text = QString::fromUtf8(readBytes(saved));
    QCOMPARE(QString(text).replace(QRegularExpression(R"("id": "[0-9a-f-]{36}")"), R"("id": "<new id>")"),
             QString::fromUtf8(readBytes(hostile + "-saved.json")));
    backend.loadFixturesFromFile(saved);
    backend.saveFixturesToFile(saved);
    QCOMPARE(QString::fromUtf8(readBytes(saved)), text);

    const QString folder = QStandardPaths::writableLocation(QStandardPaths::AppConfigLocation);
    QVERIFY2(folder.startsWith(qEnvironmentVariable("XDG_CONFIG_HOME", "/nowhere")), "run through ctest");
    QVERIFY(QDir(folder).removeRecursively());
    backend.loadFixturesFromFile(kExample);
    backend.saveDefaultFixturesConfig();
    QCOMPARE(readBytes(folder + "/osc_fixtures.json"), readBytes(kExample));
    OscEmulatorBackend other;
    other.loadFixturesFromFile(" \t ");
    QCOMPARE(logLines(other).last(), "[INFO] Loaded 4 fixtures from " + folder + "/osc_fixtures.json");
    QCOMPARE(other.fixtures(), backend.fixtures());
}

// Saving fewer fixtures over a file says so, naming the copy of the previous file kept
// beside it, from which the desk comes back; saving again keeps that copy, and a save
// that cannot keep it writes nothing.
void TestFixtures::saveKeepsThePreviousFile()
{
    const QString target = m_dir.filePath("desk.json");
    const QString backup = target + ".bak";
    QVERIFY(writeBytes(target, readBytes(kExample)));
    OscEmulatorBackend backend;
    const int mark = backend.logMessages().size();
    backend.saveFixturesToFile(target);
    backend.saveFixturesToFile(target);
    QCOMPARE(logLines(backend, mark), (QStringList{"[INFO] Saved 0 fixtures to " + target,
                                                   "[WARNING] Saved 0 fixtures over a file that held 4; the previous "
                                                   "file is kept as " + backup,
                                                   "[INFO] Saved 0 fixtures to " + target}));
    backend.loadFixturesFromFile(backup);
    QCOMPARE(backend.fixtures().size(), 4);
    const QByteArray saved = readBytes(target);
    QVERIFY(QFile::remove(backup) && QDir().mkpath(backup));
    backend.saveFixturesToFile(target);
    QCOMPARE(logLines(backend).last(), "[CRITICAL] Cannot write fixtures file: " + target
                     + " (the previous file could not be kept as " + backup + ")");
    QCOMPARE(readBytes(target), saved);
}

// Each row: a file to make first (a folder when it ends in '/') with its content, the
// path to load or save, the one log line (%1: the path as given), the errorOccurred text
// if any, and the fixtures then held as "name:id", a newly made id as "new". After a
// failure the example stays loaded.
void TestFixtures::loadAndSave_data()
{
    QTest::addColumn<QString>("prepare");
    QTest::addColumn<QByteArray>("content");
    QTest::addColumn<QString>("operation");
    QTest::addColumn<QString>("line");
    QTest::addColumn<QString>("error");
    QTest::addColumn<QStringList>("fixtures");

    const auto row = [](const char *name, const char *prepare, const QByteArray &content, const QString &operation,
                        const QString &line, const char *error = "", const QStringList &fixtures = {}) {
        QTest::newRow(name) << prepare << content << operation << line << QString(error) << fixtures;
    };
    // A file of 100 MB: blanks between a head and a tail.
    const auto hundredMB = [this](const char *name, const QByteArray &head, const QByteArray &tail) {
        QFile file(m_dir.filePath(name));
        QVERIFY(file.open(QIODevice::WriteOnly) && file.write(head) == head.size());
        for (int i = 0; i < 100; ++i)
            QVERIFY(file.write(QByteArray(1 << 20, ' ')) == 1 << 20);
        QVERIFY(file.write(tail) == tail.size());
    };
    QByteArray many = "[";
    for (int i = 0; i < 10000; ++i)
        many += R"({"name":"F)" + QByteArray::number(i) + R"(","capabilities":{"channels":{"1":{"label":"x"}}}},)";
    many.back() = ']';
    const auto loaded = [](int count) { return QStringLiteral("[INFO] Loaded %1 fixtures from ").arg(count) + "%1"; };
    row("array form, blank ids", "fx.json", R"([{"name":"A","id":null},3,{"name":"B","id":{"a":1}}])", "load fx.json",
        loaded(2), "", {"A:new", "B:new"});
    row("object form, ids kept", "fx.json", R"({"fixtures":[{"name":"A","id":false},{"name":"B","id":" a "}]})",
        "load fx.json", loaded(2), "", {"A:false", "B: a "});
    row("object form without fixtures", "fx.json", R"({"name":"A"})", "load fx.json", loaded(0));
    row("missing file", "", "", "load absent.json", "[WARNING] Fixtures file not found: %1");
    row("path not trimmed", "fx.json", "[]", "load fx.json ", "[WARNING] Fixtures file not found: %1");
    row("directory as path", "dir.json/", "", "load dir.json", "[CRITICAL] Cannot open fixtures file: %1",
        "Cannot open fixtures file: %1");
    row("read fails after open", "", "", "load /proc/self/mem", "[CRITICAL] Cannot open fixtures file: %1",
        "Cannot open fixtures file: %1");
    const QString parse = "[CRITICAL] Error parsing fixtures JSON: ";
    const char *invalid = "Error reading fixtures file (invalid JSON).";
    row("invalid JSON", "fx.json", R"({"fixtures": [)", "load fx.json", parse + "unterminated array", invalid);
    hundredMB("big.json", "[", R"({"name":"big"}])");
    row("100 MB of blanks around a fixture", "", "", "load " + m_dir.filePath("big.json"), loaded(1), "", {"big:new"});
    hundredMB("cut.json", R"({"fixtures":[{"name":)", "");
    row("100 MB cut short", "", "", "load " + m_dir.filePath("cut.json"), parse + "unterminated object", invalid);
    row("10,000 fixtures", "fx.json", many, "load fx.json", loaded(10000), "", {"F0:new", "F1:new"});
    row("1,000 levels deep inside a fixture", "fx.json", R"([{"name":"deep","capabilities":)" + QByteArray(1000, '[')
        + QByteArray(1000, ']') + "}]", "load fx.json", loaded(1), "", {"deep:new"});
    row("100,000 levels deep", "fx.json", QByteArray(100000, '[') + QByteArray(100000, ']'), "load fx.json",
        parse + "too deeply nested document", invalid);
    row("save onto a directory", "dir.json/", "", "save dir.json", "[CRITICAL] Cannot write fixtures file: %1",
        "Cannot write fixtures file: %1");
    // As many fixtures, or none to count, give no warning.
    row("save over as many fixtures", "fx.json", readBytes(kExample) + ' ', "save fx.json",
        "[INFO] Saved 4 fixtures to %1");
    row("save over invalid JSON", "fx.json", R"({"fixtures": [)", "save fx.json", "[INFO] Saved 4 fixtures to %1");
    // Root writes through permission bits: the read-only folder and the 64 KiB disk are
    // mounts of this process alone (see initTestCase); without root they are not tested.
    // The document (8 KiB) fits in the file's write buffer: the full disk refuses it only
    // when the buffer is flushed.
    if (m_mounted && writeBytes(m_dir.filePath("full/fx.json"), "[]")
        && !writeBytes(m_dir.filePath("full/filler"), QByteArray(128 << 10, 'x'))) {
        for (const auto &[name, folder] : {std::pair{"save into a read-only folder", "read-only"},
                                           std::pair{"save onto a full disk", "full"}})
            row(name, "", "", "save " + m_dir.filePath(folder) + "/fx.json", "[CRITICAL] Cannot write fixtures file: %1",
                "Cannot write fixtures file: %1");
    }
}

void TestFixtures::loadAndSave()
{
    QFETCH(QString, prepare);
    QFETCH(QByteArray, content);
    QFETCH(QString, operation);
    QFETCH(QString, line);
    QFETCH(QString, error);
    QFETCH(QStringList, fixtures);

    QTemporaryDir dir;
    if (prepare.endsWith('/'))
        QVERIFY(QDir().mkpath(dir.filePath(prepare)));
    else if (!prepare.isEmpty())
        QVERIFY(writeBytes(dir.filePath(prepare), content));
    const QString target = operation.mid(5);
    const QString path = QDir::isAbsolutePath(target) ? target : dir.filePath(target);
    OscEmulatorBackend backend;
    backend.loadFixturesFromFile(kExample);
    const QVariantList example = backend.fixtures();
    const QByteArray before = readBytes(path);
    const int mark = backend.logMessages().size();
    QSignalSpy errors(&backend, &OscEmulatorBackend::errorOccurred);
    operation.startsWith("save") ? backend.saveFixturesToFile(path) : backend.loadFixturesFromFile(path);

    QCOMPARE(logLines(backend, mark), QStringList{QString(line).replace("%1", path)});
    QCOMPARE(errors.size() == 1 ? errors.first().first().toString() : QString(), QString(error).replace("%1", path));
    // What was there is kept: in place, or beside it after a save.
    QCOMPARE(readBytes(operation.startsWith("save") && error.isEmpty() ? path + ".bak" : path), before);
    QStringList held;
    for (const QVariant &fixture : backend.fixtures()) {
        const QString id = fixture.toMap().value("id").toString();
        held << fixture.toMap().value("name").toString() + ":" + (kNewId.match(id).hasMatch() ? "new" : id);
    }
    if (!line.contains("Loaded"))
        QCOMPARE(backend.fixtures(), example);
    else
        QCOMPARE(held.mid(0, fixtures.size()), fixtures);
}

void TestFixtures::initTestCase()
{
    const QByteArray readOnly = QFile::encodeName(m_dir.filePath("read-only"));
    m_mounted = QDir().mkpath(readOnly) && QDir().mkpath(m_dir.filePath("full")) && ::unshare(CLONE_NEWNS) == 0
            && ::mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0
            && ::mount("none", readOnly, "tmpfs", 0, "size=1m") == 0 && QFile::copy(kExample, readOnly + "/fx.json")
            && ::mount(nullptr, readOnly, nullptr, MS_REMOUNT | MS_RDONLY, nullptr) == 0
            && ::mount("none", QFile::encodeName(m_dir.filePath("full")), "tmpfs", 0, "size=64k") == 0;
}

// A file-size limit makes every write past it fail, as a full disk would: said once, the
// log goes on in memory, and in the file again once writing works.
void TestFixtures::logFileOnAFullDisk()
{
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
    QCOMPARE(logLines(backend).filter("[WARNING]"), QStringList{"[WARNING] Cannot write the debug log file "
                                                                + backend.logFileName() + ": " + qt_error_string(EFBIG)});
    QCOMPARE(logLines(backend).filter("OSC target port set to").size(), 20);
    backend.setOscTargetPort(21);
    QVERIFY(fileLines(backend.logFileName()).last().endsWith("] [INFO] OSC target port set to 21"));
}

// No debug log file, and everything else works: fixtures, sending, the log in memory.
void TestFixtures::workingDirectoryGone()
{
    const auto restore = qScopeGuard([old = QDir::currentPath()] { QDir::setCurrent(old); });
    const QString gone = m_dir.filePath("gone");
    QVERIFY(QDir().mkdir(gone) && QDir::setCurrent(gone) && QDir().rmdir(gone));
    QUdpSocket listener;
    QVERIFY(listener.bind(QHostAddress::LocalHost, 0));
    QTest::ignoreMessage(QtWarningMsg, QRegularExpression("^Failed to open log file: \"osc_emulator_debug_"));
    OscEmulatorBackend backend;
    QVERIFY(backend.logFileName().isEmpty());
    backend.loadFixturesFromFile(kExample);
    backend.setOscTargetPort(listener.localPort());
    backend.sendOscTyped("/go", "");
    QVERIFY(listener.hasPendingDatagrams() || listener.waitForReadyRead(5000));
    backend.saveFixturesToFile(m_dir.filePath("saved.json"));
    QCOMPARE(readBytes(m_dir.filePath("saved.json")), readBytes(kExample));
    QCOMPARE(logLines(backend, 2).replaceInStrings(QRegularExpression(" (from|to|size=).*"), ""),
             (QStringList{"[INFO] Loaded 4 fixtures", "[INFO] OSC target port set", "[INFO] TX OSC /go ,,",
                          "[INFO] Saved 4 fixtures"}));
}

// The desk follows what the store loads: every control at its initial state, moved by
// feedback with no item to show it (read by the message's own type), and reset by a
// reload. Each row: messages ("address tags values...", "hold N" for control N held by
// the hand, or "reload"), then the controls' states in channel order: faders /a (,f),
// /h (,h) and one without an address, toggles /t (,T) and /s (text "go"), a momentary
// /m, and pad /p.
void TestFixtures::desk_data()
{
    QTest::addColumn<QStringList>("messages");
    QTest::addColumn<QString>("states");
    const QString initial = "0 0 0 off off off 0.5,0.5";
    QTest::newRow("initial state") << QStringList{} << initial;
    QTest::newRow("a float is 0-1 of the range, an int 0-127, whatever the fader's type")
            << QStringList{"/a d 0.2", "/h f 0.5"} << "51 127.5 0 off off off 0.5,0.5";
    QTest::newRow("int to a fader, bounded") << QStringList{"/a i 1", "/h h 200"} << "2.00787 255 0 off off off 0.5,0.5";
    QTest::newRow("/osc/channel to the control without an address")
            << QStringList{"/osc/channel iii 1 3 127", "/osc/channel iii 0 3 0"} << "0 0 255 off off off 0.5,0.5";
    QTest::newRow("toggles: T, their text, a number; a momentary button keeps off")
            << QStringList{"/t T", "/s s go", "/m T"} << "0 0 0 on on off 0.5,0.5";
    QTest::newRow("toggles off: another text, zero") << QStringList{"/t T", "/t i 0", "/s s go", "/s s stop"} << initial;
    QTest::newRow("pad: two floats, bounded") << QStringList{"/p ff 0.25 1.5"} << "0 0 0 off off off 0.25,1";
    QTest::newRow("what a control cannot read is dropped")
            << QStringList{"/a s 1", "/t", "/p f 0.1", "/p ii 1 1"} << initial;
    QTest::newRow("a held fader keeps its place") << QStringList{"hold 0", "/a f 1", "/h f 1"} << "0 255 0 off off off 0.5,0.5";
    QTest::newRow("a reload resets all") << QStringList{"/a f 1", "/t T", "/p ff 0 0", "reload"} << initial;
    QTest::newRow("an edit keeps the other controls where they stand")
            << QStringList{"/a f 1", "/t T", "/p ff 0 0", "edit 1 label H", "edit 2 argType i"} << "255 0 0 on off off 0,0";
    QTest::newRow("a control sending elsewhere starts anew") << QStringList{"/a f 1", "/t T", "edit 0 oscAddress /b",
                                                                             "edit 3 controlType fader"}
            << "0 0 0 0 off off 0.5,0.5";
}

void TestFixtures::desk()
{
    QFETCH(QStringList, messages);
    QFETCH(QString, states);

    const QString path = m_dir.filePath("desk.json");
    QVERIFY(writeBytes(path, R"([{"universe": 1, "channelCount": 7, "capabilities": {"channels": {
        "1": {"oscAddress": "/a", "argType": "f"}, "2": {"oscAddress": "/h", "argType": "h"},
        "4": {"controlType": "button", "oscAddress": "/t", "argType": "T"},
        "5": {"controlType": "button", "oscAddress": "/s", "argType": "s", "stringValue": "go"},
        "6": {"controlType": "button", "mode": "momentary", "oscAddress": "/m"},
        "7": {"controlType": "xy", "oscAddress": "/p"}}}}])"));
    OscEmulatorBackend backend;
    OscMonitor monitor(backend.eventLog(), backend.sender());
    OscDesk desk;
    desk.follow(&backend, &monitor);
    DeskEditor editor(backend.fixtureStore(), &desk, backend.eventLog());
    backend.loadFixturesFromFile(path);
    for (const QString &message : messages) {
        QStringList words = message.split(' ');
        if (words.first() == "edit") {
            QVERIFY(editor.setControlField(0, words.at(1).toInt(), words.at(2), words.at(3)));
        } else if (words.first() == "reload") {
            backend.loadFixturesFromFile(path);
        } else if (words.first() == "hold") {
            desk.controlObjects(0).at(words.at(1).toInt())->setHeld(true);
        } else {
            const QString address = words.takeFirst();
            const QString tags = words.isEmpty() ? QString() : words.takeFirst();
            QVariantList values;
            for (int i = 0; i < tags.size(); ++i) {
                const QString word = words.value(i);
                switch (tags.at(i).toLatin1()) {
                case 'i': values << word.toInt(); break;
                case 'h': values << word.toLongLong(); break;
                case 'f': values << word.toFloat(); break;
                case 'd': values << word.toDouble(); break;
                case 'T': values << true; break;
                default: values << word;
                }
            }
            emit monitor.feedback(address, tags, values);
        }
    }
    QStringList held;
    for (int i = 0; i < desk.controlCount(); ++i) {
        const OscDesk::Control &control = desk.control(i);
        held << (control.kind == OscDesk::Kind::Fader  ? QString::number(control.value)
                 : control.kind == OscDesk::Kind::XYPad ? QString::number(control.x) + ',' + QString::number(control.y)
                                                        : QString(control.checked ? "on" : "off"));
    }
    QCOMPARE(held.join(' '), states);
}

// Edits of a desk of two fixtures (A: /deck1/x on channel 1 of two, B: channel 3), then
// a save: the file is the list the edits say ("new" for a new id), and undoing every edit
// gives back the loaded list, redoing them the edited one. A refused edit changes nothing
// and says why in one line.
void TestFixtures::edits_data()
{
    QTest::addColumn<QStringList>("edits");
    QTest::addColumn<QString>("saved");  // the fixtures after A's and B's common keys
    QTest::addColumn<QString>("warning");
    const QString a = R"("id":"a","manufacturer":"","model":"","name":"A","note":"kept","universe":0,)";
    const QString b = R"({"capabilities":{},"channelCount":1,"deviceType":"Generic","id":"b","manufacturer":"","model":"","name":"B","startChannel":3,"universe":0})";
    const QString x = R"("1":{"argType":"f","label":"x","oscAddress":"/deck1/x","z":1})";
    const auto fixtureA = [&](const QString &channels, int count = 2, int start = 1, const QString &more = "") {
        return QString(R"({"capabilities":{"channels":{%1}},"channelCount":%2,"deviceType":"Generic",%3%4"startChannel":%5})")
                .arg(channels).arg(count).arg(a, more).arg(start);
    };
    QTest::newRow("strip fields") << QStringList{"strip 0 name Z", "strip 0 manufacturer M", "strip 0 modelName Q",
                                                 "strip 0 deviceType RGB", "strip 0 universe 2", "strip 0 channelCount 5"}
            << QString(fixtureA(x, 5)).replace(R"("name":"A")", R"("name":"Z")").replace(R"("universe":0)", R"("universe":2)")
                       .replace(R"("manufacturer":"")", R"("manufacturer":"M")").replace(R"("model":"")", R"("model":"Q")")
                       .replace(R"("deviceType":"Generic")", R"("deviceType":"RGB")") + "," + b << "";
    QTest::newRow("start channel: the entries go along") << QStringList{"strip 0 startChannel 7"}
            << fixtureA(QString(x).replace("\"1\"", "\"7\""), 2, 7) + "," + b << "";
    QTest::newRow("control fields, unknown keys kept")
            << QStringList{"control 0 0 label L", "control 0 0 oscAddress /y", "control 0 1 controlType button",
                           "control 0 1 mode momentary", "control 0 1 argType s", "control 0 1 stringValue go"}
            << fixtureA(R"("1":{"argType":"f","label":"L","oscAddress":"/y","z":1},"2":{"argType":"s","controlType":"button","mode":"momentary","stringValue":"go"})") + "," + b << "";
    QTest::newRow("a new kind drops an argument type it does not send") << QStringList{"control 0 0 controlType xy"}
            << fixtureA(R"("1":{"controlType":"xy","label":"x","oscAddress":"/deck1/x","z":1})") + "," + b << "";
    QTest::newRow("add, after the last channel of universe 0") << QStringList{"add"}
            << fixtureA(x) + "," + b + R"(,{"capabilities":{},"channelCount":3,"deviceType":"Generic","id":"new","manufacturer":"","model":"","name":"Dispositivo OSC","startChannel":4,"universe":0})" << "";
    QTest::newRow("remove") << QStringList{"remove 0"} << b << "";
    QTest::newRow("duplicate with replace") << QStringList{"duplicate 0 /deck1/ /deck2/"}
            << fixtureA(x) + "," + QString(fixtureA(R"("4":{"argType":"f","label":"x","oscAddress":"/deck2/x","z":1})", 2, 4)).replace(R"("id":"a")", R"("id":"new")") + "," + b << "";
    QTest::newRow("move") << QStringList{"move 1 -1"} << b + "," + fixtureA(x) << "";
    QTest::newRow("add and remove channels") << QStringList{"addChannel 1", "removeChannel 0 0"}
            << fixtureA(R"("1":{"argType":"f","label":"x","oscAddress":"/deck1/x","z":1})", 1).replace(x, "") + "," + QString(b).replace(R"("channelCount":1)", R"("channelCount":2)") << "";
    QTest::newRow("learn: a strip of learned controls, then the selected one")
            << QStringList{"learn /mix/vol f", "learn /mix/go", "select 1", "learn /b/t T"}
            << fixtureA(x) + "," + QString(b).replace(R"({"capabilities":{},"channelCount":1)", R"({"capabilities":{"channels":{"4":{"argType":"T","controlType":"button","label":"t","mode":"toggle","oscAddress":"/b/t"}}},"channelCount":2)")
                       + R"(,{"capabilities":{"channels":{"4":{"argType":"f","controlType":"fader","label":"vol","oscAddress":"/mix/vol"},"5":{"argType":"none","controlType":"button","label":"go","mode":"momentary","oscAddress":"/mix/go"}}},"channelCount":2,"deviceType":"Generic","id":"new","manufacturer":"","model":"","name":"Aprendido","startChannel":4,"universe":0})" << "";
    QTest::newRow("a blank in an address") << QStringList{"control 0 0 oscAddress /a b"} << ""
            << "Cannot set oscAddress to '/a b': no blanks";
    QTest::newRow("a pattern character") << QStringList{"control 0 0 oscAddress /a*"} << "" << "Cannot set oscAddress to '/a*': none of # * , ? [ ] { }";
    QTest::newRow("no leading slash") << QStringList{"control 0 0 oscAddress a"} << "" << "Cannot set oscAddress to 'a': an address starts with '/'";
    QTest::newRow("start out of bounds") << QStringList{"strip 0 startChannel 513"} << "" << "Cannot set startChannel to '513': a whole number from 1 to 512";
    QTest::newRow("count not a number") << QStringList{"strip 0 channelCount 2.5"} << "" << "Cannot set channelCount to '2.5': a whole number from 1 to 512";
    QTest::newRow("universe below 0") << QStringList{"strip 0 universe -1"} << "" << "Cannot set universe to '-1': a whole number of at least 0";
    QTest::newRow("a fader's argument type") << QStringList{"control 0 0 argType T"} << "" << "Cannot set argType to 'T': one of empty, f, d, i, h";
    QTest::newRow("no further left") << QStringList{"move 0 -1"} << "" << "Cannot move fixture 0 by -1: the desk has 2 fixtures";
    QTest::newRow("the last channel stays") << QStringList{"removeChannel 1 0"} << "" << "Cannot remove a channel: fixture 1 keeps at least one";
    QTest::newRow("learn: no control sends ,ii") << QStringList{"learn /a ii"} << "" << "Cannot learn /a: no control sends ,ii";
    QTest::newRow("learn: an int fader, a pad, a text, T and F") << QStringList{"learn /i i", "learn /h h", "learn /p ff", "learn /s s", "learn /t F"} << "learned" << "";
}

void TestFixtures::edits()
{
    QFETCH(QStringList, edits);
    QFETCH(QString, saved);
    QFETCH(QString, warning);

    const QString path = m_dir.filePath("edits.json");
    QVERIFY(writeBytes(path, R"([{"id": "a", "name": "A", "note": "kept", "channelCount": 2, "capabilities": {"channels":
        {"1": {"label": "x", "oscAddress": "/deck1/x", "argType": "f", "z": 1}}}}, {"id": "b", "name": "B", "startChannel": 3, "channelCount": 1}])"));
    OscEmulatorBackend backend;
    OscMonitor monitor(backend.eventLog(), backend.sender());
    OscDesk desk;
    desk.follow(&backend, &monitor);
    DeskEditor editor(backend.fixtureStore(), &desk, backend.eventLog());
    backend.loadFixturesFromFile(path);
    const QJsonArray loaded = backend.fixtureArray();
    const int lines = logLines(backend).size();
    for (const QString &edit : edits) {
        QStringList w = edit.split(' ');
        const QString verb = w.takeFirst();
        const int n = w.value(0).toInt();
        bool done = true;
        if (verb == "strip")
            done = editor.setStripField(n, w.at(1), w.at(2));
        else if (verb == "control")
            done = editor.setControlField(n, w.at(1).toInt(), w.at(2), w.mid(3).join(' '));
        else if (verb == "add")
            editor.addStrip();
        else if (verb == "remove")
            done = editor.removeStrip(n);
        else if (verb == "duplicate")
            done = editor.duplicateStrip(n, w.at(1), w.at(2)) == n + 1;
        else if (verb == "move")
            done = editor.moveStrip(n, w.at(1).toInt());
        else if (verb == "addChannel")
            done = editor.addChannel(n);
        else if (verb == "removeChannel")
            done = editor.removeChannel(n, w.at(1).toInt());
        else if (verb == "select")
            editor.setSelectedStrip(n);
        else if (verb == "learn")
            done = editor.learn(w.at(0), w.value(1), {"go"});
        QCOMPARE(done, warning.isEmpty());
    }
    if (!warning.isEmpty()) {
        QCOMPARE(logLines(backend, lines), QStringList{"[WARNING] " + warning});
        QCOMPARE(backend.fixtureArray(), loaded);
        QVERIFY(!editor.modified());
        return;
    }
    QCOMPARE(logLines(backend, lines), QStringList{});
    QVERIFY(editor.modified());
    const QJsonArray edited = backend.fixtureArray();
    const int steps = editor.stack()->index();
    for (int i = 0; i < steps; ++i)
        editor.undo();
    QCOMPARE(backend.fixtureArray(), loaded);
    for (int i = 0; i < steps; ++i)
        editor.redo();
    QCOMPARE(backend.fixtureArray(), edited);
    QVERIFY(editor.save());
    QVERIFY(!editor.modified());
    const QString file = QStandardPaths::writableLocation(QStandardPaths::AppConfigLocation) + "/osc_fixtures.json";
    QString text = QString::fromUtf8(readBytes(file));
    text.replace(QRegularExpression(R"("id": "[0-9a-f-]{36}")"), R"("id": "new")");
    if (saved == "learned") {
        // Each kind once, in the order learned, in one new strip.
        QStringList kinds;
        const QJsonObject channels = backend.fixtureArray().at(2)["capabilities"]["channels"].toObject();
        for (const QJsonValue &entry : channels)
            kinds << QString::fromUtf8(QJsonDocument(entry.toObject()).toJson(QJsonDocument::Compact));
        QCOMPARE(kinds.join('\n'), QString(R"({"argType":"i","controlType":"fader","label":"i","oscAddress":"/i"}
{"argType":"i","controlType":"fader","label":"h","oscAddress":"/h"}
{"controlType":"xy","label":"p","oscAddress":"/p"}
{"argType":"s","controlType":"button","label":"s","mode":"momentary","oscAddress":"/s","stringValue":"go"}
{"argType":"T","controlType":"button","label":"t","mode":"toggle","oscAddress":"/t"})"));
    } else {
        const QJsonArray expected = QJsonDocument::fromJson(("[" + saved + "]").toUtf8()).array();
        QVERIFY2(!expected.isEmpty(), qPrintable(saved));
        QCOMPARE(text, QString::fromUtf8(QJsonDocument(QJsonObject{{"fixtures", expected}}).toJson()));
    }
    // A load drops the history.
    backend.loadFixturesFromFile(file);
    QVERIFY(!editor.stack()->canUndo());
}

QTEST_GUILESS_MAIN(TestFixtures)
#include "tst_fixtures.moc"
