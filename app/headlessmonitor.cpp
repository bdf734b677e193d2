#include "headlessmonitor.h"

#include "oscformat.h"

#include <QDateTime>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <cmath>
#include <cstdio>

namespace {

// An argument as JSON: numbers, texts, true, false and null as themselves; what JSON has
// no form for (blobs, MIDI, colours, time tags, infinitum, a NaN) as the monitor prints it.
QJsonValue jsonValue(const Osc::OscPacket &packet, const Osc::OscField &argument)
{
    const QVariant value = packet.value(argument);
    switch (argument.tag) {
    case 'i': return value.toInt();
    case 'h': {
        const qint64 number = value.toLongLong();
        // Beyond 2^53 a JSON reader's double would change it.
        if (std::llabs(number) <= (qint64(1) << 53))
            return double(number);
        break;
    }
    case 'f':
    case 'd': {
        const QString text = Osc::formatOscArgument(argument.tag, packet.bytes(argument));
        bool finite = false;
        const double number = text.toDouble(&finite);
        if (finite && std::isfinite(number))
            return number;
        break;
    }
    case 's':
    case 'S': return value.toString();
    case 'T': return true;
    case 'F': return false;
    case 'N': return QJsonValue::Null;
    default: break;
    }
    return Osc::formatOscArgument(argument.tag, packet.bytes(argument));
}

// The message's values as a JSON array. A QJsonValue keeps -0.0 as the integer 0; JSON
// can write its sign.
QByteArray jsonValues(const Osc::OscPacket &packet, const Osc::OscDecodedMessage &message)
{
    QByteArray text = "[";
    for (int i = 0; i < message.argumentCount; ++i) {
        const Osc::OscField &argument = packet.argument(message, i);
        if (i > 0)
            text += ',';
        const double number = packet.value(argument).toDouble();
        if ((argument.tag == 'f' || argument.tag == 'd') && number == 0 && std::signbit(number))
            text += "-0.0";
        else
            text += QJsonDocument(QJsonArray{jsonValue(packet, argument)}).toJson(QJsonDocument::Compact).chopped(1)
                            .sliced(1);
    }
    return text + ']';
}
} // namespace

HeadlessMonitor::HeadlessMonitor(int count, bool json, QObject *parent)
    : QObject(parent)
    , m_log(QString())
    , m_monitor(&m_log, nullptr)
    , m_out(stdout)
    , m_err(stderr)
    , m_left(count)
    , m_json(json)
{
    m_monitor.setFollowFeedback(false);
    connect(&m_monitor, &OscMonitor::datagramHeard, this, &HeadlessMonitor::print);
}

bool HeadlessMonitor::listen(quint16 port, QString *error)
{
    m_monitor.setPort(port);
    m_monitor.start();
    if (m_monitor.running())
        return true;
    *error = m_monitor.bindError();
    return false;
}

void HeadlessMonitor::print(const HeardDatagram &heard)
{
    if (m_left < 0)
        return; // done already; the loop has not ended yet
    const QString &from = heard.from;
    const QString time = QDateTime::fromMSecsSinceEpoch(heard.msecsSinceEpoch).toString(QStringLiteral("hh:mm:ss.zzz"));
    if (heard.error) {
        // Nothing of it is printed or counted, not even the messages before the fault.
        m_err << time << ' ' << from << " undecodable datagram of " << heard.bytes.size()
              << " bytes: " << heard.error->reason << " (at byte " << heard.error->offset << ")\n";
        m_err.flush();
        return;
    }
    const Osc::OscPacket &packet = *heard.packet;
    for (const Osc::OscDecodedMessage &message : packet.messages) {
        if (m_json) {
            QJsonObject object{{QStringLiteral("time"), time},
                               {QStringLiteral("from"), from},
                               {QStringLiteral("address"), packet.address(message)},
                               {QStringLiteral("tags"), QString(packet.typeTags(message))}};
            if (message.inBundle)
                object.insert(QStringLiteral("bundle"), Osc::formatOscTimeTag(message.bundleTimeTag));
            // The keys are written in sorted order, and "values" sorts last.
            m_out << QJsonDocument(object).toJson(QJsonDocument::Compact).chopped(1) << ",\"values\":"
                  << jsonValues(packet, message) << "}\n";
        } else {
            m_out << time << ' ' << from << ' ' << Osc::formatOscMessage(packet, message);
            if (message.inBundle)
                m_out << " [bundle " << Osc::formatOscTimeTag(message.bundleTimeTag) << ']';
            m_out << '\n';
        }
        if (m_left > 0 && --m_left == 0) {
            m_left = -1;
            break;
        }
    }
    m_out.flush();
    if (m_left < 0)
        emit done();
}
