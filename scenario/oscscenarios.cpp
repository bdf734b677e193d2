#include "oscscenarios.h"

#include "emulateddevice.h"
#include "eventlog.h"
#include "oscmonitor.h"

#include <QFile>
#include <QFileInfo>
#include <QSaveFile>

namespace {

QString stepsText(qsizetype steps)
{
    return steps == 1 ? QStringLiteral("1 step") : QStringLiteral("%1 steps").arg(steps);
}

} // namespace

OscScenarios::OscScenarios(EventLog *log, OscSender *sender, EmulatedDevice *device, OscMonitor *monitor,
                           QObject *parent)
    : QObject(parent)
    , m_log(log)
    , m_device(device)
    , m_monitor(monitor)
    , m_recorder(sender)
    , m_player(sender, device, monitor)
{
    m_clockTick.setInterval(100);
    connect(&m_clockTick, &QTimer::timeout, this, &OscScenarios::progressChanged);
    connect(&m_recorder, &Scenario::Recorder::stepRecorded, this, &OscScenarios::progressChanged);
    connect(&m_player, &Scenario::Player::stepStarted, this, &OscScenarios::progressChanged);
    connect(&m_player, &Scenario::Player::stepFinished, this, [this](const Scenario::StepResult &result) {
        const Scenario::Step &step = m_file.steps.at(result.index);
        // Every expectation, and a send that did not leave.
        if (!step.isExpectation() && result.passed)
            return;
        m_results.append(QVariantMap{{QStringLiteral("step"), result.index + 1},
                                     {QStringLiteral("description"), Scenario::describeStep(step)},
                                     {QStringLiteral("passed"), result.passed},
                                     {QStringLiteral("detail"), result.detail}});
        emit resultsChanged();
    });
    connect(&m_player, &Scenario::Player::finished, this, [this](int passed, int failed, bool stopped) {
        m_clockTick.stop();
        const QString summary = QStringLiteral("Scenario \"%1\" %2: %3 expectations passed, %4 failed.")
                                        .arg(m_name, stopped ? QStringLiteral("stopped") : QStringLiteral("finished"))
                                        .arg(passed)
                                        .arg(failed);
        m_log->add(summary, failed > 0 || stopped ? QtWarningMsg : QtInfoMsg);
        emit playingChanged();
        emit progressChanged();
    });
}

int OscScenarios::recordedSteps() const
{
    if (m_recorder.isRecording())
        return m_recorder.stepCount();
    return m_unsaved ? int(m_unsaved->steps.size()) : 0;
}

int OscScenarios::elapsedMs() const
{
    return int(m_recorder.isRecording() ? m_recorder.elapsedMs() : m_player.elapsedMs());
}

void OscScenarios::startRecording()
{
    if (m_recorder.isRecording() || m_player.isPlaying())
        return;
    if (m_unsaved) {
        m_log->add(QStringLiteral("Cannot start a recording while the last one (%1) is not saved: "
                                                "save it or discard it.")
                                         .arg(stepsText(m_unsaved->steps.size())),
                                 QtWarningMsg);
        return;
    }
    m_recorder.start();
    m_clockTick.start();
    m_log->add(QStringLiteral("Recording a scenario: every message the desk sends is a step."), QtInfoMsg);
    emit recordingChanged();
    emit progressChanged();
}

bool OscScenarios::endRecording()
{
    if (!m_recorder.isRecording())
        return false;
    m_clockTick.stop();
    Scenario::File file = m_recorder.stop();
    if (!file.steps.isEmpty())
        m_unsaved = std::move(file);
    emit recordingChanged();
    emit progressChanged();
    return true;
}

void OscScenarios::stopRecording()
{
    if (!endRecording())
        return;
    if (m_unsaved)
        m_log->add(QStringLiteral("Recording stopped: %1 kept until saved or discarded.")
                                         .arg(stepsText(m_unsaved->steps.size())),
                                 QtInfoMsg);
    else
        m_log->add(QStringLiteral("Recording stopped: the desk sent nothing, so there is nothing to save."),
                                 QtInfoMsg);
}

bool OscScenarios::saveRecording(const QString &filePath)
{
    endRecording();
    if (!m_unsaved)
        return false;
    QString path = filePath;
    if (QFileInfo(path).suffix().isEmpty())
        path += path.endsWith(QLatin1Char('.')) ? QStringLiteral("json") : QStringLiteral(".json");
    const qsizetype steps = m_unsaved->steps.size();
    QSaveFile out(path);
    if (!out.open(QIODevice::WriteOnly) || out.write(Scenario::writeScenario(*m_unsaved)) < 0 || !out.commit()) {
        m_log->add(QStringLiteral("Cannot write scenario file %1: %2; the recording (%3) is kept: "
                                                "save it again or discard it.")
                                         .arg(path, out.errorString(), stepsText(steps)),
                                 QtCriticalMsg);
        return false;
    }
    m_unsaved.reset();
    m_log->add(QStringLiteral("Recorded %1 to %2").arg(stepsText(steps), path), QtInfoMsg);
    emit recordingChanged();
    emit progressChanged();
    return true;
}

void OscScenarios::discardRecording()
{
    endRecording();
    if (!m_unsaved)
        return;
    m_log->add(QStringLiteral("Recorded scenario discarded (%1).").arg(stepsText(m_unsaved->steps.size())),
                             QtWarningMsg);
    m_unsaved.reset();
    emit recordingChanged();
    emit progressChanged();
}

void OscScenarios::play(const QString &filePath)
{
    if (m_recorder.isRecording() || m_player.isPlaying()) {
        m_log->add(QStringLiteral("Cannot play a scenario while recording or playing one."), QtWarningMsg);
        return;
    }
    QString error;
    Scenario::File file;
    if (!Scenario::loadScenario(filePath, &file, &error)) {
        m_log->add(QStringLiteral("Cannot play scenario %1: %2").arg(filePath, error), QtCriticalMsg);
        return;
    }
    m_file = file;
    m_name = file.name.isEmpty() ? QFileInfo(filePath).fileName() : file.name;
    m_results.clear();
    emit resultsChanged();
    m_log->add(QStringLiteral("Playing scenario \"%1\": %2 steps.").arg(m_name).arg(file.steps.size()),
                             QtInfoMsg);
    // What the scenario expects to hear must be listening.
    const Scenario::Listeners needed = Scenario::listenersFor(file);
    if (needed.device && !m_device->isRunning())
        m_device->start();
    if (needed.monitor && !m_monitor->running())
        m_monitor->start();
    m_clockTick.start();
    m_player.start(file);
    emit playingChanged();
}

void OscScenarios::stopPlaying()
{
    m_player.stop();
}
