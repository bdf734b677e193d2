#include "commandline.h"

#include "defaults.h"
#include "headlesslearn.h"
#include "headlessmonitor.h"
#include "headlessrun.h"
#include "interruption.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QHostAddress>
#include <QLoggingCategory>
#include <QTimer>

#include <cstdio>
#include <limits>

namespace {
constexpr int kUsageError = 2;

constexpr const char *kUsage =
        "Usage: %s [--monitor PORT [--count N] [--json]]\n"
        "       %s --learn PORT --seconds N --out FILE\n"
        "       %s --run FILE... [--target HOST:PORT] [--device-port PORT] [--monitor-port PORT] [--junit FILE]\n"
        "          [--debug-log FILE]\n"
        "       %s --help | --version\n";

struct Option
{
    const char *name;
    bool takesValue;
};

// The program's own options.
constexpr Option kOwnOptions[] = {{"monitor", true},     {"count", true},        {"json", false},
                                  {"run", false},        {"target", true},       {"device-port", true},
                                  {"monitor-port", true}, {"junit", true},       {"debug-log", true},
                                  {"help", false},       {"h", false},           {"version", false},
                                  {"v", false},          {"learn", true},        {"seconds", true},
                                  {"out", true}};
// Qt's own, which the desk's application takes off the command line (with one dash or two).
constexpr Option kQtOptions[] = {{"platform", true},   {"platformpluginpath", true}, {"platformtheme", true},
                                 {"plugin", true},     {"qwindowgeometry", true},    {"qwindowicon", true},
                                 {"qwindowtitle", true}, {"session", true},          {"display", true},
                                 {"geometry", true},   {"style", true},              {"stylesheet", true},
                                 {"name", true},       {"title", true},              {"visual", true},
                                 {"qmljsdebugger", false}, {"reverse", false},       {"widgetcount", false},
                                 {"nograb", false},    {"dograb", false},            {"sync", false},
                                 {"testability", false}};

template<size_t N>
const Option *findOption(const Option (&options)[N], const QString &name)
{
    for (const Option &option : options) {
        if (name == QLatin1String(option.name))
            return &option;
    }
    return nullptr;
}

// What the arguments ask for, read before any application object exists: the desk, a run
// without a window, or nothing (with the reason).
struct Reading
{
    bool headless = false;
    QString fault;
};

Reading readArguments(int argc, char *argv[])
{
    Reading reading;
    bool run = false;
    QString stray;
    for (int i = 1; i < argc; ++i) {
        const QString argument = QString::fromLocal8Bit(argv[i]);
        if (!argument.startsWith(u'-') || argument == QLatin1String("-")) {
            if (stray.isNull())
                stray = argument;
            continue;
        }
        if (argument == QLatin1String("--")) {
            if (stray.isNull() && i + 1 < argc)
                stray = QString::fromLocal8Bit(argv[i + 1]);
            break;
        }
        const QString body = argument.mid(argument.startsWith(QLatin1String("--")) ? 2 : 1);
        const qsizetype equals = body.indexOf(u'=');
        const QString name = body.left(equals);
        const Option *option = findOption(kOwnOptions, name);
        if (option) {
            reading.headless = true;
            run = run || name == QLatin1String("run");
        } else if (!(option = findOption(kQtOptions, name))) {
            reading.fault = QStringLiteral("Unknown option '%1'.").arg(argument);
            return reading;
        }
        if (option->takesValue && equals < 0)
            ++i;
    }
    if (!stray.isNull() && !run)
        reading.fault = QStringLiteral("Unexpected argument '%1' (scenario files go with --run).").arg(stray);
    return reading;
}

QByteArray programName(const char *argv0)
{
    const QByteArray path(argv0 ? argv0 : "lumenfold-osc-emulator");
    return path.mid(path.lastIndexOf('/') + 1);
}

int usageError(const QString &reason, const QByteArray &program)
{
    std::fprintf(stderr, "%s\n", qPrintable(reason));
    std::fprintf(stderr, kUsage, program.constData(), program.constData(), program.constData(), program.constData());
    std::fprintf(stderr, "Try '%s --help'.\n", program.constData());
    return kUsageError;
}

int usageError(const QString &reason)
{
    return usageError(reason, QCoreApplication::applicationName().toLocal8Bit());
}

// A whole number from min to max, or nothing.
std::optional<int> numberIn(const QString &text, int min, int max)
{
    bool ok = false;
    const int number = text.toInt(&ok);
    if (!ok || number < min || number > max)
        return std::nullopt;
    return number;
}

int runMonitor(QCoreApplication &app, const QString &portText, const QString &countText, bool json)
{
    const std::optional<int> port = numberIn(portText, 1, 65535);
    if (!port)
        return usageError(QStringLiteral("--monitor needs a UDP port from 1 to 65535, not '%1'.").arg(portText));
    std::optional<int> count = 0;
    if (!countText.isNull()) {
        count = numberIn(countText, 1, std::numeric_limits<int>::max());
        if (!count)
            return usageError(QStringLiteral("--count needs a whole number of at least 1, not '%1'.").arg(countText));
    }
    HeadlessMonitor monitor(*count, json);
    QString error;
    if (!monitor.listen(quint16(*port), &error)) {
        std::fprintf(stderr, "Cannot listen on UDP port %d: %s\n", *port, qPrintable(error));
        return kUsageError;
    }
    std::fprintf(stderr, "Monitoring OSC on UDP port %d\n", *port);
    std::fflush(stderr);
    QObject::connect(&monitor, &HeadlessMonitor::done, &app, [] { QCoreApplication::exit(0); });
    // Ctrl-C and SIGTERM are a normal end.
    const Interruption interruption;
    QObject::connect(&interruption, &Interruption::requested, &app, [] { QCoreApplication::exit(0); });
    return app.exec();
}
int runLearn(QCoreApplication &app, const QString &portText, const QString &secondsText, const QString &out)
{
    const std::optional<int> port = numberIn(portText, 1, 65535);
    if (!port)
        return usageError(QStringLiteral("--learn needs a UDP port from 1 to 65535, not '%1'.").arg(portText));
    const std::optional<int> seconds = numberIn(secondsText, 1, 24 * 3600);
    if (!seconds)
        return usageError(QStringLiteral("--seconds needs a whole number from 1 to 86400, not '%1'.").arg(secondsText));
    if (out.isEmpty())
        return usageError(QStringLiteral("--learn needs --out FILE, the fixtures file to write."));
    HeadlessLearn learn;
    QString error;
    if (!learn.open(out, quint16(*port), &error)) {
        std::fprintf(stderr, "%s\n", qPrintable(error));
        return kUsageError;
    }
    std::fprintf(stderr, "Learning OSC on UDP port %d for %d s\n", *port, *seconds);
    std::fflush(stderr);
    QTimer::singleShot(*seconds * 1000, &app, [] { QCoreApplication::exit(0); });
    // Ctrl-C and SIGTERM end the listening early; what was learned is written.
    const Interruption interruption;
    QObject::connect(&interruption, &Interruption::requested, &app, [] { QCoreApplication::exit(0); });
    app.exec();
    int learned = 0;
    if (!learn.finish(&learned, &error)) {
        std::fprintf(stderr, "%s\n", qPrintable(error));
        return kUsageError;
    }
    std::fprintf(stderr, "Learned %d controls into %s\n", learned, qPrintable(out));
    return 0;
}

// "HOST:PORT", the host a numeric address ("[::1]:8000" for IPv6).
std::optional<std::pair<QString, int>> hostAndPort(const QString &text)
{
    const qsizetype colon = text.lastIndexOf(u':');
    QString host = text.left(colon);
    if (host.startsWith(u'[') && host.endsWith(u']'))
        host = host.mid(1, host.size() - 2);
    const std::optional<int> port = numberIn(text.mid(colon + 1), 1, 65535);
    if (colon <= 0 || !port || QHostAddress(host).isNull())
        return std::nullopt;
    return std::make_pair(host, *port);
}
} // namespace

