#include "oscemulatorbackend.h"

#include <QNetworkDatagram>
#include <QRegularExpression>
#include <QSignalSpy>
#include <QTest>
#include <QUdpSocket>

// The send operations through the backend's public interface: the one log line each call
// leaves, and the exact bytes that arrive at a listener on a loopback port.
class TestSend : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase();
    void sendOperations_data();
    void sendOperations();
    void unreachableTarget_data();
    void unreachableTarget();
    void datagramSize_data();
    void datagramSize();

private:
    bool m_ipv6 = false;
};

namespace {

QStringList linesFrom(const OscEmulatorBackend &backend, int from)
{
    QStringList out;
    const QStringList all = backend.logMessages();
    for (int i = from; i < all.size(); ++i)
        out << all.at(i).mid(11);  // without "[hh:mm:ss] "
    return out;
}

// Every datagram the listener holds, as hex.
QStringList drain(QUdpSocket &listener)
{
    QStringList out;
    while (listener.hasPendingDatagrams())
        out << QString::fromLatin1(listener.receiveDatagram().data().toHex());
    return out;
}

const QByteArray kEndMarker = QByteArray::fromHex("2f656e64000000002c000000");  // "/end" with empty tags

} // namespace

void TestSend::initTestCase()
{
    QUdpSocket probe;
    m_ipv6 = probe.bind(QHostAddress::LocalHostIPv6, 0);
}

