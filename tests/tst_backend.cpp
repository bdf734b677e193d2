#include "monitorrows.h"
#include "oscmessage.h"
#include "oscmonitor.h"
#include "testsupport.h"

#include <QNetworkDatagram>
#include <QRegularExpression>
#include <QScopeGuard>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

using namespace TestSupport;

// The backend through its public interface: setters, the log's debug output and files,
// the log line of each send with the datagram's bytes in it, the refusals of a target
// where nobody listens, and the monitor's bounded list.
class TestBackend : public QObject
{
    Q_OBJECT
private slots:
    void setters_data();
    void setters();
    void debugOutputQuotesAsQDebug();
    void peerTextsFollowThePeer();
    void sameSecondRunsKeepTheirFiles();
    void sendOperations_data();
    void sendOperations();
    void unreachableTarget_data();
    void unreachableTarget();
    void lifecycle_data();
    void lifecycle();
    void monitorListBound_data();
    void monitorListBound();
};

void TestBackend::setters_data()
{
    QTest::addColumn<QByteArray>("property");
    QTest::addColumn<QVariant>("value");
    QTest::addColumn<QString>("line");  // "-": refused or unchanged; else accepted, with its log line if any
    QTest::newRow("port 65535") << QByteArray("oscTargetPort") << QVariant(65535) << "[INFO] OSC target port set to 65535";
    QTest::newRow("port 65536") << QByteArray("oscTargetPort") << QVariant(65536) << "-";
    QTest::newRow("port unchanged") << QByteArray("oscTargetPort") << QVariant(8000) << "-";
    QTest::newRow("host untrimmed") << QByteArray("oscTargetHost") << QVariant(" ::1") << "[INFO] OSC target host set to  ::1";
    QTest::newRow("host unchanged") << QByteArray("oscTargetHost") << QVariant("127.0.0.1") << "-";
    QTest::newRow("bundle") << QByteArray("sendAsBundle") << QVariant(true) << "[INFO] OSC messages sent inside a #bundle";
    QTest::newRow("port index 1") << QByteArray("selectedPortIndex") << QVariant(1) << "";
}

// An accepted value is stored, logged where it has a line, and announced once; a refused
// or unchanged one does nothing at all.
void TestBackend::setters()
{
    QFETCH(QByteArray, property);
    QFETCH(QVariant, value);
    QFETCH(QString, line);
    OscEmulatorBackend backend;
    const QMetaProperty meta = backend.metaObject()->property(backend.metaObject()->indexOfProperty(property));
    const QVariant old = meta.read(&backend);
    QSignalSpy notify(&backend, meta.notifySignal());
    const int mark = backend.logMessages().size();
    backend.setProperty(property, value);
    QCOMPARE(meta.read(&backend), line == "-" ? old : value);
    QCOMPARE(notify.count(), line == "-" ? 0 : 1);
    QCOMPARE(logLines(backend, mark), line.size() > 1 ? QStringList{line} : QStringList());
}

static QStringList s_debugMessages;

// Each log line also goes to the debug output, as qDebug() << line writes it.
void TestBackend::debugOutputQuotesAsQDebug()
{
    OscEmulatorBackend backend;
    const QtMessageHandler previous = qInstallMessageHandler([](QtMsgType type, const QMessageLogContext &,
                                                                const QString &message) {
        if (type == QtDebugMsg)
            s_debugMessages << message;
    });
    QStringList expected;
    for (const char *host : {"10.0.0.1", "a\"b", "a\\b", "a\tb", "caf\u00e9"}) {
        backend.setOscTargetHost(QString::fromUtf8(host));
        QDebug(&expected.emplace_back()).nospace() << backend.logMessages().last();
    }
    qInstallMessageHandler(previous);
    QCOMPARE(s_debugMessages, expected);
}

