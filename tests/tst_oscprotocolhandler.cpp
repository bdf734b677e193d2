#include "oscmessage.h"
#include "oscprotocolhandler.h"

#include <QSignalSpy>
#include <QTest>

// What the parser makes of one datagram: exactly one signal per non-empty datagram,
// carrying either the decoded values or the exact error text.
class TestOscProtocolHandler : public QObject
{
    Q_OBJECT
private slots:
    void parseData_data();
    void parseData();
    void setProtocolTypeWritesOnlyChanges();
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

static void channelRow(const char *name, const char *hex, int universe, int channel, int value)
{
    QTest::newRow(name) << QByteArray::fromHex(hex) << QStringLiteral("oscChannelReceived")
                        << QVariantList{universe, channel, QVariant::fromValue(quint8(value))};
}

static void universeRow(const char *name, const char *hex, int universe, const char *valuesHex)
{
    QTest::newRow(name) << QByteArray::fromHex(hex) << QStringLiteral("oscDataReceived")
                        << QVariantList{universe, QByteArray::fromHex(valuesHex)};
}

static void errorRow(const char *name, const char *hex, const QString &error)
{
    QTest::newRow(name) << QByteArray::fromHex(hex) << QStringLiteral("protocolError") << QVariantList{error};
}

void TestOscProtocolHandler::parseData_data()
{
    QTest::addColumn<QByteArray>("datagram");
    QTest::addColumn<QString>("signal"); // empty: no signal at all
    QTest::addColumn<QVariantList>("arguments");

    QTest::newRow("empty") << QByteArray() << QString() << QVariantList();

    channelRow("channel 0 1 200", CHANNEL_III "00000000 00000001 000000c8", 0, 1, 200);
    channelRow("value 300 clamped", CHANNEL_III "00000000 00000001 0000012c", 0, 1, 255);
    channelRow("value -7 clamped", CHANNEL_III "00000000 00000001 fffffff9", 0, 1, 0);
    channelRow("extra bytes ignored", CHANNEL_III "00000000 00000001 000000c8 deadbeef 00", 0, 1, 200);
    channelRow("channel 512", CHANNEL_III "00000000 00000200 00000011", 0, 512, 17);
    channelRow("universe 3", CHANNEL_III "00000003 00000004 00000005", 3, 4, 5);
    channelRow("padding not checked",
               "2f6f7363 2f636861 6e6e656c 00ffffff 2c696969 00abcdef 00000000 00000002 00000009", 0, 2, 9);
    errorRow("channel 0", CHANNEL_III "00000000 00000000 000000c8", "Invalid OSC channel 0 (must be 1-512)");
    errorRow("channel 513", CHANNEL_III "00000000 00000201 000000c8", "Invalid OSC channel 513 (must be 1-512)");
    errorRow("channel checked before universe", CHANNEL_III "ffffffff 00000258 000000c8",
             "Invalid OSC channel 600 (must be 1-512)");
    errorRow("universe -1", CHANNEL_III "ffffffff 00000005 000000c8", "Invalid OSC universe -1 (must be >= 0)");
    errorRow("two int32 for ,iii", CHANNEL_III "00000000 00000001",
             "OSC parse error (/osc/channel args): not enough data for int32");
    errorRow("tags ,iif", "2f6f7363 2f636861 6e6e656c 00000000 2c696966 00000000 00000000 00000001 3f800000",
             "Unsupported OSC type tags for /osc/channel: ',iif' (expected ',iii')");
    errorRow("tags ,ii", "2f6f7363 2f636861 6e6e656c 00000000 2c696900 00000000 00000001",
             "Unsupported OSC type tags for /osc/channel: ',ii' (expected ',iii')");
    errorRow("address case-sensitive",
             "2f6f7363 2f436861 6e6e656c 00000000 2c696969 00000000 00000000 00000001 00000001",
             "Unsupported OSC address: '/osc/Channel'");
    errorRow("address longer", "2f6f7363 2f636861 6e6e656c 32000000 2c696969 00000000 00000000 00000001 00000001",
             "Unsupported OSC address: '/osc/channel2'");
    errorRow("address decoded as UTF-8", "2fc3a900 2c696969 00000000",
             QStringLiteral("Unsupported OSC address: '/\u00e9'"));
    errorRow("empty address", "00000000 2c696969 00000000 00000000 00000001 00000001", "Unsupported OSC address: ''");
    errorRow("address unterminated", "2f6f7363 2f636861 6e6e656c",
             "OSC parse error (address): unterminated OSC string");
    errorRow("13 bytes", "2f6f7363 2f636861 6e6e656c 00",
             "OSC parse error (type tags): offset out of range while reading string");
    errorRow("type tags unterminated", "2f6f7363 2f636861 6e6e656c 00000000 2c696969",
             "OSC parse error (type tags): unterminated OSC string");
    errorRow("no type tag string", "2f6f7363 2f636861 6e6e656c 00000000 00000000 00000000 00000000",
             "OSC type tag string must start with ','. Got: ''");
    errorRow("comma checked before address", "2f78797a 00000000 69000000",
             "OSC type tag string must start with ','. Got: 'i'");

    const QString bundle = QStringLiteral("OSC bundles are not supported yet; expected a single OSC message.");
    errorRow("bundle", "2362756e 646c6500 00000000 00000001 00000024" CHANNEL_III "00000000 00000001 0000007f", bundle);
    errorRow("#bundle then any byte", "2362756e 646c6558 00000000", bundle);
    errorRow("#bundle alone", "2362756e 646c65", bundle);
    errorRow("#bundl is an address", "2362756e 646c5800",
             "OSC parse error (type tags): offset out of range while reading string");

    universeRow("universe 0 four values", UNIVERSE_IB "00000000 00000004 0a141e28", 0, "0a141e28");
    universeRow("universe blob padded", UNIVERSE_IB "00000002 00000003 0b162100", 2, "0b1621");
    universeRow("universe blob unpadded at end", UNIVERSE_IB "00000000 00000003 0b1621", 0, "0b1621");
    universeRow("universe empty blob", UNIVERSE_IB "00000000 00000000", 0, "");
    errorRow("universe blob past end", UNIVERSE_IB "00000000 000000ff",
             "OSC parse error (/osc/universe args): not enough data for blob");
    errorRow("universe blob size 2^31-1", UNIVERSE_IB "00000000 7fffffff 01020304",
             "OSC parse error (/osc/universe args): not enough data for blob");
    errorRow("universe blob size negative", UNIVERSE_IB "00000000 ffffffff 01020304",
             "OSC parse error (/osc/universe args): not enough data for blob");
    errorRow("universe blob missing", UNIVERSE_IB "00000000",
             "OSC parse error (/osc/universe args): not enough data for blob");
    errorRow("universe int missing", UNIVERSE_IB, "OSC parse error (/osc/universe args): not enough data for int32");
    errorRow("universe -1", UNIVERSE_IB "ffffffff 00000001 07000000", "Invalid OSC universe -1 (must be >= 0)");
    errorRow("universe tags ,iii", "2f6f7363 2f756e69 76657273 65000000 2c696969 00000000 00000000 00000001 00000001",
             "Unsupported OSC type tags for /osc/universe: ',iii' (expected ',ib')");
}

void TestOscProtocolHandler::parseData()
{
    QFETCH(QByteArray, datagram);
    QFETCH(QString, signal);
    QFETCH(QVariantList, arguments);

    OscProtocolHandler handler;
    QSignalSpy channels(&handler, &OscProtocolHandler::oscChannelReceived);
    QSignalSpy universes(&handler, &OscProtocolHandler::oscDataReceived);
    QSignalSpy errors(&handler, &OscProtocolHandler::protocolError);
    QVERIFY(channels.isValid() && universes.isValid() && errors.isValid());

    handler.parseData(datagram);

    QStringList raised;
    QVariantList raisedArguments;
    for (auto [name, spy] : {std::pair{"oscChannelReceived", &channels}, std::pair{"oscDataReceived", &universes},
                             std::pair{"protocolError", &errors}}) {
        for (const QVariantList &emission : std::as_const(*spy)) {
            raised << QString::fromLatin1(name);
            raisedArguments = emission;
        }
    }
    QCOMPARE(raised, signal.isEmpty() ? QStringList() : QStringList{signal});
    QCOMPARE(raisedArguments, arguments);
}

static QStringList s_debugLines;

static void captureDebug(QtMsgType type, const QMessageLogContext &, const QString &message)
{
    if (type == QtDebugMsg)
        s_debugLines << message;
}

void TestOscProtocolHandler::setProtocolTypeWritesOnlyChanges()
{
    OscProtocolHandler handler;
    QCOMPARE(QMetaType::fromName("OscProtocolHandler::ProtocolType"),
             QMetaType::fromType<OscProtocolHandler::ProtocolType>());
    const auto other = static_cast<OscProtocolHandler::ProtocolType>(1);

    s_debugLines.clear();
    const QtMessageHandler previous = qInstallMessageHandler(captureDebug);
    handler.setProtocolType(OscProtocolHandler::OscChannelProtocol);
    handler.setProtocolType(other);
    handler.setProtocolType(other);
    qInstallMessageHandler(previous);

    QCOMPARE(s_debugLines, QStringList{"OscProtocolHandler: protocol type set to 1"});
    QCOMPARE(handler.protocolType(), other);
}

QTEST_GUILESS_MAIN(TestOscProtocolHandler)
#include "tst_oscprotocolhandler.moc"
