#pragma once

#include "scenario.h"

#include <QElapsedTimer>
#include <QObject>

class OscSender;

namespace Scenario {

// Records every message the desk sends, from start() on, as a send step with its exact
// address, type tags, values, bundling and time.
class Recorder : public QObject
{
    Q_OBJECT
public:
    explicit Recorder(OscSender *sender, QObject *parent = nullptr);

    void start();
    // The recording as a scenario to the sender's current target.
    File stop();
    bool isRecording() const { return m_recording; }
    int stepCount() const { return int(m_steps.size()); }
    qint64 elapsedMs() const { return m_recording ? m_clock.elapsed() : 0; }

signals:
    void stepRecorded();

private:
    void record(const QString &address, const QString &tags, const QVariantList &values, bool bundled);

    OscSender *m_sender;
    QElapsedTimer m_clock;
    QList<Step> m_steps;
    bool m_recording = false;
};

} // namespace Scenario
