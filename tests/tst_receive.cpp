#include "oscemulatorbackend.h"
#include "oscmessage.h"

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
    void datagrams_data();
    void datagrams();
};

// Values below 0x80 only: the blob is given as text.
static QByteArray universeMessage(int universe, const QByteArray &values)
{
    return Osc::buildTypedOscMessage("/osc/universe", "ib", {universe, QString::fromLatin1(values)}, nullptr);
}

static QString fileText(const QString &name)
{
    QFile file(name);
    return file.open(QIODevice::ReadOnly | QIODevice::Text) ? QString::fromUtf8(file.readAll()) : QString();
}

// Each row: one datagram and what it leaves behind: channel values, the packet count,
// the one UI log line added (without stamp; empty: none) and detail lines of the log file.
void TestReceive::datagrams_data()
{
    QTest::addColumn<QByteArray>("datagram");
    QTest::addColumn<QList<int>>("channelValues");  // pairs: channel, expected value
    QTest::addColumn<int>("packetCount");
    QTest::addColumn<QString>("uiLine");
    QTest::addColumn<QStringList>("fileLines");

    const auto row = [](const char *name, const QByteArray &datagram, const QList<int> &channelValues, int packets,
                        const QString &uiLine, const QStringList &fileLines = {}) {
        QTest::newRow(name) << datagram << channelValues << packets << uiLine << fileLines;
    };
    const QString rx = "[INFO] RX OSC datagram -> universe=%1, size=%2 bytes, packet#1, hex=";
    const QString fives = QString(80, '0').replace("00", "05");
    // The raw line shows the first 32 bytes: the 36-byte message without its value.
    row("channel 5", Osc::buildOscChannelMessage(0, 5, 77), {5, 77, 1, 0}, 0, "",
        {"Raw OSC datagram received - Size: 36 bytes, Hex: "
         "2f6f73632f6368616e6e656c000000002c696969000000000000000000000005"});
    row("channel 3 is blue", Osc::buildOscChannelMessage(0, 3, 200), {3, 200}, 0, "",
        {"OSC Channel Received - Universe: 0, Channel: 3, Value: 200", "Current RGB Buffer - R: 0, G: 0, B: 200"});
    row("last channel", Osc::buildOscChannelMessage(0, 512, 9), {512, 9}, 0, "");
    row("other universe", Osc::buildOscChannelMessage(1, 1, 50), {1, 0}, 0, "");
    row("protocol error", QByteArray("/osc/channel", 12), {1, 0}, 0,
        "[CRITICAL] Protocol Error: OSC parse error (address): unterminated OSC string");
    row("whole universe", universeMessage(0, QByteArray::fromHex("0a141e28")), {1, 10, 3, 30, 4, 40, 5, 0}, 1,
        rx.arg(0).arg(4) + "0a141e28", {"OSC Data Received - Universe: 0, Size: 4 bytes, Packet #1, Hex=0a141e28",
        "First 3 bytes (RGB): R=10, G=20, B=30", "Buffer updated - Size: 512, First 3 bytes: R=10, G=20, B=30"});
    row("whole universe elsewhere", universeMessage(2, "xxx"), {1, 0}, 1, rx.arg(2).arg(3) + "787878",
        {"First 3 bytes (RGB): R=120, G=120, B=120"});
    row("whole universe of 512", universeMessage(0, QByteArray(512, 5)), {1, 5, 512, 5}, 1, rx.arg(0).arg(512) + fives);
    row("whole universe of 513", universeMessage(0, QByteArray(513, 5)), {1, 0, 512, 0}, 1, rx.arg(0).arg(513) + fives);
    row("empty universe", universeMessage(0, QByteArray()), {1, 0}, 1, rx.arg(0).arg(0),
        {"Buffer updated - Size: 512, First 3 bytes: R=0, G=0, B=0"});
}

void TestReceive::datagrams()
{
    QFETCH(QByteArray, datagram);
    QFETCH(QList<int>, channelValues);
    QFETCH(int, packetCount);
    QFETCH(QString, uiLine);
    QFETCH(QStringList, fileLines);

    OscEmulatorBackend backend;
    backend.startEmulation();
    QVERIFY(backend.isRunning());
    QSignalSpy errors(&backend, &OscEmulatorBackend::errorOccurred);
    const int mark = backend.logMessages().size();
    QUdpSocket sender;
    QCOMPARE(sender.writeDatagram(datagram, QHostAddress::LocalHost, 9000), qint64(datagram.size()));
    QTRY_VERIFY_WITH_TIMEOUT(fileText(backend.logFileName()).contains("Raw OSC datagram received"), 5000);

    for (int i = 0; i < channelValues.size(); i += 2)
        QCOMPARE(backend.getChannelValue(channelValues.at(i)), channelValues.at(i + 1));
    QCOMPARE(backend.packetCount(), packetCount);
    QStringList added;
    for (const QString &line : backend.logMessages().mid(mark))
        added << line.mid(11);
    QCOMPARE(added, uiLine.isEmpty() ? QStringList() : QStringList{uiLine});
    QCOMPARE(errors.count(), uiLine.contains("Protocol Error") ? 1 : 0);
    const QString text = fileText(backend.logFileName());
    for (const QString &line : fileLines)
        QVERIFY2(text.contains("] " + line + "\n"), qPrintable(line));
    // Only red, green and blue write the channel's detail lines.
    const bool rgbChannel = !fileLines.filter("OSC Channel Received").isEmpty();
    QCOMPARE(text.contains("OSC Channel Received"), rgbChannel);
    QCOMPARE(text.contains("Current RGB Buffer"), rgbChannel);
    // A stop clears the table, and keeps the packet count.
    QVERIFY(backend.isRunning());
    backend.stopEmulation();
    for (int channel = 0; channel <= 513; ++channel)
        QCOMPARE(backend.getChannelValue(channel), 0);
    QCOMPARE(backend.redValue() + backend.greenValue() + backend.blueValue(), 0);
    QCOMPARE(backend.packetCount(), packetCount);
}

QTEST_GUILESS_MAIN(TestReceive)
#include "tst_receive.moc"
