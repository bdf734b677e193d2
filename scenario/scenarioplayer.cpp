#include "scenarioplayer.h"

#include "emulateddevice.h"
#include "oscdecoder.h"
#include "oscsender.h"
#include "oscformat.h"
#include "oscmonitor.h"
#include "oscpattern.h"

#include <cmath>

namespace Scenario {

namespace {
// Messages kept between two steps, at most.
constexpr int kMaxHeardBetweenSteps = 1000;

// Whether a received value is the one wanted: numbers within the tolerance, texts and
// true/false/null alike.
bool sameValue(const QVariant &wanted, const QVariant &heard, double tolerance)
{
    switch (wanted.typeId()) {
    case QMetaType::Bool:
        return heard.typeId() == QMetaType::Bool && heard.toBool() == wanted.toBool();
    case QMetaType::QString:
        return heard.typeId() == QMetaType::QString && heard.toString() == wanted.toString();
    case QMetaType::Nullptr:
    case QMetaType::UnknownType:
        return heard.typeId() == QMetaType::Nullptr;
    default: {
        bool numeric = false;
        const double value = heard.toDouble(&numeric);
        return numeric && heard.typeId() != QMetaType::Bool && std::abs(value - wanted.toDouble()) <= tolerance;
    }
    }
}
} // namespace

Player::Player(OscSender *sender, EmulatedDevice *device, OscMonitor *monitor, QObject *parent)
    : QObject(parent)
    , m_sender(sender)
    , m_device(device)
    , m_monitor(monitor)
{
    m_timer.setSingleShot(true);
    m_timer.setTimerType(Qt::PreciseTimer);
    connect(&m_timer, &QTimer::timeout, this, [this] {
        if (m_waitingForStep)
            runStep();
        else
            deadline();
    });
    if (m_device) {
        connect(m_device, &EmulatedDevice::valuesReceived, this, [this] {
            if (m_playing && !m_waitingForStep && m_file.steps.at(m_index).kind == Step::Kind::ExpectDevice)
                checkDevice();
        });
    }
    if (m_monitor) {
        connect(m_monitor, &OscMonitor::messageHeard, this, &Player::hear);
    }
}

void Player::start(const File &file, const std::optional<std::pair<QString, int>> &target)
{
    if (m_playing)
        stop();
    m_file = file;
    m_index = -1;
    m_passed = 0;
    m_failed = 0;
    m_lateness.clear();
    m_restoreTarget.reset();
    const QString host = target ? target->first : file.targetHost.value_or(m_sender->targetHost());
    const int port = target ? target->second : file.targetPort.value_or(m_sender->targetPort());
    if (host != m_sender->targetHost() || port != m_sender->targetPort()) {
        m_restoreTarget = std::make_pair(m_sender->targetHost(), m_sender->targetPort());
        m_sender->setTargetHost(host);
        m_sender->setTargetPort(port);
    }
    m_playing = true;
    m_clock.start();
    m_due = 0;
    scheduleStep();
}

void Player::stop()
{
    if (m_playing)
        end(true);
}

// The next step runs at its "at", or as soon as the one before it has finished.
void Player::scheduleStep()
{
    ++m_index;
    if (m_index >= m_file.steps.size()) {
        end(false);
        return;
    }
    const Step &step = m_file.steps.at(m_index);
    const qint64 now = m_clock.elapsed();
    m_due = step.at ? qMax(*step.at, now) : now;
    m_heardBetweenSteps.clear();
    m_waitingForStep = true;
    m_timer.start(int(m_due - now));
}

void Player::runStep()
{
    m_waitingForStep = false;
    const Step &step = m_file.steps.at(m_index);
    emit stepStarted(m_index);
    switch (step.kind) {
    case Step::Kind::Send: {
        m_lateness.append(m_clock.nsecsElapsed() / 1000 - m_due * 1000);
        QString error;
        const bool sent = m_sender->sendTyped(step.address, step.tags, step.values, step.bundle, &error);
        finishStep(sent, error);
        return;
    }
    case Step::Kind::Wait:
        m_timer.start(int(step.milliseconds));
        return;
    case Step::Kind::ExpectDevice:
        m_lastSeen.clear();
        m_timer.start(int(step.milliseconds));
        checkDevice();
        return;
    case Step::Kind::ExpectMonitor:
    case Step::Kind::ExpectNone: {
        m_lastSeen.clear();
        m_timer.start(int(step.milliseconds));
        const QList<Heard> before = std::exchange(m_heardBetweenSteps, {});
        for (const Heard &heard : before) {
            if (m_index < 0 || m_waitingForStep || m_file.steps.at(m_index).kind != step.kind)
                break; // decided by an earlier one
            consider(heard);
        }
        return;
    }
    }
}

void Player::finishStep(bool passed, const QString &detail)
{
    m_timer.stop();
    const Step &step = m_file.steps.at(m_index);
    // A send that did not leave fails the run as a failed expectation does.
    if (step.isExpectation() || !passed)
        ++(passed ? m_passed : m_failed);
    emit stepFinished(StepResult{m_index, passed, detail});
    if (m_playing)
        scheduleStep();
}

void Player::checkDevice()
{
    const Step &step = m_file.steps.at(m_index);
    const int value = m_device ? m_device->channelValue(step.channel) : 0;
    if (std::abs(value - step.value) <= step.tolerance)
        finishStep(true, QStringLiteral("saw %1 after %2 ms").arg(value).arg(m_clock.elapsed() - m_due));
}

void Player::hear(const Osc::OscPacket &packet, const Osc::OscDecodedMessage &message)
{
    if (!m_playing || m_index < 0)
        return;
    const Step::Kind kind = m_file.steps.at(m_index).kind;
    const bool expecting = !m_waitingForStep && (kind == Step::Kind::ExpectMonitor || kind == Step::Kind::ExpectNone);
    if (!expecting && (!m_waitingForStep || m_heardBetweenSteps.size() >= kMaxHeardBetweenSteps))
        return;
    Heard heard{packet.address(message), {}, Osc::formatOscMessage(packet, message)};
    for (int i = 0; i < message.argumentCount; ++i)
        heard.values.append(packet.value(packet.argument(message, i)));
    if (expecting)
        consider(heard);
    else
        m_heardBetweenSteps.append(heard);
}

void Player::consider(const Heard &heard)
{
    const Step &step = m_file.steps.at(m_index);
    if (!Osc::oscPatternMatches(step.address, heard.address))
        return;
    m_lastSeen = heard.text;
    const QString after = QStringLiteral(" after %1 ms").arg(m_clock.elapsed() - m_due);
    if (step.kind == Step::Kind::ExpectNone) {
        finishStep(false, QStringLiteral("saw ") + m_lastSeen + after);
        return;
    }
    if (step.hasValues) {
        if (heard.values.size() != step.values.size())
            return;
        for (qsizetype i = 0; i < heard.values.size(); ++i) {
            if (!sameValue(step.values.at(i), heard.values.at(i), step.tolerance))
                return;
        }
    }
    finishStep(true, QStringLiteral("saw ") + m_lastSeen + after);
}

// An expectation's time ran out; a wait's end is its success.
void Player::deadline()
{
    const Step &step = m_file.steps.at(m_index);
    switch (step.kind) {
    case Step::Kind::Wait:
        finishStep(true, QString());
        return;
    case Step::Kind::ExpectNone:
        finishStep(true, QStringLiteral("heard nothing matching in %1 ms").arg(step.milliseconds));
        return;
    case Step::Kind::ExpectDevice:
        finishStep(false, QStringLiteral("saw %1 at the end of %2 ms").arg(m_device ? m_device->channelValue(step.channel) : 0)
                                  .arg(step.milliseconds));
        return;
    case Step::Kind::ExpectMonitor:
        finishStep(false, m_lastSeen.isEmpty()
                                  ? QStringLiteral("heard nothing matching in %1 ms").arg(step.milliseconds)
                                  : QStringLiteral("heard only %1 in %2 ms").arg(m_lastSeen).arg(step.milliseconds));
        return;
    case Step::Kind::Send:
        return;
    }
}

void Player::end(bool stopped)
{
    m_timer.stop();
    m_playing = false;
    m_waitingForStep = false;
    m_endedAt = m_clock.elapsed();
    if (m_restoreTarget) {
        m_sender->setTargetHost(m_restoreTarget->first);
        m_sender->setTargetPort(m_restoreTarget->second);
        m_restoreTarget.reset();
    }
    emit finished(m_passed, m_failed, stopped);
}

} // namespace Scenario
