#pragma once

#include "monitorrows.h"

#include <QHash>
#include <QHostAddress>
#include <QObject>
#include <QStringList>
#include <QTimer>
#include <QVariantList>

#include <functional>
#include <vector>

class OscEmulatorBackend;
class OscEmulatorPort;

// Hears what the target answers on a UDP port of its own, apart from the emulated device:
// every OSC message decoded into a bounded list (with the desk's own sends beside them
// when asked), and, when following feedback, each message announced for the desk's
// controls once per tick, the latest value of each address. Published to QML as `monitor`.
class OscMonitor : public QObject
{
    Q_OBJECT
    Q_PROPERTY(bool running READ running NOTIFY runningChanged)
    Q_PROPERTY(int port READ port WRITE setPort NOTIFY portChanged)
    Q_PROPERTY(bool paused READ paused WRITE setPaused NOTIFY pausedChanged)
    Q_PROPERTY(bool showSent READ showSent WRITE setShowSent NOTIFY showSentChanged)
    Q_PROPERTY(bool followFeedback READ followFeedback WRITE setFollowFeedback NOTIFY followFeedbackChanged)
    Q_PROPERTY(QString filter READ filter WRITE setFilter NOTIFY filterChanged)
    Q_PROPERTY(int received READ received NOTIFY countsChanged)
    Q_PROPERTY(int undecodable READ undecodable NOTIFY countsChanged)
    Q_PROPERTY(int dropped READ dropped NOTIFY countsChanged)
    Q_PROPERTY(QObject *rows READ rows CONSTANT)

public:
    static constexpr int kDefaultPort = 9002;

    explicit OscMonitor(OscEmulatorBackend *backend, QObject *parent = nullptr);
    ~OscMonitor() override;

    bool running() const;
    int port() const { return m_port; }
    bool paused() const { return m_paused; }
    bool showSent() const { return m_showSent; }
    bool followFeedback() const { return m_followFeedback; }
    QString filter() const { return m_filter; }
    int received() const { return m_received; }
    int undecodable() const { return m_undecodable; }
    int dropped() const { return m_rows.dropped(); }
    // Why the last start could not bind its port.
    QString bindError() const { return m_bindError; }
    QObject *rows() { return &m_filtered; }

    void setPort(int port);
    void setPaused(bool paused);
    void setShowSent(bool on);
    void setFollowFeedback(bool on);
    void setFilter(const QString &pattern);

    Q_INVOKABLE void start();
    Q_INVOKABLE void stop();
    Q_INVOKABLE void clear();
    // The annotated bytes of a row of `rows`: {offset, bytes, meaning, failed} per field.
    Q_INVOKABLE QVariantList inspect(int row) const;

    // Called with every message heard while the monitor runs, as it is decoded.
    using MessageObserver = std::function<void(const Osc::OscPacket &packet, const Osc::OscDecodedMessage &message)>;
    void addMessageObserver(MessageObserver observer);

signals:
    void runningChanged();
    void portChanged();
    void pausedChanged();
    void showSentChanged();
    void followFeedbackChanged();
    void filterChanged();
    void countsChanged();
    // A message heard from the target, for the controls that send to its address.
    void feedback(QString address, QString tags, QVariantList values);

private:
    void handleDatagram(const QByteArray &datagram, const QHostAddress &sender, quint16 senderPort);
    void handleSent(const QByteArray &datagram, const QHostAddress &target, quint16 port);
    void handlePortError(const QString &error);
    void noteFeedback(const Osc::OscPacket &packet);
    void onTick();

    OscEmulatorBackend *m_backend;
    OscEmulatorPort *m_socket;
    MonitorRows m_rows;
    MonitorFilter m_filtered;
    QTimer m_tick;
    Osc::OscPacket m_packet; // reused: decoding then allocates nothing
    int m_port = kDefaultPort;
    bool m_paused = false;
    bool m_showSent = false;
    bool m_followFeedback = true;
    QString m_filter;
    int m_received = 0;
    int m_undecodable = 0;
    bool m_countsChanged = false;
    int m_droppedAnnounced = 0;
    QString m_bindError;
    // The latest message of each address (of each channel for /osc/channel) since the
    // last tick, in the order first heard.
    QHash<QString, QVariantList> m_feedback;
    QStringList m_feedbackOrder;
    std::vector<MessageObserver> m_observers;
};
