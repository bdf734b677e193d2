#include "oscmonitor.h"

#include "defaults.h"
#include "diagnostics.h"
#include "endpoint.h"
#include "eventlog.h"
#include "oscemulatorport.h"
#include "oscsender.h"

#include <QDateTime>

OscMonitor::OscMonitor(EventLog *log, OscSender *sender, QObject *parent)
    : QObject(parent)
    , m_log(log)
    , m_socket(new OscEmulatorPort(this))
    , m_port(Defaults::kMonitorPort)
{
    m_filtered.setSourceModel(&m_rows);
    // Whatever moves rows in the filtered list may move the selection's row number.
    connect(&m_filtered, &QAbstractItemModel::rowsInserted, this, &OscMonitor::noteSelection);
    connect(&m_filtered, &QAbstractItemModel::rowsRemoved, this, &OscMonitor::noteSelection);
    connect(&m_filtered, &QAbstractItemModel::modelReset, this, &OscMonitor::noteSelection);
    connect(&m_filtered, &QAbstractItemModel::layoutChanged, this, &OscMonitor::noteSelection);
    // As the emulated device's refresh: the list and the desk follow at this pace.
    m_tick.setInterval(Defaults::kTickMs);
    connect(&m_tick, &QTimer::timeout, this, &OscMonitor::onTick);
    connect(m_socket, &OscEmulatorPort::datagramReceived, this, &OscMonitor::handleDatagram);
    connect(m_socket, &OscEmulatorPort::errorOccurred, this, &OscMonitor::handlePortError);
    if (sender)
        connect(sender, &OscSender::datagramSent, this, &OscMonitor::handleSent);
}

OscMonitor::~OscMonitor()
{
    // Quietly: the log may be gone with the backend.
    m_socket->blockSignals(true);
    m_socket->close();
}

QVariantMap OscMonitor::counts() const
{
    return {{QStringLiteral("received"), m_received},
            {QStringLiteral("undecodable"), m_undecodable},
            {QStringLiteral("dropped"), dropped()}};
}

bool OscMonitor::running() const
{
    return m_socket->isOpen();
}

void OscMonitor::setPort(int port)
{
    if (port < 1 || port > 65535 || port == m_port || running())
        return;
    m_port = port;
    emit portChanged();
}

void OscMonitor::setPaused(bool paused)
{
    if (paused == m_paused)
        return;
    m_paused = paused;
    emit pausedChanged();
}

void OscMonitor::setShowSent(bool on)
{
    if (on == m_showSent)
        return;
    m_showSent = on;
    emit showSentChanged();
}

void OscMonitor::setFollowFeedback(bool on)
{
    if (on == m_followFeedback)
        return;
    m_followFeedback = on;
    m_feedback.clear();
    m_feedbackOrder.clear();
    emit followFeedbackChanged();
}

void OscMonitor::setFilter(const QString &pattern)
{
    if (pattern == m_filter)
        return;
    m_filter = pattern;
    m_filtered.setPattern(pattern);
    emit filterChanged();
}

void OscMonitor::start()
{
    if (running()) {
        m_log->add(QStringLiteral("OSC monitor is already running."), QtWarningMsg);
        return;
    }
    if (!m_socket->open(quint16(m_port))) {
        m_log->add(
                QStringLiteral("Failed to bind OSC monitor port %1: %2").arg(m_port).arg(m_bindError), QtCriticalMsg);
        return;
    }
    m_tick.start();
    m_log->add(QStringLiteral("OSC monitor started on UDP port %1.").arg(m_port), QtInfoMsg);
    emit runningChanged();
}

void OscMonitor::stop()
{
    if (!running()) {
        m_log->add(QStringLiteral("OSC monitor is not running."), QtWarningMsg);
        return;
    }
    m_socket->close();
    onTick();
    m_log->add(QStringLiteral("OSC monitor stopped."), QtInfoMsg);
    emit runningChanged();
}

void OscMonitor::clear()
{
    m_rows.clear();
    m_droppedAnnounced = 0;
    m_received = 0;
    m_undecodable = 0;
    emit countsChanged();
}

QVariantList OscMonitor::inspect(int row) const
{
    const QModelIndex source = m_filtered.mapToSource(m_filtered.index(row, 0));
    return source.isValid() ? m_rows.inspect(source.row()) : QVariantList();
}

QVariantMap OscMonitor::message(int row) const
{
    const QModelIndex source = m_filtered.mapToSource(m_filtered.index(row, 0));
    return source.isValid() ? m_rows.message(source.row()) : QVariantMap();
}

