#pragma once

#include <QByteArray>
#include <QObject>
#include <QString>
#include <QStringList>

class EventLog;
class OscEmulatorPort;
class OscProtocolHandler;
class QTimer;

// The emulated OSC receiving device: the ports it offers, listening on one of them, the
// 512 received channel values of universe 0, and the 50 ms tick that announces them.
class EmulatedDevice : public QObject
{
    Q_OBJECT
public:
    // Listens on `port`, which the sender also sends through.
    EmulatedDevice(OscEmulatorPort *port, EventLog *log, QObject *parent = nullptr);
    ~EmulatedDevice() override;

    QStringList availablePorts() const { return m_availablePorts; }
    QStringList emulatedDevices() const { return m_emulatedDevices; }
    int selectedPortIndex() const { return m_selectedPortIndex; }
    int selectedDeviceIndex() const { return m_selectedDeviceIndex; }
    bool isRunning() const { return m_isRunning; }
    QString statusMessage() const { return m_statusMessage; }
    int packetCount() const { return m_packetCount; }
    // The port of the last start attempt.
    int baudRate() const { return m_baudRate; }
    // Channel 1 to 512 of universe 0; 0 for any other.
    int channelValue(int channel) const;

    void setSelectedPortIndex(int index);
    void setSelectedDeviceIndex(int index);

    void refreshPorts();
    // Listens on the selected port.
    void start();
    // Listens on any UDP port, not only the ones offered: for runs without a window.
    void startOn(quint16 port);
    void stop();
    // Announces the received values now, as the tick does.
    void announce();

signals:
    void availablePortsChanged();
    void emulatedDevicesChanged();
    void selectedPortIndexChanged();
    void selectedDeviceIndexChanged();
    void isRunningChanged();
    void statusMessageChanged();
    void oscBufferChanged();
    void rgbValuesChanged();
    void packetCountChanged();
    void baudRateChanged();
    void errorOccurred(QString error);
    // Received values changed, at once rather than with the tick.
    void valuesReceived();

private:
    void listenOn(quint16 port);
    void setStatus(const QString &status);
    void handleDatagram(const QByteArray &data);
    void handleOscDataReceived(int universe, const QByteArray &data);
    void handleOscChannelReceived(int universe, int channel, quint8 value);
    void handleProtocolError(const QString &error);
    void handlePortError(const QString &error);
    int bufferByte(int index) const;

    OscEmulatorPort *m_port;
    EventLog *m_log;
    OscProtocolHandler *m_protocolHandler;
    QTimer *m_updateTimer;
    QStringList m_availablePorts;
    QStringList m_availablePortNumbers;
    QStringList m_emulatedDevices;
    int m_selectedPortIndex = -1;
    int m_selectedDeviceIndex = 0;
    bool m_isRunning = false;
    QString m_statusMessage;
    QByteArray m_buffer; // byte n-1 for channel n of universe 0
    int m_packetCount = 0;
    int m_baudRate;
};