// The texts kept from one datagram to the next (the diagnostics' and the monitor's peer)
// follow the peer as it changes and changes back.
void TestBackend::peerTextsFollowThePeer()
{
    QUdpSocket a;
    QUdpSocket b;
    QVERIFY(a.bind(QHostAddress::LocalHost, 0) && b.bind(QHostAddress::LocalHost, 0));
    const QList<QUdpSocket *> peers{&a, &a, &b, &a};
    OscEmulatorBackend backend;
    backend.startEmulation();
    OscMonitor monitor(backend.eventLog(), nullptr);
    monitor.start();
    QVERIFY(backend.isRunning() && monitor.running());
    s_debugMessages.clear();
    const QtMessageHandler previous = qInstallMessageHandler([](QtMsgType type, const QMessageLogContext &,
                                                                const QString &message) {
        if (type == QtDebugMsg && message.contains(" OSC datagram "))
            s_debugMessages << message;
    });
    const auto restore = qScopeGuard([previous] { qInstallMessageHandler(previous); });
    QStringList expected;
    for (QUdpSocket *peer : peers) {
        backend.setOscTargetPort(peer->localPort());
        backend.sendOscChannel(0, 1, 255);
        expected << QStringLiteral("Sent OSC datagram to \"127.0.0.1\" port %1 - size: 36").arg(peer->localPort());
    }
    // To the device's port, then to the monitor's, one datagram heard at a time.
    QStringList shown;
    for (const quint16 port : {quint16(9000), quint16(monitor.port())}) {
        for (QUdpSocket *peer : peers) {
            peer->writeDatagram(Osc::buildInt32Message("/a", 1), QHostAddress::LocalHost, port);
            expected << QStringLiteral("Received OSC datagram from \"127.0.0.1\" port %1 - size: 12").arg(peer->localPort());
            QTRY_COMPARE(s_debugMessages.size(), expected.size());
            if (port == monitor.port())
                shown << QStringLiteral("127.0.0.1:%1").arg(peer->localPort());
        }
    }
    QCOMPARE(s_debugMessages, expected);
    auto *rows = qobject_cast<QAbstractItemModel *>(monitor.rows());
    QTRY_COMPARE(rows->rowCount(), int(shown.size()));
    for (int row = 0; row < rows->rowCount(); ++row)
        QCOMPARE(rows->index(row, 0).data(MonitorRows::PeerRole).toString(), shown.at(row));
}

// A run takes the next free name: "_2", "_3"... before ".log".
void TestBackend::sameSecondRunsKeepTheirFiles()
{
    QTemporaryDir dir;
    const auto restore = qScopeGuard([old = QDir::currentPath()] { QDir::setCurrent(old); });
    QVERIFY(QDir::setCurrent(dir.path()));
    // Whatever second the backends start in, its plain name is taken already.
    const QDateTime now = QDateTime::currentDateTime();
    for (int s = 0; s < 3; ++s)
        QVERIFY(writeBytes(now.addSecs(s).toString("'osc_emulator_debug_'yyyyMMdd_hhmmss'.log'"), "earlier run\n"));
    OscEmulatorBackend first;
    OscEmulatorBackend second;
    QVERIFY2(QRegularExpression(R"(^osc_emulator_debug_\d{8}_\d{6}_2\.log$)").match(first.logFileName()).hasMatch(),
             qPrintable(first.logFileName()));
    QVERIFY2(QRegularExpression("_[23]\\.log$").match(second.logFileName()).hasMatch()
                     && first.logFileName() != second.logFileName(), qPrintable(second.logFileName()));
    QCOMPARE(fileLines(QString(first.logFileName()).replace("_2.log", ".log")), QStringList{"earlier run"});
}

