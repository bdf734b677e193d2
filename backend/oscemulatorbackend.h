#pragma once

#include <QByteArray>
#include <QFile>
#include <QHostAddress>
#include <QJsonArray>
#include <QObject>
#include <QString>
#include <QStringList>
#include <QTextStream>
#include <QTimer>
#include <QVariantList>

#include <functional>
#include <vector>

namespace LogFormat {
struct Stamp;
}
class OscEmulatorPort;
class OscProtocolHandler;

// All state and logic of the desk, published to QML as `backend`.
// Every outcome the user should see ends as one line of the levelled log.
class OscEmulatorBackend : public QObject
{
    Q_OBJECT
    Q_PROPERTY(QStringList availablePorts READ availablePorts NOTIFY availablePortsChanged)
    Q_PROPERTY(QStringList emulatedDevices READ emulatedDevices NOTIFY emulatedDevicesChanged)
    Q_PROPERTY(int selectedPortIndex READ selectedPortIndex WRITE setSelectedPortIndex NOTIFY selectedPortIndexChanged)
    Q_PROPERTY(int selectedDeviceIndex READ selectedDeviceIndex WRITE setSelectedDeviceIndex NOTIFY selectedDeviceIndexChanged)
    Q_PROPERTY(bool isRunning READ isRunning NOTIFY isRunningChanged)
    Q_PROPERTY(QString statusMessage READ statusMessage NOTIFY statusMessageChanged)
    Q_PROPERTY(QStringList logMessages READ logMessages NOTIFY logMessagesChanged)
    Q_PROPERTY(int redValue READ redValue NOTIFY rgbValuesChanged)
    Q_PROPERTY(int greenValue READ greenValue NOTIFY rgbValuesChanged)
    Q_PROPERTY(int blueValue READ blueValue NOTIFY rgbValuesChanged)
    Q_PROPERTY(int packetCount READ packetCount NOTIFY packetCountChanged)
    Q_PROPERTY(int baudRate READ baudRate NOTIFY baudRateChanged)
    Q_PROPERTY(QString oscTargetHost READ oscTargetHost WRITE setOscTargetHost NOTIFY oscTargetHostChanged)
    Q_PROPERTY(int oscTargetPort READ oscTargetPort WRITE setOscTargetPort NOTIFY oscTargetPortChanged)
    Q_PROPERTY(bool sendIntValues READ sendIntValues WRITE setSendIntValues NOTIFY sendIntValuesChanged)
    Q_PROPERTY(bool sendAsBundle READ sendAsBundle WRITE setSendAsBundle NOTIFY sendAsBundleChanged)
    Q_PROPERTY(QVariantList fixtures READ fixtures NOTIFY fixturesChanged)

public:
    explicit OscEmulatorBackend(QObject *parent = nullptr);
    ~OscEmulatorBackend() override;

    QStringList availablePorts() const { return m_availablePorts; }
    QStringList emulatedDevices() const { return m_emulatedDevices; }
    int selectedPortIndex() const { return m_selectedPortIndex; }
    int selectedDeviceIndex() const { return m_selectedDeviceIndex; }
    bool isRunning() const { return m_isRunning; }
    QString statusMessage() const { return m_statusMessage; }
    QStringList logMessages() const { return m_logMessages; }
    int redValue() const { return bufferByte(0); }
    int greenValue() const { return bufferByte(1); }
    int blueValue() const { return bufferByte(2); }
    int packetCount() const { return m_packetCount; }
    int baudRate() const { return m_baudRate; }
    QString oscTargetHost() const { return m_oscTargetHost; }
    int oscTargetPort() const { return m_oscTargetPort; }
    bool sendIntValues() const { return m_sendIntValues; }
    bool sendAsBundle() const { return m_sendAsBundle; }
    QVariantList fixtures() const;
    // The same list as JSON objects, for the desk.
    QJsonArray fixtureArray() const;

    void setSelectedPortIndex(int index);
    void setSelectedDeviceIndex(int index);
    void setOscTargetHost(const QString &host);
    void setOscTargetPort(int port);
    void setSendIntValues(bool on);
    void setSendAsBundle(bool on);

    // The debug log file of this run (empty when none could be opened).
    QString logFileName() const;

    // One line of the levelled log, for the parts of the desk beside the backend.
    void addLogMessage(const QString &message, QtMsgType level) const;

