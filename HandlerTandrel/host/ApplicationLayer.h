#pragma once
// The host application layer: the open production and the open projects. Main thread only.
#include "host/CoreTypes.h"

#include <cstddef>

namespace host {

// Whether a production is open.
bool IsTandrelManagerActive();
// The open production's folder; empty when none is open.
WideString GetTandrelManagerFolderPath();
// How many projects the host has open.
std::size_t OpenProjectCount();

// The current user's locking identity: the name written into lock files and a second string
// passed on unchanged to every lock-file call. False when locking is switched off.
bool GetProjectLockingPrefs(ByteString& name, ByteString& second);

} // namespace host