void TestBackend::sendOperations_data()
{
    // "bundle", "listen", "taken" (9000, Start fails), "host=...", "self" (listening, to its own device)
    QTest::addColumn<QString>("settings");
    QTest::addColumn<QVariantList>("arguments");  // as TestSupport::call takes them
    QTest::addColumn<QString>("lines");      // separated by '|'; {port}: the target's port

    const auto row = [](const char *name, const char *settings, const QVariantList &arguments, const QString &lines) {
        QTest::newRow(name) << settings << arguments << lines;
    };
    const QString tx = "[INFO] TX OSC ";
    const QString dst = " bytes, dst=127.0.0.1:{port}, hex=";
    const QString channel = "2f6f73632f6368616e6e656c000000002c69696900000000";
    row("channel 255", "", {0, 1, 255}, tx + "/osc/channel ,iii 0 1 127, size=36" + dst + channel + "00000000000000010000007f");
    row("channel -5", "", {0, 1, -5}, tx + "/osc/channel ,iii 0 1 0, size=36" + dst + channel + "000000000000000100000000");
    // The device stores universe 0 only; "device channel N" is what it holds after the datagram.
    row("to its own device", "self", {0, 7, 255},
        tx + "/osc/channel ,iii 0 7 127, size=36 bytes, dst=127.0.0.1:9000, hex=" + channel
                + "00000000000000070000007f|device channel 7: 127");
    row("to its own device, universe 1", "self", {1, 7, 255},
        tx + "/osc/channel ,iii 1 7 127, size=36 bytes, dst=127.0.0.1:9000, hex=" + channel
                + "00000001000000070000007f|device channel 7: 0");
    row("channel 512, universe 70000", "", {70000, 512, 2},
        tx + "/osc/channel ,iii 70000 512 1, size=36" + dst + channel + "000111700000020000000001");
    row("channel 0", "", {0, 0, 100}, "[WARNING] Cannot send OSC: invalid channel 0 (must be 1-512).");
    row("channel checked before universe", "", {-1, 513, 100},
        "[WARNING] Cannot send OSC: invalid channel 513 (must be 1-512).");
    row("universe -1", "", {-1, 1, 100}, "[WARNING] Cannot send OSC: invalid universe -1 (must be >= 0).");
    // 56 bytes: the line shows the first 96 hex digits.
    row("bundle, hex cut", "bundle", {0, 1, 255}, tx + "[bundle] /osc/channel ,iii 0 1 127, size=56" + dst
                                                          + "2362756e646c65000000000000000001" "00000024" + channel + "00000000");
    row("address float 128", "", {"/deck1/play", 128},
        tx + "/deck1/play ,f 0.502, size=20" + dst + "2f6465636b312f706c6179002c6600003f008081");
    row("address blank", "", {" \t ", 255}, "[WARNING] Cannot send OSC: empty oscAddress.");
    row("typed ff", "", {"/xy", "ff", QVariantList{0.25, 0.75}},
        tx + "/xy ,ff 0.25 0.75, size=16" + dst + "2f7879002c6666003e8000003f400000");
    row("typed missing value", "", {"/xy", "ff", QVariantList{0.25}},
        "[WARNING] Cannot send OSC /xy: missing value for type tag 'f'");
    // The description is trimmed, the bytes keep the blank; every value is described,
    // also those no tag takes, and placeholders in texts stay as they are.
    row("typed leading blank, leftover values, percent", "", {" /p%2", "s", QVariantList{"%1", 7}},
        tx + "/p%2 ,s %1 7, size=16" + dst + "202f7025320000002c73000025310000");
    row("host name", "host=mixer", {"/deck1/play", 255}, "[WARNING] Cannot send OSC: invalid target host 'mixer'.");
    row("host ::1", "host=::1", {"/a", 255}, tx + "/a ,f 1.000, size=12 bytes, dst=::1:{port}, hex=2f6100002c6600003f800000");
    // The socket's own errors, each with its own reason, stop the device as a port failure does.
    const QString stopped = "|[INFO] OSC UDP socket closed.|[INFO] OSC emulation stopped.";
    row("datagram too large", "", {"/big", "b", QVariantList{QByteArray(65508 - 16, 'x')}},
        "[CRITICAL] Emulator Port Error: Datagram was too large to send" + stopped);
    row("datagram too large to ::1", "host=::1", {"/big", "b", QVariantList{QByteArray(65528 - 16, 'x')}},
        "[CRITICAL] Emulator Port Error: Datagram was too large to send" + stopped);
    // After a Start that failed on a taken port, a failed send still says its own reason.
    row("too large after a failed start", "taken", {"/big", "b", QVariantList{QByteArray(65508 - 16, 'x')}},
        "[CRITICAL] Emulator Port Error: Datagram was too large to send" + stopped);
    row("IPv6 target while listening on IPv4", "listen host=::1", {"/a", 255},
        "[CRITICAL] Emulator Port Error: The target's address family is not the socket's" + stopped);
}

