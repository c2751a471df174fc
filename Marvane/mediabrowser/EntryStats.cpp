#include "Marvane/mediabrowser/EntryStats.h"

#include "Marvane/fileservices/FileSystemTypes.h"
#include "Marvane/fileservices/IoCounters.h"
#include "Marvane/fileservices/KeptCreation.h"
#include "Marvane/monitor/DirectoryMonitorImpl.h"
#include "host/ProjectBackEnd.h"

#include <algorithm>
#include <atomic>
#include <fcntl.h>
#include <optional>
#include <system_error>
#include <thread>

namespace host {

namespace {

// What a listing uses of an entry. Not the access time: on a share the kernel forgets it when
// a file is read (a lock file, a moment ago), and asking for it would send the next look at
// that file to the server.
constexpr unsigned kWanted =
    STATX_TYPE | STATX_MODE | STATX_INO | STATX_SIZE | STATX_MTIME | STATX_CTIME | STATX_BTIME;

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
    // A project's "Date Created" survives its saves: only project files are asked.
    if (entry.known && S_ISREG(entry.status.stx_mode) && IsMarvaneProjectFile(path)) {
        entry.keptCreated = KeptCreatedTicks(path, entry.status);
    }
}

} // namespace

bool FolderIsRemote(const std::string& folder) {
    const std::optional<long> type = FileSystemTypeOf(folder);
    return type && IsRemoteFileSystem(*type);
}

std::vector<EntryStatus> StatEntries(const std::vector<std::string>& paths, Asking asking) {
    std::vector<EntryStatus> statuses(paths.size());
    // Each asker takes the next path not yet asked; the calling thread asks too.
    std::atomic<std::size_t> next{0};
    const auto ask = [&] {
        for (std::size_t index = next++; index < paths.size(); index = next++) {
            StatEntry(paths[index], statuses[index]);
        }
    };
    std::vector<std::thread> askers;
    askers.reserve(kParallelStats); // no allocation once threads run
    const auto bringAskers = [&] {
        CountParallelListing();
        // At least four entries for each asker.
        const std::size_t left = paths.size() - std::min(next.load(), paths.size());
        const std::size_t helpers = std::clamp<std::size_t>(left / 4, 1, kParallelStats) - 1;
        for (std::size_t count = 0; count < helpers; ++count) {
            try {
                askers.emplace_back(ask);
            } catch (const std::system_error&) {
                break; // no thread to be had: fewer askers
            }
        }
    };
    if (asking == Asking::SeveralAtOnce && paths.size() >= kParallelStatsFrom) {
        bringAskers();
    } else if (asking == Asking::SeveralOnceSlow) {
        // While the kernel answers from its cache, asking is quicker than starting threads. A
        // few slow asks among quick ones (a file just written by someone else) do not bring in
        // the askers: only when most of the entries asked so far were slow, or when eight were
        // (the cache may end half-way through a big folder).
        std::size_t slow = 0;
        for (std::size_t index = next++; index < paths.size(); index = next++) {
            const auto start = std::chrono::steady_clock::now();
            StatEntry(paths[index], statuses[index]);
            if (std::chrono::steady_clock::now() - start >= kServerAsk) {
                ++slow;
            }
            const std::size_t asked = index + 1;
            if (slow >= 2 && (slow * 2 > asked || slow >= 8) && paths.size() - asked >= 8) {
                bringAskers();
                break;
            }
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
    return StatEntries(paths, paths.size() >= kParallelStatsFrom && FolderIsRemote(folder)
                                  ? Asking::SeveralOnceSlow
                                  : Asking::OneAfterTheOther);
}

} // namespace host
