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
};

static QStringList methodsOf(QMetaMethod::MethodType type, QMetaMethod::Access access)
{
    const QMetaObject &mo = OscEmulatorBackend::staticMetaObject;
    QStringList out;
    for (int i = mo.methodOffset(); i < mo.methodCount(); ++i) {
        if (mo.method(i).methodType() == type && mo.method(i).access() == access)
            out << QString::fromLatin1(mo.method(i).methodSignature());
    }
    return out;
}

void TestBackend::metaObjectInterface()
{
    const QMetaObject &mo = OscEmulatorBackend::staticMetaObject;
    QStringList properties;
    for (int i = mo.propertyOffset(); i < mo.propertyCount(); ++i) {
        const QMetaProperty p = mo.property(i);
        properties << QStringLiteral("%1 %2 %3 %4").arg(p.typeName(), p.name(), p.isWritable() ? "RW" : "R",
                                                        p.notifySignal().name());
    }
    QCOMPARE(properties, (QStringList{
            "QStringList availablePorts R availablePortsChanged", "QStringList emulatedDevices R emulatedDevicesChanged",
            "int selectedPortIndex RW selectedPortIndexChanged", "int selectedDeviceIndex RW selectedDeviceIndexChanged",
            "bool isRunning R isRunningChanged", "QString statusMessage R statusMessageChanged",
            "QStringList logMessages R logMessagesChanged", "int redValue R rgbValuesChanged",
            "int greenValue R rgbValuesChanged", "int blueValue R rgbValuesChanged",
            "int packetCount R packetCountChanged", "int baudRate R baudRateChanged",
            "QString oscTargetHost RW oscTargetHostChanged", "int oscTargetPort RW oscTargetPortChanged",
            "bool sendIntValues RW sendIntValuesChanged", "bool sendAsBundle RW sendAsBundleChanged",
            "QVariantList fixtures R fixturesChanged"}));
    QCOMPARE(methodsOf(QMetaMethod::Signal, QMetaMethod::Public), (QStringList{
            "availablePortsChanged()", "emulatedDevicesChanged()", "selectedPortIndexChanged()",
            "selectedDeviceIndexChanged()", "isRunningChanged()", "statusMessageChanged()", "logMessagesChanged()",
            "oscBufferChanged()", "rgbValuesChanged()", "packetCountChanged()", "baudRateChanged()",
            "errorOccurred(QString)", "fixturesChanged()", "oscTargetHostChanged()", "oscTargetPortChanged()",
            "sendIntValuesChanged()", "sendAsBundleChanged()"}));
    QCOMPARE(methodsOf(QMetaMethod::Slot, QMetaMethod::Private), (QStringList{
            "handleOscDataReceived(int,QByteArray)", "handleOscChannelReceived(int,int,uchar)",
            "handleProtocolError(QString)", "handlePortOpened()", "handlePortClosed()",
            "handleEmulatorPortError(QString)", "onUpdateTimerTimeout()"}));
    QCOMPARE(methodsOf(QMetaMethod::Slot, QMetaMethod::Public), QStringList());
    QCOMPARE(methodsOf(QMetaMethod::Method, QMetaMethod::Public), (QStringList{
            "refreshPorts()", "startEmulation()", "stopEmulation()", "getChannelValue(int)", "clearLog()",
            "forceUpdate()", "loadFixturesFromFile(QString)", "saveFixturesToFile(QString)",
            "loadDefaultFixturesConfig()", "saveDefaultFixturesConfig()", "sendOscChannel(int,int,int)",
            "sendOscToAddress(QString,int)", "sendOscTyped(QString,QString,QVariantList)",
            "sendOscTyped(QString,QString)"}));
}

void TestBackend::stateAfterConstruction()
{
    OscEmulatorBackend backend;
    QCOMPARE(backend.availablePorts(), (QStringList{"UDP 9000 (OSC)", "UDP 9001 (OSC)"}));
    QCOMPARE(backend.emulatedDevices(), QStringList{"OSC Input (/osc/channel)"});
    QCOMPARE(QVariantList({backend.statusMessage(), backend.selectedPortIndex(), backend.selectedDeviceIndex(),
                           backend.oscTargetHost(), backend.oscTargetPort(), backend.baudRate(), backend.sendIntValues(),
                           backend.sendAsBundle(), backend.isRunning(), backend.fixtures().size(),
                           backend.redValue() + backend.greenValue() + backend.blueValue() + backend.packetCount()}),
             QVariantList({"Ready", 0, 0, "127.0.0.1", 8000, 8000, false, false, false, 0, 0}));
}

