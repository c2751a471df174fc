#pragma once
// SIGTERM, SIGINT and SIGHUP stop the host in an orderly way: the handler only wakes the main
// thread, which then runs the given function (save recovery copies, close projects, leave).
#include <functional>

namespace host {

void InstallTerminationHandler(std::function<void(int signalNumber)> onTermination);

} // namespace host
