#include "oscemulatorport.h"

#include <QNetworkDatagram>
#include <QSignalSpy>
#include <QTest>
#include <QUdpSocket>

// The one UDP socket on loopback: its signals, binding by sending, reception, and the
// refusals that come back when nobody listens at the target.
class TestOscEmulatorPort : public QObject
{
    Q_OBJECT
private slots:
    void signalOrder_data();
    void signalOrder();
    void emptySendWritesNothing();
    void reception_data();
    void reception();
    void bindFailure();
    void refusedDatagrams_data();
    void refusedDatagrams();
    void ipv6TargetFromListeningSocket();
};

namespace {

// A UDP port that nobody listens on: bound once, then released.
quint16 closedPort(const QHostAddress &address)
{
    QUdpSocket probe;
    return probe.bind(address, 0) ? probe.localPort() : 0;
}

bool ipv6Available()
{
    QUdpSocket probe;
    return probe.bind(QHostAddress::LocalHostIPv6, 0);
}

// The port's five signals, in the order they came.
class Recorder : public QObject
{
public:
    explicit Recorder(OscEmulatorPort &port)
    {
        connect(&port, &OscEmulatorPort::portOpened, this, [this] { events << "opened"; });
        connect(&port, &OscEmulatorPort::portClosed, this, [this] { events << "closed"; });
        connect(&port, &OscEmulatorPort::errorOccurred, this, [this](const QString &e) { events << "error: " + e; });
        connect(&port, &OscEmulatorPort::targetUnreachable, this,
                [this](const QString &e) { events << "unreachable: " + e; });
        connect(&port, &OscEmulatorPort::dataReceived, this,
                [this](const QByteArray &d) { events << "data: " + QString::fromLatin1(d.toHex()); });
    }
    QStringList events;
};

} // namespace

void TestOscEmulatorPort::signalOrder_data()
{
    QTest::addColumn<QStringList>("actions");
    QTest::addColumn<QStringList>("events");
    QTest::addColumn<bool>("openAfterwards");

    QTest::newRow("open") << QStringList{"open"} << QStringList{"opened"} << true;
    QTest::newRow("open-on-open-port") << QStringList{"open", "open"} << QStringList{"opened", "closed", "opened"}
                                       << true;
    QTest::newRow("open-close") << QStringList{"open", "close"} << QStringList{"opened", "closed"} << false;
    QTest::newRow("close-on-closed-port") << QStringList{"close"} << QStringList{} << false;
    QTest::newRow("send-binds-silently") << QStringList{"send"} << QStringList{} << true;
    QTest::newRow("send-then-close") << QStringList{"send", "close"} << QStringList{"closed"} << false;
    QTest::newRow("send-then-open") << QStringList{"send", "open"} << QStringList{"closed", "opened"} << true;
}

void TestOscEmulatorPort::signalOrder()
{
    QFETCH(QStringList, actions);
    QFETCH(QStringList, events);
    QFETCH(bool, openAfterwards);

    QUdpSocket sink;
    QVERIFY(sink.bind(QHostAddress::LocalHost, 0));
    const quint16 listenPort = closedPort(QHostAddress::AnyIPv4);
    QVERIFY(listenPort);

    OscEmulatorPort port;
    Recorder recorder(port);
    for (const QString &action : actions) {
        if (action == "open")
            QVERIFY(port.open(listenPort));
        else if (action == "close")
            port.close();
        else
            QVERIFY(port.send("x", QHostAddress::LocalHost, sink.localPort()));
    }
    QCOMPARE(recorder.events, events);
    QCOMPARE(port.isOpen(), openAfterwards);
    if (actions.last() == "open")
        QCOMPARE(port.localPort(), listenPort);
}

void TestOscEmulatorPort::emptySendWritesNothing()
{
    OscEmulatorPort port;
    Recorder recorder(port);
    QVERIFY(!port.send(QByteArray(), QHostAddress::LocalHost, 9));
    QVERIFY(!port.isOpen());
    QCOMPARE(recorder.events, QStringList());
}

void TestOscEmulatorPort::reception_data()
{
    QTest::addColumn<bool>("bindBySending");
    QTest::addColumn<QStringList>("datagrams");
    QTest::addColumn<QStringList>("events");

    QTest::newRow("one") << false << QStringList{"2f676f002c000000"} << QStringList{"data: 2f676f002c000000"};
    QTest::newRow("three-in-order") << false << QStringList{"01", "0202", "030303"}
                                    << QStringList{"data: 01", "data: 0202", "data: 030303"};
    QTest::newRow("empty-skipped") << false << QStringList{"", "01", "", "02"}
                                   << QStringList{"data: 01", "data: 02"};
    QTest::newRow("reply-to-ephemeral-port") << true << QStringList{"", "0a0b"} << QStringList{"data: 0a0b"};
}

void TestOscEmulatorPort::reception()
{
    QFETCH(bool, bindBySending);
    QFETCH(QStringList, datagrams);
    QFETCH(QStringList, events);

    QUdpSocket peer;
    QVERIFY(peer.bind(QHostAddress::LocalHost, 0));
    OscEmulatorPort port;
    if (bindBySending) {
        QVERIFY(port.send("hello", QHostAddress::LocalHost, peer.localPort()));
        QVERIFY(peer.hasPendingDatagrams() || peer.waitForReadyRead(5000));
    } else {
        QVERIFY(port.open(closedPort(QHostAddress::AnyIPv4)));
    }
    Recorder recorder(port);
    for (const QString &hex : datagrams)
        QCOMPARE(peer.writeDatagram(QByteArray::fromHex(hex.toLatin1()), QHostAddress::LocalHost, port.localPort()),
                 qint64(hex.size() / 2));
    QTRY_COMPARE_WITH_TIMEOUT(recorder.events.size(), events.size(), 5000);
    QCOMPARE(recorder.events, events);
}

