#include "emulateddevice.h"

#include "defaults.h"
#include "diagnostics.h"
#include "eventlog.h"
#include "logformat.h"
#include "oscemulatorport.h"
#include "oscprotocolhandler.h"
#include "oscwire.h"

#include <QTimer>

namespace {
constexpr int kRawHexDigits = 64;
constexpr int kRxHexDigits = 80;
// What the status shows as the port before the first start.
constexpr int kPortShownBeforeStart = 8000;
} // namespace

EmulatedDevice::EmulatedDevice(OscEmulatorPort *port, EventLog *log, QObject *parent)
    : QObject(parent)
    , m_port(port)
    , m_log(log)
    , m_protocolHandler(new OscProtocolHandler(this))
    , m_updateTimer(new QTimer(this))
    , m_emulatedDevices{QStringLiteral("OSC Input (/osc/channel)")}
    , m_buffer(Osc::kChannelCount, '\0')
    , m_baudRate(kPortShownBeforeStart)
{
    m_updateTimer->setInterval(Defaults::kTickMs);
    m_updateTimer->setSingleShot(false);
    connect(m_updateTimer, &QTimer::timeout, this, &EmulatedDevice::announce);
    connect(m_port, &OscEmulatorPort::dataReceived, this, &EmulatedDevice::handleDatagram);
    connect(m_port, &OscEmulatorPort::errorOccurred, this, &EmulatedDevice::handlePortError);
    connect(m_port, &OscEmulatorPort::portOpened, this,
            [this] { m_log->add(QStringLiteral("OSC UDP socket successfully bound."), QtInfoMsg); });
    connect(m_port, &OscEmulatorPort::portClosed, this,
            [this] { m_log->add(QStringLiteral("OSC UDP socket closed."), QtInfoMsg); });
    connect(m_protocolHandler, &OscProtocolHandler::oscDataReceived, this, &EmulatedDevice::handleOscDataReceived);
    connect(m_protocolHandler, &OscProtocolHandler::oscChannelReceived, this,
            &EmulatedDevice::handleOscChannelReceived);
    connect(m_protocolHandler, &OscProtocolHandler::protocolError, this, &EmulatedDevice::handleProtocolError);

    refreshPorts();
    m_statusMessage = QStringLiteral("Ready");
}

EmulatedDevice::~EmulatedDevice() = default;

void EmulatedDevice::setSelectedPortIndex(int index)
{
    if (index < -1 || index >= m_availablePorts.size() || index == m_selectedPortIndex)
        return;
    m_selectedPortIndex = index;
    emit selectedPortIndexChanged();
}

void EmulatedDevice::setSelectedDeviceIndex(int index)
{
    if (index < 0 || index >= m_emulatedDevices.size() || index == m_selectedDeviceIndex)
        return;
    m_selectedDeviceIndex = index;
    m_log->add(QStringLiteral("Selected logical OSC device index: %1").arg(index), QtInfoMsg);
    emit selectedDeviceIndexChanged();
}

void EmulatedDevice::setStatus(const QString &status)
{
    m_statusMessage = status;
    emit statusMessageChanged();
}

void EmulatedDevice::refreshPorts()
{
    m_availablePorts.clear();
    m_availablePortNumbers.clear();
    for (quint16 port : Defaults::kDevicePorts) {
        const QString label = QStringLiteral("UDP %1 (OSC)").arg(port);
        m_availablePorts.append(label);
        m_availablePortNumbers.append(QString::number(port));
        m_log->add(QStringLiteral("Available OSC UDP port: ") + label, QtInfoMsg);
    }
    emit availablePortsChanged();
    if (m_selectedPortIndex < 0 && !m_availablePortNumbers.isEmpty()) {
        m_selectedPortIndex = 0;
        emit selectedPortIndexChanged();
    }
}

void EmulatedDevice::start()
{
    if (m_isRunning) {
        m_log->add(QStringLiteral("OSC emulator is already running."), QtWarningMsg);
        return;
    }
    if (m_selectedPortIndex < 0 || m_selectedPortIndex >= m_availablePortNumbers.size()) {
        m_log->add(QStringLiteral("Please select an OSC UDP port."), QtWarningMsg);
        return;
    }
    bool ok = false;
    const quint16 port = m_availablePortNumbers.at(m_selectedPortIndex).toUShort(&ok, 10);
    if (!ok || port == 0) {
        m_log->add(QStringLiteral("Invalid OSC UDP port selected."), QtCriticalMsg);
        return;
    }
    listenOn(port);
}

void EmulatedDevice::startOn(quint16 port)
{
    if (m_isRunning) {
        m_log->add(QStringLiteral("OSC emulator is already running."), QtWarningMsg);
        return;
    }
    listenOn(port);
}

