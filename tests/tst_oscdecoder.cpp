#include "oscdecoder.h"
#include "oscformat.h"
#include "oscpattern.h"

#include <QTest>

// Received packets as the monitor reads them: hand-decoded OSC 1.0 vectors (hex; blanks are
// for the eye), their text, their fields, and the exact reason for each refusal.
class TestOscDecoder : public QObject
{
    Q_OBJECT
private slots:
    void decode_data();
    void decode();
    void reject_data();
    void reject();
    void format_data();
    void format();
    void pattern_data();
    void pattern();
};

static QByteArray bytes(const char *hex)
{
    return QByteArray::fromHex(QByteArray(hex).replace(' ', ""));
}

// `levels` bundles around an empty innermost one, each holding the next.
static QByteArray nestedBundles(int levels)
{
    QByteArray packet = bytes("2362756e 646c6500 00000000 00000001");
    for (int i = 1; i < levels; ++i) {
        QByteArray size(4, 0);
        size[3] = char(packet.size());
        packet = bytes("2362756e 646c6500 00000000 00000001") + size + packet;
    }
    return packet;
}

// Each field as <depth '>'s><kind><offset>+<size>; an argument's kind is its tag.
static QString layout(const Osc::OscPacket &packet)
{
    QStringList tokens;
    for (const Osc::OscField &field : packet.fields) {
        static const char kinds[] = "BTEAYP";
        const char kind = field.kind == Osc::OscField::Kind::Argument ? field.tag : kinds[int(field.kind)];
        tokens << QString(field.depth, QLatin1Char('>'))
                        + QStringLiteral("%1%2+%3").arg(kind).arg(field.offset).arg(field.size);
    }
    return tokens.join(QLatin1Char(' '));
}

void TestOscDecoder::decode_data()
{
    QTest::addColumn<QByteArray>("packet");
    QTest::addColumn<QString>("lines");  // a bundled message behind its time tag
    QTest::addColumn<QString>("layout"); // empty: not checked

    //    0        4        8        12       16       20       24       28       32       36
    //    /a       ,ihf     dsSb     TFNI     crmt              i        h                 f
    QTest::newRow("every tag") << bytes("2f610000 2c696866 64735362 54464e49 63726d74 00000000 fffffffe"
                                        "00000001 2a05f200 3dcccccd 3fe00000 00000000 68690000 73796d00"
                                        "00000003 01020300 00000041 11223344 00903c7f e93c7f00 80000000")
            << R"(/a ,ihfdsSbTFNIcrmt -2 5000000000 0.1 0.5 "hi" "sym" blob[3] 010203 true false nil )"
               R"(infinitum 'A' #11223344 midi 00903c7f 3913056000.500000000)"
            << "A0+2 P2+2 Y4+16 P20+4 i24+4 h28+8 f36+4 d40+8 s48+4 S52+4 b56+8 T64+0 F64+0 N64+0 I64+0 "
               "c64+4 r68+4 m72+4 t76+8";
    QTest::newRow("4-byte texts get 4 NULs") << bytes("2f616263 00000000 2c730000 61626364 00000000")
                                             << R"(/abc ,s "abcd")" << "A0+4 P4+4 Y8+2 P10+2 s12+8";
    //    0        8                 16       20                         32       36
    //    #bundle  immediately       12       /a ,i 1                    32       #bundle ...
    QTest::newRow("nested bundle") << bytes("2362756e 646c6500 00000000 00000001 0000000c 2f610000 2c690000"
                                            "00000001 00000020 2362756e 646c6500 e93c7f00 80000000 0000000c"
                                            "2f620000 2c660000 3f000000")
                                   << "immediately /a ,i 1\n3913056000.500000000 /b ,f 0.5"
                                   << "B0+8 T8+8 E16+4 >A20+2 >P22+2 >Y24+2 >P26+2 >i28+4 E32+4 >B36+8 >T44+8 "
                                      ">E52+4 >>A56+2 >>P58+2 >>Y60+2 >>P62+2 >>f64+4";
    QTest::newRow("8 nested bundles") << nestedBundles(8) << "" << "";
}

