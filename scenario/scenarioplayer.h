#pragma once

#include "scenario.h"

#include <QElapsedTimer>
#include <QObject>
#include <QTimer>

#include <optional>

class EmulatedDevice;
class OscMonitor;
class OscSender;
namespace Osc {
struct OscPacket;
struct OscDecodedMessage;
}

namespace Scenario {

// Plays a scenario, checked beforehand, through the desk's own send path, keeping its
// times, and checks its expectations against the emulated device and the monitor (which
// the caller starts). One scenario at a time.
class Player : public QObject
{
    Q_OBJECT
public:
    // Sends through `sender`; device and monitor may be null when no step expects them.
    Player(OscSender *sender, EmulatedDevice *device, OscMonitor *monitor, QObject *parent = nullptr);

    // Plays `file` to the scenario's target, or to `target` (host, port) when given, or to
    // the sender's when neither is; the sender's target is back as it was at the end.
    void start(const File &file, const std::optional<std::pair<QString, int>> &target = std::nullopt);
    void stop();
    bool isPlaying() const { return m_playing; }
    qint64 elapsedMs() const { return m_playing ? m_clock.elapsed() : m_endedAt; }
    int stepIndex() const { return m_index; }
    // How late each send left against its time, in microseconds, in order.
    const QList<qint64> &sendLateness() const { return m_lateness; }

signals:
    void stepStarted(int index);
    void stepFinished(const Scenario::StepResult &result);
    // After the last step, or after stop() with stopped true. `failed` counts the
    // expectations that failed and the sends that did not leave.
    void finished(int passed, int failed, bool stopped);

private:
    void scheduleStep();
    void runStep();
    void finishStep(bool passed, const QString &detail);
    void checkDevice();
    // A message the monitor heard, kept as long as the step it may answer needs it.
    struct Heard
    {
        QString address;
        QVariantList values;
        QString text;
    };
    void hear(const Osc::OscPacket &packet, const Osc::OscDecodedMessage &message);
    void consider(const Heard &heard);
    void deadline();
    void end(bool stopped);

    OscSender *m_sender;
    EmulatedDevice *m_device;
    OscMonitor *m_monitor;
    File m_file;
    QElapsedTimer m_clock;
    QTimer m_timer;     // the next step's time, a wait's end, an expectation's deadline
    int m_index = -1;
    bool m_playing = false;
    bool m_waitingForStep = false;
    qint64 m_due = 0;   // milliseconds from the start
    qint64 m_endedAt = 0;
    int m_passed = 0;
    int m_failed = 0;
    QString m_lastSeen; // the last message an expectation heard that matched its address
    // Heard between two steps (an answer may come before the expectation after its send
    // begins): the expectation looks at these first.
    QList<Heard> m_heardBetweenSteps;
    QList<qint64> m_lateness;
    std::optional<std::pair<QString, int>> m_restoreTarget;
};

} // namespace Scenario
