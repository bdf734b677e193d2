#pragma once

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
    int devicePort = 9000;
    int monitorPort = 9002;
    QString junitFile;
};

// 0 when every expectation held, 1 when one failed, 2 for a file that cannot be read or
// is not a valid scenario, or a port that cannot be bound.
int runScenarios(const HeadlessRunOptions &options);