void TestOscDecoder::decode()
{
    QFETCH(QByteArray, packet);
    QFETCH(QString, lines);
    QFETCH(QString, layout);

    Osc::OscPacket decoded;
    Osc::OscDecodeError error;
    QVERIFY2(Osc::decodeOscPacket(packet, &decoded, &error), qPrintable(error.reason));
    QStringList texts;
    for (const Osc::OscDecodedMessage &message : decoded.messages) {
        const QString line = Osc::formatOscMessage(decoded, message);
        texts << (message.inBundle ? Osc::formatOscTimeTag(message.bundleTimeTag) + ' ' + line : line);
    }
    QCOMPARE(texts.join('\n'), lines);
    if (!layout.isEmpty())
        QCOMPARE(::layout(decoded), layout);
}

void TestOscDecoder::reject_data()
{
    QTest::addColumn<QByteArray>("packet");
    QTest::addColumn<QString>("reason");
    QTest::addColumn<int>("offset");
    QTest::addColumn<int>("kept"); // fields decoded before the fault

    const auto row = [](const char *name, const QByteArray &packet, const char *reason, int offset, int kept) {
        QTest::newRow(name) << packet << QString(reason) << offset << kept;
    };
    row("empty", "", "empty datagram", 0, 0);
    row("unterminated address", bytes("2f616263"), "unterminated address", 0, 0);
    row("13 bytes", bytes("2f6f7363 2f636861 6e6e656c 00"),
        "padding after the address needs 4 bytes, 1 byte left", 12, 1);
    row("non-zero padding", bytes("2f610001 2c000000"), "non-zero padding byte after the address", 3, 1);
    row("missing type tags", bytes("2f610000"), "missing type tag string", 4, 2);
    row("no comma", bytes("2f610000 69000000"), "type tag string starts with 'i' instead of ','", 4, 2);
    row("unterminated type tags", bytes("2f610000 2c696969"), "unterminated type tag string", 4, 2);
    row("unknown tag", bytes("2f610000 2c697800 00000001"), "unknown type tag 'x'", 6, 2);
    row("unknown control tag", bytes("2f610000 2c010000"), "unknown type tag '\\x01'", 5, 2);
    row("truncated int32", bytes("2f610000 2c696900 00000001 0000"), "argument 2 ('i') needs 4 bytes, 2 bytes left",
        12, 5);
    row("unterminated string", bytes("2f610000 2c730000 61626364"), "unterminated string in argument 1", 8, 4);
    row("blob size near 2^31", bytes("2f610000 2c620000 7ffffffe 00000000"),
        "blob size 2147483646 in argument 1 exceeds the 4 bytes left", 8, 4);
    row("blob padding cut", bytes("2f610000 2c620000 00000005 01020304 05"),
        "argument 1 ('b') needs 12 bytes, 9 bytes left", 8, 4);
    row("bytes after the message", bytes("2f610000 2c000000 00000000"), "4 bytes after the end of the message", 8, 4);
    row("time tag cut", bytes("2362756e 646c6500 00000000"), "bundle time tag needs 8 bytes, 4 bytes left", 8, 1);
    row("element size cut", bytes("2362756e 646c6500 00000000 00000001 0000"),
        "bundle element size needs 4 bytes, 2 bytes left", 16, 2);
    row("element too long", bytes("2362756e 646c6500 00000000 00000001 00000384 2f610000 2c000000 00000000"),
        "bundle element size 900 exceeds the 12 bytes left", 16, 2);
    row("empty element", bytes("2362756e 646c6500 00000000 00000001 00000000"), "empty bundle element", 16, 2);
    row("9 nested bundles", nestedBundles(9), "bundles nested deeper than 8 levels", 160, 24);
    row("fault in the second element", bytes("2362756e 646c6500 00000000 00000001 00000008 2f610000 2c000000"
                                             "00000008 2f620000 2c780000"),
        "unknown type tag 'x'", 37, 10);
}

void TestOscDecoder::reject()
{
    QFETCH(QByteArray, packet);
    QFETCH(QString, reason);
    QFETCH(int, offset);
    QFETCH(int, kept);

    Osc::OscPacket decoded;
    Osc::OscDecodeError error;
    QVERIFY(!Osc::decodeOscPacket(packet, &decoded, &error));
    QCOMPARE(error.reason, reason);
    QCOMPARE(error.offset, offset);
    QCOMPARE(decoded.fields.size(), kept);
}

