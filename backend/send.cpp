#include "oscemulatorbackend.h"

#include "oscemulatorport.h"
#include "logformat.h"
#include "oscmessage.h"
#include "oscwire.h"
#include "valuemapping.h"

#include <QHostAddress>

namespace {
constexpr int kTxHexDigits = 96;

QString emptyAddressRefusal()
{
    return QStringLiteral("Cannot send OSC: empty oscAddress.");
}
} // namespace

void OscEmulatorBackend::sendOscChannel(int universe, int channel, int value)
{
    if (!Osc::isValidChannel(channel)) {
        addLogMessage(QStringLiteral("Cannot send OSC: invalid channel %1 (must be 1-%2).")
                              .arg(channel)
                              .arg(Osc::kChannelCount),
                      QtWarningMsg);
        return;
    }
    if (!Osc::isValidUniverse(universe)) {
        addLogMessage(QStringLiteral("Cannot send OSC: invalid universe %1 (must be >= 0).").arg(universe),
                      QtWarningMsg);
        return;
    }
    const int mapped = ValueMapping::mapToInt127(value);
    sendOscDatagram(Osc::buildOscChannelMessage(universe, channel, mapped),
                    QStringLiteral("/osc/channel ,iii ") + QString::number(universe) + QLatin1Char(' ')
                            + QString::number(channel) + QLatin1Char(' ') + QString::number(mapped));
}

void OscEmulatorBackend::sendOscToAddress(const QString &oscAddress, int value)
{
    if (oscAddress.trimmed().isEmpty()) {
        addLogMessage(emptyAddressRefusal(), QtWarningMsg);
        return;
    }
    if (m_sendIntValues) {
        const int mapped = ValueMapping::mapToInt127(value);
        sendOscDatagram(Osc::buildInt32Message(oscAddress, mapped),
                        oscAddress + QStringLiteral(" ,i ") + QString::number(mapped));
    } else {
        const float mapped = ValueMapping::mapToUnitFloat(value);
        sendOscDatagram(Osc::buildFloat32Message(oscAddress, mapped),
                        oscAddress + QStringLiteral(" ,f ") + QString::number(mapped, 'f', 3));
    }
}

void OscEmulatorBackend::sendOscTyped(const QString &oscAddress, const QString &typeTags,
                                      const QVariantList &values)
{
    sendTypedMessage(oscAddress, typeTags, values, m_sendAsBundle);
}

bool OscEmulatorBackend::sendTypedMessage(const QString &oscAddress, const QString &typeTags,
                                          const QVariantList &values, bool asBundle, QString *error)
{
    if (oscAddress.trimmed().isEmpty()) {
        addLogMessage(emptyAddressRefusal(), QtWarningMsg);
        if (error)
            *error = emptyAddressRefusal();
        return false;
    }
    QString encodeError;
    const QByteArray message = Osc::buildTypedOscMessage(oscAddress, typeTags, values, &encodeError);
    if (message.isEmpty()) {
        const QString refusal = QStringLiteral("Cannot send OSC %1: %2").arg(oscAddress, encodeError);
        addLogMessage(refusal, QtWarningMsg);
        if (error)
            *error = refusal;
        return false;
    }
    QStringList texts;
    texts.reserve(values.size());
    for (const QVariant &value : values)
        texts.append(value.toString());
    const QString description =
            QStringLiteral("%1 ,%2 %3").arg(oscAddress, typeTags, texts.join(QLatin1Char(' '))).trimmed();
    return sendOscDatagram(message, description, asBundle, error);
}

bool OscEmulatorBackend::sendOscDatagram(const QByteArray &message, const QString &description)
{
    return sendOscDatagram(message, description, m_sendAsBundle);
}

bool OscEmulatorBackend::sendOscDatagram(const QByteArray &message, const QString &description, bool asBundle,
                                         QString *error)
{
    const QHostAddress &address = m_targetAddress;
    if (address.isNull()) {
        const QString refusal = QStringLiteral("Cannot send OSC: invalid target host '%1'.").arg(m_oscTargetHost);
        addLogMessage(refusal, QtWarningMsg);
        if (error)
            *error = refusal;
        return false;
    }
    const QByteArray datagram = asBundle ? Osc::wrapInBundle(message) : message;
    if (!emulatorPort->send(datagram, address, static_cast<quint16>(m_oscTargetPort), error))
        return false;
    // "TX OSC %1%2, size=%3 bytes, dst=%4:%5, hex=%6", appended piece by piece: this line
    // is written for every datagram the desk sends.
    const QString hex = LogFormat::hexDigits(datagram, kTxHexDigits);
    QString line;
    line.reserve(64 + description.size() + m_oscTargetHost.size() + hex.size());
    line.append(u"TX OSC ");
    if (asBundle)
        line.append(u"[bundle] ");
    line.append(description).append(u", size=").append(QString::number(datagram.size()));
    line.append(u" bytes, dst=").append(m_oscTargetHost).append(u':').append(QString::number(m_oscTargetPort));
    line.append(u", hex=").append(hex);
    addLogMessage(line, QtInfoMsg);
    for (const SendObserver &observer : m_sendObservers)
        observer(datagram, address, quint16(m_oscTargetPort));
    return true;
}

void OscEmulatorBackend::addSendObserver(SendObserver observer)
{
    m_sendObservers.push_back(std::move(observer));
}

void OscEmulatorBackend::handleTargetUnreachable(const QString &error)
{
    addLogMessage(QStringLiteral("Nobody is listening on %1:%2 (is Lumenfold running with OSC on that port?) - %3")
                          .arg(m_oscTargetHost, QString::number(m_oscTargetPort), error),
                  QtWarningMsg);
}
