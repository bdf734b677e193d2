#include "oscemulatorbackend.h"

#include <QMetaMethod>
#include <QSignalSpy>
#include <QTest>

// The QML-facing interface and the setters of the backend object.
class TestBackend : public QObject
{
    Q_OBJECT
private slots:
    void metaObjectInterface();
    void stateAfterConstruction();
    void setters_data();
    void setters();
    void emulatedDevicesNeverChange();
};

static QStringList methodsOf(const QMetaObject &mo, QMetaMethod::MethodType type, QMetaMethod::Access access)
{
    QStringList out;
    for (int i = mo.methodOffset(); i < mo.methodCount(); ++i) {
        const QMetaMethod m = mo.method(i);
        if (m.methodType() == type && m.access() == access)
            out << QString::fromLatin1(m.methodSignature());
    }
    return out;
}

void TestBackend::metaObjectInterface()
{
    const QMetaObject &mo = OscEmulatorBackend::staticMetaObject;

    QStringList properties;
    for (int i = mo.propertyOffset(); i < mo.propertyCount(); ++i) {
        const QMetaProperty p = mo.property(i);
        properties << QStringLiteral("%1 %2 %3 %4")
                              .arg(QString::fromLatin1(p.typeName()), QString::fromLatin1(p.name()),
                                   p.isWritable() ? QStringLiteral("RW") : QStringLiteral("R"),
                                   QString::fromLatin1(p.notifySignal().name()));
    }
    QCOMPARE(properties, (QStringList{
            "QStringList availablePorts R availablePortsChanged",
            "QStringList emulatedDevices R emulatedDevicesChanged",
            "int selectedPortIndex RW selectedPortIndexChanged",
            "int selectedDeviceIndex RW selectedDeviceIndexChanged",
            "bool isRunning R isRunningChanged",
            "QString statusMessage R statusMessageChanged",
            "QStringList logMessages R logMessagesChanged",
            "int redValue R rgbValuesChanged",
            "int greenValue R rgbValuesChanged",
            "int blueValue R rgbValuesChanged",
            "int packetCount R packetCountChanged",
            "int baudRate R baudRateChanged",
            "QString oscTargetHost RW oscTargetHostChanged",
            "int oscTargetPort RW oscTargetPortChanged",
            "bool sendIntValues RW sendIntValuesChanged",
            "bool sendAsBundle RW sendAsBundleChanged",
            "QVariantList fixtures R fixturesChanged",
    }));

    QCOMPARE(methodsOf(mo, QMetaMethod::Signal, QMetaMethod::Public), (QStringList{
            "availablePortsChanged()", "emulatedDevicesChanged()", "selectedPortIndexChanged()",
            "selectedDeviceIndexChanged()", "isRunningChanged()", "statusMessageChanged()",
            "logMessagesChanged()", "oscBufferChanged()", "rgbValuesChanged()", "packetCountChanged()",
            "baudRateChanged()", "errorOccurred(QString)", "fixturesChanged()", "oscTargetHostChanged()",
            "oscTargetPortChanged()", "sendIntValuesChanged()", "sendAsBundleChanged()",
    }));
    QCOMPARE(methodsOf(mo, QMetaMethod::Slot, QMetaMethod::Private), (QStringList{
            "handleOscDataReceived(int,QByteArray)", "handleOscChannelReceived(int,int,uchar)",
            "handleProtocolError(QString)", "handlePortOpened()", "handlePortClosed()",
            "handleEmulatorPortError(QString)", "onUpdateTimerTimeout()",
    }));
    QCOMPARE(methodsOf(mo, QMetaMethod::Slot, QMetaMethod::Public), QStringList());
    QCOMPARE(methodsOf(mo, QMetaMethod::Method, QMetaMethod::Public), (QStringList{
            "refreshPorts()", "startEmulation()", "stopEmulation()", "getChannelValue(int)", "clearLog()",
            "forceUpdate()", "loadFixturesFromFile(QString)", "saveFixturesToFile(QString)",
            "loadDefaultFixturesConfig()", "saveDefaultFixturesConfig()", "sendOscChannel(int,int,int)",
            "sendOscToAddress(QString,int)", "sendOscTyped(QString,QString,QVariantList)",
            "sendOscTyped(QString,QString)",
    }));
}