void TestBackend::sendOperations()
{
    QFETCH(QString, settings);
    QFETCH(QVariantList, arguments);
    QFETCH(QString, lines);
    if (settings.contains("::1") && !closedPort(QHostAddress::LocalHostIPv6))
        QSKIP("no IPv6 loopback");

    QUdpSocket sink;
    QVERIFY(sink.bind(QHostAddress::Any, 0));
    OscEmulatorBackend backend;
    backend.setOscTargetPort(sink.localPort());
    QUdpSocket holder;
    if (settings.contains("taken")) {
        QVERIFY(holder.bind(QHostAddress::AnyIPv4, 9000));
        backend.startEmulation();
        QVERIFY(!backend.isRunning());
    }
    if (settings.contains("listen") || settings == "self")
        backend.startEmulation();
    if (settings == "self")
        backend.setOscTargetPort(9000);
    if (settings.contains("host="))
        backend.setOscTargetHost(settings.section("host=", 1));
    backend.setSendAsBundle(settings == "bundle");
    const int mark = backend.logMessages().size();
    TestSupport::call(backend, arguments);
    QStringList actual = logLines(backend, mark);
    if (settings == "self") {
        // A marker sent after it: once the device holds the marker, it has heard the send.
        QUdpSocket().writeDatagram(Osc::buildOscChannelMessage(0, 512, 1), QHostAddress::LocalHost, 9000);
        QTRY_COMPARE_WITH_TIMEOUT(backend.getChannelValue(512), 1, 5000);
        const int channel = arguments.at(1).toInt();
        actual << QStringLiteral("device channel %1: %2").arg(channel).arg(backend.getChannelValue(channel));
    }
    QCOMPARE(actual, lines.replace("{port}", QString::number(sink.localPort())).split('|'));
}

void TestBackend::unreachableTarget_data()
{
    QTest::addColumn<int>("sends");
    QTest::addColumn<bool>("listening");
    QTest::addColumn<bool>("changePort");
    QTest::newRow("one") << 1 << false << false;
    QTest::newRow("three while listening") << 3 << true << false;
    QTest::newRow("port changed before the refusal arrives") << 1 << false << true;
}

// One WARNING per refused datagram, naming the target of the moment it is reported, and
// no port failure; right after a refusal the socket still sends and receives.
void TestBackend::unreachableTarget()
{
    QFETCH(int, sends);
    QFETCH(bool, listening);
    QFETCH(bool, changePort);

    const quint16 nobody = closedPort();
    QUdpSocket listener;
    QVERIFY(listener.bind(QHostAddress::LocalHost, 0));
    OscEmulatorBackend backend;
    if (listening)
        backend.startEmulation();
    QSignalSpy errors(&backend, &OscEmulatorBackend::errorOccurred);
    backend.setOscTargetPort(nobody);
    for (int i = 0; i < sends; ++i)
        backend.sendOscChannel(0, 1, i);
    backend.setOscTargetPort(changePort ? 9 : nobody);
    const auto warnings = [&backend] { return logLines(backend).filter("Nobody is listening"); };
    QTRY_COMPARE_WITH_TIMEOUT(warnings().size(), sends, 5000);
    QCOMPARE(warnings().last(), QStringLiteral("[WARNING] Nobody is listening on 127.0.0.1:%1 (is Lumenfold running "
                                               "with OSC on that port?) - Connection refused").arg(changePort ? 9 : nobody));
    backend.setOscTargetPort(nobody);
    backend.sendOscChannel(0, 1, 0);
    backend.setOscTargetPort(listener.localPort());
    backend.sendOscChannel(0, 2, 0);
    QVERIFY(listener.hasPendingDatagrams() || listener.waitForReadyRead(5000));
    QCOMPARE(listener.receiveDatagram().data(), Osc::buildOscChannelMessage(0, 2, 0));
    if (listening) {
        QUdpSocket().writeDatagram(Osc::buildOscChannelMessage(0, 7, 70), QHostAddress::LocalHost, 9000);
        QTRY_COMPARE_WITH_TIMEOUT(backend.getChannelValue(7), 70, 5000);
    }
    QTRY_COMPARE_WITH_TIMEOUT(warnings().size(), sends + 1, 5000);
    QCOMPARE(errors.size(), 0);
}

