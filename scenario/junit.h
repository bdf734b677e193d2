#pragma once

#include "scenario.h"

#include <QList>
#include <QString>

// JUnit XML for a headless run: one testsuite per scenario file, one testcase per
// expectation and per send that did not leave.
namespace Scenario {

// A scenario file as the run left it.
struct Run
{
    QString file;
    File scenario;
    QList<StepResult> results;
    qint64 elapsedMs = 0;
    bool finished = false; // every step ran; otherwise a step without a result was never judged

    QString name() const { return scenario.name.isEmpty() ? file : scenario.name; }
};

// Writes the report; an expectation of a run not finished that has no result is an
// <error> ("interrupted before it was judged"). False with the reason in *error.
bool writeJUnit(const QString &path, const QList<Run> &runs, QString *error);

// Whether `path` can be written, found out before anything is sent; leaves no file.
bool canWriteJUnit(const QString &path, QString *error);

} // namespace Scenario
