#include "oscmessage.h"

#include <QTest>

// The bytes the desk puts on the wire, checked against hand-decoded OSC 1.0 vectors.
class TestOscMessage : public QObject
{
    Q_OBJECT
private slots:
    void encoders_data();
    void encoders();
    void typedMessageErrors_data();
    void typedMessageErrors();
    void hexDigits_data();
    void hexDigits();
};

static QByteArray typed(const QString &address, const QString &tags, const QVariantList &values)
{
    return Osc::buildTypedOscMessage(address, tags, values, nullptr);
}

void TestOscMessage::encoders_data()
{
    QTest::addColumn<QByteArray>("encoded");
    QTest::addColumn<QByteArray>("expectedHex"); // blanks are for the eye and ignored

    QTest::newRow("channel 0 1 127")
            << Osc::buildOscChannelMessage(0, 1, 127)
            << QByteArray("2f6f7363 2f636861 6e6e656c 00000000 2c696969 00000000 00000000 00000001 0000007f");
    QTest::newRow("f 1.0, 11-char address")
            << typed("/deck1/play", "f", {1.0}) << QByteArray("2f646563 6b312f70 6c617900 2c660000 3f800000");
    QTest::newRow("i 127") << typed("/deck1/play", "i", {127})
                           << QByteArray("2f646563 6b312f70 6c617900 2c690000 0000007f");
    QTest::newRow("buildFloat32Message is typed f")
            << Osc::buildFloat32Message("/deck1/play", 1.0f)
            << QByteArray("2f646563 6b312f70 6c617900 2c660000 3f800000");
    QTest::newRow("buildInt32Message is typed i")
            << Osc::buildInt32Message("/deck1/play", 127) << QByteArray("2f646563 6b312f70 6c617900 2c690000 0000007f");
    QTest::newRow("buildInt32Message negative") << Osc::buildInt32Message("/a", -1)
                                                << QByteArray("2f610000 2c690000 ffffffff");
    QTest::newRow("bundle around f message")
            << Osc::wrapInBundle(typed("/deck1/play", "f", {1.0}))
            << QByteArray("2362756e 646c6500 00000000 00000001 00000014 2f646563 6b312f70 6c617900 2c660000 3f800000");
    QTest::newRow("ff") << typed("/xy", "ff", {0.25, 0.75}) << QByteArray("2f787900 2c666600 3e800000 3f400000");
    QTest::newRow("f rounds to nearest") << typed("/a", "f", {0.1}) << QByteArray("2f610000 2c660000 3dcccccd");
    QTest::newRow("f beyond range is infinity") << typed("/a", "f", {1e39}) << QByteArray("2f610000 2c660000 7f800000");
    QTest::newRow("s, 8-char address") << typed("/fx/name", "s", {QStringLiteral("Hi")})
                                       << QByteArray("2f66782f 6e616d65 00000000 2c730000 48690000");
    QTest::newRow("s of 4 bytes") << typed("/a", "s", {QStringLiteral("abcd")})
                                  << QByteArray("2f610000 2c730000 61626364 00000000");
    QTest::newRow("b") << typed("/b", "b", {QStringLiteral("Hi")}) << QByteArray("2f620000 2c620000 00000002 48690000");
    QTest::newRow("b of 4 bytes unpadded") << typed("/b", "b", {QStringLiteral("abcd")})
                                           << QByteArray("2f620000 2c620000 00000004 61626364");
    QTest::newRow("UTF-8 address and s") << typed(QStringLiteral("/\u00e9"), "s", {QStringLiteral("\u00e9")})
                                         << QByteArray("2fc3a900 2c730000 c3a90000");
    QTest::newRow("T") << typed("/t", "T", {}) << QByteArray("2f740000 2c540000");
    QTest::newRow("T ignores values") << typed("/t", "T", {1, 2}) << QByteArray("2f740000 2c540000");
    QTest::newRow("FNI") << typed("/x", "FNI", {}) << QByteArray("2f780000 2c464e49 00000000");
    QTest::newRow("empty tags") << typed("/go", "", {}) << QByteArray("2f676f00 2c000000");
    QTest::newRow("hd") << typed("/h", "hd", {5, 0.5})
                        << QByteArray("2f680000 2c686400 00000000 00000005 3fe00000 00000000");
    QTest::newRow("hd negative") << typed("/h", "hd", {-2, -2.5})
                                 << QByteArray("2f680000 2c686400 ffffffff fffffffe c0040000 00000000");
    QTest::newRow("leftover values ignored") << typed("/a", "f", {0.25, 9, 9})
                                             << QByteArray("2f610000 2c660000 3e800000");
    QTest::newRow("i keeps low 32 bits") << typed("/a", "i", {4294967295.0})
                                         << QByteArray("2f610000 2c690000 ffffffff");
    QTest::newRow("i from text abc is 0") << typed("/a", "i", {QStringLiteral("abc")})
                                          << QByteArray("2f610000 2c690000 00000000");
}

