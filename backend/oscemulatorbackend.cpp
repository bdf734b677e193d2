#include "oscemulatorbackend.h"

#include "emulateddevice.h"
#include "eventlog.h"
#include "fixturestore.h"
#include "oscemulatorport.h"
#include "oscsender.h"

OscEmulatorBackend::OscEmulatorBackend(QObject *parent)
    : OscEmulatorBackend(std::nullopt, parent)
{
}

OscEmulatorBackend::OscEmulatorBackend(const QString &debugLogFile, QObject *parent)
    : OscEmulatorBackend(std::optional<QString>(debugLogFile), parent)
{
}

OscEmulatorBackend::OscEmulatorBackend(const std::optional<QString> &debugLogFile, QObject *parent)
    : QObject(parent)
    , m_log(new EventLog(debugLogFile, this))
    , m_port(new OscEmulatorPort(this))
    , m_sender(new OscSender(m_port, m_log, this))
    , m_device(new EmulatedDevice(m_port, m_log, this))
    , m_fixtureStore(new FixtureStore(m_log, this))
{
    connect(m_log, &EventLog::linesChanged, this, &OscEmulatorBackend::logMessagesChanged);

    connect(m_sender, &OscSender::targetHostChanged, this, &OscEmulatorBackend::oscTargetHostChanged);
    connect(m_sender, &OscSender::targetPortChanged, this, &OscEmulatorBackend::oscTargetPortChanged);
    connect(m_sender, &OscSender::sendIntValuesChanged, this, &OscEmulatorBackend::sendIntValuesChanged);
    connect(m_sender, &OscSender::sendAsBundleChanged, this, &OscEmulatorBackend::sendAsBundleChanged);

    connect(m_device, &EmulatedDevice::availablePortsChanged, this, &OscEmulatorBackend::availablePortsChanged);
    connect(m_device, &EmulatedDevice::emulatedDevicesChanged, this, &OscEmulatorBackend::emulatedDevicesChanged);
    connect(m_device, &EmulatedDevice::selectedPortIndexChanged, this, &OscEmulatorBackend::selectedPortIndexChanged);
    connect(m_device, &EmulatedDevice::selectedDeviceIndexChanged, this,
            &OscEmulatorBackend::selectedDeviceIndexChanged);
    connect(m_device, &EmulatedDevice::isRunningChanged, this, &OscEmulatorBackend::isRunningChanged);
    connect(m_device, &EmulatedDevice::statusMessageChanged, this, &OscEmulatorBackend::statusMessageChanged);
    connect(m_device, &EmulatedDevice::oscBufferChanged, this, &OscEmulatorBackend::oscBufferChanged);
    connect(m_device, &EmulatedDevice::rgbValuesChanged, this, &OscEmulatorBackend::rgbValuesChanged);
    connect(m_device, &EmulatedDevice::packetCountChanged, this, &OscEmulatorBackend::packetCountChanged);
    connect(m_device, &EmulatedDevice::baudRateChanged, this, &OscEmulatorBackend::baudRateChanged);
    connect(m_device, &EmulatedDevice::errorOccurred, this, &OscEmulatorBackend::errorOccurred);

    connect(m_fixtureStore, &FixtureStore::fixturesChanged, this, &OscEmulatorBackend::fixturesChanged);
    connect(m_fixtureStore, &FixtureStore::errorOccurred, this, &OscEmulatorBackend::errorOccurred);
}

OscEmulatorBackend::~OscEmulatorBackend()
{
    m_device->stop();
    // The parts may log until they are gone; the log goes last.
    delete m_fixtureStore;
    delete m_device;
    delete m_sender;
    delete m_port;
    m_log->close();
}