void EmulatedDevice::listenOn(quint16 port)
{
    m_baudRate = port;
    emit baudRateChanged();
    m_protocolHandler->setProtocolType(OscProtocolHandler::OscChannelProtocol);

    if (!m_port->open(port)) {
        m_log->add(QStringLiteral("Failed to bind OSC UDP port %1.").arg(port), QtCriticalMsg);
        setStatus(QStringLiteral("Failed to start OSC emulation"));
        return;
    }

    m_log->add(QStringLiteral("OSC emulation started on UDP port %1.").arg(port), QtInfoMsg);
    m_isRunning = true;
    emit isRunningChanged();
    m_updateTimer->start();
    m_packetCount = 0;
    emit packetCountChanged();
    setStatus(QStringLiteral("Listening OSC on UDP %1").arg(port));
    m_log->writeToFile(QStringLiteral("OSC emulation started - UDP Port: %1").arg(port));
    m_log->writeToFile(QStringLiteral("Update timer started - Interval: %1ms").arg(Defaults::kTickMs));
}

void EmulatedDevice::stop()
{
    // The socket, not isRunning, decides: a socket bound by sending is closed here too.
    if (!m_port->isOpen()) {
        m_log->add(QStringLiteral("OSC emulator is not running."), QtWarningMsg);
        return;
    }
    m_port->close();
    m_log->add(QStringLiteral("OSC emulation stopped."), QtInfoMsg);
    m_isRunning = false;
    emit isRunningChanged();
    m_updateTimer->stop();
    m_buffer.fill('\0');
    emit oscBufferChanged();
    emit rgbValuesChanged();
    setStatus(QStringLiteral("Stopped"));
}

void EmulatedDevice::announce()
{
    emit oscBufferChanged();
    emit rgbValuesChanged();
    emit packetCountChanged();
}

void EmulatedDevice::handlePortError(const QString &error)
{
    m_log->add(QStringLiteral("Emulator Port Error: ") + error, QtCriticalMsg);
    stop();
    emit errorOccurred(error);
}

int EmulatedDevice::bufferByte(int index) const
{
    return index < m_buffer.size() ? static_cast<quint8>(m_buffer.at(index)) : 0;
}

int EmulatedDevice::channelValue(int channel) const
{
    if (channel < 1 || channel > m_buffer.size())
        return 0;
    return bufferByte(channel - 1);
}

void EmulatedDevice::handleDatagram(const QByteArray &data)
{
    // "Raw OSC datagram received - Size: %1 bytes, Hex: %2", appended piece by piece into
    // one text: this line is written for every datagram the device hears.
    QString line;
    line.reserve(64 + kRawHexDigits);
    line.append(u"Raw OSC datagram received - Size: ");
    appendDecimal(line, data.size());
    line.append(u" bytes, Hex: ");
    LogFormat::appendHexDigits(line, data, kRawHexDigits);
    m_log->writeToFile(line);
    m_protocolHandler->parseData(data);
}

void EmulatedDevice::handleOscChannelReceived(int universe, int channel, quint8 value)
{
    if (universe != 0 || !Osc::isValidChannel(channel))
        return;
    m_buffer[channel - 1] = static_cast<char>(value);
    // Channels above 3 reach the UI with the next tick; red, green and blue at once.
    if (channel <= 3) {
        m_log->writeToFile(QStringLiteral("OSC Channel Received - Universe: %1, Channel: %2, Value: %3")
                                   .arg(universe)
                                   .arg(channel)
                                   .arg(int(value)));
        m_log->writeToFile(QStringLiteral("Current RGB Buffer - R: %1, G: %2, B: %3")
                                   .arg(bufferByte(0))
                                   .arg(bufferByte(1))
                                   .arg(bufferByte(2)));
        emit rgbValuesChanged();
    }
    emit valuesReceived();
}

void EmulatedDevice::handleOscDataReceived(int universe, const QByteArray &data)
{
    ++m_packetCount;
    emit packetCountChanged();
    const QString hex = LogFormat::hexDigits(data, kRxHexDigits);
    m_log->add(QStringLiteral("RX OSC datagram -> universe=%1, size=%2 bytes, packet#%3, hex=%4")
                          .arg(QString::number(universe), QString::number(data.size()),
                               QString::number(m_packetCount), hex),
                  QtInfoMsg);
    m_log->writeToFile(QStringLiteral("OSC Data Received - Universe: %1, Size: %2 bytes, Packet #%3, Hex=%4")
                           .arg(QString::number(universe), QString::number(data.size()),
                                QString::number(m_packetCount), hex));
    if (data.size() >= 3) {
        m_log->writeToFile(QStringLiteral("First 3 bytes (RGB): R=%1, G=%2, B=%3")
                               .arg(int(static_cast<quint8>(data.at(0))))
                               .arg(int(static_cast<quint8>(data.at(1))))
                               .arg(int(static_cast<quint8>(data.at(2)))));
    }
    if (universe != 0 || data.size() > Osc::kChannelCount)
        return;
    m_buffer.replace(0, data.size(), data);
    m_log->writeToFile(QStringLiteral("Buffer updated - Size: %1, First 3 bytes: R=%2, G=%3, B=%4")
                           .arg(m_buffer.size())
                           .arg(bufferByte(0))
                           .arg(bufferByte(1))
                           .arg(bufferByte(2)));
    emit oscBufferChanged();
    emit rgbValuesChanged();
    emit valuesReceived();
}

void EmulatedDevice::handleProtocolError(const QString &error)
{
    m_log->add(QStringLiteral("Protocol Error: ") + error, QtCriticalMsg);
    emit errorOccurred(error);
}