void TestOscEmulatorPort::bindFailure()
{
    QUdpSocket holder;
    QVERIFY(holder.bind(QHostAddress::AnyIPv4, 0));

    OscEmulatorPort port;
    Recorder recorder(port);
    const QString warning = QStringLiteral("^Failed to bind OSC UDP port %1 : \"").arg(holder.localPort());
    QTest::ignoreMessage(QtWarningMsg, QRegularExpression(warning));
    QVERIFY(!port.open(holder.localPort()));
    QVERIFY(!port.isOpen());
    QCOMPARE(recorder.events, QStringList{"error: The bound address is already in use"});

    // Sending afterwards binds anew: to any address family, with errors of its own.
    const QHostAddress loopback = ipv6Available() ? QHostAddress::LocalHostIPv6 : QHostAddress::LocalHost;
    QUdpSocket peer;
    QVERIFY(peer.bind(loopback, 0));
    QVERIFY(port.send("x", loopback, peer.localPort()));
    QTest::ignoreMessage(QtWarningMsg, QRegularExpression("^OSC UDP socket error: "));
    QTest::ignoreMessage(QtWarningMsg, QRegularExpression("^Failed to send OSC datagram to "));
    QVERIFY(!port.send(QByteArray(70000, 'x'), loopback, peer.localPort()));
    QCOMPARE(recorder.events,
             (QStringList{"error: The bound address is already in use", "error: Datagram was too large to send"}));
}

void TestOscEmulatorPort::refusedDatagrams_data()
{
    QTest::addColumn<bool>("listening");
    QTest::addColumn<QHostAddress>("loopback");
    QTest::addColumn<int>("count");

    QTest::newRow("ipv4-one") << false << QHostAddress(QHostAddress::LocalHost) << 1;
    QTest::newRow("ipv4-three") << false << QHostAddress(QHostAddress::LocalHost) << 3;
    QTest::newRow("ipv6-three") << false << QHostAddress(QHostAddress::LocalHostIPv6) << 3;
    QTest::newRow("listening-ipv4-three") << true << QHostAddress(QHostAddress::LocalHost) << 3;
}

// Each refused datagram gives one targetUnreachable and nothing else, and the socket goes
// on sending and receiving: right after a refusal, and after the event loop has seen one.
void TestOscEmulatorPort::refusedDatagrams()
{
    QFETCH(bool, listening);
    QFETCH(QHostAddress, loopback);
    QFETCH(int, count);
    if (loopback.protocol() == QAbstractSocket::IPv6Protocol && !ipv6Available())
        QSKIP("no IPv6 loopback");

    QUdpSocket peer;
    QVERIFY(peer.bind(loopback, 0));
    const quint16 nobody = closedPort(loopback);
    QVERIFY(nobody);

    OscEmulatorPort port;
    if (listening)
        QVERIFY(port.open(closedPort(QHostAddress::AnyIPv4)));
    QSignalSpy unreachable(&port, &OscEmulatorPort::targetUnreachable);
    QSignalSpy errors(&port, &OscEmulatorPort::errorOccurred);
    QSignalSpy received(&port, &OscEmulatorPort::dataReceived);

    for (int i = 0; i < count; ++i)
        QVERIFY(port.send("refused", loopback, nobody));
    QTRY_COMPARE_WITH_TIMEOUT(unreachable.size(), count, 10000);
    for (const QList<QVariant> &arguments : unreachable)
        QCOMPARE(arguments.first().toString(), QStringLiteral("Connection refused"));

    // After a wake-up that brought only the error, the socket still hears datagrams.
    QVERIFY(peer.writeDatagram("ping", loopback, port.localPort()) == 4);
    QVERIFY(received.size() || received.wait(10000));
    QCOMPARE(received.first().first().toByteArray(), QByteArray("ping"));

    // A send straight after a refusal, with no event processing in between, still leaves.
    QVERIFY(port.send("refused", loopback, nobody));
    QVERIFY(port.send("pong", loopback, peer.localPort()));
    QVERIFY(peer.hasPendingDatagrams() || peer.waitForReadyRead(10000));
    QCOMPARE(peer.receiveDatagram().data(), QByteArray("pong"));

    // A last round trip: every refusal has been collected by now, and counted once.
    QVERIFY(peer.writeDatagram("ping", loopback, port.localPort()) == 4);
    QTRY_COMPARE_WITH_TIMEOUT(received.size(), 2, 10000);
    QCOMPARE(unreachable.size(), count + 1);
    QCOMPARE(errors.size(), 0);
}

// The listening socket is IPv4 only: an IPv6 target cannot be reached from it, and the
// socket's error is a real one.
void TestOscEmulatorPort::ipv6TargetFromListeningSocket()
{
    OscEmulatorPort port;
    QVERIFY(port.open(closedPort(QHostAddress::AnyIPv4)));
    QSignalSpy errors(&port, &OscEmulatorPort::errorOccurred);
    QSignalSpy unreachable(&port, &OscEmulatorPort::targetUnreachable);
    QTest::ignoreMessage(QtWarningMsg, QRegularExpression("^OSC UDP socket error: "));
    QTest::ignoreMessage(QtWarningMsg,
                         QRegularExpression("^Failed to send OSC datagram to \"::1\" port 9 - written: -1 error: "));
    QVERIFY(!port.send("x", QHostAddress::LocalHostIPv6, 9));
    QCOMPARE(errors.size(), 1);
    QCOMPARE(unreachable.size(), 0);
}

QTEST_GUILESS_MAIN(TestOscEmulatorPort)
#include "tst_oscemulatorport.moc"