QString OscMonitor::line(int row) const
{
    return m_filtered.index(row, 0).data(MonitorRows::LineRole).toString();
}

QString OscMonitor::hex(int row) const
{
    return m_filtered.index(row, 0).data(MonitorRows::HexRole).toString();
}

int OscMonitor::selectedRow() const
{
    return m_selected.isValid() ? m_filtered.mapFromSource(m_selected).row() : -1;
}

void OscMonitor::setSelectedRow(int row)
{
    m_selected = m_filtered.mapToSource(m_filtered.index(row, 0));
    noteSelection();
}

void OscMonitor::noteSelection()
{
    const int row = selectedRow();
    if (row == m_announcedSelection)
        return;
    m_announcedSelection = row;
    emit selectedRowChanged();
}

void OscMonitor::handleDatagram(const QByteArray &datagram, const QHostAddress &sender, quint16 senderPort)
{
    Osc::OscDecodeError error;
    const bool decoded = Osc::decodeOscPacket(datagram, &m_packet, &error);
    m_received += int(m_packet.messages.size());
    if (!decoded)
        ++m_undecodable;
    m_countsChanged = true;
    const HeardDatagram heard{QDateTime::currentMSecsSinceEpoch(), m_peerText(sender, senderPort), datagram,
                              &m_packet, decoded ? nullptr : &error};
    m_rows.add(heard.msecsSinceEpoch, false, heard.from, datagram, m_packet, heard.error);
    if (m_followFeedback)
        noteFeedback(m_packet);
    emit datagramHeard(heard);
    for (const Osc::OscDecodedMessage &message : m_packet.messages)
        emit messageHeard(m_packet, message);
}

void OscMonitor::handleSent(const QByteArray &datagram, const QHostAddress &target, quint16 port)
{
    if (!m_showSent)
        return;
    Osc::OscDecodeError error;
    const bool decoded = Osc::decodeOscPacket(datagram, &m_packet, &error);
    m_rows.add(QDateTime::currentMSecsSinceEpoch(), true, m_peerText(target, port), datagram, m_packet,
               decoded ? nullptr : &error);
    // Stopped, the list still shows the desk's sends, at the same pace.
    if (!m_tick.isActive())
        m_tick.start();
}

void OscMonitor::handlePortError(const QString &error)
{
    // A bind that failed leaves the socket closed, and start() says so in its own line.
    if (!running()) {
        m_bindError = error;
        return;
    }
    m_log->add(QStringLiteral("Monitor Port Error: %1").arg(error), QtCriticalMsg);
    stop();
}

void OscMonitor::noteFeedback(const Osc::OscPacket &packet)
{
    for (const Osc::OscDecodedMessage &message : packet.messages) {
        const QString address = packet.address(message);
        const QString tags = packet.typeTags(message);
        // The address and the tags, then the values.
        QVariantList values;
        values.reserve(message.argumentCount + 2);
        values.append(address);
        values.append(tags);
        for (int i = 0; i < message.argumentCount; ++i)
            values.append(packet.value(packet.argument(message, i)));
        QString key = address;
        if (address == QLatin1String("/osc/channel") && tags == QLatin1String("iii")) {
            key.append(u' ');
            appendDecimal(key, values.at(2).toInt());
            key.append(u' ');
            appendDecimal(key, values.at(3).toInt());
        }
        const auto latest = m_feedback.find(key);
        if (latest != m_feedback.end()) {
            *latest = std::move(values);
        } else {
            m_feedbackOrder.append(key);
            m_feedback.insert(key, values);
        }
    }
}

void OscMonitor::onTick()
{
    // Stopped, one tick shows what the desk sent since the last; then the timer rests.
    if (!running())
        m_tick.stop();
    if (!m_paused)
        m_rows.flush();
    if (m_countsChanged || m_rows.dropped() != m_droppedAnnounced) {
        m_countsChanged = false;
        m_droppedAnnounced = m_rows.dropped();
        emit countsChanged();
    }
    const QStringList order = std::exchange(m_feedbackOrder, {});
    const QHash<QString, QVariantList> latest = std::exchange(m_feedback, {});
    for (const QString &key : order) {
        QVariantList values = latest.value(key);
        const QString address = values.takeFirst().toString();
        const QString tags = values.takeFirst().toString();
        emit feedback(address, tags, values);
    }
}
