#pragma once
// The host application layer: the open production and the open projects. Main thread only.
#include "host/CoreTypes.h"

#include <cstddef>

namespace host {

// Whether a production is open.
bool IsTandrelManagerActive();
// The open production's folder; empty when none is open.
WideString GetTandrelManagerFolderPath();
// The name under which the production's trash folder is shown ("Trash").
WideString GetMvProductionTrashDirectoryDisplayName();
// The production's trash folder ("<production>/Trash"); empty when no production is open.
WideString GetMvProductionTrashDirectoryPath();
bool IsTheMvProductionTrashDirectory(const WideString& path);
// Whether the path lies inside the trash; with includeTrashItself, the trash folder too.
bool IsInMvProductionTrash(const WideString& path, bool includeTrashItself);

// Whether the production shows this path as a project with its own record.
bool ProductionSupportsMarvaneProjectFile(const WideString& path);

// How many projects the host has open.
std::size_t OpenProjectCount();

// The current user's locking identity: the name written into lock files and a second string
// passed on unchanged to every lock-file call. False when locking is switched off.
bool GetProjectLockingPrefs(ByteString& name, ByteString& second);

} // namespace host
