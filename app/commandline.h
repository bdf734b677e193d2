#pragma once

#include <optional>

// The program's own options, decided before any window exists. With none of them the
// arguments go to the desk untouched (Qt's own, such as -platform, included); an option
// that is neither the program's nor Qt's, or a file without --run, is a usage error.
//   --monitor PORT [--count N] [--json]   print what arrives on PORT, one line a message
//   --run FILE... [--target HOST:PORT] [--device-port PORT] [--monitor-port PORT] [--junit FILE]
//         [--debug-log FILE]              play scenarios and check what the target does
//   --help, --version
// Returns the exit code of a headless run or of a usage error, or nothing when the desk
// should start.
std::optional<int> runCommandLine(int argc, char *argv[]);