void TestBackend::stateAfterConstruction()
{
    OscEmulatorBackend backend;
    QCOMPARE(backend.statusMessage(), QStringLiteral("Ready"));
    QCOMPARE(backend.selectedPortIndex(), 0);
    QCOMPARE(backend.availablePorts(), (QStringList{"UDP 9000 (OSC)", "UDP 9001 (OSC)"}));
    QCOMPARE(backend.emulatedDevices(), QStringList{"OSC Input (/osc/channel)"});
    QCOMPARE(backend.selectedDeviceIndex(), 0);
    QCOMPARE(backend.logMessages().size(), 2);
    QVERIFY(backend.logMessages().at(0).endsWith("[INFO] Available OSC UDP port: UDP 9000 (OSC)"));
    QVERIFY(backend.logMessages().at(1).endsWith("[INFO] Available OSC UDP port: UDP 9001 (OSC)"));
    QCOMPARE(backend.oscTargetHost(), QStringLiteral("127.0.0.1"));
    QCOMPARE(backend.oscTargetPort(), 8000);
    QCOMPARE(backend.baudRate(), 8000);
    QVERIFY(!backend.sendIntValues());
    QVERIFY(!backend.sendAsBundle());
    QVERIFY(!backend.isRunning());
    QVERIFY(backend.fixtures().isEmpty());
    QCOMPARE(backend.redValue() + backend.greenValue() + backend.blueValue() + backend.packetCount(), 0);
    QCOMPARE(backend.getChannelValue(512), 0);
}

// Each row: a first write (to leave the default), the write under test, and what it must do.
void TestBackend::setters_data()
{
    QTest::addColumn<QByteArray>("property");
    QTest::addColumn<QVariant>("before");
    QTest::addColumn<QVariant>("value");
    QTest::addColumn<bool>("accepted");
    QTest::addColumn<QString>("logLine");

    const QVariant none;
    QTest::newRow("port 9000") << QByteArray("oscTargetPort") << none << QVariant(9000) << true
                               << "[INFO] OSC target port set to 9000";
    QTest::newRow("port 65535") << QByteArray("oscTargetPort") << none << QVariant(65535) << true
                                << "[INFO] OSC target port set to 65535";
    QTest::newRow("port 0") << QByteArray("oscTargetPort") << none << QVariant(0) << false << QString();
    QTest::newRow("port 70000") << QByteArray("oscTargetPort") << none << QVariant(70000) << false << QString();
    QTest::newRow("port -5") << QByteArray("oscTargetPort") << none << QVariant(-5) << false << QString();
    QTest::newRow("port same") << QByteArray("oscTargetPort") << QVariant(9000) << QVariant(9000) << false
                               << QString();
    QTest::newRow("host empty") << QByteArray("oscTargetHost") << none << QVariant(QString()) << true
                                << "[INFO] OSC target host set to ";
    QTest::newRow("host case") << QByteArray("oscTargetHost") << QVariant("localhost") << QVariant("LOCALHOST")
                               << true << "[INFO] OSC target host set to LOCALHOST";
    QTest::newRow("host with blanks") << QByteArray("oscTargetHost") << none << QVariant(" 127.0.0.1")
                                      << true << "[INFO] OSC target host set to  127.0.0.1";
    QTest::newRow("host same") << QByteArray("oscTargetHost") << none << QVariant("127.0.0.1") << false
                               << QString();
    QTest::newRow("port index -1") << QByteArray("selectedPortIndex") << none << QVariant(-1) << true
                                   << QString();
    QTest::newRow("port index 1") << QByteArray("selectedPortIndex") << none << QVariant(1) << true << QString();
    QTest::newRow("port index 2") << QByteArray("selectedPortIndex") << none << QVariant(2) << false
                                  << QString();
    QTest::newRow("port index -2") << QByteArray("selectedPortIndex") << none << QVariant(-2) << false
                                   << QString();
    QTest::newRow("device index 0") << QByteArray("selectedDeviceIndex") << none << QVariant(0) << false
                                    << QString();
    QTest::newRow("device index 1") << QByteArray("selectedDeviceIndex") << none << QVariant(1) << false
                                    << QString();
    QTest::newRow("int values on") << QByteArray("sendIntValues") << none << QVariant(true) << true
                                   << "[INFO] OSC values sent as int 0-127 (,i)";
    QTest::newRow("int values off") << QByteArray("sendIntValues") << QVariant(true) << QVariant(false) << true
                                    << "[INFO] OSC values sent as float 0.0-1.0 (,f)";
    QTest::newRow("int values same") << QByteArray("sendIntValues") << none << QVariant(false) << false
                                     << QString();
    QTest::newRow("bundle on") << QByteArray("sendAsBundle") << none << QVariant(true) << true
                               << "[INFO] OSC messages sent inside a #bundle";
    QTest::newRow("bundle off") << QByteArray("sendAsBundle") << QVariant(true) << QVariant(false) << true
                                << "[INFO] OSC messages sent on their own (no bundle)";
    QTest::newRow("bundle same") << QByteArray("sendAsBundle") << QVariant(true) << QVariant(true) << false
                                 << QString();
}

