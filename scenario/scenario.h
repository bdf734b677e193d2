#pragma once

#include <QByteArray>
#include <QList>
#include <QString>
#include <QVariantList>

#include <optional>

// A scenario: a file of timed sends to the target and expectations on what the emulated
// device and the monitor hear, checked whole before anything is sent.
//
// {"formatVersion": 1, "name": "...", "target": {"host": "127.0.0.1", "port": 8000},
//  "steps": [{"at": 0, "send": {"address": "/a", "tags": "f", "values": [1.0], "bundle": true}},
//            {"wait": 100},
//            {"expect": {"device": {"universe": 0, "channel": 2, "value": 200, "tolerance": 0}}, "within": 500},
//            {"expect": {"monitor": {"address": "/deck1/*", "values": [1.0], "tolerance": 0.001}}},
//            {"expect": {"none": {"address": "/deck1/*"}}, "within": 200}]}
namespace Scenario {

constexpr int kFormatVersion = 1;
constexpr int kDefaultWithinMs = 1000;
// The longest "at", "wait" or "within": 24 hours, in milliseconds.
constexpr qint64 kMaxMilliseconds = 24 * 60 * 60 * 1000;

struct Step
{
    enum class Kind { Send, Wait, ExpectDevice, ExpectMonitor, ExpectNone };

    Kind kind = Kind::Wait;
    std::optional<qint64> at;  // milliseconds from the start; absent: after the step before
    // send
    QString address;           // also the pattern of a monitor or none expectation
    QString tags;              // without the ','
    QVariantList values;       // also the values a monitor expectation wants, when given
    bool bundle = false;
    // wait, and how long an expectation may take
    qint64 milliseconds = 0;
    // device
    int universe = 0;
    int channel = 0;
    int value = 0;
    double tolerance = 0;
    bool hasValues = false;    // monitor: whether values were given

    bool isExpectation() const { return kind >= Kind::ExpectDevice; }
};

// The outcome of one step: a wait always passes, a send when its datagram left (otherwise
// the detail says why); an expectation says what it saw.
struct StepResult
{
    int index = 0;
    bool passed = true;
    QString detail; // what was seen, for an expectation
};

struct File
{
    QString name;
    std::optional<QString> targetHost;
    std::optional<int> targetPort;
    QList<Step> steps;
};

// A step as people count it, from 1: "step 1" for the first.
QString stepName(int index);

// Reads a scenario; false with the first fault in *error, which names the step and the
// key ("step 3: \"tags\" ...").
bool readScenario(const QByteArray &json, File *out, QString *error);

// Reads the scenario file at `path`; false with the reason in *error (a file that cannot
// be read, or the first fault in it).
bool loadScenario(const QString &path, File *out, QString *error);

// What has to listen while a scenario plays.
struct Listeners
{
    bool device = false;  // a step expects the emulated device
    bool monitor = false; // a step expects the monitor to hear, or not to hear, a message
};
Listeners listenersFor(const File &file);

// The scenario as a file that readScenario reads back to the same steps.
QByteArray writeScenario(const File &file);

// What a step says, for result lines: "send /a ,f 1", "expect device universe 0 channel 2 = 200".
QString describeStep(const Step &step);

} // namespace Scenario
