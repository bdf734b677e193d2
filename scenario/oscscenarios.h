#pragma once

#include "scenarioplayer.h"
#include "scenariorecorder.h"

#include <QObject>
#include <QTimer>
#include <QVariantList>

#include <optional>

class EmulatedDevice;
class EventLog;
class OscSender;
class OscMonitor;

// Recording and playing scenarios in the window, published to QML as `scenarios`. Every
// outcome ends as a line of the desk's log; the expectations' results are listed too.
class OscScenarios : public QObject
{
    Q_OBJECT
    Q_PROPERTY(bool recording READ recording NOTIFY recordingChanged)
    Q_PROPERTY(bool unsavedRecording READ unsavedRecording NOTIFY recordingChanged)
    Q_PROPERTY(int recordedSteps READ recordedSteps NOTIFY progressChanged)
    Q_PROPERTY(bool playing READ playing NOTIFY playingChanged)
    Q_PROPERTY(QString scenarioName READ scenarioName NOTIFY playingChanged)
    Q_PROPERTY(int stepIndex READ stepIndex NOTIFY progressChanged)
    Q_PROPERTY(int stepCount READ stepCount NOTIFY playingChanged)
    Q_PROPERTY(int elapsedMs READ elapsedMs NOTIFY progressChanged)
    Q_PROPERTY(QVariantList results READ results NOTIFY resultsChanged)

public:
    OscScenarios(EventLog *log, OscSender *sender, EmulatedDevice *device, OscMonitor *monitor,
                 QObject *parent = nullptr);

    bool recording() const { return m_recorder.isRecording(); }
    // A stopped recording that is neither written nor discarded.
    bool unsavedRecording() const { return m_unsaved.has_value(); }
    int recordedSteps() const;
    bool playing() const { return m_player.isPlaying(); }
    QString scenarioName() const { return m_name; }
    int stepIndex() const { return m_player.stepIndex(); }
    int stepCount() const { return int(m_file.steps.size()); }
    int elapsedMs() const;
    QVariantList results() const { return m_results; }

    Q_INVOKABLE void startRecording();
    // Ends the recording and keeps its steps until saveRecording() writes them or
    // discardRecording() drops them.
    Q_INVOKABLE void stopRecording();
    // Writes the kept recording to `filePath`, with ".json" added to a name without a
    // suffix; true when written. A write that fails keeps the recording.
    Q_INVOKABLE bool saveRecording(const QString &filePath);
    Q_INVOKABLE void discardRecording();
    Q_INVOKABLE void play(const QString &filePath);
    Q_INVOKABLE void stopPlaying();

signals:
    void recordingChanged();
    void playingChanged();
    void progressChanged();
    void resultsChanged();

private:
    // Stops the recorder and keeps what it recorded, if anything; false when not recording.
    bool endRecording();

    EventLog *m_log;
    EmulatedDevice *m_device;
    OscMonitor *m_monitor;
    Scenario::Recorder m_recorder;
    Scenario::Player m_player;
    std::optional<Scenario::File> m_unsaved;
    Scenario::File m_file;
    QString m_name;
    QVariantList m_results;
    QTimer m_clockTick; // the elapsed time shown while recording or playing
};