void TestBackend::setters()
{
    QFETCH(QByteArray, property);
    QFETCH(QVariant, before);
    QFETCH(QVariant, value);
    QFETCH(bool, accepted);
    QFETCH(QString, logLine);

    QStringList events;  // outlives the backend, whose destructor still logs
    OscEmulatorBackend backend;
    if (before.isValid())
        QVERIFY(backend.setProperty(property, before));
    const QMetaProperty meta =
            backend.metaObject()->property(backend.metaObject()->indexOfProperty(property.constData()));
    const QVariant old = meta.read(&backend);
    const int logSize = backend.logMessages().size();

    // Record every signal with the property's value at emission time, so that the
    // order store -> log line -> NOTIFY is visible.
    connect(&backend, &OscEmulatorBackend::logMessagesChanged, this, [&] { events << "log"; });
    const QMetaMethod notify = meta.notifySignal();
    QSignalSpy notifySpy(&backend, notify);
    QVERIFY(notifySpy.isValid());
    for (auto signal : {&OscEmulatorBackend::oscTargetPortChanged, &OscEmulatorBackend::oscTargetHostChanged, &OscEmulatorBackend::selectedPortIndexChanged,
                        &OscEmulatorBackend::selectedDeviceIndexChanged,
                        &OscEmulatorBackend::sendIntValuesChanged, &OscEmulatorBackend::sendAsBundleChanged}) {
        QObject::connect(&backend, signal, this, [&] { events << "notify:" + meta.read(&backend).toString(); });
    }

    backend.setProperty(property, value);

    if (!accepted) {
        QCOMPARE(meta.read(&backend), old);
        QVERIFY(events.isEmpty());
        QCOMPARE(backend.logMessages().size(), logSize);
        return;
    }
    QCOMPARE(meta.read(&backend), value);
    QCOMPARE(notifySpy.count(), 1);
    QStringList expected;
    if (!logLine.isEmpty())
        expected << "log";
    expected << "notify:" + value.toString();
    QCOMPARE(events, expected);
    if (!logLine.isEmpty()) {
        QCOMPARE(backend.logMessages().size(), logSize + 1);
        QVERIFY2(backend.logMessages().last().endsWith("] " + logLine), qPrintable(backend.logMessages().last()));
    } else {
        QCOMPARE(backend.logMessages().size(), logSize);
    }
}

void TestBackend::emulatedDevicesNeverChange()
{
    OscEmulatorBackend backend;
    QSignalSpy spy(&backend, &OscEmulatorBackend::emulatedDevicesChanged);
    backend.refreshPorts();
    backend.setSelectedDeviceIndex(0);
    backend.forceUpdate();
    QCOMPARE(spy.count(), 0);
}

QTEST_GUILESS_MAIN(TestBackend)
#include "tst_backend.moc"
