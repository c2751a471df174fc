#include "utils/MonitorTree.h"

#include "host/DirectoryMonitor.h"

namespace HandlerTandrel::Utils {

void StartMonitoringTree(const host::WideString& folder) {
    // A recursive watch takes in every folder below, in one walk of the tree.
    host::MonitorDirectory(folder, true, false);
}

void StopMonitoringTree(const host::WideString& folder) {
    // A recursive stop lets go of every watched folder below, in one pass over the watches.
    host::StopMonitoringDirectory(folder, true);
}

} // namespace HandlerTandrel::Utils
