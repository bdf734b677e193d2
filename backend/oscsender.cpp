#include "oscsender.h"

#include "defaults.h"
#include "diagnostics.h"
#include "eventlog.h"
#include "logformat.h"
#include "oscemulatorport.h"
#include "oscmessage.h"
#include "oscwire.h"
#include "valuemapping.h"

#include <QMetaMethod>

namespace {
constexpr int kTxHexDigits = 96;

QString emptyAddressRefusal()
{
    return QStringLiteral("Cannot send OSC: empty oscAddress.");
}
} // namespace

OscSender::OscSender(OscEmulatorPort *port, EventLog *log, QObject *parent)
    : QObject(parent)
    , m_port(port)
    , m_log(log)
    , m_targetHost(QLatin1String(Defaults::kTargetHost))
    , m_targetAddress(m_targetHost)
    , m_targetPort(Defaults::kTargetPort)
{
    connect(m_port, &OscEmulatorPort::targetUnreachable, this, &OscSender::handleTargetUnreachable);
}

// Setters: a refused or equal value does nothing at all; an accepted one is stored,
// logged, then announced.

void OscSender::setTargetHost(const QString &host)
{
    if (host == m_targetHost)
        return;
    m_targetHost = host;
    // Numeric addresses only: host names are never resolved.
    m_targetAddress = QHostAddress(host);
    m_log->add(QStringLiteral("OSC target host set to ") + host, QtInfoMsg);
    emit targetHostChanged();
}

void OscSender::setTargetPort(int port)
{
    if (port < 1 || port > 65535 || port == m_targetPort)
        return;
    m_targetPort = port;
    m_log->add(QStringLiteral("OSC target port set to %1").arg(port), QtInfoMsg);
    emit targetPortChanged();
}

void OscSender::setSendIntValues(bool on)
{
    if (on == m_sendIntValues)
        return;
    m_sendIntValues = on;
    m_log->add(on ? QStringLiteral("OSC values sent as int 0-127 (,i)")
                  : QStringLiteral("OSC values sent as float 0.0-1.0 (,f)"),
               QtInfoMsg);
    emit sendIntValuesChanged();
}

void OscSender::setSendAsBundle(bool on)
{
    if (on == m_sendAsBundle)
        return;
    m_sendAsBundle = on;
    m_log->add(on ? QStringLiteral("OSC messages sent inside a #bundle")
                  : QStringLiteral("OSC messages sent on their own (no bundle)"),
               QtInfoMsg);
    emit sendAsBundleChanged();
}

void OscSender::sendChannel(int universe, int channel, int value)
{
    if (!Osc::isValidChannel(channel)) {
        m_log->add(QStringLiteral("Cannot send OSC: invalid channel %1 (must be 1-%2).")
                           .arg(channel)
                           .arg(Osc::kChannelCount),
                   QtWarningMsg);
        return;
    }
    if (!Osc::isValidUniverse(universe)) {
        m_log->add(QStringLiteral("Cannot send OSC: invalid universe %1 (must be >= 0).").arg(universe),
                   QtWarningMsg);
        return;
    }
    const int mapped = ValueMapping::mapToInt127(value);
    QString description;
    description.reserve(48);
    description.append(u"/osc/channel ,iii ");
    appendDecimal(description, universe);
    description.append(u' ');
    appendDecimal(description, channel);
    description.append(u' ');
    appendDecimal(description, mapped);
    if (sendDatagram(Osc::buildOscChannelMessage(universe, channel, mapped), description, m_sendAsBundle, nullptr)
        && announcesMessages()) {
        emit messageSent(QStringLiteral("/osc/channel"), QStringLiteral("iii"), {universe, channel, mapped},
                         m_sendAsBundle);
    }
}