void TestSend::sendOperations_data()
{
    QTest::addColumn<QString>("host");
    QTest::addColumn<bool>("intValues");
    QTest::addColumn<bool>("bundle");
    QTest::addColumn<QString>("operation");
    QTest::addColumn<QVariantList>("arguments");
    QTest::addColumn<QString>("line");      // {port}: the listener's port; {hex}: the datagram
    QTest::addColumn<QString>("datagram");  // hex; empty when nothing may leave

    const QString local = QStringLiteral("127.0.0.1");
    const QString channel1 = QStringLiteral("2f6f73632f6368616e6e656c000000002c6969690000000000000000000000010000007f");
    const QString deckOn = QStringLiteral("2f6465636b312f706c6179002c6600003f800000");
    const QString dst = QStringLiteral("dst=127.0.0.1:{port}, hex={hex}");

    QTest::newRow("channel") << local << false << false << "channel" << QVariantList{0, 1, 255}
                             << "[INFO] TX OSC /osc/channel ,iii 0 1 127, size=36 bytes, " + dst << channel1;
    QTest::newRow("channel-0-refused") << local << false << false << "channel" << QVariantList{0, 0, 100}
                                       << "[WARNING] Cannot send OSC: invalid channel 0 (must be 1-512)." << "";
    QTest::newRow("channel-checked-before-universe")
            << local << false << false << "channel" << QVariantList{-1, 0, 100}
            << "[WARNING] Cannot send OSC: invalid channel 0 (must be 1-512)." << "";
    QTest::newRow("universe-negative-refused")
            << local << false << false << "channel" << QVariantList{-1, 1, 100}
            << "[WARNING] Cannot send OSC: invalid universe -1 (must be >= 0)." << "";
    QTest::newRow("channel-512-universe-unbounded")
            << local << false << false << "channel" << QVariantList{70000, 512, 2}
            << "[INFO] TX OSC /osc/channel ,iii 70000 512 1, size=36 bytes, " + dst
            << "2f6f73632f6368616e6e656c000000002c696969000000000001117000000200" "00000001";
    QTest::newRow("channel-128-maps-to-63")
            << local << false << false << "channel" << QVariantList{0, 1, 128}
            << "[INFO] TX OSC /osc/channel ,iii 0 1 63, size=36 bytes, " + dst
            << "2f6f73632f6368616e6e656c000000002c6969690000000000000000000000010000003f";
    QTest::newRow("channel-300-clamped")
            << local << false << false << "channel" << QVariantList{0, 1, 300}
            << "[INFO] TX OSC /osc/channel ,iii 0 1 127, size=36 bytes, " + dst << channel1;
    QTest::newRow("channel-minus-5-clamped")
            << local << false << false << "channel" << QVariantList{0, 1, -5}
            << "[INFO] TX OSC /osc/channel ,iii 0 1 0, size=36 bytes, " + dst
            << "2f6f73632f6368616e6e656c000000002c69696900000000000000000000000100000000";
    // 56 bytes: the log line shows the first 96 hex digits only.
    QTest::newRow("channel-bundle-hex-cut")
            << local << false << true << "channel" << QVariantList{0, 1, 255}
            << "[INFO] TX OSC [bundle] /osc/channel ,iii 0 1 127, size=56 bytes, dst=127.0.0.1:{port}, "
               "hex=2362756e646c65000000000000000001000000242f6f73632f6368616e6e656c000000002c6969690000000000000000"
            << "2362756e646c6500000000000000000100000024" + channel1;

    QTest::newRow("address-float-255") << local << false << false << "address" << QVariantList{"/deck1/play", 255}
                                       << "[INFO] TX OSC /deck1/play ,f 1.000, size=20 bytes, " + dst << deckOn;
    QTest::newRow("address-float-0") << local << false << false << "address" << QVariantList{"/deck1/play", 0}
                                     << "[INFO] TX OSC /deck1/play ,f 0.000, size=20 bytes, " + dst
                                     << "2f6465636b312f706c6179002c66000000000000";
    QTest::newRow("address-float-128-single-precision")
            << local << false << false << "address" << QVariantList{"/deck1/play", 128}
            << "[INFO] TX OSC /deck1/play ,f 0.502, size=20 bytes, " + dst
            << "2f6465636b312f706c6179002c6600003f008081";
    QTest::newRow("address-float-bundle") << local << false << true << "address" << QVariantList{"/deck1/play", 255}
                                          << "[INFO] TX OSC [bundle] /deck1/play ,f 1.000, size=40 bytes, " + dst
                                          << "2362756e646c6500000000000000000100000014" + deckOn;
    QTest::newRow("address-int-128-maps-to-63")
            << local << true << false << "address" << QVariantList{"/deck1/play", 128}
            << "[INFO] TX OSC /deck1/play ,i 63, size=20 bytes, " + dst
            << "2f6465636b312f706c6179002c6900000000003f";
    QTest::newRow("address-blank-refused") << local << false << false << "address" << QVariantList{" \t ", 255}
                                           << "[WARNING] Cannot send OSC: empty oscAddress." << "";
    // The blank travels in the bytes and shows in this description.
    QTest::newRow("address-leading-blank") << local << false << false << "address" << QVariantList{" /a", 255}
                                           << "[INFO] TX OSC  /a ,f 1.000, size=12 bytes, " + dst
                                           << "202f61002c6600003f800000";

    QTest::newRow("typed-two-floats") << local << false << false << "typed"
                                      << QVariantList{"/xy", "ff", QVariantList{0.25, 0.75}}
                                      << "[INFO] TX OSC /xy ,ff 0.25 0.75, size=16 bytes, " + dst
                                      << "2f7879002c6666003e8000003f400000";
    QTest::newRow("typed-missing-value-refused")
            << local << false << false << "typed" << QVariantList{"/xy", "ff", QVariantList{0.25}}
            << "[WARNING] Cannot send OSC /xy: missing value for type tag 'f'" << "";
    QTest::newRow("typed-empty-tags") << local << false << false << "typed" << QVariantList{"/go", "", QVariantList{}}
                                      << "[INFO] TX OSC /go ,, size=8 bytes, " + dst << "2f676f002c000000";
    // The description is trimmed; the bytes keep the blank.
    QTest::newRow("typed-leading-blank")
            << local << false << false << "typed" << QVariantList{" /go", "", QVariantList{}}
            << "[INFO] TX OSC /go ,, size=12 bytes, " + dst << "202f676f000000002c000000";
    QTest::newRow("typed-blank-refused")
            << local << false << false << "typed" << QVariantList{"  ", "i", QVariantList{1}}
            << "[WARNING] Cannot send OSC: empty oscAddress." << "";
    // Every value is described, also those no tag takes; placeholders in texts stay as they are.
    QTest::newRow("typed-leftover-values-and-percent")
            << local << false << false << "typed" << QVariantList{"/p%2", "s", QVariantList{"%1", 7}}
            << "[INFO] TX OSC /p%2 ,s %1 7, size=16 bytes, " + dst << "2f702532000000002c73000025310000";

    QTest::newRow("host-name-refused") << "localhost" << false << false << "channel" << QVariantList{0, 1, 255}
                                       << "[WARNING] Cannot send OSC: invalid target host 'localhost'." << "";
    QTest::newRow("host-empty-refused") << "" << false << false << "address" << QVariantList{"/deck1/play", 255}
                                        << "[WARNING] Cannot send OSC: invalid target host ''." << "";
    QTest::newRow("host-ipv6-loopback")
            << "::1" << false << false << "address" << QVariantList{"/deck1/play", 255}
            << "[INFO] TX OSC /deck1/play ,f 1.000, size=20 bytes, dst=::1:{port}, hex={hex}" << deckOn;
}