std::optional<int> runCommandLine(int argc, char *argv[])
{
    const Reading reading = readArguments(argc, argv);
    if (!reading.fault.isEmpty())
        return usageError(reading.fault, programName(argc > 0 ? argv[0] : nullptr));
    if (!reading.headless)
        return std::nullopt;
    QCoreApplication app(argc, argv);
    QCoreApplication::setApplicationVersion(QStringLiteral(OSC_VERSION));
    // Standard output and error carry the run's own lines only, not the socket's diagnostics.
    QLoggingCategory::setFilterRules(QStringLiteral("default.debug=false\ndefault.warning=false"));

    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral(
            "A virtual OSC control desk. Without options it opens the desk. Without a window: --monitor prints every "
            "OSC message that arrives on a UDP port; --learn builds a fixtures file from the addresses the target "
            "announces; --run plays scenario files against the target and says whether "
            "their expectations held (exit code 0 when all did, 1 when one failed, 2 when they could not run)."));
    parser.addHelpOption();
    parser.addVersionOption();
    const QCommandLineOption monitorOption(QStringLiteral("monitor"),
                                           QStringLiteral("Print every OSC message that arrives on UDP <port>."),
                                           QStringLiteral("port"));
    const QCommandLineOption countOption(QStringLiteral("count"),
                                         QStringLiteral("With --monitor: end after <n> messages."), QStringLiteral("n"));
    const QCommandLineOption jsonOption(QStringLiteral("json"),
                                        QStringLiteral("With --monitor: one JSON object per line."));
    const QCommandLineOption runOption(QStringLiteral("run"), QStringLiteral("Play the scenario files given."));
    const QCommandLineOption targetOption(QStringLiteral("target"),
                                          QStringLiteral("With --run: send to <host:port>, whatever the files say."),
                                          QStringLiteral("host:port"));
    const QCommandLineOption devicePortOption(QStringLiteral("device-port"),
                                              QStringLiteral("With --run: the emulated device's UDP port, 1 to 65535 "
                                                             "(default %1).").arg(Defaults::kDevicePorts[0]),
                                              QStringLiteral("port"), QString::number(Defaults::kDevicePorts[0]));
    const QCommandLineOption monitorPortOption(QStringLiteral("monitor-port"),
                                               QStringLiteral("With --run: the monitor's port (default %1).")
                                                       .arg(Defaults::kMonitorPort),
                                               QStringLiteral("port"), QString::number(Defaults::kMonitorPort));
    const QCommandLineOption junitOption(QStringLiteral("junit"),
                                         QStringLiteral("With --run: write the results as JUnit XML to <file>."),
                                         QStringLiteral("file"));
    const QCommandLineOption debugLogOption(QStringLiteral("debug-log"),
                                            QStringLiteral("With --run: write the debug log to <file> (none is "
                                                           "written otherwise)."),
                                            QStringLiteral("file"));
    const QCommandLineOption learnOption(QStringLiteral("learn"),
                                         QStringLiteral("Learn a control for every address heard on UDP <port>."),
                                         QStringLiteral("port"));
    const QCommandLineOption secondsOption(QStringLiteral("seconds"),
                                           QStringLiteral("With --learn: listen <n> seconds."), QStringLiteral("n"));
    const QCommandLineOption outOption(QStringLiteral("out"),
                                       QStringLiteral("With --learn: write the fixtures file <file>."),
                                       QStringLiteral("file"));
    parser.addOptions({learnOption, secondsOption, outOption});
    parser.addOptions({monitorOption, countOption, jsonOption, runOption, targetOption, devicePortOption,
                       monitorPortOption, junitOption, debugLogOption});
    parser.addPositionalArgument(QStringLiteral("files"), QStringLiteral("With --run: the scenario files."),
                                 QStringLiteral("[files...]"));
    if (!parser.parse(app.arguments()))
        return usageError(parser.errorText());
    if (parser.isSet(QStringLiteral("help")))
        parser.showHelp(0);
    if (parser.isSet(QStringLiteral("version")))
        parser.showVersion();
    if (parser.isSet(runOption)) {
        if (parser.isSet(monitorOption))
            return usageError(QStringLiteral("--run and --monitor do not go together."));
        HeadlessRunOptions options;
        options.files = parser.positionalArguments();
        if (options.files.isEmpty())
            return usageError(QStringLiteral("--run needs at least one scenario file."));
        if (parser.isSet(targetOption)) {
            options.target = hostAndPort(parser.value(targetOption));
            if (!options.target)
                return usageError(QStringLiteral("--target needs a numeric address and a port, as %1:%2, not '%3'.")
                                          .arg(QLatin1String(Defaults::kTargetHost))
                                          .arg(Defaults::kTargetPort)
                                          .arg(parser.value(targetOption)));
        }
        const std::optional<int> devicePort = numberIn(parser.value(devicePortOption), 1, 65535);
        if (!devicePort)
            return usageError(QStringLiteral("--device-port needs a UDP port from 1 to 65535, not '%1'.")
                                      .arg(parser.value(devicePortOption)));
        options.devicePort = *devicePort;
        const std::optional<int> monitorPort = numberIn(parser.value(monitorPortOption), 1, 65535);
        if (!monitorPort)
            return usageError(QStringLiteral("--monitor-port needs a UDP port from 1 to 65535, not '%1'.")
                                      .arg(parser.value(monitorPortOption)));
        options.monitorPort = *monitorPort;
        options.junitFile = parser.value(junitOption);
        options.debugLogFile = parser.value(debugLogOption);
        if (parser.isSet(debugLogOption) && options.debugLogFile.isEmpty())
            return usageError(QStringLiteral("--debug-log needs a file name."));
        return runScenarios(options);
    }
    if (!parser.positionalArguments().isEmpty())
        return usageError(QStringLiteral("Unexpected argument '%1'.").arg(parser.positionalArguments().first()));
    const bool learnOnly = parser.isSet(secondsOption) || parser.isSet(outOption);
    if (parser.isSet(learnOption)) {
        if (parser.isSet(monitorOption) || parser.isSet(countOption) || parser.isSet(jsonOption))
            return usageError(QStringLiteral("--learn and --monitor do not go together."));
        if (!parser.isSet(secondsOption))
            return usageError(QStringLiteral("--learn needs --seconds N."));
        return runLearn(app, parser.value(learnOption), parser.value(secondsOption), parser.value(outOption));
    }
    if (learnOnly)
        return usageError(QStringLiteral("--seconds and --out go with --learn."));
    const bool runOnly = parser.isSet(targetOption) || parser.isSet(devicePortOption) || parser.isSet(monitorPortOption)
            || parser.isSet(junitOption) || parser.isSet(debugLogOption);
    if (!parser.isSet(monitorOption) || runOnly)
        return usageError(QStringLiteral("--count and --json go with --monitor; --target, --device-port, "
                                         "--monitor-port, --junit and --debug-log with --run."));
    return runMonitor(app, parser.value(monitorOption), parser.isSet(countOption) ? parser.value(countOption) : QString(),
                      parser.isSet(jsonOption));
}
