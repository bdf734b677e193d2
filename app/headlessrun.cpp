#include "headlessrun.h"

#include "oscemulatorbackend.h"
#include "oscmonitor.h"
#include "scenarioplayer.h"

#include <QCoreApplication>
#include <QEventLoop>
#include <QFile>
#include <QFileInfo>
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
};

bool writeJUnit(const QString &path, const QList<Played> &runs, QString *error)
{
    QByteArray xml;
    QXmlStreamWriter writer(&xml);
    writer.setAutoFormatting(true);
    writer.writeStartDocument();
    writer.writeStartElement(QStringLiteral("testsuites"));
    for (const Played &run : runs) {
        int tests = 0;
        int failures = 0;
        for (const Scenario::StepResult &result : run.results) {
            if (run.scenario.steps.at(result.index).isExpectation()) {
                ++tests;
                failures += result.passed ? 0 : 1;
            }
        }
        writer.writeStartElement(QStringLiteral("testsuite"));
        writer.writeAttribute(QStringLiteral("name"), run.scenario.name.isEmpty() ? run.file : run.scenario.name);
        writer.writeAttribute(QStringLiteral("tests"), QString::number(tests));
        writer.writeAttribute(QStringLiteral("failures"), QString::number(failures));
        writer.writeAttribute(QStringLiteral("time"), QString::number(run.elapsedMs / 1000.0, 'f', 3));
        for (const Scenario::StepResult &result : run.results) {
            const Scenario::Step &step = run.scenario.steps.at(result.index);
            if (!step.isExpectation())
                continue;
            writer.writeStartElement(QStringLiteral("testcase"));
            writer.writeAttribute(QStringLiteral("classname"), QFileInfo(run.file).completeBaseName());
            writer.writeAttribute(QStringLiteral("name"),
                                  QStringLiteral("step %1: %2").arg(result.index).arg(Scenario::describeStep(step)));
            if (!result.passed) {
                writer.writeStartElement(QStringLiteral("failure"));
                writer.writeAttribute(QStringLiteral("message"),
                                      Scenario::describeStep(step) + QStringLiteral("; ") + result.detail);
                writer.writeEndElement();
            }
            writer.writeEndElement();
        }
        writer.writeEndElement();
    }
    writer.writeEndElement();
    writer.writeEndDocument();
    QSaveFile out(path);
    if (!out.open(QIODevice::WriteOnly) || out.write(xml) < 0 || !out.commit()) {
        *error = out.errorString();
        return false;
    }
    return true;
}
} // namespace

int runScenarios(const HeadlessRunOptions &options)
{
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

    OscEmulatorBackend backend;
    QString portError;
    QObject::connect(&backend, &OscEmulatorBackend::errorOccurred, [&portError](const QString &e) { portError = e; });
    if (device) {
        backend.setSelectedPortIndex(backend.availablePorts().indexOf(QStringLiteral("UDP %1 (OSC)").arg(options.devicePort)));
        backend.startEmulation();
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
    int passed = 0;
    int failed = 0;
    for (Played &run : runs) {
        const QString name = run.scenario.name.isEmpty() ? run.file : run.scenario.name;
        out << "Scenario \"" << name << "\" (" << run.file << ")" << Qt::endl;
        QEventLoop loop;
        const auto stepDone = QObject::connect(&player, &Scenario::Player::stepFinished, [&](const Scenario::StepResult &result) {
            run.results.append(result);
            const Scenario::Step &step = run.scenario.steps.at(result.index);
            const char *verdict = !step.isExpectation() ? (step.kind == Scenario::Step::Kind::Send ? "SENT" : "WAIT")
                                                        : (result.passed ? "PASS" : "FAIL");
            out << verdict << " step " << result.index << ": " << Scenario::describeStep(step);
            if (!result.detail.isEmpty())
                out << " (" << result.detail << ")";
            out << Qt::endl;
        });
        const auto runDone = QObject::connect(&player, &Scenario::Player::finished, [&](int p, int f, bool) {
            out << "Scenario \"" << name << "\": " << p << " passed, " << f << " failed" << Qt::endl;
            passed += p;
            failed += f;
            loop.quit();
        });
        player.start(run.scenario, options.target);
        if (player.isPlaying())
            loop.exec();
        run.elapsedMs = player.elapsedMs();
        QObject::disconnect(stepDone);
        QObject::disconnect(runDone);
    }
    out << passed << " passed, " << failed << " failed" << Qt::endl;
    if (!options.junitFile.isEmpty()) {
        QString error;
        if (!writeJUnit(options.junitFile, runs, &error)) {
            err << "Cannot write " << options.junitFile << ": " << error << Qt::endl;
            return kCannotRun;
        }
    }
    return failed > 0 ? kFailed : 0;
}
