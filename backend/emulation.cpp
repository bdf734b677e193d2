#include "oscemulatorbackend.h"

#include "oscemulatorport.h"
#include "oscprotocolhandler.h"

namespace {
const quint16 kListeningPorts[] = {9000, 9001};
}

void OscEmulatorBackend::refreshPorts()
{
    m_availablePorts.clear();
    m_availablePortNumbers.clear();
    for (quint16 port : kListeningPorts) {
        const QString label = QStringLiteral("UDP %1 (OSC)").arg(port);
        m_availablePorts.append(label);
        m_availablePortNumbers.append(QString::number(port));
        addLogMessage(QStringLiteral("Available OSC UDP port: ") + label, QtInfoMsg);
    }
    emit availablePortsChanged();
    if (m_selectedPortIndex < 0 && !m_availablePortNumbers.isEmpty()) {
        m_selectedPortIndex = 0;
        emit selectedPortIndexChanged();
    }
}

void OscEmulatorBackend::startEmulation()
{
    if (m_isRunning) {
        addLogMessage(QStringLiteral("OSC emulator is already running."), QtWarningMsg);
        return;
    }
    if (m_selectedPortIndex < 0 || m_selectedPortIndex >= m_availablePortNumbers.size()) {
        addLogMessage(QStringLiteral("Please select an OSC UDP port."), QtWarningMsg);
        return;
    }
    bool ok = false;
    const quint16 port = m_availablePortNumbers.at(m_selectedPortIndex).toUShort(&ok, 10);
    if (!ok || port == 0) {
        addLogMessage(QStringLiteral("Invalid OSC UDP port selected."), QtCriticalMsg);
        return;
    }
    listenOn(port);
}

void OscEmulatorBackend::startEmulationOn(quint16 port)
{
    if (m_isRunning) {
        addLogMessage(QStringLiteral("OSC emulator is already running."), QtWarningMsg);
        return;
    }
    listenOn(port);
}

void OscEmulatorBackend::listenOn(quint16 port)
{
    m_baudRate = port;
    emit baudRateChanged();
    protocolHandler->setProtocolType(OscProtocolHandler::OscChannelProtocol);

    if (!emulatorPort->open(port)) {
        addLogMessage(QStringLiteral("Failed to bind OSC UDP port %1.").arg(port), QtCriticalMsg);
        m_statusMessage = QStringLiteral("Failed to start OSC emulation");
        emit statusMessageChanged();
        return;
    }

    addLogMessage(QStringLiteral("OSC emulation started on UDP port %1.").arg(port), QtInfoMsg);
    m_isRunning = true;
    emit isRunningChanged();
    updateTimer->start();
    m_packetCount = 0;
    emit packetCountChanged();
    m_statusMessage = QStringLiteral("Listening OSC on UDP %1").arg(port);
    emit statusMessageChanged();
    writeToLogFile(QStringLiteral("OSC emulation started - UDP Port: %1").arg(port));
    writeToLogFile(QStringLiteral("Update timer started - Interval: %1ms").arg(kUpdateIntervalMs));
}

void OscEmulatorBackend::stopEmulation()
{
    // The socket, not isRunning, decides: a socket bound by sending is closed here too.
    if (!emulatorPort->isOpen()) {
        addLogMessage(QStringLiteral("OSC emulator is not running."), QtWarningMsg);
        return;
    }
    emulatorPort->close();
    addLogMessage(QStringLiteral("OSC emulation stopped."), QtInfoMsg);
    m_isRunning = false;
    emit isRunningChanged();
    updateTimer->stop();
    oscBuffer.fill('\0');
    emit oscBufferChanged();
    emit rgbValuesChanged();
    m_statusMessage = QStringLiteral("Stopped");
    emit statusMessageChanged();
}

void OscEmulatorBackend::forceUpdate()
{
    onUpdateTimerTimeout();
}

void OscEmulatorBackend::onUpdateTimerTimeout()
{
    emit oscBufferChanged();
    emit rgbValuesChanged();
    emit packetCountChanged();
}

void OscEmulatorBackend::handlePortOpened()
{
    addLogMessage(QStringLiteral("OSC UDP socket successfully bound."), QtInfoMsg);
}

void OscEmulatorBackend::handlePortClosed()
{
    addLogMessage(QStringLiteral("OSC UDP socket closed."), QtInfoMsg);
}

void OscEmulatorBackend::handleEmulatorPortError(QString error)
{
    addLogMessage(QStringLiteral("Emulator Port Error: ") + error, QtCriticalMsg);
    stopEmulation();
    emit errorOccurred(error);
}
