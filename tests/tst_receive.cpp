#include "oscemulatorbackend.h"

#include <QFile>
#include <QSignalSpy>
#include <QTest>
#include <QUdpSocket>

// What received datagrams do to the device's state: the channel table, red/green/blue,
// the whole-universe message, protocol errors and the debug log file's detail lines.
class TestReceive : public QObject
{
    Q_OBJECT
private slots:
    void init();
    void cleanup();
    void datagrams_data();
    void datagrams();
    void stopClearsTheTable();
    void rawLineShowsFirst32Bytes();

private:
    void deliver(const QByteArray &datagram);
    QString logFileText() const;

    OscEmulatorBackend *m_backend = nullptr;
    QUdpSocket m_sender;
};

static QByteArray channelMessage(qint32 universe, qint32 channel, qint32 value)
{
    QByteArray out = QByteArray::fromHex("2f6f73632f6368616e6e656c000000002c69696900000000");
    for (qint32 v : {universe, channel, value}) {
        const quint32 u = quint32(v);
        out.append(char(u >> 24)).append(char(u >> 16)).append(char(u >> 8)).append(char(u));
    }
    return out;
}

static QByteArray universeMessage(qint32 universe, const QByteArray &values)
{
    QByteArray out("/osc/universe\0\0\0,ib\0", 20);
    for (qint32 v : {universe, qint32(values.size())}) {
        const quint32 u = quint32(v);
        out.append(char(u >> 24)).append(char(u >> 16)).append(char(u >> 8)).append(char(u));
    }
    out.append(values);
    while (out.size() % 4)
        out.append('\0');
    return out;
}

void TestReceive::init()
{
    m_backend = new OscEmulatorBackend;
    m_backend->startEmulation();
    QVERIFY(m_backend->isRunning());
}

void TestReceive::cleanup()
{
    delete m_backend;
    m_backend = nullptr;
}

void TestReceive::deliver(const QByteArray &datagram)
{
    const int before = logFileText().count("Raw OSC datagram received");
    QCOMPARE(m_sender.writeDatagram(datagram, QHostAddress::LocalHost, 9000), qint64(datagram.size()));
    QTRY_COMPARE_WITH_TIMEOUT(logFileText().count("Raw OSC datagram received"), before + 1, 5000);
}

QString TestReceive::logFileText() const
{
    QFile file(m_backend->logFileName());
    return file.open(QIODevice::ReadOnly | QIODevice::Text) ? QString::fromUtf8(file.readAll()) : QString();
}

// Each row: one datagram and what it leaves behind.
void TestReceive::datagrams_data()
{
    QTest::addColumn<QByteArray>("datagram");
    QTest::addColumn<QList<int>>("channelValues");  // pairs: channel, expected value
    QTest::addColumn<int>("packetCount");
    QTest::addColumn<QString>("uiLine");            // last UI log line (without stamp); empty: none added
    QTest::addColumn<QStringList>("fileLines");     // detail lines expected in the debug log file

    QTest::newRow("channel 5") << channelMessage(0, 5, 77) << QList<int>{5, 77} << 0 << QString()
                               << QStringList();
    QTest::newRow("channel 2 is green")
            << channelMessage(0, 2, 200) << QList<int>{2, 200} << 0 << QString()
            << QStringList{"OSC Channel Received - Universe: 0, Channel: 2, Value: 200",
                           "Current RGB Buffer - R: 0, G: 200, B: 0"};
    QTest::newRow("value clamped") << channelMessage(0, 1, 300) << QList<int>{1, 255} << 0 << QString()
                                   << QStringList{"Current RGB Buffer - R: 255, G: 0, B: 0"};
    QTest::newRow("last channel") << channelMessage(0, 512, 9) << QList<int>{512, 9} << 0 << QString()
                                  << QStringList();
    QTest::newRow("other universe") << channelMessage(1, 1, 50) << QList<int>{1, 0} << 0 << QString()
                                    << QStringList();
    QTest::newRow("malformed")
            << QByteArray("/osc/channel", 12) << QList<int>{1, 0} << 0
            << "[CRITICAL] Protocol Error: OSC parse error (address): unterminated OSC string" << QStringList();
    QTest::newRow("bundle") << QByteArray("#bundle\0", 8) + QByteArray(8, '\0') << QList<int>{1, 0} << 0
                            << "[CRITICAL] Protocol Error: OSC bundles are not supported yet; expected a single "
                               "OSC message."
                            << QStringList();
    QTest::newRow("whole universe")
            << universeMessage(0, QByteArray::fromHex("0a141e28")) << QList<int>{1, 10, 3, 30, 4, 40, 5, 0} << 1
            << "[INFO] RX OSC datagram -> universe=0, size=4 bytes, packet#1, hex=0a141e28"
            << QStringList{"OSC Data Received - Universe: 0, Size: 4 bytes, Packet #1, Hex=0a141e28",
                           "First 3 bytes (RGB): R=10, G=20, B=30",
                           "Buffer updated - Size: 512, First 3 bytes: R=10, G=20, B=30"};
    QTest::newRow("whole universe elsewhere")
            << universeMessage(2, QByteArray(3, 'x')) << QList<int>{1, 0} << 1
            << "[INFO] RX OSC datagram -> universe=2, size=3 bytes, packet#1, hex=787878"
            << QStringList{"First 3 bytes (RGB): R=120, G=120, B=120"};
    QTest::newRow("whole universe too long")
            << universeMessage(0, QByteArray(513, '\x05')) << QList<int>{1, 0, 512, 0} << 1
            << "[INFO] RX OSC datagram -> universe=0, size=513 bytes, packet#1, hex="
                       + QString(80, '0').replace("00", "05")
            << QStringList();
    QTest::newRow("empty universe") << universeMessage(0, QByteArray()) << QList<int>{1, 0} << 1
                                    << "[INFO] RX OSC datagram -> universe=0, size=0 bytes, packet#1, hex="
                                    << QStringList{"Buffer updated - Size: 512, First 3 bytes: R=0, G=0, B=0"};
}

