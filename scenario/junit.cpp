#include "junit.h"

#include <QFileInfo>
#include <QHash>
#include <QSaveFile>
#include <QXmlStreamWriter>

namespace Scenario {

namespace {

// A step the JUnit file lists: every expectation, and a send that did not leave.
bool isTestCase(const Step &step, const StepResult *result)
{
    return step.isExpectation() || (result && !result->passed);
}

void writeSuite(QXmlStreamWriter &writer, const Run &run)
{
    QHash<int, const StepResult *> results;
    for (const StepResult &result : run.results)
        results.insert(result.index, &result);
    int tests = 0;
    int failures = 0;
    int errors = 0;
    for (qsizetype i = 0; i < run.scenario.steps.size(); ++i) {
        const StepResult *result = results.value(int(i));
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
        const Step &step = run.scenario.steps.at(i);
        const StepResult *result = results.value(int(i));
        if (!isTestCase(step, result) || (!result && run.finished))
            continue;
        writer.writeStartElement(QStringLiteral("testcase"));
        writer.writeAttribute(QStringLiteral("classname"), QFileInfo(run.file).completeBaseName());
        writer.writeAttribute(QStringLiteral("name"),
                              stepName(int(i)) + QStringLiteral(": ") + describeStep(step));
        if (!result) {
            writer.writeStartElement(QStringLiteral("error"));
            writer.writeAttribute(QStringLiteral("message"), QStringLiteral("interrupted before it was judged"));
            writer.writeEndElement();
        } else if (!result->passed) {
            writer.writeStartElement(QStringLiteral("failure"));
            writer.writeAttribute(QStringLiteral("message"),
                                  describeStep(step) + QStringLiteral("; ") + result->detail);
            writer.writeEndElement();
        }
        writer.writeEndElement();
    }
    writer.writeEndElement();
}

} // namespace

bool writeJUnit(const QString &path, const QList<Run> &runs, QString *error)
{
    QByteArray xml;
    QXmlStreamWriter writer(&xml);
    writer.setAutoFormatting(true);
    writer.writeStartDocument();
    writer.writeStartElement(QStringLiteral("testsuites"));
    for (const Run &run : runs)
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

bool canWriteJUnit(const QString &path, QString *error)
{
    QSaveFile probe(path);
    if (!probe.open(QIODevice::WriteOnly)) {
        *error = probe.errorString();
        return false;
    }
    probe.cancelWriting();
    return true;
}
} // namespace Scenario
