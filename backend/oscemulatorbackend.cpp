#include "oscemulatorbackend.h"

#include "oscemulatorport.h"
#include "oscprotocolhandler.h"
#include "oscwire.h"

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
    , emulatorPort(new OscEmulatorPort(this))
    , protocolHandler(new OscProtocolHandler(this))
    , m_selectedPortIndex(-1)
    , m_selectedDeviceIndex(0)
    , m_isRunning(false)
    , updateTimer(new QTimer(this))
    , m_packetCount(0)
    , m_baudRate(8000)
    , m_oscTargetHost(QStringLiteral("127.0.0.1"))
    , m_targetAddress(m_oscTargetHost)
    , m_oscTargetPort(8000)
    , m_sendIntValues(false)
    , m_sendAsBundle(false)
{
    openLogFile(debugLogFile);

    m_emulatedDevices = QStringList{QStringLiteral("OSC Input (/osc/channel)")};
    oscBuffer = QByteArray(Osc::kChannelCount, '\0');
    updateTimer->setInterval(kUpdateIntervalMs);
    updateTimer->setSingleShot(false);

    connect(updateTimer, &QTimer::timeout, this, &OscEmulatorBackend::onUpdateTimerTimeout);
    connect(emulatorPort, &OscEmulatorPort::dataReceived, this,
            [this](const QByteArray &data) { handleDatagram(data); });
    connect(emulatorPort, &OscEmulatorPort::errorOccurred, this, &OscEmulatorBackend::handleEmulatorPortError);
    connect(emulatorPort, &OscEmulatorPort::targetUnreachable, this,
            [this](const QString &error) { handleTargetUnreachable(error); });
    connect(emulatorPort, &OscEmulatorPort::portOpened, this, &OscEmulatorBackend::handlePortOpened);
    connect(emulatorPort, &OscEmulatorPort::portClosed, this, &OscEmulatorBackend::handlePortClosed);
    connect(protocolHandler, &OscProtocolHandler::oscDataReceived, this, &OscEmulatorBackend::handleOscDataReceived);
    connect(protocolHandler, &OscProtocolHandler::oscChannelReceived, this,
            &OscEmulatorBackend::handleOscChannelReceived);
    connect(protocolHandler, &OscProtocolHandler::protocolError, this, &OscEmulatorBackend::handleProtocolError);

    refreshPorts();

    m_statusMessage = QStringLiteral("Ready");
    emit statusMessageChanged();
}

OscEmulatorBackend::~OscEmulatorBackend()
{
    stopEmulation();
    closeLogFile();
}

// Setters: a refused or equal value does nothing at all; an accepted one is stored,
// logged where it has a message, then announced.

void OscEmulatorBackend::setSelectedPortIndex(int index)
{
    if (index < -1 || index >= m_availablePorts.size() || index == m_selectedPortIndex)
        return;
    m_selectedPortIndex = index;
    emit selectedPortIndexChanged();
}

void OscEmulatorBackend::setSelectedDeviceIndex(int index)
{
    if (index < 0 || index >= m_emulatedDevices.size() || index == m_selectedDeviceIndex)
        return;
    m_selectedDeviceIndex = index;
    addLogMessage(QStringLiteral("Selected logical OSC device index: %1").arg(index), QtInfoMsg);
    emit selectedDeviceIndexChanged();
}

void OscEmulatorBackend::setOscTargetHost(const QString &host)
{
    if (host == m_oscTargetHost)
        return;
    m_oscTargetHost = host;
    // Numeric addresses only: host names are never resolved.
    m_targetAddress = QHostAddress(host);
    addLogMessage(QStringLiteral("OSC target host set to ") + host, QtInfoMsg);
    emit oscTargetHostChanged();
}

void OscEmulatorBackend::setOscTargetPort(int port)
{
    if (port < 1 || port > 65535 || port == m_oscTargetPort)
        return;
    m_oscTargetPort = port;
    addLogMessage(QStringLiteral("OSC target port set to %1").arg(port), QtInfoMsg);
    emit oscTargetPortChanged();
}

void OscEmulatorBackend::setSendIntValues(bool on)
{
    if (on == m_sendIntValues)
        return;
    m_sendIntValues = on;
    addLogMessage(on ? QStringLiteral("OSC values sent as int 0-127 (,i)")
                     : QStringLiteral("OSC values sent as float 0.0-1.0 (,f)"),
                  QtInfoMsg);
    emit sendIntValuesChanged();
}

void OscEmulatorBackend::setSendAsBundle(bool on)
{
    if (on == m_sendAsBundle)
        return;
    m_sendAsBundle = on;
    addLogMessage(on ? QStringLiteral("OSC messages sent inside a #bundle")
                     : QStringLiteral("OSC messages sent on their own (no bundle)"),
                  QtInfoMsg);
    emit sendAsBundleChanged();
}