QStringList OscEmulatorBackend::availablePorts() const { return m_device->availablePorts(); }
QStringList OscEmulatorBackend::emulatedDevices() const { return m_device->emulatedDevices(); }
int OscEmulatorBackend::selectedPortIndex() const { return m_device->selectedPortIndex(); }
int OscEmulatorBackend::selectedDeviceIndex() const { return m_device->selectedDeviceIndex(); }
bool OscEmulatorBackend::isRunning() const { return m_device->isRunning(); }
QString OscEmulatorBackend::statusMessage() const { return m_device->statusMessage(); }
QStringList OscEmulatorBackend::logMessages() const { return m_log->lines(); }
int OscEmulatorBackend::redValue() const { return m_device->channelValue(1); }
int OscEmulatorBackend::greenValue() const { return m_device->channelValue(2); }
int OscEmulatorBackend::blueValue() const { return m_device->channelValue(3); }
int OscEmulatorBackend::packetCount() const { return m_device->packetCount(); }
int OscEmulatorBackend::baudRate() const { return m_device->baudRate(); }
QString OscEmulatorBackend::oscTargetHost() const { return m_sender->targetHost(); }
int OscEmulatorBackend::oscTargetPort() const { return m_sender->targetPort(); }
bool OscEmulatorBackend::sendIntValues() const { return m_sender->sendIntValues(); }
bool OscEmulatorBackend::sendAsBundle() const { return m_sender->sendAsBundle(); }
QVariantList OscEmulatorBackend::fixtures() const { return m_fixtureStore->fixtures(); }
QJsonArray OscEmulatorBackend::fixtureArray() const { return m_fixtureStore->fixtureArray(); }

void OscEmulatorBackend::setSelectedPortIndex(int index) { m_device->setSelectedPortIndex(index); }
void OscEmulatorBackend::setSelectedDeviceIndex(int index) { m_device->setSelectedDeviceIndex(index); }
void OscEmulatorBackend::setOscTargetHost(const QString &host) { m_sender->setTargetHost(host); }
void OscEmulatorBackend::setOscTargetPort(int port) { m_sender->setTargetPort(port); }
void OscEmulatorBackend::setSendIntValues(bool on) { m_sender->setSendIntValues(on); }
void OscEmulatorBackend::setSendAsBundle(bool on) { m_sender->setSendAsBundle(on); }

QString OscEmulatorBackend::logFileName() const { return m_log->fileName(); }
void OscEmulatorBackend::addLogMessage(const QString &message, QtMsgType level) const { m_log->add(message, level); }
void OscEmulatorBackend::clearLog() { m_log->clear(); }

bool OscEmulatorBackend::sendTypedMessage(const QString &oscAddress, const QString &typeTags,
                                          const QVariantList &values, bool asBundle, QString *error)
{
    return m_sender->sendTyped(oscAddress, typeTags, values, asBundle, error);
}

void OscEmulatorBackend::sendOscChannel(int universe, int channel, int value)
{
    m_sender->sendChannel(universe, channel, value);
}

void OscEmulatorBackend::sendOscToAddress(const QString &oscAddress, int value)
{
    m_sender->sendToAddress(oscAddress, value);
}

void OscEmulatorBackend::sendOscTyped(const QString &oscAddress, const QString &typeTags, const QVariantList &values)
{
    m_sender->sendTyped(oscAddress, typeTags, values, m_sender->sendAsBundle());
}

void OscEmulatorBackend::refreshPorts() { m_device->refreshPorts(); }
void OscEmulatorBackend::startEmulation() { m_device->start(); }
void OscEmulatorBackend::startEmulationOn(quint16 port) { m_device->startOn(port); }
void OscEmulatorBackend::stopEmulation() { m_device->stop(); }
int OscEmulatorBackend::getChannelValue(int channel) { return m_device->channelValue(channel); }
void OscEmulatorBackend::forceUpdate() { m_device->announce(); }

void OscEmulatorBackend::loadFixturesFromFile(const QString &filePath) { m_fixtureStore->load(filePath); }
void OscEmulatorBackend::saveFixturesToFile(const QString &filePath) const { m_fixtureStore->save(filePath); }
void OscEmulatorBackend::loadDefaultFixturesConfig() { m_fixtureStore->load(QString()); }
void OscEmulatorBackend::saveDefaultFixturesConfig() const { m_fixtureStore->save(QString()); }
