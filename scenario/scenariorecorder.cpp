#include "scenariorecorder.h"

#include "oscformat.h"
#include "oscsender.h"

#include <QDateTime>

namespace Scenario {

Recorder::Recorder(OscSender *sender, QObject *parent)
    : QObject(parent)
    , m_sender(sender)
{
    connect(m_sender, &OscSender::messageSent, this, &Recorder::record);
}

// A value per tag that takes one, in the form the scenario file reads back to the same
// bytes: a float as its shortest decimal (0.527, not 0.5270000100135803), a blob as the
// text it was sent from.
void Recorder::record(const QString &address, const QString &tags, const QVariantList &values, bool bundled)
{
    if (!m_recording)
        return;
    Step step;
    step.kind = Step::Kind::Send;
    step.at = m_clock.elapsed();
    step.address = address;
    step.tags = tags;
    step.bundle = bundled;
    qsizetype next = 0;
    for (const QChar tag : tags) {
        if (!QStringLiteral("ihfdsb").contains(tag) || next >= values.size())
            continue;
        const QVariant &value = values.at(next++);
        switch (tag.unicode()) {
        case 'i': step.values.append(value.toInt()); break;
        case 'h': step.values.append(value.toLongLong()); break;
        case 'f': step.values.append(Osc::shortestDouble(value.toFloat())); break;
        case 'd': step.values.append(value.toDouble()); break;
        case 'b':
            step.values.append(value.typeId() == QMetaType::QByteArray ? QString::fromUtf8(value.toByteArray())
                                                                      : value.toString());
            break;
        default: step.values.append(value.toString()); break;
        }
    }
    m_steps.append(step);
    emit stepRecorded();
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
    file.targetHost = m_sender->targetHost();
    file.targetPort = m_sender->targetPort();
    file.steps = m_steps;
    return file;
}

} // namespace Scenario
