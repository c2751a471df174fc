#include "Marvane/core/InstalledSource.h"
#include "Marvane/fileservices/AccessDeadline.h"
#include "Marvane/fileservices/FileReading.h"
#include "Marvane/fileservices/FileTimes.h"
#include "Marvane/fileservices/FileWriting.h"
#include "Marvane/fileservices/HostFolders.h"
#include "Marvane/fileservices/IoCounters.h"
#include "Marvane/fileservices/KeptCreation.h"
#include "host/FileServices.h"

#include <fcntl.h>
#include <filesystem>
#include <limits>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <sys/stat.h>
#include <unistd.h>

namespace host {

namespace fs = std::filesystem;

FileInfo::FileInfo(const WideString& path) {
    const std::string utf8 = ToUTF8(path);
    CountFileInfoStat();
    // A file on a share that does not answer in time is taken as not there.
    struct Found {
        struct statx status {};
        std::int64_t created = 0;
    };
    const std::optional<Found> found = files::Bounded<Found>(utf8, [utf8] {
        Found asked;
        if (::statx(AT_FDCWD, utf8.c_str(), AT_STATX_SYNC_AS_STAT, STATX_BASIC_STATS | STATX_BTIME,
                    &asked.status) != 0) {
            asked.status.stx_mask = 0;
            return asked;
        }
        asked.created = CreatedTicksOfFile(utf8, asked.status);
        return asked;
    });
    if (!found || found->status.stx_mask == 0) {
        return;
    }
    const struct statx& status = found->status;
    mExists = true;
    mModified = TicksOf(status.stx_mtime);
    mCreated = found->created;
    mSize = status.stx_size;
}

namespace {

// The path of something that exists, with every link resolved, as the kernel knows it: one
// walk of the path (opened without being read) where resolving it part by part would walk
// it again for every part, which a folder nested a thousand deep makes a million lookups.
std::optional<fs::path> CanonicalOfExisting(const fs::path& absolute) {
    const int descriptor = ::open(absolute.c_str(), O_PATH | O_CLOEXEC);
    if (descriptor < 0) {
        return std::nullopt;
    }
    const std::string link = "/proc/self/fd/" + std::to_string(descriptor);
    std::string target(4096, '\0');
    const ssize_t length = ::readlink(link.c_str(), target.data(), target.size());
    ::close(descriptor);
    if (length <= 0 || static_cast<std::size_t>(length) >= target.size() || target[0] != '/') {
        return std::nullopt;
    }
    target.resize(static_cast<std::size_t>(length));
    constexpr std::string_view kDeleted = " (deleted)";
    if (target.size() > kDeleted.size() &&
        target.compare(target.size() - kDeleted.size(), kDeleted.size(), kDeleted) == 0) {
        return std::nullopt; // gone meanwhile: resolved the slow way, as before
    }
    return fs::path(std::move(target));
}

} // namespace

WideString ToNormalizedPath(const WideString& path) {
    if (path.empty()) {
        return {};
    }
    std::error_code error;
    fs::path absolute = fs::absolute(fs::path(ToUTF8(path)), error);
    if (error) {
        absolute = fs::path(ToUTF8(path));
    }
    // Resolves links for the part that exists and "." and ".." everywhere; on a share that
    // does not answer in time, "." and ".." only.
    fs::path normal = files::Bounded<fs::path>(absolute, [absolute] {
                          if (std::optional<fs::path> known = CanonicalOfExisting(absolute)) {
                              return std::move(*known);
                          }
                          std::error_code failed;
                          fs::path resolved = fs::weakly_canonical(absolute, failed);
                          return failed ? absolute.lexically_normal() : resolved;
                      }).value_or(absolute.lexically_normal());
    std::string text = normal.string();
    while (text.size() > 1 && text.back() == '/') {
        text.pop_back();
    }
    return ToUTF16(text);
}

namespace {

InstalledSource<fs::path>& ProfileFolderSource() {
    static InstalledSource<fs::path> source;
    return source;
}

} // namespace

void SetProfileFolderSource(std::function<fs::path()> source) {
    ProfileFolderSource().Install(std::move(source));
}

WideString GetDirectory(std::string_view name) {
    if (name == "user.profile") {
        std::string folder = ProfileFolderSource().Get().string();
        if (folder.empty()) {
            return {};
        }
        if (folder.back() != '/') {
            folder += '/';
        }
        return ToUTF16(folder);
    }
    return {};
}

bool ReadWholeFile(const WideString& path, std::string& bytes) {
    const fs::path file(ToUTF8(path));
    using Read = std::pair<bool, std::string>;
    std::optional<Read> read = files::Bounded<Read>(file, [file] {
        Read result;
        result.first = ReadRegularFile(file, result.second);
        return result;
    });
    if (!read || !read->first) {
        bytes.clear();
        return false;
    }
    bytes = std::move(read->second);
    return true;
}

bool ReplaceWholeFile(const WideString& path, const std::string& bytes) {
    const fs::path file(ToUTF8(path));
    return files::Bounded<bool>(
               file,
               [file, bytes] {
                   std::string error;
                   return ReplaceFile(file, bytes, error);
               },
               files::kLongAccess)
        .value_or(false);
}

} // namespace host
