#include "scenariorecorder.h"

#include "oscdecoder.h"
#include "oscemulatorbackend.h"
#include "oscformat.h"

#include <QDateTime>

namespace Scenario {

Recorder::Recorder(OscEmulatorBackend *backend, QObject *parent)
    : QObject(parent)
    , m_backend(backend)
{
    backend->addSendObserver([this](const QByteArray &datagram, const QHostAddress &, quint16) {
        if (!m_recording)
            return;
        Osc::OscPacket packet;
        if (!Osc::decodeOscPacket(datagram, &packet, nullptr) || packet.messages.size() != 1)
            return;
        const Osc::OscDecodedMessage &message = packet.messages[0];
        Step step;
        step.kind = Step::Kind::Send;
        step.at = m_clock.elapsed();
        step.address = packet.address(message);
        step.tags = packet.typeTags(message);
        step.bundle = packet.isBundle;
        for (int i = 0; i < message.argumentCount; ++i) {
            const Osc::OscField &argument = packet.argument(message, i);
            // A blob was sent from a text: it goes back as that text.
            const QVariant value = packet.value(argument);
            switch (argument.tag) {
            case 'T': case 'F': case 'N': case 'I':
                break;
            case 'b':
                step.values.append(QString::fromUtf8(value.toByteArray()));
                break;
            case 'f':
                // The shortest decimal that reads back as the same float: 0.527, not 0.5270000100135803.
                step.values.append(Osc::formatOscArgument('f', packet.bytes(argument)).toDouble());
                break;
            default:
                step.values.append(value);
            }
        }
        m_steps.append(step);
        emit stepRecorded();
    });
}

void Recorder::start()
{
    m_steps.clear();
    m_clock.start();
    m_recording = true;
}

File Recorder::stop()
{
    m_recording = false;
    File file;
    file.name = QStringLiteral("Recorded %1").arg(QDateTime::currentDateTime().toString(QStringLiteral("yyyy-MM-dd hh:mm")));
    file.targetHost = m_backend->oscTargetHost();
    file.targetPort = m_backend->oscTargetPort();
    file.steps = m_steps;
    return file;
}

} // namespace Scenario
