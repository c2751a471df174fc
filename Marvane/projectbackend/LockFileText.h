#pragma once
// A lock file's text apart from the file: what ReadLockFile makes of the bytes it read. No
// file system is involved, so the fuzz target reads arbitrary text through it.
#include "Marvane/projectbackend/LockFiles.h"

#include <string_view>

namespace host {

// The lock the text describes. False, and content untouched, when the text is not a complete
// lock: not JSON, nested deeper than JSON text may be, not an object, or without a non-empty
// holder's name and a second string. Other members of the wrong kind read as absent.
bool DecodeLockFileText(std::string_view text, LockFileContent& content);

} // namespace host