void TestOscDecoder::format_data()
{
    QTest::addColumn<char>("tag");
    QTest::addColumn<QByteArray>("wire");
    QTest::addColumn<QString>("text");

    const auto row = [](const char *name, char tag, const char *hex, const QString &text) {
        QTest::newRow(name) << tag << bytes(hex) << text;
    };
    row("i minimum", 'i', "80000000", "-2147483648");
    row("h -1", 'h', "ffffffff ffffffff", "-1");
    row("f shortest of the float", 'f', "3dcccccd", "0.1");
    row("f large", 'f', "60ad78ec", "1e+20");
    row("f -0", 'f', "80000000", "-0");
    row("f nan", 'f', "7fc00000", "nan");
    row("d shortest", 'd', "3fd55555 55555555", "0.3333333333333333");
    row("s escapes", 's', "225c0a09 01c3a9ff 7f000000", QString::fromUtf8(R"("\"\\\n\t\x01é\xff\x7f")"));
    row("s overlong and C1", 's', "c0afc285 00000000", R"("\xc0\xaf\xc2\x85")");
    row("s quote among plain bytes", 's', "61226200", QString::fromUtf8(R"("a\"b")"));
    row("b empty", 'b', "00000000", "blob[0]");
    row("b size past the bytes", 'b', "00000009 01020304", "?");
    row("c quote", 'c', "00000027", R"('\'')");
    row("c beyond Unicode", 'c', "00110000", R"('\x110000')");
    row("t immediately", 't', "00000000 00000001", "immediately");
    row("t fraction rounded down", 't', "00000000 ffffffff", "0.999999999");
    row("too few bytes", 'd', "3fd55555", "?");
}

void TestOscDecoder::format()
{
    QFETCH(char, tag);
    QFETCH(QByteArray, wire);
    QFETCH(QString, text);
    QCOMPARE(Osc::formatOscArgument(tag, wire), text);
}

void TestOscDecoder::pattern_data()
{
    QTest::addColumn<QString>("pattern");
    QTest::addColumn<QString>("address");
    QTest::addColumn<bool>("matches");

    QTest::newRow("literal") << "/a/b" << "/a/b" << true;
    QTest::newRow("literal differs") << "/a/b" << "/a/c" << false;
    QTest::newRow("star in a segment") << "/a/*/c" << "/a/bbb/c" << true;
    QTest::newRow("star does not cross /") << "/a/*" << "/a/b/c" << false;
    QTest::newRow("star matches nothing") << "/a*" << "/a" << true;
    QTest::newRow("star needs a second try") << "/*ab" << "/aab" << true;
    QTest::newRow("stars miss") << "/*a*a*a*b" << "/aaaaaaaa" << false;
    QTest::newRow("question") << "/a?" << "/ab" << true;
    QTest::newRow("question not /") << "/a?b" << "/a/b" << false;
    QTest::newRow("question needs a character") << "/a?" << "/a" << false;
    QTest::newRow("range") << "/[a-c]x" << "/bx" << true;
    QTest::newRow("range's last") << "/[a-c]x" << "/cx" << true;
    QTest::newRow("outside range") << "/[a-c]x" << "/dx" << false;
    QTest::newRow("negated") << "/[!a-c]" << "/d" << true;
    QTest::newRow("negated member") << "/[!a-c]" << "/b" << false;
    QTest::newRow("dash first") << "/[-z]" << "/-" << true;
    QTest::newRow("negated set not /") << "/a[!x]b" << "/a/b" << false;
    QTest::newRow("alternatives") << "/{foo,bar}/x" << "/bar/x" << true;
    QTest::newRow("no alternative") << "/{foo,bar}" << "/baz" << false;
    QTest::newRow("shorter alternative first") << "/{a,ab}c" << "/abc" << true;
    QTest::newRow("empty alternative") << "/x{,y}" << "/x" << true;
    QTest::newRow("unclosed [") << "/[ab" << "/[ab" << false;
    QTest::newRow("unclosed {") << "/{a" << "/{a" << false;
}

void TestOscDecoder::pattern()
{
    QFETCH(QString, pattern);
    QFETCH(QString, address);
    QFETCH(bool, matches);
    QCOMPARE(Osc::oscPatternMatches(pattern, address), matches);
}

QTEST_GUILESS_MAIN(TestOscDecoder)
#include "tst_oscdecoder.moc"