void TestOscMessage::encoders()
{
    QFETCH(QByteArray, encoded);
    QFETCH(QByteArray, expectedHex);
    QCOMPARE(encoded.toHex(), QByteArray::fromHex(expectedHex).toHex());
}

void TestOscMessage::typedMessageErrors_data()
{
    QTest::addColumn<QString>("tags");
    QTest::addColumn<QVariantList>("values");
    QTest::addColumn<QString>("error"); // empty: encoding succeeds

    QTest::newRow("ff with one value") << "ff" << QVariantList{0.5} << "missing value for type tag 'f'";
    QTest::newRow("s without value") << "s" << QVariantList{} << "missing value for type tag 's'";
    QTest::newRow("comma") << ",f" << QVariantList{0.5} << "unsupported type tag ','";
    QTest::newRow("time tag t") << "t" << QVariantList{1} << "unsupported type tag 't'";
    QTest::newRow("x after valid f") << "fx" << QVariantList{0.5} << "unsupported type tag 'x'";
    // U+0169 has the low byte of 'i': it must not pass for it.
    QTest::newRow("non-Latin-1") << QStringLiteral("\u0169") << QVariantList{1}
                                 << QStringLiteral("unsupported type tag '\u0169'");
    QTest::newRow("T with values") << "T" << QVariantList{1, 2} << QString();
    QTest::newRow("f with three values") << "f" << QVariantList{1, 2, 3} << QString();
}

void TestOscMessage::typedMessageErrors()
{
    QFETCH(QString, tags);
    QFETCH(QVariantList, values);
    QFETCH(QString, error);

    QString reported = QStringLiteral("untouched");
    const QByteArray message = Osc::buildTypedOscMessage("/m", tags, values, &reported);
    QCOMPARE(reported, error.isEmpty() ? QStringLiteral("untouched") : error);
    QCOMPARE(message.isEmpty(), !error.isEmpty());
    QCOMPARE(Osc::buildTypedOscMessage("/m", tags, values, nullptr), message);
}

void TestOscMessage::hexDigits_data()
{
    QTest::addColumn<QByteArray>("data");
    QTest::addColumn<int>("maxDigits");
    QTest::addColumn<QString>("expected");

    QTest::newRow("36 bytes cut to 64")
            << Osc::buildOscChannelMessage(0, 4, 1) << 64
            << "2f6f73632f6368616e6e656c000000002c696969000000000000000000000004";
    QTest::newRow("shorter than the cut") << QByteArray::fromHex("0a141e28") << 80 << "0a141e28";
    QTest::newRow("odd cut") << QByteArray::fromHex("abcdef") << 3 << "abc";
    QTest::newRow("cut to 0") << QByteArray::fromHex("ab") << 0 << "";
    QTest::newRow("empty") << QByteArray() << 64 << "";
}

void TestOscMessage::hexDigits()
{
    QFETCH(QByteArray, data);
    QFETCH(int, maxDigits);
    QFETCH(QString, expected);
    QCOMPARE(Osc::hexDigits(data, maxDigits), expected);
}

QTEST_GUILESS_MAIN(TestOscMessage)
#include "tst_oscmessage.moc"
