#pragma once

#include "defaults.h"

#include <QString>
#include <QStringList>

#include <optional>

// Scenarios without a window, for CI: every file checked first, then played in order
// against the target, with the emulated device and the monitor started only when a step
// expects them. One line per step and a summary on standard output; JUnit XML when asked.
struct HeadlessRunOptions
{
    QStringList files;
    std::optional<std::pair<QString, int>> target;
    int devicePort = Defaults::kDevicePorts[0];
    int monitorPort = Defaults::kMonitorPort;
    QString junitFile;
    QString debugLogFile; // none when empty
};

// 0 when every expectation held and every send left, 1 when one did not, 2 when the run
// could not finish: a file that cannot be read or is not a valid scenario, a port or an
// output file that cannot be had, or SIGINT/SIGTERM (every expectation not judged by then
// is an error in the JUnit file).
int runScenarios(const HeadlessRunOptions &options);
