#include "oscemulatorbackend.h"

#include <QDir>
#include <QFile>
#include <QRegularExpression>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <QUdpSocket>

#include <sched.h>
#include <sys/mount.h>
#include <unistd.h>

// Hostile and unlucky surroundings: huge and deep fixtures files, a read-only folder, a
// full disk, socket errors. Each ends as its one clear log line, and nothing already held
// is lost.
class TestHostile : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase();
    void cleanupTestCase();
    void init();
    void cleanup();
    void largeFixtures_data();
    void largeFixtures();
    void unwritableTargets_data();
    void unwritableTargets();
    void readOnlyWorkingDirectory();
    void fullDiskUnderTheLogFile();
    void socketErrors_data();
    void socketErrors();

private:
    QString path(const QString &name) const { return m_dir.filePath(name); }

    QTemporaryDir m_dir;
    QString m_readOnly;  // a folder nobody may write to, holding fx.json
    QString m_full;      // a 64 KiB file system, empty at the start of each test
    bool m_haveReadOnly = false;
    bool m_haveFull = false;
    QString m_oldCwd;
};

namespace {

QString examplePath()
{
    return qEnvironmentVariable("OSC_EXAMPLES_DIR") + QStringLiteral("/osc_fixtures.json");
}

bool writeBytes(const QString &name, const QByteArray &bytes)
{
    QFile file(name);
    return file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size();
}

QByteArray readBytes(const QString &name)
{
    QFile file(name);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

// The log lines added since `from`, without their "[hh:mm:ss] " stamp.
QStringList linesFrom(const OscEmulatorBackend &backend, int from)
{
    QStringList out;
    for (const QString &line : backend.logMessages().mid(from))
        out << line.mid(11);
    return out;
}

// Writes `size` bytes: `head`, then blanks, then `tail`, without holding them in memory.
bool writePadded(const QString &name, const QByteArray &head, qint64 size, const QByteArray &tail)
{
    QFile file(name);
    if (!file.open(QIODevice::WriteOnly) || file.write(head) != head.size())
        return false;
    const QByteArray blanks(1 << 20, ' ');
    for (qint64 left = size - head.size() - tail.size(); left > 0; left -= blanks.size()) {
        if (file.write(blanks.constData(), qMin<qint64>(left, blanks.size())) < 0)
            return false;
    }
    return file.write(tail) == tail.size();
}

} // namespace

void TestHostile::initTestCase()
{
    QVERIFY(m_dir.isValid());
    m_oldCwd = QDir::currentPath();
    m_readOnly = path("read-only");
    m_full = path("full");
    QVERIFY(QDir().mkpath(m_readOnly) && QDir().mkpath(m_full));
    QVERIFY(QFile::copy(examplePath(), m_readOnly + "/fx.json"));

    // Root writes through permission bits, so the folder is made read-only and the disk
    // small by mounting them, in a mount namespace of this process alone.
    if (::unshare(CLONE_NEWNS) == 0 && ::mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0) {
        const QByteArray readOnly = QFile::encodeName(m_readOnly);
        m_haveReadOnly = ::mount("none", readOnly, "tmpfs", 0, "size=1m") == 0
                && QFile::copy(examplePath(), m_readOnly + "/fx.json")
                && ::mount(nullptr, readOnly, nullptr, MS_REMOUNT | MS_RDONLY, nullptr) == 0;
        m_haveFull = ::mount("none", QFile::encodeName(m_full), "tmpfs", 0, "size=64k") == 0;
    } else if (::geteuid() != 0) {
        m_haveReadOnly = QFile::setPermissions(m_readOnly + "/fx.json", QFile::ReadOwner)
                && QFile::setPermissions(m_readOnly, QFile::ReadOwner | QFile::ExeOwner);
    }
}

void TestHostile::cleanupTestCase()
{
    QDir::setCurrent(m_oldCwd);
    ::umount2(QFile::encodeName(m_readOnly), MNT_DETACH);
    ::umount2(QFile::encodeName(m_full), MNT_DETACH);
    QFile::setPermissions(m_readOnly, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
}

void TestHostile::init()
{
    // Each backend writes its debug log file into the working directory.
    QVERIFY(QDir::setCurrent(m_dir.path()));
}

void TestHostile::cleanup()
{
    QDir::setCurrent(m_dir.path());
    for (const QString &name : QDir(m_full).entryList(QDir::Files))
        QFile::remove(m_full + "/" + name);
    for (const QString &name : QDir(m_dir.path()).entryList({"*.json", "*.log"}, QDir::Files))
        QFile::remove(path(name));
}

void TestHostile::largeFixtures_data()
{
    QTest::addColumn<QByteArray>("head");
    QTest::addColumn<qint64>("size");
    QTest::addColumn<QByteArray>("tail");
    QTest::addColumn<QString>("line");  // %1: the path

    const qint64 hundredMB = qint64(100) << 20;
    const QString parseError = QStringLiteral("[CRITICAL] Error parsing fixtures JSON: ");
    QByteArray many = "[";
    for (int i = 0; i < 10000; ++i)
        many += QByteArray(R"({"name":"F)") + QByteArray::number(i) + R"(","startChannel":)"
                + QByteArray::number(i % 512 + 1) + R"(,"capabilities":{"channels":{"1":{"label":"x"}}}},)";
    many.back() = ']';
    const QByteArray deep = QByteArray(R"([{"name":"deep","capabilities":)") + QByteArray(1000, '[')
            + QByteArray(1000, ']') + "}]";

    QTest::newRow("100 MB of blanks around one fixture")
            << QByteArray("[") << hundredMB << QByteArray(R"({"name":"big"}])") << "[INFO] Loaded 1 fixtures from %1";
    QTest::newRow("100 MB cut short at the end")
            << QByteArray(R"({"fixtures":[{"name":)") << hundredMB << QByteArray()
            << parseError + "unterminated object";
    QTest::newRow("100 MB of binary")
            << QByteArray("\x89PNG\r\n\x1a\n", 8) << hundredMB << QByteArray("\xff\x00", 2)
            << parseError + "illegal value";
    QTest::newRow("10,000 fixtures") << many << qint64(many.size()) << QByteArray()
                                     << "[INFO] Loaded 10000 fixtures from %1";
    QTest::newRow("1,000 levels deep inside a fixture")
            << deep << qint64(deep.size()) << QByteArray() << "[INFO] Loaded 1 fixtures from %1";
}

void TestHostile::largeFixtures()
{
    QFETCH(QByteArray, head);
    QFETCH(qint64, size);
    QFETCH(QByteArray, tail);
    QFETCH(QString, line);

    const QString file = path("fx.json");
    QVERIFY(writePadded(file, head, size, tail));
    QCOMPARE(QFileInfo(file).size(), size);

    OscEmulatorBackend backend;
    backend.loadFixturesFromFile(examplePath());
    const QVariantList before = backend.fixtures();
    const int mark = backend.logMessages().size();
    QSignalSpy changed(&backend, &OscEmulatorBackend::fixturesChanged);
    QSignalSpy errors(&backend, &OscEmulatorBackend::errorOccurred);
    backend.loadFixturesFromFile(file);
    QFile::remove(file);

    QCOMPARE(linesFrom(backend, mark), QStringList{line.contains("%1") ? line.arg(file) : line});
    if (line.startsWith("[CRITICAL]")) {
        QCOMPARE(errors.count(), 1);
        QCOMPARE(changed.count(), 0);
        QCOMPARE(backend.fixtures(), before);
        return;
    }
    QCOMPARE(changed.count(), 1);
    QCOMPARE(errors.count(), 0);

    // Saved and read back, the list is the same.
    const QVariantList loaded = backend.fixtures();
    backend.saveFixturesToFile(path("saved.json"));
    backend.loadFixturesFromFile(path("saved.json"));
    QCOMPARE(backend.fixtures(), loaded);
}

void TestHostile::unwritableTargets_data()
{
    QTest::addColumn<QString>("folder");
    QTest::newRow("read-only folder") << "read-only";
    QTest::newRow("full disk") << "full";
}

// A save that cannot be written says so once and leaves the file that was there.
void TestHostile::unwritableTargets()
{
    QFETCH(QString, folder);
    if (!(folder == "full" ? m_haveFull : m_haveReadOnly))
        QSKIP("needs a mount namespace of its own (root) for this folder");
    const QString target = path(folder) + "/fx.json";
    if (folder == "full") {
        // The document (8 KiB) fits in the file's write buffer: the disk refuses it only
        // when the buffer is flushed.
        QVERIFY(writeBytes(target, "[]"));
        QVERIFY(!writeBytes(m_full + "/filler", QByteArray(128 << 10, 'x')));
    }
    const QByteArray kept = readBytes(target);

    OscEmulatorBackend backend;
    backend.loadFixturesFromFile(examplePath());
    const QVariantList before = backend.fixtures();
    const int mark = backend.logMessages().size();
    QSignalSpy errors(&backend, &OscEmulatorBackend::errorOccurred);
    backend.saveFixturesToFile(target);

    QCOMPARE(linesFrom(backend, mark), QStringList{"[CRITICAL] Cannot write fixtures file: " + target});
    QCOMPARE(errors.count(), 1);
    QCOMPARE(readBytes(target), kept);
    QCOMPARE(backend.fixtures(), before);
}

// No debug log file, and everything else works: fixtures, sending, the log in memory.
void TestHostile::readOnlyWorkingDirectory()
{
    if (!m_haveReadOnly)
        QSKIP("needs a mount namespace of its own (root) to make a read-only folder");
    QVERIFY(QDir::setCurrent(m_readOnly));
    QUdpSocket listener;
    QVERIFY(listener.bind(QHostAddress::LocalHost, 0));

    QTest::ignoreMessage(QtWarningMsg, QRegularExpression("^Failed to open log file: \"osc_emulator_debug_"));
    OscEmulatorBackend backend;
    QVERIFY(backend.logFileName().isEmpty());
    backend.loadFixturesFromFile(m_readOnly + "/fx.json");
    QCOMPARE(backend.fixtures().size(), 4);
    backend.setOscTargetPort(listener.localPort());
    backend.sendOscTyped("/go", "");
    QVERIFY(listener.hasPendingDatagrams() || listener.waitForReadyRead(5000));
    backend.saveFixturesToFile(path("saved.json"));
    QCOMPARE(readBytes(path("saved.json")), readBytes(examplePath()));

    const QStringList lines = linesFrom(backend, 0);
    QCOMPARE(lines.size(), 6);
    QCOMPARE(lines.filter(QRegularExpression("^\\[INFO\\] (Loaded 4|OSC target port|TX OSC /go|Saved 4)")).size(), 4);
    QCOMPARE(QDir(m_readOnly).entryList(QDir::Files), QStringList{"fx.json"});
}

// A write that finds the disk full is said once; the log goes on in memory, and in the
// file again once there is room.
void TestHostile::fullDiskUnderTheLogFile()
{
    if (!m_haveFull)
        QSKIP("needs a mount namespace of its own (root) to make a full disk; tst_log fakes one with RLIMIT_FSIZE");
    QVERIFY(QDir::setCurrent(m_full));
    OscEmulatorBackend backend;
    const QString name = backend.logFileName();
    QVERIFY(!name.isEmpty());
    QVERIFY(!writeBytes(m_full + "/filler", QByteArray(128 << 10, 'x')));

    // The file's last page still has room for some lines; 200 lines overflow it.
    for (int port = 1; port <= 200; ++port)
        backend.setOscTargetPort(port);
    const QStringList lines = linesFrom(backend, 0);
    QCOMPARE(lines.filter("[WARNING] ").size(), 1);
    QCOMPARE(lines.filter("[WARNING] ").first(),
             QStringLiteral("[WARNING] Cannot write the debug log file %1: No space left on device").arg(name));
    QCOMPARE(lines.filter("OSC target port set to").size(), 200);
    QVERIFY(lines.last().endsWith("OSC target port set to 200"));

    QVERIFY(QFile::remove(m_full + "/filler"));
    backend.setOscTargetPort(201);
    QVERIFY(readBytes(m_full + "/" + name).endsWith("] [INFO] OSC target port set to 201\n"));
}

void TestHostile::socketErrors_data()
{
    QTest::addColumn<QString>("before");
    QTest::addColumn<QString>("host");
    QTest::addColumn<int>("blobSize");
    QTest::addColumn<QString>("error");

    const QString tooLarge = QStringLiteral("Datagram was too large to send");
    QTest::newRow("IPv6 target while listening on IPv4")
            << "listening" << "::1" << 4 << "The target's address family is not the socket's";
    QTest::newRow("datagram too large while listening") << "listening" << "127.0.0.1" << 70000 << tooLarge;
    QTest::newRow("datagram too large while stopped") << "stopped" << "127.0.0.1" << 70000 << tooLarge;
    // Not the failed bind's "The bound address is already in use".
    QTest::newRow("datagram too large after a failed start") << "failed start" << "127.0.0.1" << 70000 << tooLarge;
}

// The socket's own errors end as one CRITICAL line with their own reason, and stop the
// device as a port failure does; the next start works.
void TestHostile::socketErrors()
{
    QFETCH(QString, before);
    QFETCH(QString, host);
    QFETCH(int, blobSize);
    QFETCH(QString, error);

    OscEmulatorBackend backend;
    if (before == "failed start") {
        QUdpSocket holder;
        QVERIFY(holder.bind(QHostAddress::AnyIPv4, 9000));
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression("^Failed to bind OSC UDP port 9000"));
        backend.startEmulation();
        QVERIFY(!backend.isRunning());
    } else if (before == "listening") {
        backend.startEmulation();
        QVERIFY(backend.isRunning());
    }
    backend.setOscTargetHost(host);
    backend.setOscTargetPort(9);
    QSignalSpy errors(&backend, &OscEmulatorBackend::errorOccurred);
    const int mark = backend.logMessages().size();
    QTest::ignoreMessage(QtWarningMsg, QRegularExpression("^OSC UDP socket error: "));
    QTest::ignoreMessage(QtWarningMsg, QRegularExpression("^Failed to send OSC datagram to "));
    backend.sendOscTyped("/big", "b", {QString(blobSize, 'x')});

    QCOMPARE(errors.count(), 1);
    QCOMPARE(errors.first().first().toString(), error);
    QCOMPARE(linesFrom(backend, mark), (QStringList{"[CRITICAL] Emulator Port Error: " + error,
                                                    "[INFO] OSC UDP socket closed.",
                                                    "[INFO] OSC emulation stopped."}));
    QVERIFY(!backend.isRunning());
    backend.startEmulation();
    QVERIFY(backend.isRunning());
}

QTEST_GUILESS_MAIN(TestHostile)
#include "tst_hostile.moc"
