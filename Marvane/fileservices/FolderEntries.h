#pragma once
// The one loop over what a folder holds, for every listing the host makes (finding files, the
// media browser's reads, the monitor's snapshots, every walk of a tree).
#include <functional>
#include <string>
#include <string_view>

namespace host {

// Calls visit for each entry of the folder but "." and "..", in the order the file system
// gives them, with the entry's name, its path, and its kind as the listing tells it (a dirent
// DT_ value; DT_UNKNOWN where the file system does not say). Links are never followed. False
// when the folder cannot be read.
bool ForEachFolderEntry(const std::string& folder,
                        const std::function<void(const std::string& name, const std::string& path,
                                                 unsigned char type)>& visit);

// The same loop over a folder opened already (a descriptor at the start of its listing): each
// entry's name, valid during the call only, and its kind. False when the folder cannot be
// read, with errno telling why.
bool ForEachEntryIn(int folder,
                    const std::function<void(std::string_view name, unsigned char type)>& visit);

} // namespace host