void TestSend::sendOperations()
{
    QFETCH(QString, host);
    QFETCH(bool, intValues);
    QFETCH(bool, bundle);
    QFETCH(QString, operation);
    QFETCH(QVariantList, arguments);
    QFETCH(QString, line);
    QFETCH(QString, datagram);
    if (host.contains(':') && !m_ipv6)
        QSKIP("no IPv6 loopback");

    // Any address: the listener hears 127.0.0.1 and ::1 alike.
    QUdpSocket listener;
    QVERIFY(listener.bind(QHostAddress::Any, 0));
    OscEmulatorBackend backend;
    backend.setOscTargetPort(listener.localPort());
    backend.setOscTargetHost(host);
    backend.setSendIntValues(intValues);
    backend.setSendAsBundle(bundle);

    const int mark = backend.logMessages().size();
    if (operation == "channel")
        backend.sendOscChannel(arguments.at(0).toInt(), arguments.at(1).toInt(), arguments.at(2).toInt());
    else if (operation == "address")
        backend.sendOscToAddress(arguments.at(0).toString(), arguments.at(1).toInt());
    else
        backend.sendOscTyped(arguments.at(0).toString(), arguments.at(1).toString(), arguments.at(2).toList());
    line.replace("{port}", QString::number(listener.localPort())).replace("{hex}", datagram);
    QCOMPARE(linesFrom(backend, mark), QStringList{line});

    // Whatever the operation sent arrives before a marker sent after it.
    backend.setOscTargetHost("127.0.0.1");
    backend.setSendAsBundle(false);
    backend.sendOscTyped("/end", "");
    QStringList received;
    const QString marker = QString::fromLatin1(kEndMarker.toHex());
    QTRY_VERIFY_WITH_TIMEOUT((received += drain(listener)).contains(marker), 5000);
    const QStringList expected = datagram.isEmpty() ? QStringList{marker} : QStringList{datagram, marker};
    QCOMPARE(received, expected);
}

void TestSend::unreachableTarget_data()
{
    QTest::addColumn<int>("sends");
    QTest::addColumn<bool>("changePort");

    QTest::newRow("one") << 1 << false;
    QTest::newRow("three") << 3 << false;
    QTest::newRow("port-changed-before-the-error-arrives") << 1 << true;
}

