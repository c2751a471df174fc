#include "Marvane/mediabrowser/EntryStats.h"

#include "Marvane/fileservices/IoCounters.h"
#include "Marvane/monitor/DirectoryMonitorImpl.h"

#include <algorithm>
#include <atomic>
#include <fcntl.h>
#include <sys/statfs.h>
#include <thread>

namespace host {

namespace {

constexpr unsigned kWanted = STATX_BASIC_STATS | STATX_BTIME;

void StatEntry(const std::string& path, EntryStatus& entry) {
    CountListingStat();
    entry.listed = ::statx(AT_FDCWD, path.c_str(), AT_SYMLINK_NOFOLLOW | AT_STATX_SYNC_AS_STAT,
                           kWanted, &entry.own) == 0;
    entry.known = entry.listed;
    entry.status = entry.own;
    if (entry.listed && S_ISLNK(entry.own.stx_mode)) {
        CountListingStat();
        entry.known =
            ::statx(AT_FDCWD, path.c_str(), AT_STATX_SYNC_AS_STAT, kWanted, &entry.status) == 0;
    }
}

} // namespace

bool FolderIsRemote(const std::string& folder) {
    struct statfs info {};
    return ::statfs(folder.c_str(), &info) == 0 &&
           IsRemoteFileSystem(static_cast<long>(info.f_type));
}

std::vector<EntryStatus> StatEntries(const std::vector<std::string>& paths, bool remote) {
    std::vector<EntryStatus> statuses(paths.size());
    if (!remote || paths.size() < kParallelStatsFrom) {
        for (std::size_t index = 0; index < paths.size(); ++index) {
            StatEntry(paths[index], statuses[index]);
        }
        return statuses;
    }
    CountParallelListing();
    // Each asker takes the next path not yet asked; the calling thread asks too.
    std::atomic<std::size_t> next{0};
    const auto ask = [&] {
        for (std::size_t index = next++; index < paths.size(); index = next++) {
            StatEntry(paths[index], statuses[index]);
        }
    };
    std::vector<std::thread> askers;
    // At least four entries for each asker.
    const std::size_t helpers = std::clamp<std::size_t>(paths.size() / 4, 1, kParallelStats) - 1;
    for (std::size_t count = 0; count < helpers; ++count) {
        try {
            askers.emplace_back(ask);
        } catch (const std::system_error&) {
            break; // no thread to be had: fewer askers
        }
    }
    ask();
    for (std::thread& asker : askers) {
        asker.join();
    }
    return statuses;
}

std::vector<EntryStatus> StatFolderEntries(const std::string& folder,
                                           const std::vector<std::string>& paths) {
    return StatEntries(paths, paths.size() >= kParallelStatsFrom && FolderIsRemote(folder));
}

} // namespace host
