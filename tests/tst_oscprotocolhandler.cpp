#include "oscprotocolhandler.h"

#include <QTest>

// What the parser makes of one datagram: exactly one signal per non-empty datagram,
// carrying either the decoded values or the exact error text.
class TestOscProtocolHandler : public QObject
{
    Q_OBJECT
private slots:
    void parseData_data();
    void parseData();
};

// Byte layout of the rows (hex; blanks are for the eye and ignored):
//   0        4        8        12       16       20       24       28       32
//   2f6f7363 2f636861 6e6e656c 00000000 2c696969 00000000 universe channel  value
//   /osc     /cha     nnel     NUL+pad  ,iii     NUL+pad
#define CHANNEL_III "2f6f7363 2f636861 6e6e656c 00000000 2c696969 00000000 "
//   0        4        8        12       16       20       24
//   2f6f7363 2f756e69 76657273 65000000 2c696200 universe size     values...
//   /osc     /uni     vers     e+NUL    ,ib+NUL
#define UNIVERSE_IB "2f6f7363 2f756e69 76657273 65000000 2c696200 "

void TestOscProtocolHandler::parseData_data()
{
    QTest::addColumn<QByteArray>("datagram");
    QTest::addColumn<QString>("event"); // the one event raised; empty: none

    const auto row = [](const char *name, const char *hex, const QString &event) {
        QTest::newRow(name) << QByteArray::fromHex(hex) << event;
    };
    row("empty", "", "");
    row("channel 1", CHANNEL_III "00000000 00000001 000000c8", "channel 0 1 200");
    row("value 300 clamped", CHANNEL_III "00000000 00000001 0000012c", "channel 0 1 255");
    row("value -7 clamped", CHANNEL_III "00000000 00000001 fffffff9", "channel 0 1 0");
    row("extra bytes ignored", CHANNEL_III "00000000 00000001 000000c8 deadbeef 00", "channel 0 1 200");
    row("channel 512, universe 3", CHANNEL_III "00000003 00000200 00000011", "channel 3 512 17");
    row("padding not checked", "2f6f7363 2f636861 6e6e656c 00ffffff 2c696969 00abcdef 00000000 00000002 00000009",
        "channel 0 2 9");
    row("channel 0", CHANNEL_III "00000000 00000000 000000c8", "error Invalid OSC channel 0 (must be 1-512)");
    row("channel 513", CHANNEL_III "00000000 00000201 000000c8", "error Invalid OSC channel 513 (must be 1-512)");
    row("channel checked before universe", CHANNEL_III "ffffffff 00000258 000000c8",
        "error Invalid OSC channel 600 (must be 1-512)");
    row("universe -1", CHANNEL_III "ffffffff 00000005 000000c8", "error Invalid OSC universe -1 (must be >= 0)");
    row("two int32 for ,iii", CHANNEL_III "00000000 00000001",
        "error OSC parse error (/osc/channel args): not enough data for int32");
    row("tags ,iif", "2f6f7363 2f636861 6e6e656c 00000000 2c696966 00000000 00000000 00000001 3f800000",
        "error Unsupported OSC type tags for /osc/channel: ',iif' (expected ',iii')");
    row("address longer", "2f6f7363 2f636861 6e6e656c 32000000 2c696969 00000000 00000000 00000001 00000001",
        "error Unsupported OSC address: '/osc/channel2'");
    row("address decoded as UTF-8", "2fc3a900 2c696969 00000000", QStringLiteral("error Unsupported OSC address: '/\u00e9'"));
    row("address unterminated", "2f6f7363 2f636861 6e6e656c", "error OSC parse error (address): unterminated OSC string");
    row("13 bytes", "2f6f7363 2f636861 6e6e656c 00",
        "error OSC parse error (type tags): offset out of range while reading string");
    row("type tags unterminated", "2f6f7363 2f636861 6e6e656c 00000000 2c696969",
        "error OSC parse error (type tags): unterminated OSC string");
    row("comma checked before address", "2f78797a 00000000 69000000",
        "error OSC type tag string must start with ','. Got: 'i'");
    const QString bundle = "error OSC bundles are not supported yet; expected a single OSC message.";
    row("#bundle then any byte", "2362756e 646c6558 00000000", bundle);
    row("#bundle alone", "2362756e 646c65", bundle);

    row("universe blob padded", UNIVERSE_IB "00000002 00000003 0b162100", "universe 2 0b1621");
    row("universe blob unpadded at end", UNIVERSE_IB "00000000 00000003 0b1621", "universe 0 0b1621");
    row("universe empty blob", UNIVERSE_IB "00000000 00000000", "universe 0 ");
    const QString noBlob = "error OSC parse error (/osc/universe args): not enough data for blob";
    row("universe blob size 2^31-1", UNIVERSE_IB "00000000 7fffffff 01020304", noBlob);
    row("universe blob size negative", UNIVERSE_IB "00000000 ffffffff 01020304", noBlob);
    row("universe blob missing", UNIVERSE_IB "00000000", noBlob);
    row("universe int missing", UNIVERSE_IB, "error OSC parse error (/osc/universe args): not enough data for int32");
    row("universe -1", UNIVERSE_IB "ffffffff 00000001 07000000", "error Invalid OSC universe -1 (must be >= 0)");
    row("universe tags ,iii", "2f6f7363 2f756e69 76657273 65000000 2c696969 00000000 00000000 00000001 00000001",
        "error Unsupported OSC type tags for /osc/universe: ',iii' (expected ',ib')");
}

void TestOscProtocolHandler::parseData()
{
    QFETCH(QByteArray, datagram);
    QFETCH(QString, event);

    OscProtocolHandler handler;
    QStringList events;
    connect(&handler, &OscProtocolHandler::oscChannelReceived, this,
            [&](int u, int c, quint8 v) { events << QStringLiteral("channel %1 %2 %3").arg(u).arg(c).arg(int(v)); });
    connect(&handler, &OscProtocolHandler::oscDataReceived, this,
            [&](int u, const QByteArray &data) { events << QStringLiteral("universe %1 ").arg(u) + data.toHex(); });
    connect(&handler, &OscProtocolHandler::protocolError, this, [&](const QString &error) { events << "error " + error; });
    handler.parseData(datagram);
    QCOMPARE(events, event.isEmpty() ? QStringList() : QStringList{event});
}

QTEST_GUILESS_MAIN(TestOscProtocolHandler)
#include "tst_oscprotocolhandler.moc"
