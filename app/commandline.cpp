#include "commandline.h"

#include "headlessmonitor.h"
#include "headlessrun.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QHostAddress>
#include <QLoggingCategory>
#include <QSocketNotifier>

#include <cstdio>
#include <cstring>
#include <limits>

#ifdef Q_OS_UNIX
#include <csignal>
#include <sys/socket.h>
#include <unistd.h>
#endif

namespace {
constexpr int kUsageError = 2;

// The options that ask for a run without the desk.
bool wantsHeadless(int argc, char *argv[])
{
    static const char *const options[] = {"--monitor", "--count", "--json", "--run", "--target", "--device-port",
                                           "--monitor-port", "--junit", "--help", "-h", "--version", "-v"};
    for (int i = 1; i < argc; ++i) {
        for (const char *option : options) {
            const size_t length = std::strlen(option);
            if (std::strncmp(argv[i], option, length) == 0 && (argv[i][length] == '\0' || argv[i][length] == '='))
                return true;
        }
    }
    return false;
}

int usageError(const QString &reason)
{
    std::fprintf(stderr, "%s\nTry '%s --help'.\n", qPrintable(reason), qPrintable(QCoreApplication::applicationName()));
    return kUsageError;
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

#ifdef Q_OS_UNIX
// SIGINT and SIGTERM end the event loop as a normal finish: the handler only writes a
// byte, the loop reads it.
int signalPipe[2] = {-1, -1};

void quitOnSignals(QCoreApplication &app)
{
    if (::socketpair(AF_UNIX, SOCK_STREAM, 0, signalPipe) != 0)
        return;
    auto *notifier = new QSocketNotifier(signalPipe[1], QSocketNotifier::Read, &app);
    QObject::connect(notifier, &QSocketNotifier::activated, &app, [] { QCoreApplication::exit(0); });
    struct sigaction action {};
    action.sa_handler = [](int) {
        const char byte = 1;
        [[maybe_unused]] const auto written = ::write(signalPipe[0], &byte, 1);
    };
    sigemptyset(&action.sa_mask);
    ::sigaction(SIGINT, &action, nullptr);
    ::sigaction(SIGTERM, &action, nullptr);
}
#else
void quitOnSignals(QCoreApplication &)
{
}
#endif

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
    quitOnSignals(app);
    return app.exec();
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
    if (!wantsHeadless(argc, argv))
        return std::nullopt;
    QCoreApplication app(argc, argv);
    QCoreApplication::setApplicationVersion(QStringLiteral(OSC_VERSION));
    // Standard output and error carry the run's own lines only, not the socket's diagnostics.
    QLoggingCategory::setFilterRules(QStringLiteral("default.debug=false\ndefault.warning=false"));

    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral(
            "A virtual OSC control desk. Without options it opens the desk. Without a window: --monitor prints every "
            "OSC message that arrives on a UDP port; --run plays scenario files against the target and says whether "
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
                                              QStringLiteral("With --run: the emulated device's port, 9000 or 9001 "
                                                             "(default 9000)."),
                                              QStringLiteral("port"), QStringLiteral("9000"));
    const QCommandLineOption monitorPortOption(QStringLiteral("monitor-port"),
                                               QStringLiteral("With --run: the monitor's port (default 9002)."),
                                               QStringLiteral("port"), QStringLiteral("9002"));
    const QCommandLineOption junitOption(QStringLiteral("junit"),
                                         QStringLiteral("With --run: write the results as JUnit XML to <file>."),
                                         QStringLiteral("file"));
    parser.addOptions({monitorOption, countOption, jsonOption, runOption, targetOption, devicePortOption,
                       monitorPortOption, junitOption});
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
                return usageError(QStringLiteral("--target needs a numeric address and a port, as 127.0.0.1:8000, "
                                                 "not '%1'.").arg(parser.value(targetOption)));
        }
        const QString device = parser.value(devicePortOption);
        if (device != QLatin1String("9000") && device != QLatin1String("9001"))
            return usageError(QStringLiteral("--device-port must be 9000 or 9001, not '%1'.").arg(device));
        options.devicePort = device.toInt();
        const std::optional<int> monitorPort = numberIn(parser.value(monitorPortOption), 1, 65535);
        if (!monitorPort)
            return usageError(QStringLiteral("--monitor-port needs a UDP port from 1 to 65535, not '%1'.")
                                      .arg(parser.value(monitorPortOption)));
        options.monitorPort = *monitorPort;
        options.junitFile = parser.value(junitOption);
        quitOnSignals(app);
        return runScenarios(options);
    }
    if (!parser.positionalArguments().isEmpty())
        return usageError(QStringLiteral("Unexpected argument '%1'.").arg(parser.positionalArguments().first()));
    if (!parser.isSet(monitorOption))
        return usageError(QStringLiteral("--count and --json go with --monitor; --target, --device-port, "
                                         "--monitor-port and --junit with --run."));
    return runMonitor(app, parser.value(monitorOption), parser.isSet(countOption) ? parser.value(countOption) : QString(),
                      parser.isSet(jsonOption));
}
