#include "headlessrun.h"

#include "interruption.h"
#include "oscemulatorbackend.h"
#include "oscmonitor.h"
#include "scenarioplayer.h"

#include <QEventLoop>
#include <QFile>
#include <QFileInfo>
#include <QHash>
#include <QSaveFile>
#include <QTextStream>
#include <QXmlStreamWriter>

namespace {
constexpr int kFailed = 1;
constexpr int kCannotRun = 2;

struct Played
{
    QString file;
    Scenario::File scenario;
    QList<Scenario::StepResult> results;
    qint64 elapsedMs = 0;
    bool finished = false; // every step ran; otherwise what has no result was never judged

    QString name() const { return scenario.name.isEmpty() ? file : scenario.name; }
};

// A step the JUnit file lists: every expectation, and a send that did not leave.
bool isTestCase(const Scenario::Step &step, const Scenario::StepResult *result)
{
    return step.isExpectation() || (result && !result->passed);
}

void writeSuite(QXmlStreamWriter &writer, const Played &run)
{
    QHash<int, const Scenario::StepResult *> results;
    for (const Scenario::StepResult &result : run.results)
        results.insert(result.index, &result);
    int tests = 0;
    int failures = 0;
    int errors = 0;
    for (qsizetype i = 0; i < run.scenario.steps.size(); ++i) {
        const Scenario::StepResult *result = results.value(int(i));
        if (!isTestCase(run.scenario.steps.at(i), result))
            continue;
        ++tests;
        failures += result && !result->passed ? 1 : 0;
        errors += !result && !run.finished ? 1 : 0;
    }
    writer.writeStartElement(QStringLiteral("testsuite"));
    writer.writeAttribute(QStringLiteral("name"), run.name());
    writer.writeAttribute(QStringLiteral("tests"), QString::number(tests));
    writer.writeAttribute(QStringLiteral("failures"), QString::number(failures));
    writer.writeAttribute(QStringLiteral("errors"), QString::number(errors));
    writer.writeAttribute(QStringLiteral("time"), QString::number(run.elapsedMs / 1000.0, 'f', 3));
    for (qsizetype i = 0; i < run.scenario.steps.size(); ++i) {
        const Scenario::Step &step = run.scenario.steps.at(i);
        const Scenario::StepResult *result = results.value(int(i));
        if (!isTestCase(step, result) || (!result && run.finished))
            continue;
        writer.writeStartElement(QStringLiteral("testcase"));
        writer.writeAttribute(QStringLiteral("classname"), QFileInfo(run.file).completeBaseName());
        writer.writeAttribute(QStringLiteral("name"),
                              Scenario::stepName(int(i)) + QStringLiteral(": ") + Scenario::describeStep(step));
        if (!result) {
            writer.writeStartElement(QStringLiteral("error"));
            writer.writeAttribute(QStringLiteral("message"), QStringLiteral("interrupted before it was judged"));
            writer.writeEndElement();
        } else if (!result->passed) {
            writer.writeStartElement(QStringLiteral("failure"));
            writer.writeAttribute(QStringLiteral("message"),
                                  Scenario::describeStep(step) + QStringLiteral("; ") + result->detail);
            writer.writeEndElement();
        }
        writer.writeEndElement();
    }
    writer.writeEndElement();
}

bool writeJUnit(const QString &path, const QList<Played> &runs, QString *error)
{
    QByteArray xml;
    QXmlStreamWriter writer(&xml);
    writer.setAutoFormatting(true);
    writer.writeStartDocument();
    writer.writeStartElement(QStringLiteral("testsuites"));
    for (const Played &run : runs)
        writeSuite(writer, run);
    writer.writeEndElement();
    writer.writeEndDocument();
    QSaveFile out(path);
    if (!out.open(QIODevice::WriteOnly) || out.write(xml) < 0 || !out.commit()) {
        *error = out.errorString();
        return false;
    }
    return true;
}

// Whether `path` can be written, found out before anything is sent; leaves no file.
bool canWrite(const QString &path, QString *error)
{
    QSaveFile probe(path);
    if (!probe.open(QIODevice::WriteOnly)) {
        *error = probe.errorString();
        return false;
    }
    probe.cancelWriting();
    return true;
}
} // namespace

int runScenarios(const HeadlessRunOptions &options)
{
    // Caught from the start: a signal before the first step still ends the run as interrupted.
    Interruption interruption;
    QTextStream out(stdout);
    QTextStream err(stderr);
    // Every file is checked before anything is sent.
    QList<Played> runs;
    bool device = false;
    bool monitor = false;
    for (const QString &path : options.files) {
        Played run;
        run.file = path;
        QFile in(path);
        QString error;
        if (!in.open(QIODevice::ReadOnly))
            error = in.errorString();
        else
            Scenario::readScenario(in.readAll(), &run.scenario, &error);
        if (!error.isEmpty()) {
            err << path << ": " << error << Qt::endl;
            return kCannotRun;
        }
        for (const Scenario::Step &step : run.scenario.steps) {
            device = device || step.kind == Scenario::Step::Kind::ExpectDevice;
            monitor = monitor || step.kind == Scenario::Step::Kind::ExpectMonitor
                    || step.kind == Scenario::Step::Kind::ExpectNone;
        }
        runs.append(run);
    }
    QString error;
    if (!options.junitFile.isEmpty() && !canWrite(options.junitFile, &error)) {
        err << "Cannot write " << options.junitFile << ": " << error << Qt::endl;
        return kCannotRun;
    }

    OscEmulatorBackend backend(options.debugLogFile, nullptr);
    if (!options.debugLogFile.isEmpty() && backend.logFileName().isEmpty()) {
        err << "Cannot write the debug log file " << options.debugLogFile << Qt::endl;
        return kCannotRun;
    }
    QString portError;
    QObject::connect(&backend, &OscEmulatorBackend::errorOccurred, [&portError](const QString &e) { portError = e; });
    if (device) {
        backend.startEmulationOn(quint16(options.devicePort));
        if (!backend.isRunning()) {
            err << "Cannot listen on UDP port " << options.devicePort << " for the emulated device: " << portError
                << Qt::endl;
            return kCannotRun;
        }
    }
    OscMonitor listener(&backend);
    if (monitor) {
        listener.setPort(options.monitorPort);
        listener.start();
        if (!listener.running()) {
            err << "Cannot listen on UDP port " << options.monitorPort << " for the monitor: " << listener.bindError()
                << Qt::endl;
            return kCannotRun;
        }
    }

    Scenario::Player player(&backend, monitor ? &listener : nullptr);
    bool interrupted = false;
    QObject::connect(&interruption, &Interruption::requested, &player, [&] {
        interrupted = true;
        player.stop();
    });
    int passed = 0;
    int failed = 0;
    for (Played &run : runs) {
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
    if (!options.junitFile.isEmpty() && !writeJUnit(options.junitFile, runs, &error)) {
        err << "Cannot write " << options.junitFile << ": " << error << Qt::endl;
        return kCannotRun;
    }
    if (interrupted)
        return kCannotRun;
    return failed > 0 ? kFailed : 0;
}