void OscSender::sendToAddress(const QString &oscAddress, int value)
{
    if (oscAddress.trimmed().isEmpty()) {
        m_log->add(emptyAddressRefusal(), QtWarningMsg);
        return;
    }
    if (m_sendIntValues) {
        const int mapped = ValueMapping::mapToInt127(value);
        if (sendDatagram(Osc::buildInt32Message(oscAddress, mapped),
                         oscAddress + QStringLiteral(" ,i ") + QString::number(mapped), m_sendAsBundle, nullptr)
            && announcesMessages())
            emit messageSent(oscAddress, QStringLiteral("i"), {mapped}, m_sendAsBundle);
    } else {
        const float mapped = ValueMapping::mapToUnitFloat(value);
        if (sendDatagram(Osc::buildFloat32Message(oscAddress, mapped),
                         oscAddress + QStringLiteral(" ,f ") + QString::number(mapped, 'f', 3), m_sendAsBundle,
                         nullptr)
            && announcesMessages())
            emit messageSent(oscAddress, QStringLiteral("f"), {mapped}, m_sendAsBundle);
    }
}

bool OscSender::sendTyped(const QString &oscAddress, const QString &typeTags, const QVariantList &values,
                          bool asBundle, QString *error)
{
    if (oscAddress.trimmed().isEmpty()) {
        refuse(emptyAddressRefusal(), error);
        return false;
    }
    QString encodeError;
    const QByteArray message = Osc::buildTypedOscMessage(oscAddress, typeTags, values, &encodeError);
    if (message.isEmpty()) {
        refuse(QStringLiteral("Cannot send OSC %1: %2").arg(oscAddress, encodeError), error);
        return false;
    }
    QStringList texts;
    texts.reserve(values.size());
    for (const QVariant &value : values)
        texts.append(value.toString());
    const QString description =
            QStringLiteral("%1 ,%2 %3").arg(oscAddress, typeTags, texts.join(QLatin1Char(' '))).trimmed();
    if (!sendDatagram(message, description, asBundle, error))
        return false;
    if (announcesMessages())
        emit messageSent(oscAddress, typeTags, values, asBundle);
    return true;
}

void OscSender::refuse(const QString &message, QString *error)
{
    m_log->add(message, QtWarningMsg);
    if (error)
        *error = message;
}

bool OscSender::sendDatagram(const QByteArray &message, const QString &description, bool asBundle, QString *error)
{
    if (m_targetAddress.isNull()) {
        refuse(QStringLiteral("Cannot send OSC: invalid target host '%1'.").arg(m_targetHost), error);
        return false;
    }
    const QByteArray datagram = asBundle ? Osc::wrapInBundle(message) : message;
    if (!m_port->send(datagram, m_targetAddress, static_cast<quint16>(m_targetPort), error))
        return false;
    // "TX OSC %1%2, size=%3 bytes, dst=%4:%5, hex=%6", appended piece by piece into one
    // text: this line is written for every datagram the desk sends.
    QString line;
    line.reserve(80 + description.size() + m_targetHost.size() + kTxHexDigits);
    line.append(u"TX OSC ");
    if (asBundle)
        line.append(u"[bundle] ");
    line.append(description).append(u", size=");
    appendDecimal(line, datagram.size());
    line.append(u" bytes, dst=").append(m_targetHost).append(u':');
    appendDecimal(line, m_targetPort);
    line.append(u", hex=");
    LogFormat::appendHexDigits(line, datagram, kTxHexDigits);
    m_log->add(line, QtInfoMsg);
    emit datagramSent(datagram, m_targetAddress, quint16(m_targetPort));
    return true;
}

bool OscSender::announcesMessages() const
{
    static const QMetaMethod signal = QMetaMethod::fromSignal(&OscSender::messageSent);
    return isSignalConnected(signal);
}

void OscSender::handleTargetUnreachable(const QString &error)
{
    m_log->add(QStringLiteral("Nobody is listening on %1:%2 (is Lumenfold running with OSC on that port?) - %3")
                       .arg(m_targetHost, QString::number(m_targetPort), error),
               QtWarningMsg);
}
