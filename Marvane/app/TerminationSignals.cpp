#include "Marvane/app/TerminationSignals.h"

#include <QCoreApplication>
#include <QSocketNotifier>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <sys/socket.h>
#include <unistd.h>

namespace host {

namespace {

int gSignalSocket[2] = {-1, -1};
std::atomic<int> gReceivedSignal{0};

// Async-signal-safe: one byte to the main thread, errno as it was. The handler stays in place
// for the whole run, so further termination signals during the orderly stop (a session
// manager that sends two) never cut short the saving of changes and the release of locks;
// only SIGKILL stops a run at once.
extern "C" void WakeMainThread(int signalNumber) {
    const int savedErrno = errno;
    const auto byte = static_cast<unsigned char>(signalNumber);
    [[maybe_unused]] const ssize_t ignored = ::write(gSignalSocket[0], &byte, 1);
    errno = savedErrno;
}

} // namespace

int TerminationSignalReceived() {
    return gReceivedSignal.load();
}

void InstallTerminationHandler(std::function<void(int)> onTermination) {
    // A vanished reader of our output (a script driver) must not kill the host with its
    // locks held: writes then fail instead.
    ::signal(SIGPIPE, SIG_IGN);
    if (gSignalSocket[0] < 0 &&
        ::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0, gSignalSocket) != 0) {
        return;
    }
    auto* notifier =
        new QSocketNotifier(gSignalSocket[1], QSocketNotifier::Read, QCoreApplication::instance());
    QObject::connect(notifier, &QSocketNotifier::activated, notifier,
                     [notifier, onTermination = std::move(onTermination)] {
                         unsigned char byte = 0;
                         if (::read(gSignalSocket[1], &byte, 1) == 1) {
                             notifier->setEnabled(false);
                             gReceivedSignal.store(byte);
                             onTermination(byte);
                         }
                     });
    struct sigaction action {};
    action.sa_handler = WakeMainThread;
    sigemptyset(&action.sa_mask);
    action.sa_flags = SA_RESTART;
    for (const int signalNumber : {SIGTERM, SIGINT, SIGHUP}) {
        ::sigaction(signalNumber, &action, nullptr);
    }
}

} // namespace host