// One WARNING line per refused datagram, naming the target settings of the moment the
// refusal is reported, and no port failure.
void TestSend::unreachableTarget()
{
    QFETCH(int, sends);
    QFETCH(bool, changePort);

    quint16 nobody;
    {
        QUdpSocket probe;
        QVERIFY(probe.bind(QHostAddress::LocalHost, 0));
        nobody = probe.localPort();
    }
    QUdpSocket listener;
    QVERIFY(listener.bind(QHostAddress::LocalHost, 0));

    OscEmulatorBackend backend;
    QSignalSpy errors(&backend, &OscEmulatorBackend::errorOccurred);
    backend.setOscTargetPort(nobody);
    for (int i = 0; i < sends; ++i)
        backend.sendOscChannel(0, 1, i);
    const int namedPort = changePort ? 9 : nobody;
    backend.setOscTargetPort(namedPort);

    const QString expected = QStringLiteral("[WARNING] Nobody is listening on 127.0.0.1:%1 (is Lumenfold running "
                                            "with OSC on that port?) - Connection refused")
                                     .arg(namedPort);
    const auto warnings = [&backend] { return linesFrom(backend, 0).filter("Nobody is listening"); };
    QTRY_COMPARE_WITH_TIMEOUT(warnings().size(), sends, 10000);
    QCOMPARE(warnings().last(), expected);

    // A later send collects any refusal still queued before it leaves; none may be left.
    backend.setOscTargetPort(listener.localPort());
    backend.sendOscTyped("/end", "");
    QVERIFY(listener.hasPendingDatagrams() || listener.waitForReadyRead(5000));
    QCOMPARE(warnings().size(), sends);
    QCOMPARE(errors.size(), 0);
    QVERIFY(linesFrom(backend, 0).filter("CRITICAL").isEmpty());
}

void TestSend::datagramSize_data()
{
    QTest::addColumn<QString>("host");
    QTest::addColumn<int>("size");       // of the message, a multiple of 4
    QTest::addColumn<QString>("error");  // empty: the datagram leaves

    // A UDP payload holds at most 65,507 bytes over IPv4 and 65,527 over IPv6.
    const QString tooLarge = QStringLiteral("Datagram was too large to send");
    QTest::newRow("ipv4-largest") << "127.0.0.1" << 65504 << "";
    QTest::newRow("ipv4-too-large") << "127.0.0.1" << 65508 << tooLarge;
    QTest::newRow("ipv6-largest") << "::1" << 65524 << "";
    QTest::newRow("ipv6-too-large") << "::1" << 65528 << tooLarge;
}

// A datagram the system cannot send fails as the socket's own error, once, with its own
// reason: the kernel's note of it in the error queue hides nothing.
void TestSend::datagramSize()
{
    QFETCH(QString, host);
    QFETCH(int, size);
    QFETCH(QString, error);
    if (host.contains(':') && !m_ipv6)
        QSKIP("no IPv6 loopback");

    QUdpSocket listener;
    QVERIFY(listener.bind(QHostAddress::Any, 0));
    OscEmulatorBackend backend;
    backend.setOscTargetPort(listener.localPort());
    backend.setOscTargetHost(host);
    QSignalSpy errors(&backend, &OscEmulatorBackend::errorOccurred);
    if (!error.isEmpty()) {
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression("^OSC UDP socket error: "));
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression("^Failed to send OSC datagram to "));
    }
    const int mark = backend.logMessages().size();
    // "/big" and ",b", 8 and 4 bytes, then the blob's size and the blob.
    backend.sendOscTyped("/big", "b", {QByteArray(size - 16, 'x')});

    const QStringList lines = linesFrom(backend, mark);
    if (error.isEmpty()) {
        QCOMPARE(lines.size(), 1);
        QVERIFY(lines.first().startsWith("[INFO] TX OSC /big ,b xxxx"));
        QVERIFY(lines.first().contains(QStringLiteral(", size=%1 bytes, ").arg(size)));
        QCOMPARE(errors.count(), 0);
    } else {
        QCOMPARE(lines, (QStringList{"[CRITICAL] Emulator Port Error: " + error, "[INFO] OSC UDP socket closed.",
                                     "[INFO] OSC emulation stopped."}));
        QCOMPARE(errors.count(), 1);
        QCOMPARE(errors.first().first().toString(), error);
    }

    // What left arrives whole, before a marker sent after it.
    backend.sendOscTyped("/end", "");
    const int marker = int(kEndMarker.size());
    QList<int> sizes;
    const auto drainSizes = [&] {
        while (listener.hasPendingDatagrams())
            sizes << int(listener.receiveDatagram().data().size());
        return sizes.contains(marker);
    };
    QTRY_VERIFY_WITH_TIMEOUT(drainSizes(), 5000);
    QList<int> expected{marker};
    if (error.isEmpty())
        expected.prepend(size);
    QCOMPARE(sizes, expected);
}

QTEST_GUILESS_MAIN(TestSend)
#include "tst_send.moc"
