#pragma once
// Normal paths (absolute, links of the folders resolved, "." and ".." gone) for many items
// that share few folders, as a selection of thousands of projects in a few day folders does.
// Each folder is normalised once, each a wait on the disk; an item is then its folder's normal
// path and its own name. An item that is itself a link stays the link: moving it moves the
// link, not what it points to.
#include "host/CoreTypes.h"

#include <unordered_map>

namespace HandlerTandrel::Utils {

class FolderWiseNormalizer {
public:
    host::WideString Normalize(const host::WideString& path);
    // Whether path is folder or lies within it, both normalised by this normalizer.
    static bool IsWithin(const host::WideString& path, const host::WideString& folder);

private:
    std::unordered_map<host::WideString, host::WideString> mFolders;
};

} // namespace HandlerTandrel::Utils
