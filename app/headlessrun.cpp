#include "headlessrun.h"

#include "emulateddevice.h"
#include "interruption.h"
#include "junit.h"
#include "oscemulatorbackend.h"
#include "oscmonitor.h"
#include "oscsender.h"
#include "scenarioplayer.h"

#include <QEventLoop>
#include <QTextStream>

namespace {
constexpr int kFailed = 1;
constexpr int kCannotRun = 2;
} // namespace

int runScenarios(const HeadlessRunOptions &options)
{
    // Caught from the start: a signal before the first step still ends the run as interrupted.
    Interruption interruption;
    QTextStream out(stdout);
    QTextStream err(stderr);
    // Every file is checked before anything is sent.
    QList<Scenario::Run> runs;
    Scenario::Listeners needed;
    QString error;
    for (const QString &path : options.files) {
        Scenario::Run run;
        run.file = path;
        if (!Scenario::loadScenario(path, &run.scenario, &error)) {
            err << path << ": " << error << Qt::endl;
            return kCannotRun;
        }
        const Scenario::Listeners listeners = Scenario::listenersFor(run.scenario);
        needed.device = needed.device || listeners.device;
        needed.monitor = needed.monitor || listeners.monitor;
        runs.append(run);
    }
    if (!options.junitFile.isEmpty() && !Scenario::canWriteJUnit(options.junitFile, &error)) {
        err << "Cannot write " << options.junitFile << ": " << error << Qt::endl;
        return kCannotRun;
    }

    OscEmulatorBackend backend(options.debugLogFile, nullptr);
    if (!options.debugLogFile.isEmpty() && backend.logFileName().isEmpty()) {
        err << "Cannot write the debug log file " << options.debugLogFile << Qt::endl;
        return kCannotRun;
    }
    EmulatedDevice *device = backend.device();
    QString portError;
    QObject::connect(device, &EmulatedDevice::errorOccurred, [&portError](const QString &e) { portError = e; });
    if (needed.device) {
        device->startOn(quint16(options.devicePort));
        if (!device->isRunning()) {
            err << "Cannot listen on UDP port " << options.devicePort << " for the emulated device: " << portError
                << Qt::endl;
            return kCannotRun;
        }
    }
    OscMonitor listener(backend.eventLog(), backend.sender());
    if (needed.monitor) {
        listener.setPort(options.monitorPort);
        listener.start();
        if (!listener.running()) {
            err << "Cannot listen on UDP port " << options.monitorPort << " for the monitor: " << listener.bindError()
                << Qt::endl;
            return kCannotRun;
        }
    }

    Scenario::Player player(backend.sender(), device, needed.monitor ? &listener : nullptr);
    bool interrupted = false;
    QObject::connect(&interruption, &Interruption::requested, &player, [&] {
        interrupted = true;
        player.stop();
    });
    int passed = 0;
    int failed = 0;
    for (Scenario::Run &run : runs) {
        out << "Scenario \"" << run.name() << "\" (" << run.file << ")" << Qt::endl;
        QEventLoop loop;
        const auto stepBegun = QObject::connect(&player, &Scenario::Player::stepStarted, [&](int index) {
            // A wait says so when it begins: a long one never leaves the run silent.
            const Scenario::Step &step = run.scenario.steps.at(index);
            if (step.kind == Scenario::Step::Kind::Wait)
                out << "WAIT " << Scenario::stepName(index) << ": " << Scenario::describeStep(step) << Qt::endl;
        });
        const auto stepDone = QObject::connect(&player, &Scenario::Player::stepFinished, [&](const Scenario::StepResult &result) {
            run.results.append(result);
            const Scenario::Step &step = run.scenario.steps.at(result.index);
            if (step.kind == Scenario::Step::Kind::Wait)
                return;
            const char *verdict = !result.passed ? "FAIL" : step.isExpectation() ? "PASS" : "SENT";
            out << verdict << ' ' << Scenario::stepName(result.index) << ": " << Scenario::describeStep(step);
            if (!result.detail.isEmpty())
                out << " (" << result.detail << ")";
            out << Qt::endl;
        });
        const auto runDone = QObject::connect(&player, &Scenario::Player::finished, [&](int p, int f, bool stopped) {
            if (!stopped)
                out << "Scenario \"" << run.name() << "\": " << p << " passed, " << f << " failed" << Qt::endl;
            run.finished = !stopped;
            passed += p;
            failed += f;
            loop.quit();
        });
        player.start(run.scenario, options.target);
        if (player.isPlaying())
            loop.exec();
        run.elapsedMs = player.elapsedMs();
        QObject::disconnect(stepBegun);
        QObject::disconnect(stepDone);
        QObject::disconnect(runDone);
        if (interrupted) {
            err << "Interrupted at " << Scenario::stepName(qBound(0, player.stepIndex(), int(run.scenario.steps.size()) - 1))
                << " of " << run.file << Qt::endl;
            break;
        }
    }
    if (!interrupted)
        out << passed << " passed, " << failed << " failed" << Qt::endl;
    if (!options.junitFile.isEmpty() && !Scenario::writeJUnit(options.junitFile, runs, &error)) {
        err << "Cannot write " << options.junitFile << ": " << error << Qt::endl;
        return kCannotRun;
    }
    if (interrupted)
        return kCannotRun;
    return failed > 0 ? kFailed : 0;
}
