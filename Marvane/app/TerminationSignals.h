#pragma once
// SIGTERM, SIGINT and SIGHUP stop the host in an orderly way: the handler only wakes the main
// thread, which calls the given function there. The function should only note the stop and
// leave the event loop; the work of stopping belongs after the loop, where no dialog or other
// nested loop is running.
#include <functional>

namespace host {

void InstallTerminationHandler(std::function<void(int signalNumber)> onTermination);
// The first termination signal that reached the main thread, or 0. It stays known for the rest
// of the run, so nothing has to keep a place for it that could go away first.
int TerminationSignalReceived();

} // namespace host
