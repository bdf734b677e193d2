#include "oscemulatorbackend.h"

#include "logformat.h"
#include "oscprotocolhandler.h"
#include "oscwire.h"

namespace {
constexpr int kRawHexDigits = 64;
constexpr int kRxHexDigits = 80;
}

int OscEmulatorBackend::bufferByte(int index) const
{
    return index < oscBuffer.size() ? static_cast<quint8>(oscBuffer.at(index)) : 0;
}

int OscEmulatorBackend::getChannelValue(int channel)
{
    if (channel < 1 || channel > oscBuffer.size())
        return 0;
    return bufferByte(channel - 1);
}

void OscEmulatorBackend::handleDatagram(const QByteArray &data)
{
    writeToLogFile(QStringLiteral("Raw OSC datagram received - Size: %1 bytes, Hex: %2")
                           .arg(QString::number(data.size()), LogFormat::hexDigits(data, kRawHexDigits)));
    protocolHandler->parseData(data);
}

void OscEmulatorBackend::handleOscChannelReceived(int universe, int channel, quint8 value)
{
    if (universe != 0 || !Osc::isValidChannel(channel))
        return;
    oscBuffer[channel - 1] = static_cast<char>(value);
    // Channels above 3 reach the UI with the next tick; red, green and blue at once.
    if (channel > 3)
        return;
    writeToLogFile(QStringLiteral("OSC Channel Received - Universe: %1, Channel: %2, Value: %3")
                           .arg(universe)
                           .arg(channel)
                           .arg(int(value)));
    writeToLogFile(QStringLiteral("Current RGB Buffer - R: %1, G: %2, B: %3")
                           .arg(bufferByte(0))
                           .arg(bufferByte(1))
                           .arg(bufferByte(2)));
    emit rgbValuesChanged();
}

void OscEmulatorBackend::handleOscDataReceived(int universe, QByteArray data)
{
    ++m_packetCount;
    emit packetCountChanged();
    const QString hex = LogFormat::hexDigits(data, kRxHexDigits);
    addLogMessage(QStringLiteral("RX OSC datagram -> universe=%1, size=%2 bytes, packet#%3, hex=%4")
                          .arg(QString::number(universe), QString::number(data.size()),
                               QString::number(m_packetCount), hex),
                  QtInfoMsg);
    writeToLogFile(QStringLiteral("OSC Data Received - Universe: %1, Size: %2 bytes, Packet #%3, Hex=%4")
                           .arg(QString::number(universe), QString::number(data.size()),
                                QString::number(m_packetCount), hex));
    if (data.size() >= 3) {
        writeToLogFile(QStringLiteral("First 3 bytes (RGB): R=%1, G=%2, B=%3")
                               .arg(int(static_cast<quint8>(data.at(0))))
                               .arg(int(static_cast<quint8>(data.at(1))))
                               .arg(int(static_cast<quint8>(data.at(2)))));
    }
    if (universe != 0 || data.size() > Osc::kChannelCount)
        return;
    oscBuffer.replace(0, data.size(), data);
    writeToLogFile(QStringLiteral("Buffer updated - Size: %1, First 3 bytes: R=%2, G=%3, B=%4")
                           .arg(oscBuffer.size())
                           .arg(bufferByte(0))
                           .arg(bufferByte(1))
                           .arg(bufferByte(2)));
    emit oscBufferChanged();
    emit rgbValuesChanged();
}

void OscEmulatorBackend::handleProtocolError(QString error)
{
    addLogMessage(QStringLiteral("Protocol Error: ") + error, QtCriticalMsg);
    emit errorOccurred(error);
}
