#pragma once

#include <QByteArray>
#include <QHostAddress>
#include <QJsonArray>
#include <QObject>
#include <QString>
#include <QStringList>
#include <QVariantList>

#include <optional>

class EmulatedDevice;
class EventLog;
class FixtureStore;
class OscEmulatorPort;
class OscSender;

// The object QML talks to, published as `backend`: it owns the four parts that do the
// work (the log, the sender, the emulated device, the fixtures store) and offers their
// state and operations as one interface. Every outcome the user should see ends as one
// line of the levelled log.
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
    // The debug log file is one per run in the working directory.
    explicit OscEmulatorBackend(QObject *parent = nullptr);
    // The debug log file is `debugLogFile`, or none when that is empty.
    OscEmulatorBackend(const QString &debugLogFile, QObject *parent);
    ~OscEmulatorBackend() override;

    QStringList availablePorts() const;
    QStringList emulatedDevices() const;
    int selectedPortIndex() const;
    int selectedDeviceIndex() const;
    bool isRunning() const;
    QString statusMessage() const;
    QStringList logMessages() const;
    int redValue() const;
    int greenValue() const;
    int blueValue() const;
    int packetCount() const;
    int baudRate() const;
    QString oscTargetHost() const;
    int oscTargetPort() const;
    bool sendIntValues() const;
    bool sendAsBundle() const;
    QVariantList fixtures() const;
    // The same list as JSON objects, for the desk.
    QJsonArray fixtureArray() const;

    void setSelectedPortIndex(int index);
    void setSelectedDeviceIndex(int index);
    void setOscTargetHost(const QString &host);
    void setOscTargetPort(int port);
    void setSendIntValues(bool on);
    void setSendAsBundle(bool on);

    // The parts that do the work, for the parts of the program beside the backend.
    EventLog *eventLog() const { return m_log; }
    OscSender *sender() const { return m_sender; }
    EmulatedDevice *device() const { return m_device; }
    FixtureStore *fixtureStore() const { return m_fixtureStore; }

    // The debug log file of this run (empty when none could be opened).
    QString logFileName() const;

    // One line of the levelled log, for the parts of the desk beside the backend.
    void addLogMessage(const QString &message, QtMsgType level) const;

    // Sends one message to the target as the typed send does, bundled or not as asked
    // rather than as the Bundle switch says. False when the datagram did not leave, with
    // the reason in *error.
    bool sendTypedMessage(const QString &oscAddress, const QString &typeTags, const QVariantList &values,
                          bool asBundle, QString *error = nullptr);

    Q_INVOKABLE void refreshPorts();
    Q_INVOKABLE void startEmulation();
    // Starts listening on any UDP port, not only the ones offered: for runs without a window.
    void startEmulationOn(quint16 port);
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

private:
    OscEmulatorBackend(const std::optional<QString> &debugLogFile, QObject *parent);

    EventLog *m_log;
    OscEmulatorPort *m_port; // one socket: the device listens on it, the sender sends through it
    OscSender *m_sender;
    EmulatedDevice *m_device;
    FixtureStore *m_fixtureStore;
};