// Each row: an optional first write (to leave the default), the write under test, and
// whether it is accepted, with its log line (empty: none).
void TestBackend::setters_data()
{
    QTest::addColumn<QByteArray>("property");
    QTest::addColumn<QVariant>("before");
    QTest::addColumn<QVariant>("value");
    QTest::addColumn<bool>("accepted");
    QTest::addColumn<QString>("logLine");

    const auto row = [](const char *name, const char *property, const QVariant &before, const QVariant &value,
                        bool accepted, const QString &logLine = QString()) {
        QTest::newRow(name) << QByteArray(property) << before << value << accepted << logLine;
    };
    const QVariant none;
    row("port 1", "oscTargetPort", none, 1, true, "OSC target port set to 1");
    row("port 65535", "oscTargetPort", none, 65535, true, "OSC target port set to 65535");
    row("port 0", "oscTargetPort", none, 0, false);
    row("port 65536", "oscTargetPort", none, 65536, false);
    row("port same", "oscTargetPort", 9000, 9000, false);
    row("host empty", "oscTargetHost", none, QString(), true, "OSC target host set to ");
    row("host case", "oscTargetHost", "localhost", "LOCALHOST", true, "OSC target host set to LOCALHOST");
    row("host not trimmed", "oscTargetHost", none, " 127.0.0.1", true, "OSC target host set to  127.0.0.1");
    row("host same", "oscTargetHost", none, "127.0.0.1", false);
    row("port index -1", "selectedPortIndex", none, -1, true);
    row("port index 1", "selectedPortIndex", none, 1, true);
    row("port index 2", "selectedPortIndex", none, 2, false);
    row("port index -2", "selectedPortIndex", none, -2, false);
    row("device index same", "selectedDeviceIndex", none, 0, false);
    row("device index 1", "selectedDeviceIndex", none, 1, false);
    row("int values on", "sendIntValues", none, true, true, "OSC values sent as int 0-127 (,i)");
    row("int values off", "sendIntValues", true, false, true, "OSC values sent as float 0.0-1.0 (,f)");
    row("int values same", "sendIntValues", none, false, false);
    row("bundle on", "sendAsBundle", none, true, true, "OSC messages sent inside a #bundle");
    row("bundle off", "sendAsBundle", true, false, true, "OSC messages sent on their own (no bundle)");
    row("bundle same", "sendAsBundle", true, true, false);
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
    const QMetaProperty meta = backend.metaObject()->property(backend.metaObject()->indexOfProperty(property));
    const QVariant old = meta.read(&backend);

    // Every signal with the property's value at emission: store -> log line -> NOTIFY.
    connect(&backend, &OscEmulatorBackend::logMessagesChanged, this,
            [&] { events << meta.read(&backend).toString() + " " + backend.logMessages().last().mid(11); });
    QSignalSpy notify(&backend, meta.notifySignal());
    for (auto signal : {&OscEmulatorBackend::oscTargetPortChanged, &OscEmulatorBackend::oscTargetHostChanged,
                        &OscEmulatorBackend::selectedPortIndexChanged, &OscEmulatorBackend::selectedDeviceIndexChanged,
                        &OscEmulatorBackend::sendIntValuesChanged, &OscEmulatorBackend::sendAsBundleChanged})
        connect(&backend, signal, this, [&] { events << "notify:" + meta.read(&backend).toString(); });

    backend.setProperty(property, value);

    QCOMPARE(meta.read(&backend), accepted ? value : old);
    QCOMPARE(notify.count(), accepted ? 1 : 0);
    QStringList expected;
    if (!logLine.isEmpty())
        expected << value.toString() + " [INFO] " + logLine;
    if (accepted)
        expected << "notify:" + value.toString();
    QCOMPARE(events, expected);
}

QTEST_GUILESS_MAIN(TestBackend)
#include "tst_backend.moc"
