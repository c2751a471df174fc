#pragma once
// Starting and stopping the host's folder watch on a whole folder tree.
#include "host/CoreTypes.h"

namespace HandlerTandrel::Utils {

// Watches the folder and then each folder below it, depth first.
void StartMonitoringTree(const host::WideString& folder);
// Stops watching the folder and then each folder below it, depth first.
void StopMonitoringTree(const host::WideString& folder);

} // namespace HandlerTandrel::Utils
