#include "utils/MonitorTree.h"

#include "host/DirectoryMonitor.h"
#include "host/FileServices.h"

namespace HandlerTandrel::Utils {

void StartMonitoringTree(const host::WideString& folder) {
    host::MonitorDirectory(folder, true, false);
    for (const host::WideString& sub :
         host::FindFilesOrDirectories(folder, true, host::FindFilter::Directories)) {
        host::MonitorDirectory(sub, true, false);
    }
}

void StopMonitoringTree(const host::WideString& folder) {
    host::StopMonitoringDirectory(folder, true);
    for (const host::WideString& sub :
         host::FindFilesOrDirectories(folder, true, host::FindFilter::Directories)) {
        host::StopMonitoringDirectory(sub, true);
    }
}

} // namespace HandlerTandrel::Utils