// Starting and stopping the device: each refusal and failure as its one line, in order.
void TestBackend::lifecycle_data()
{
    QTest::addColumn<QString>("steps");  // start, stop, taken (9001 held by another socket), port=N
    QTest::addColumn<QString>("lines");  // separated by '|'
    QTest::addColumn<bool>("running");

    const QString started = "[INFO] OSC UDP socket successfully bound.|[INFO] OSC emulation started on UDP port 9001.";
    QTest::newRow("start twice") << "port=1 start start" << started + "|[WARNING] OSC emulator is already running." << true;
    QTest::newRow("stop while stopped") << "stop" << "[WARNING] OSC emulator is not running." << false;
    QTest::newRow("start then stop") << "port=1 start stop"
                                     << started + "|[INFO] OSC UDP socket closed.|[INFO] OSC emulation stopped." << false;
    QTest::newRow("no port selected") << "port=-1 start" << "[WARNING] Please select an OSC UDP port." << false;
    QTest::newRow("port taken") << "port=1 taken start"
                                << "[CRITICAL] Emulator Port Error: The bound address is already in use|"
                                   "[WARNING] OSC emulator is not running.|[CRITICAL] Failed to bind OSC UDP port 9001."
                                << false;
}

void TestBackend::lifecycle()
{
    QFETCH(QString, steps);
    QFETCH(QString, lines);
    QFETCH(bool, running);
    OscEmulatorBackend backend;
    QUdpSocket holder;
    int mark = backend.logMessages().size();
    for (const QString &step : steps.split(' ')) {
        if (step.startsWith("port=")) {
            backend.setSelectedPortIndex(step.mid(5).toInt());
            mark = backend.logMessages().size();
        } else if (step == "taken") {
            QVERIFY(holder.bind(QHostAddress::AnyIPv4, 9001));
        } else if (step == "start") {
            backend.startEmulation();
        } else {
            backend.stopEmulation();
        }
    }
    QCOMPARE(logLines(backend, mark), lines.split('|'));
    QCOMPARE(backend.isRunning(), running);
}

void TestBackend::monitorListBound_data()
{
    QTest::addColumn<int>("ticks");
    QTest::addColumn<int>("perTick"); // datagrams heard between two ticks
    QTest::addColumn<int>("size");    // bytes of each datagram
    QTest::addColumn<bool>("paused"); // shown only at the last tick
    QTest::addColumn<int>("kept");
    QTest::newRow("rows") << 30 << 1000 << 12 << false << MonitorRows::kMaxRows;
    QTest::newRow("rows, paused") << 30 << 1000 << 12 << true << MonitorRows::kMaxRows;
    QTest::newRow("bytes") << 40 << 20 << 60000 << false << int(MonitorRows::kMaxBytes / 60000);
}

// A steady stream over many ticks: the list never holds more than its bound, keeps the
// newest rows, and counts every row it let go.
void TestBackend::monitorListBound()
{
    QFETCH(int, ticks);
    QFETCH(int, perTick);
    QFETCH(int, size);
    QFETCH(bool, paused);
    QFETCH(int, kept);
    // "/a ,b" and a blob filling the size.
    QByteArray datagram = QByteArray::fromHex("2f6100002c620000");
    datagram += QByteArray::fromHex(QByteArray::number(size - 12, 16).rightJustified(8, '0')) + QByteArray(size - 12, 'x');
    Osc::OscPacket packet;
    Osc::OscDecodeError error;
    QVERIFY(Osc::decodeOscPacket(datagram, &packet, &error));
    MonitorRows rows;
    int heard = 0;
    for (int tick = 1; tick <= ticks; ++tick) {
        for (int i = 0; i < perTick; ++i)
            rows.add(heard++, false, "127.0.0.1:1", datagram, packet, nullptr);
        if (!paused || tick == ticks)
            rows.flush();
        QVERIFY2(rows.rowCount() <= kept, qPrintable(QString::number(rows.rowCount())));
    }
    QCOMPARE(rows.rowCount(), kept);
    QCOMPARE(rows.dropped(), heard - kept);
    // Each row's time is the number of the datagram.
    const auto time = [&rows](int row) { return rows.data(rows.index(row), MonitorRows::TimeRole).toString(); };
    const auto heardAt = [](int n) { return QDateTime::fromMSecsSinceEpoch(n).toString("hh:mm:ss.zzz"); };
    QCOMPARE(QStringList({time(0), time(kept - 1)}), QStringList({heardAt(heard - kept), heardAt(heard - 1)}));
}

QTEST_GUILESS_MAIN(TestBackend)
#include "tst_backend.moc"
