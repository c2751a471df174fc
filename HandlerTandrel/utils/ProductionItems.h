#pragma once
// What the panel's items are: the open production's folder, and which paths in it are folders.
#include "host/FileServices.h"

namespace HandlerTandrel::Utils {

// The open production's folder, or empty when no production is open.
host::WideString OpenProductionFolder();

// A path the panel treats as a folder: a directory that is not a project stored as one.
bool IsFolderItem(const host::WideString& path);

} // namespace HandlerTandrel::Utils
