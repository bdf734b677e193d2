#pragma once

#include <QByteArray>
#include <QHostAddress>
#include <QObject>
#include <QString>
#include <QVariantList>

class EventLog;
class OscEmulatorPort;

// Sends the desk's messages to the target: its host and port, int or float values,
// bundling, and one "TX OSC" line a datagram that left.
class OscSender : public QObject
{
    Q_OBJECT
public:
    // Sends through `port`, which the emulated device may hold open for listening.
    OscSender(OscEmulatorPort *port, EventLog *log, QObject *parent = nullptr);

    QString targetHost() const { return m_targetHost; }
    int targetPort() const { return m_targetPort; }
    bool sendIntValues() const { return m_sendIntValues; }
    bool sendAsBundle() const { return m_sendAsBundle; }

    // A refused or unchanged value does nothing; an accepted one is logged and announced.
    void setTargetHost(const QString &host);
    void setTargetPort(int port);
    void setSendIntValues(bool on);
    void setSendAsBundle(bool on);

    // The desk's sends: refusals end as one WARNING line each.
    void sendChannel(int universe, int channel, int value);
    void sendToAddress(const QString &oscAddress, int value);
    // Bundled or not as asked. False when the datagram did not leave, with the reason in
    // *error.
    bool sendTyped(const QString &oscAddress, const QString &typeTags, const QVariantList &values, bool asBundle,
                   QString *error = nullptr);

signals:
    void targetHostChanged();
    void targetPortChanged();
    void sendIntValuesChanged();
    void sendAsBundleChanged();
    // Each datagram that left, as it left.
    void datagramSent(QByteArray datagram, QHostAddress target, quint16 port);
    // The same, as the message it carries (the values as sent, after mapping).
    void messageSent(QString address, QString tags, QVariantList values, bool bundled);

private:
    bool sendDatagram(const QByteArray &message, const QString &description, bool asBundle, QString *error);
    // Whether anyone listens to messageSent: its values are made only for them.
    bool announcesMessages() const;
    void refuse(const QString &message, QString *error);
    void handleTargetUnreachable(const QString &error);

    OscEmulatorPort *m_port;
    EventLog *m_log;
    QString m_targetHost;
    QHostAddress m_targetAddress; // m_targetHost parsed; null when it is no address literal
    int m_targetPort;
    bool m_sendIntValues = false;
    bool m_sendAsBundle = false;
};
