#include "oscdumpprocess.h"
#include "oscemulatorbackend.h"

#include <QSignalSpy>
#include <QTest>
#include <QUdpSocket>

// What the desk sends, decoded by another implementation: liblo's oscdump. Each message
// goes out on its own and then inside a bundle; oscdump shows both the same way.
class TestSendOscDump : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase();
    void cleanupTestCase();
    void decodedByLiblo_data();
    void decodedByLiblo();

private:
    QStringList messages() const;

    OscDumpProcess m_dump;
    int m_port = -1;
};

namespace {
const QString kProbe = QStringLiteral("/probe");
}

// oscdump's lines without the probes sent while waiting for it to listen.
QStringList TestSendOscDump::messages() const
{
    QStringList out = m_dump.messages();
    out.removeAll(kProbe);
    return out;
}

void TestSendOscDump::initTestCase()
{
    if (!m_dump.isInstalled())
        QSKIP("oscdump (liblo-tools) is not installed");
    m_port = m_dump.start();
    QVERIFY(m_port > 0);

    // oscdump binds its port some time after it starts: probe until it prints one.
    QUdpSocket probe;
    QSignalSpy output(&m_dump, &OscDumpProcess::messagesChanged);
    const QByteArray probeMessage = QByteArray::fromHex("2f70726f62650000" "2c000000");
    for (int attempt = 0; attempt < 100 && !m_dump.messages().contains(kProbe); ++attempt) {
        probe.writeDatagram(probeMessage, QHostAddress::LocalHost, quint16(m_port));
        output.wait(100);
    }
    QVERIFY2(m_dump.messages().contains(kProbe), "oscdump did not start listening");
}

void TestSendOscDump::cleanupTestCase()
{
    m_dump.stop();
}

void TestSendOscDump::decodedByLiblo_data()
{
    QTest::addColumn<QString>("operation");
    QTest::addColumn<QVariantList>("arguments");
    QTest::addColumn<bool>("intValues");
    QTest::addColumn<QString>("decoded");

    const auto typed = [](const char *name, const QString &address, const QString &tags,
                          const QVariantList &values, const QString &decoded) {
        QTest::newRow(name) << "typed" << QVariantList{address, tags, values} << false << decoded;
    };
    typed("int32", "/i", "i", {-42}, "/i i -42");
    typed("int64", "/h", "h", {Q_INT64_C(-5000000000)}, "/h h -5000000000");
    typed("float32", "/f", "f", {0.5}, "/f f 0.500000");
    typed("float64", "/d", "d", {0.25}, "/d d 0.250000");
    typed("string", "/s", "s", {"hi there"}, "/s s \"hi there\"");
    typed("string-utf8", "/s", "s", {QStringLiteral("año")}, "/s s \"año\"");
    typed("blob", "/b", "b", {"Hi"}, "/b b [2b 0x48 0x69]");
    typed("blob-no-padding", "/b", "b", {"abcd"}, "/b b [4b 0x61 0x62 0x63 0x64]");
    typed("true", "/t", "T", {}, "/t T #T");
    typed("false", "/t", "F", {}, "/t F #F");
    typed("nil", "/n", "N", {}, "/n N Nil");
    typed("impulse", "/go", "I", {}, "/go I Infinitum");
    typed("no-arguments", "/deck1/play", "", {}, "/deck1/play");
    typed("two-floats", "/xy", "ff", {0.25, 0.75}, "/xy ff 0.250000 0.750000");
    typed("mixed", "/mix", "iTsF", {7, "x"}, "/mix iTsF 7 #T \"x\" #F");

    QTest::newRow("channel") << "channel" << QVariantList{0, 1, 255} << false << "/osc/channel iii 0 1 127";
    QTest::newRow("channel-universe-2") << "channel" << QVariantList{2, 512, 128} << false
                                        << "/osc/channel iii 2 512 63";
    QTest::newRow("address-float") << "address" << QVariantList{"/deck1/volume", 128} << false
                                   << "/deck1/volume f 0.501961";
    QTest::newRow("address-int") << "address" << QVariantList{"/deck1/volume", 128} << true
                                 << "/deck1/volume i 63";
}

void TestSendOscDump::decodedByLiblo()
{
    QFETCH(QString, operation);
    QFETCH(QVariantList, arguments);
    QFETCH(bool, intValues);
    QFETCH(QString, decoded);

    OscEmulatorBackend backend;
    backend.setOscTargetPort(m_port);
    backend.setSendIntValues(intValues);
    m_dump.clear();
    for (bool bundle : {false, true}) {
        backend.setSendAsBundle(bundle);
        if (operation == "channel")
            backend.sendOscChannel(arguments.at(0).toInt(), arguments.at(1).toInt(), arguments.at(2).toInt());
        else if (operation == "address")
            backend.sendOscToAddress(arguments.at(0).toString(), arguments.at(1).toInt());
        else
            backend.sendOscTyped(arguments.at(0).toString(), arguments.at(1).toString(), arguments.at(2).toList());
    }
    QTRY_COMPARE_WITH_TIMEOUT(messages().size(), 2, 10000);
    QCOMPARE(messages(), (QStringList{decoded, decoded}));
    QVERIFY(backend.logMessages().filter("WARNING").isEmpty());
}

QTEST_GUILESS_MAIN(TestSendOscDump)
#include "tst_send_oscdump.moc"
