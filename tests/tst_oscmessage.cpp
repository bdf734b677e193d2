#include "logformat.h"
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
};

static QByteArray typed(const QString &address, const QString &tags, const QVariantList &values)
{
    return Osc::buildTypedOscMessage(address, tags, values, nullptr);
}

// Each row: the bytes as hex (blanks are for the eye and ignored) or the digits of hexDigits.
void TestOscMessage::encoders_data()
{
    QTest::addColumn<QByteArray>("actual");
    QTest::addColumn<QByteArray>("expected");

    const auto row = [](const char *name, const QByteArray &encoded, const char *hex) {
        QTest::newRow(name) << encoded.toHex() << QByteArray(hex).replace(' ', "");
    };
    row("channel 0 1 127", Osc::buildOscChannelMessage(0, 1, 127),
        "2f6f7363 2f636861 6e6e656c 00000000 2c696969 00000000 00000000 00000001 0000007f");
    row("f 1.0, 11-char address", typed("/deck1/play", "f", {1.0}), "2f646563 6b312f70 6c617900 2c660000 3f800000");
    row("i 127", typed("/deck1/play", "i", {127}), "2f646563 6b312f70 6c617900 2c690000 0000007f");
    row("buildFloat32Message", Osc::buildFloat32Message("/deck1/play", 1.0f),
        "2f646563 6b312f70 6c617900 2c660000 3f800000");
    row("buildInt32Message negative", Osc::buildInt32Message("/a", -1), "2f610000 2c690000 ffffffff");
    row("bundle around f message", Osc::wrapInBundle(typed("/deck1/play", "f", {1.0})),
        "2362756e 646c6500 00000000 00000001 00000014 2f646563 6b312f70 6c617900 2c660000 3f800000");
    row("f rounds to nearest", typed("/a", "f", {0.1}), "2f610000 2c660000 3dcccccd");
    row("8-char address, s of 4 bytes", typed("/fx/name", "s", {QStringLiteral("abcd")}),
        "2f66782f 6e616d65 00000000 2c730000 61626364 00000000");
    row("b padded, b of 4 bytes unpadded", typed("/b", "bb", {QStringLiteral("Hi"), QStringLiteral("abcd")}),
        "2f620000 2c626200 00000002 48690000 00000004 61626364");
    row("UTF-8 address and s", typed(QStringLiteral("/\u00e9"), "s", {QStringLiteral("\u00e9")}),
        "2fc3a900 2c730000 c3a90000");
    row("TFNI take no values", typed("/x", "TFNI", {1, 2}), "2f780000 2c54464e 49000000");
    row("empty tags", typed("/go", "", {}), "2f676f00 2c000000");
    row("hd negative", typed("/h", "hd", {-2, -2.5}), "2f680000 2c686400 ffffffff fffffffe c0040000 00000000");
    row("i keeps low 32 bits", typed("/a", "i", {4294967295.0}), "2f610000 2c690000 ffffffff");

    const auto digits = [](const char *name, const QString &actual, const char *expected) {
        QTest::newRow(name) << actual.toLatin1() << QByteArray(expected);
    };
    digits("hexDigits shorter than the cut", LogFormat::hexDigits(QByteArray::fromHex("0a141e28"), 80), "0a141e28");
    digits("hexDigits odd cut", LogFormat::hexDigits(QByteArray::fromHex("abcdef"), 3), "abc");
    digits("hexDigits cut to 0", LogFormat::hexDigits(QByteArray::fromHex("ab"), 0), "");
}

void TestOscMessage::encoders()
{
    QFETCH(QByteArray, actual);
    QFETCH(QByteArray, expected);
    QCOMPARE(actual, expected);
}

void TestOscMessage::typedMessageErrors_data()
{
    QTest::addColumn<QString>("tags");
    QTest::addColumn<QVariantList>("values");
    QTest::addColumn<QString>("error"); // empty: encoding succeeds

    QTest::newRow("ff with one value") << "ff" << QVariantList{0.5} << "missing value for type tag 'f'";
    QTest::newRow("comma") << ",f" << QVariantList{0.5} << "unsupported type tag ','";
    // U+0169 has the low byte of 'i': it must not pass for it.
    QTest::newRow("non-Latin-1") << QStringLiteral("\u0169") << QVariantList{1}
                                 << QStringLiteral("unsupported type tag '\u0169'");
    QTest::newRow("leftover values") << "f" << QVariantList{1, 2, 3} << QString();
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

QTEST_GUILESS_MAIN(TestOscMessage)
#include "tst_oscmessage.moc"
