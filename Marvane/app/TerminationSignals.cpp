#include "Marvane/app/TerminationSignals.h"

#include <QCoreApplication>
#include <QSocketNotifier>
#include <csignal>
#include <sys/socket.h>
#include <unistd.h>

namespace host {

namespace {

int gSignalSocket[2] = {-1, -1};

extern "C" void WakeMainThread(int signalNumber) {
    const auto byte = static_cast<unsigned char>(signalNumber);
    [[maybe_unused]] const ssize_t ignored = ::write(gSignalSocket[0], &byte, 1);
}

} // namespace

void InstallTerminationHandler(std::function<void(int)> onTermination) {
    if (gSignalSocket[0] < 0 && ::socketpair(AF_UNIX, SOCK_STREAM, 0, gSignalSocket) != 0) {
        return;
    }
    auto* notifier =
        new QSocketNotifier(gSignalSocket[1], QSocketNotifier::Read, QCoreApplication::instance());
    QObject::connect(notifier, &QSocketNotifier::activated, notifier,
                     [notifier, onTermination = std::move(onTermination)] {
                         unsigned char byte = 0;
                         if (::read(gSignalSocket[1], &byte, 1) == 1) {
                             notifier->setEnabled(false);
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
