#pragma once
// What a folder listing asks of each entry: the entry itself (lstat) and, for a link, what it
// points to. On a share an ask the kernel cannot answer from its cache is a round trip to the
// server, so a listing of many entries there asks several at a time once an ask is that slow;
// on a local disk, and while the kernel answers, one after the other.
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <sys/stat.h>
#include <vector>

namespace host {

struct EntryStatus {
    bool listed = false;    // the entry itself could be asked
    struct statx own {};    // the entry itself (a link: the link)
    bool known = false;     // what the entry is could be asked (a link: what it points to)
    struct statx status {}; // what the entry is
    // When a project file was first made, where the file keeps it (see KeptCreation.h).
    std::optional<std::int64_t> keptCreated;
};

// From this many entries on, a listing on a share asks for them several at a time.
inline constexpr std::size_t kParallelStatsFrom = 32;
// How many asks are under way at once on a share.
inline constexpr std::size_t kParallelStats = 8;
// An ask that takes this long went to the server: the kernel answers from its cache in a few
// microseconds, a round trip through a share takes a few hundred.
inline constexpr std::chrono::microseconds kServerAsk{50};

enum class Asking {
    OneAfterTheOther,
    SeveralOnceSlow, // one after the other until most asks go to the server, then several
    SeveralAtOnce,
};

// The status of each path, in the order given.
std::vector<EntryStatus> StatEntries(const std::vector<std::string>& paths, Asking asking);
// The same for the entries of a folder just listed: when they are many and the folder is on a
// share, several at a time once most asks go to the server.
std::vector<EntryStatus> StatFolderEntries(const std::string& folder,
                                           const std::vector<std::string>& paths);
// Whether the folder is on a share (network or user-space file system).
bool FolderIsRemote(const std::string& folder);

} // namespace host
