#pragma once

#include "scenario.h"

#include <QElapsedTimer>
#include <QObject>

class OscEmulatorBackend;

namespace Scenario {

// Records every message the desk sends, from start() on, as a send step with its exact
// address, type tags, values, bundling and time.
class Recorder : public QObject
{
    Q_OBJECT
public:
    explicit Recorder(OscEmulatorBackend *backend, QObject *parent = nullptr);

    void start();
    // The recording as a scenario to the desk's current target.
    File stop();
    bool isRecording() const { return m_recording; }
    int stepCount() const { return int(m_steps.size()); }
    qint64 elapsedMs() const { return m_recording ? m_clock.elapsed() : 0; }

signals:
    void stepRecorded();

private:
    OscEmulatorBackend *m_backend;
    QElapsedTimer m_clock;
    QList<Step> m_steps;
    bool m_recording = false;
};

} // namespace Scenario
