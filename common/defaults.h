#pragma once

#include <QtGlobal>

// The ports and the tick the program is built around, each defined once.
namespace Defaults {

// Where the desk sends: the DJ program's OSC input.
constexpr const char *kTargetHost = "127.0.0.1";
constexpr quint16 kTargetPort = 8000;
// The emulated device's ports, the two the window offers; the first is the default.
constexpr quint16 kDevicePorts[] = {9000, 9001};
// The monitor's, apart from the target's and the device's.
constexpr quint16 kMonitorPort = 9002;
// How often the device's received values and the monitor's list reach the window.
constexpr int kTickMs = 50;

} // namespace Defaults
