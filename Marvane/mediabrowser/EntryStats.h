#pragma once
// What a folder listing asks of each entry: the entry itself (lstat) and, for a link, what it
// points to. On a share each ask is a round trip to the server, so a listing of many entries
// there asks several at a time; on a local disk one after the other.
#include <cstddef>
#include <string>
#include <sys/stat.h>
#include <vector>

namespace host {

struct EntryStatus {
    bool listed = false;    // the entry itself could be asked
    struct statx own {};    // the entry itself (a link: the link)
    bool known = false;     // what the entry is could be asked (a link: what it points to)
    struct statx status {}; // what the entry is
};

// From this many entries on, a listing on a share asks for them several at a time.
inline constexpr std::size_t kParallelStatsFrom = 32;
// How many asks are under way at once on a share.
inline constexpr std::size_t kParallelStats = 8;

// The status of each path, in the order given. `remote`: the folder is on a share.
std::vector<EntryStatus> StatEntries(const std::vector<std::string>& paths, bool remote);
// The same for the entries of a folder just listed: several at a time when they are many and
// the folder is on a share.
std::vector<EntryStatus> StatFolderEntries(const std::string& folder,
                                           const std::vector<std::string>& paths);
// Whether the folder is on a share (network or user-space file system).
bool FolderIsRemote(const std::string& folder);

} // namespace host
