#pragma once

#include "endpoint.h"
#include "monitorrows.h"

#include <QHash>
#include <QHostAddress>
#include <QObject>
#include <QPersistentModelIndex>
#include <QStringList>
#include <QTimer>
#include <QVariantList>
#include <QVariantMap>

class EventLog;
class OscEmulatorPort;
class OscSender;

// A datagram as the monitor heard it: the packet it decoded to, or the fault.
struct HeardDatagram
{
    qint64 msecsSinceEpoch = 0;
    QString from; // "host:port"
    QByteArray bytes;
    const Osc::OscPacket *packet = nullptr;
    const Osc::OscDecodeError *error = nullptr; // null when it decoded
};

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
    // {received, undecodable, dropped}: messages heard, datagrams that did not decode, rows
    // the list let go of.
    Q_PROPERTY(QVariantMap counts READ counts NOTIFY countsChanged)
    Q_PROPERTY(QObject *rows READ rows CONSTANT)
    Q_PROPERTY(int selectedRow READ selectedRow WRITE setSelectedRow NOTIFY selectedRowChanged)

public:
    // Logs to `log`; shows what `sender` sends when asked (it may be null).
    OscMonitor(EventLog *log, OscSender *sender, QObject *parent = nullptr);
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
    QVariantMap counts() const;
    // Why the last start could not bind its port.
    QString bindError() const { return m_bindError; }
    QObject *rows() { return &m_filtered; }
    // The selected row of `rows`, or -1. The selection stays with its row as rows come and
    // go and the filter changes; while the filter hides it, this is -1.
    int selectedRow() const;

    void setPort(int port);
    void setPaused(bool paused);
    void setShowSent(bool on);
    void setFollowFeedback(bool on);
    void setFilter(const QString &pattern);
    void setSelectedRow(int row);

    Q_INVOKABLE void start();
    Q_INVOKABLE void stop();
    Q_INVOKABLE void clear();
    // The annotated bytes of a row of `rows`: {offset, bytes, meaning, failed} per field.
    Q_INVOKABLE QVariantList inspect(int row) const;
    // A row of `rows` as the list shows it, and its datagram in hex.
    Q_INVOKABLE QString line(int row) const;
    Q_INVOKABLE QString hex(int row) const;
    // A row's message: {address, tags (without the comma), values}; empty when it has none.
    Q_INVOKABLE QVariantMap message(int row) const;

signals:
    void runningChanged();
    void portChanged();
    void pausedChanged();
    void showSentChanged();
    void followFeedbackChanged();
    void filterChanged();
    void countsChanged();
    void selectedRowChanged();
    // A message heard from the target, for the controls that send to its address.
    void feedback(QString address, QString tags, QVariantList values);
    // Every datagram heard, as soon as it is decoded (or found not to decode).
    void datagramHeard(const HeardDatagram &heard);
    // Every message heard, as soon as it is decoded.
    void messageHeard(const Osc::OscPacket &packet, const Osc::OscDecodedMessage &message);

private:
    void handleDatagram(const QByteArray &datagram, const QHostAddress &sender, quint16 senderPort);
    void handleSent(const QByteArray &datagram, const QHostAddress &target, quint16 port);
    void handlePortError(const QString &error);
    void noteFeedback(const Osc::OscPacket &packet);
    void onTick();
    void noteSelection();

    EventLog *m_log;
    OscEmulatorPort *m_socket;
    MonitorRows m_rows;
    MonitorFilter m_filtered;
    QTimer m_tick;
    Osc::OscPacket m_packet; // reused: decoding then allocates nothing
    EndpointText m_peerText;
    int m_port;
    bool m_paused = false;
    bool m_showSent = false;
    bool m_followFeedback = true;
    QString m_filter;
    int m_received = 0;
    int m_undecodable = 0;
    bool m_countsChanged = false;
    int m_droppedAnnounced = 0;
    QString m_bindError;
    QPersistentModelIndex m_selected; // a row of m_rows
    int m_announcedSelection = -1;
    // The latest message of each address (of each channel for /osc/channel) since the
    // last tick, in the order first heard.
    QHash<QString, QVariantList> m_feedback;
    QStringList m_feedbackOrder;
};
