#include "quit_on_signals.h"

#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <QCoreApplication>
#include <QSocketNotifier>
#include <csignal>

namespace numbrel::app {

namespace {

// The handler may only do what is safe in a signal handler: it writes the signal's number into a
// socket that the event loop watches.
int signalPipe[2] = {-1, -1};

void onSignal(int signal) {
    const char byte = static_cast<char>(signal);
    [[maybe_unused]] ssize_t n = ::write(signalPipe[1], &byte, 1);
}

}  // namespace

QuitOnSignals::QuitOnSignals(QObject* parent) : QObject(parent) {
    if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0, signalPipe) != 0) return;
    notifier_ = new QSocketNotifier(signalPipe[0], QSocketNotifier::Read, this);
    connect(notifier_, &QSocketNotifier::activated, this, [this] {
        char byte = 0;
        while (::read(signalPipe[0], &byte, 1) == 1)
            emit received(byte);
        QCoreApplication::quit();
    });
    struct sigaction action {};
    action.sa_handler = onSignal;
    sigemptyset(&action.sa_mask);
    action.sa_flags = SA_RESTART;
    for (int s : {SIGTERM, SIGINT, SIGHUP})
        ::sigaction(s, &action, nullptr);
}

QuitOnSignals::~QuitOnSignals() {
    struct sigaction action {};
    action.sa_handler = SIG_DFL;
    for (int s : {SIGTERM, SIGINT, SIGHUP})
        ::sigaction(s, &action, nullptr);
}

}  // namespace numbrel::app