    // Sends one message to the target as the typed send does, bundled or not as asked
    // rather than as the Bundle switch says.
    void sendTypedMessage(const QString &oscAddress, const QString &typeTags, const QVariantList &values,
                          bool asBundle);

    // Called with every datagram that left for the target, in order.
    using SendObserver = std::function<void(const QByteArray &datagram, const QHostAddress &target, quint16 port)>;
    void addSendObserver(SendObserver observer);

    Q_INVOKABLE void refreshPorts();
    Q_INVOKABLE void startEmulation();
    Q_INVOKABLE void stopEmulation();
    Q_INVOKABLE int getChannelValue(int channel);
    Q_INVOKABLE void clearLog();
    Q_INVOKABLE void forceUpdate();
    Q_INVOKABLE void loadFixturesFromFile(const QString &filePath);
    Q_INVOKABLE void saveFixturesToFile(const QString &filePath) const;
    Q_INVOKABLE void loadDefaultFixturesConfig();
    Q_INVOKABLE void saveDefaultFixturesConfig() const;
    Q_INVOKABLE void sendOscChannel(int universe, int channel, int value);
    Q_INVOKABLE void sendOscToAddress(const QString &oscAddress, int value);
    Q_INVOKABLE void sendOscTyped(const QString &oscAddress, const QString &typeTags,
                                  const QVariantList &values = QVariantList());

signals:
    void availablePortsChanged();
    void emulatedDevicesChanged();
    void selectedPortIndexChanged();
    void selectedDeviceIndexChanged();
    void isRunningChanged();
    void statusMessageChanged();
    void logMessagesChanged();
    void oscBufferChanged();
    void rgbValuesChanged();
    void packetCountChanged();
    void baudRateChanged();
    void errorOccurred(QString error);
    void fixturesChanged();
    void oscTargetHostChanged();
    void oscTargetPortChanged();
    void sendIntValuesChanged();
    void sendAsBundleChanged();

private slots:
    void handleOscDataReceived(int universe, QByteArray data);
    void handleOscChannelReceived(int universe, int channel, quint8 value);
    void handleProtocolError(QString error);
    void handlePortOpened();
    void handlePortClosed();
    void handleEmulatorPortError(QString error);
    void onUpdateTimerTimeout();

private:
    // log
    void openLogFile();
    void closeLogFile();
    void writeToLogFile(const QString &text) const;
    void writeLogFileLine(const LogFormat::Stamp &stamp, const QString &text) const;
    // send
    bool sendOscDatagram(const QByteArray &message, const QString &description);
    bool sendOscDatagram(const QByteArray &message, const QString &description, bool asBundle);
    void handleTargetUnreachable(const QString &error);
    // receive
    void handleDatagram(const QByteArray &data);
    int bufferByte(int index) const;
    // fixtures
    QString defaultFixturesFilePath() const;

    OscEmulatorPort *emulatorPort;
    OscProtocolHandler *protocolHandler;
    QStringList m_availablePorts;
    QStringList m_availablePortNumbers;
    QStringList m_emulatedDevices;
    int m_selectedPortIndex;
    int m_selectedDeviceIndex;
    bool m_isRunning;
    QString m_statusMessage;
    // Logging is observable state but not a change of the backend's meaning, so the
    // const fixture operations may log: the log members are mutable.
    mutable QStringList m_logMessages;
    QByteArray oscBuffer;
    // While listening, the received data is announced again at every tick.
    static constexpr int kUpdateIntervalMs = 50;
    QTimer *updateTimer;
    int m_packetCount;
    int m_baudRate;
    QString m_oscTargetHost;
    QHostAddress m_targetAddress;  // m_oscTargetHost parsed; null when it is no address literal
    int m_oscTargetPort;
    bool m_sendIntValues;
    bool m_sendAsBundle;
    std::vector<SendObserver> m_sendObservers;
    // The normalised list as compact JSON: a desk of thousands of controls keeps a few
    // bytes a control here, where the same list as maps would take kilobytes.
    QByteArray m_fixtures = QByteArrayLiteral("[]");
    int m_fixtureCount = 0;
    QFile *logFile = nullptr;
    QTextStream *logStream = nullptr;
    mutable bool m_logWriteFailed = false;
};