void TestReceive::datagrams()
{
    QFETCH(QByteArray, datagram);
    QFETCH(QList<int>, channelValues);
    QFETCH(int, packetCount);
    QFETCH(QString, uiLine);
    QFETCH(QStringList, fileLines);

    QSignalSpy errors(m_backend, &OscEmulatorBackend::errorOccurred);
    const int mark = m_backend->logMessages().size();
    deliver(datagram);

    for (int i = 0; i < channelValues.size(); i += 2)
        QCOMPARE(m_backend->getChannelValue(channelValues.at(i)), channelValues.at(i + 1));
    QCOMPARE(m_backend->packetCount(), packetCount);
    const QStringList added = m_backend->logMessages().mid(mark);
    if (uiLine.isEmpty()) {
        QVERIFY2(added.isEmpty(), qPrintable(added.join('\n')));
    } else {
        QCOMPARE(added.size(), 1);
        QCOMPARE(added.first().mid(11), uiLine);
    }
    QCOMPARE(errors.count(), uiLine.contains("Protocol Error") ? 1 : 0);
    const QString text = logFileText();
    for (const QString &line : fileLines)
        QVERIFY2(text.contains("] " + line + "\n"), qPrintable(line));
    QVERIFY(m_backend->isRunning());
}

void TestReceive::stopClearsTheTable()
{
    deliver(channelMessage(0, 3, 99));
    deliver(universeMessage(0, QByteArray::fromHex("0102")));
    QCOMPARE(m_backend->blueValue(), 99);
    QCOMPARE(m_backend->redValue(), 1);
    m_backend->stopEmulation();
    QCOMPARE(m_backend->redValue() + m_backend->greenValue() + m_backend->blueValue(), 0);
    for (int channel = 1; channel <= 512; ++channel)
        QCOMPARE(m_backend->getChannelValue(channel), 0);
    QCOMPARE(m_backend->packetCount(), 1);
    QCOMPARE(m_backend->getChannelValue(0), 0);
    QCOMPARE(m_backend->getChannelValue(513), 0);
}

void TestReceive::rawLineShowsFirst32Bytes()
{
    deliver(channelMessage(0, 4, 1));
    // 64 hex digits: the 36-byte message without its last four bytes (the value).
    QVERIFY(logFileText().contains("] Raw OSC datagram received - Size: 36 bytes, Hex: "
                                   "2f6f73632f6368616e6e656c000000002c696969000000000000000000000004\n"));
}

QTEST_GUILESS_MAIN(TestReceive)
#include "tst_receive.moc"
