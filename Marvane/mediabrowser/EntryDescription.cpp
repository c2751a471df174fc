// Entries described for a set of paths from anywhere in the production, as their folders'
// listings would describe them.
#include "Marvane/fileservices/AccessDeadline.h"
#include "Marvane/fileservices/FileTimes.h"
#include "Marvane/fileservices/KeptCreation.h"
#include "host/ApplicationLayer.h"
#include "host/DebugTrace.h"
#include "host/FileServices.h"
#include "host/MediaBrowser.h"
#include "host/ProjectBackEnd.h"

#include <atomic>
#include <exception>
#include <fcntl.h>
#include <optional>
#include <string>
#include <sys/stat.h>
#include <vector>

namespace host {

namespace {

// Looks at one path: what it is (a link: what it points to), and a project's lock. Each look
// moves `progress` on, so that a slow share that still answers is waited for.
DirectoryEntry Describe(const std::string& path, const ByteString& name, const ByteString& second,
                        std::atomic<std::uint64_t>& progress) {
    DirectoryEntry entry;
    entry.fields.emplace(std::string(kPathField), ToUTF16(path));
    struct statx status {};
    const bool found = ::statx(AT_FDCWD, path.c_str(), AT_STATX_SYNC_AS_STAT,
                               STATX_BASIC_STATS | STATX_BTIME, &status) == 0;
    ++progress;
    if (!found) {
        return entry;
    }
    entry.fields.emplace(std::string(kIsDirectoryField), S_ISDIR(status.stx_mode));
    entry.fields.emplace(std::string(kSizeField), static_cast<std::int64_t>(status.stx_size));
    entry.fields.emplace(std::string(kModifiedField), TicksOf(status.stx_mtime));
    entry.fields.emplace(std::string(kCreatedField), CreatedTicksOfFile(path, status));
    ++progress;
    if (!IsMarvaneProjectFile(path)) {
        return entry;
    }
    try {
        ProjectLockFilePtr lock = ReadProjectLockFile(path, name, second);
        entry.fields.emplace(std::string(kLockListedField), lock != nullptr);
        entry.fields.emplace(std::string(kLockField), std::move(lock));
    } catch (const std::exception& error) {
        // Said to be there and left unread: the panel reads it itself.
        entry.fields.emplace(std::string(kLockListedField), true);
        Trace("Host", 2, std::string("A lock could not be read: ") + error.what());
    }
    ++progress;
    return entry;
}

DirectoryEntry PathAlone(const WideString& path) {
    DirectoryEntry entry;
    entry.fields.emplace(std::string(kPathField), path);
    return entry;
}

} // namespace

DirectoryContent DescribeEntries(const std::vector<WideString>& paths) {
    DirectoryContent content(paths.size());
    if (paths.empty()) {
        return content;
    }
    ByteString name;
    ByteString second;
    GetProjectLockingPrefs(name, second);
    // The paths whose looks are bounded (the main thread's, under the open production) are
    // looked at in one hand-over, waited for as long as the looks go on; the others here.
    std::vector<std::size_t> bounded;
    std::vector<std::string> files;
    std::atomic<std::uint64_t> unwatched{0};
    for (std::size_t index = 0; index < paths.size(); ++index) {
        std::string file = ToUTF8(paths[index]);
        if (files::IsBounded(file)) {
            bounded.push_back(index);
            files.push_back(std::move(file));
        } else {
            content[index] = Describe(file, name, second, unwatched);
        }
    }
    if (files.empty()) {
        return content;
    }
    const std::string first = files.front();
    std::optional<DirectoryContent> described = files::BoundedWhileMoving<DirectoryContent>(
        first, [files = std::move(files), name, second](std::atomic<std::uint64_t>& progress) {
            DirectoryContent found;
            found.reserve(files.size());
            for (const std::string& file : files) {
                found.push_back(Describe(file, name, second, progress));
            }
            return found;
        });
    for (std::size_t at = 0; at < bounded.size(); ++at) {
        const std::size_t index = bounded[at];
        content[index] = described ? std::move((*described)[at]) : PathAlone(paths[index]);
    }
    return content;
}

} // namespace host
