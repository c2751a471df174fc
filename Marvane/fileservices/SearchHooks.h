#pragma once
// Tests slow the production's search down: the hook runs on the search's thread before it
// goes into each folder (empty: none).
#include <functional>

namespace host::files {

void SetSearchFolderHookForTesting(std::function<void()> hook);

} // namespace host::files
