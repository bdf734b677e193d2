#include "interruption.h"

#ifdef Q_OS_UNIX
#include <QSocketNotifier>

#include <csignal>
#include <sys/socket.h>
#include <unistd.h>

namespace {
// The handler only writes a byte; the loop reads it.
int signalPipe[2] = {-1, -1};
}

Interruption::Interruption(QObject *parent)
    : QObject(parent)
{
    if (signalPipe[0] < 0 && ::socketpair(AF_UNIX, SOCK_STREAM, 0, signalPipe) != 0)
        return;
    auto *notifier = new QSocketNotifier(signalPipe[1], QSocketNotifier::Read, this);
    connect(notifier, &QSocketNotifier::activated, this, [this] {
        char byte = 0;
        [[maybe_unused]] const auto read = ::read(signalPipe[1], &byte, 1);
        emit requested();
    });
    struct sigaction action {};
    action.sa_handler = [](int) {
        const char byte = 1;
        [[maybe_unused]] const auto written = ::write(signalPipe[0], &byte, 1);
        struct sigaction fallback {};
        fallback.sa_handler = SIG_DFL;
        ::sigaction(SIGINT, &fallback, nullptr);
        ::sigaction(SIGTERM, &fallback, nullptr);
    };
    sigemptyset(&action.sa_mask);
    ::sigaction(SIGINT, &action, nullptr);
    ::sigaction(SIGTERM, &action, nullptr);
}
#else
Interruption::Interruption(QObject *parent)
    : QObject(parent)
{
}
#endif
