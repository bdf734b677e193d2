#include "oscmonitor.h"

#include "endpoint.h"
#include "oscemulatorbackend.h"
#include "oscemulatorport.h"

#include <QDateTime>

namespace {
// As the emulated device's refresh: the list and the desk follow at this pace.
constexpr int kTickMs = 50;

} // namespace

OscMonitor::OscMonitor(OscEmulatorBackend *backend, QObject *parent)
    : QObject(parent)
    , m_backend(backend)
    , m_socket(new OscEmulatorPort(this))
{
    m_filtered.setSourceModel(&m_rows);
    m_tick.setInterval(kTickMs);
    connect(&m_tick, &QTimer::timeout, this, &OscMonitor::onTick);
    connect(m_socket, &OscEmulatorPort::datagramReceived, this, &OscMonitor::handleDatagram);
    connect(m_socket, &OscEmulatorPort::errorOccurred, this, &OscMonitor::handlePortError);
    backend->addSendObserver([this](const QByteArray &datagram, const QHostAddress &target, quint16 port) {
        handleSent(datagram, target, port);
    });
}

OscMonitor::~OscMonitor()
{
    // Quietly: the log may be gone with the backend.
    m_socket->blockSignals(true);
    m_socket->close();
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
        m_backend->addLogMessage(QStringLiteral("OSC monitor is already running."), QtWarningMsg);
        return;
    }
    if (!m_socket->open(quint16(m_port))) {
        m_backend->addLogMessage(
                QStringLiteral("Failed to bind OSC monitor port %1: %2").arg(m_port).arg(m_bindError), QtCriticalMsg);
        return;
    }
    m_tick.start();
    m_backend->addLogMessage(QStringLiteral("OSC monitor started on UDP port %1.").arg(m_port), QtInfoMsg);
    emit runningChanged();
}

void OscMonitor::stop()
{
    if (!running()) {
        m_backend->addLogMessage(QStringLiteral("OSC monitor is not running."), QtWarningMsg);
        return;
    }
    m_socket->close();
    onTick();
    m_backend->addLogMessage(QStringLiteral("OSC monitor stopped."), QtInfoMsg);
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

void OscMonitor::handleDatagram(const QByteArray &datagram, const QHostAddress &sender, quint16 senderPort)
{
    Osc::OscDecodeError error;
    const bool decoded = Osc::decodeOscPacket(datagram, &m_packet, &error);
    m_received += int(m_packet.messages.size());
    if (!decoded)
        ++m_undecodable;
    m_countsChanged = true;
    m_rows.add(QDateTime::currentMSecsSinceEpoch(), false, endpointText(sender, senderPort), datagram, m_packet,
               decoded ? nullptr : &error);
    if (m_followFeedback)
        noteFeedback(m_packet);
    for (const MessageObserver &observer : m_observers) {
        for (const Osc::OscDecodedMessage &message : m_packet.messages)
            observer(m_packet, message);
    }
}

void OscMonitor::addMessageObserver(MessageObserver observer)
{
    m_observers.push_back(std::move(observer));
}

void OscMonitor::handleSent(const QByteArray &datagram, const QHostAddress &target, quint16 port)
{
    if (!m_showSent)
        return;
    Osc::OscDecodeError error;
    const bool decoded = Osc::decodeOscPacket(datagram, &m_packet, &error);
    m_rows.add(QDateTime::currentMSecsSinceEpoch(), true, endpointText(target, port), datagram, m_packet,
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
    m_backend->addLogMessage(QStringLiteral("Monitor Port Error: %1").arg(error), QtCriticalMsg);
    stop();
}

void OscMonitor::noteFeedback(const Osc::OscPacket &packet)
{
    for (const Osc::OscDecodedMessage &message : packet.messages) {
        const QString address = packet.address(message);
        QVariantList values;
        values.reserve(message.argumentCount + 2);
        for (int i = 0; i < message.argumentCount; ++i)
            values.append(packet.value(packet.argument(message, i)));
        const QString tags = packet.typeTags(message);
        QString key = address;
        if (address == QLatin1String("/osc/channel") && tags == QLatin1String("iii"))
            key += QLatin1Char(' ') + values.at(0).toString() + QLatin1Char(' ') + values.at(1).toString();
        if (!m_feedback.contains(key))
            m_feedbackOrder.append(key);
        values.prepend(tags);
        values.prepend(address);
        m_feedback.insert(key, values);
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
