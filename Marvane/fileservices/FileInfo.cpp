#include "Marvane/core/InstalledSource.h"
#include "Marvane/fileservices/AccessDeadline.h"
#include "Marvane/fileservices/FileReading.h"
#include "Marvane/fileservices/FileTimes.h"
#include "Marvane/fileservices/FileWriting.h"
#include "Marvane/fileservices/HostFolders.h"
#include "Marvane/fileservices/IoCounters.h"
#include "host/FileServices.h"

#include <fcntl.h>
#include <filesystem>
#include <limits>
#include <mutex>
#include <sys/stat.h>
#include <unistd.h>

namespace host {

namespace fs = std::filesystem;

FileInfo::FileInfo(const WideString& path) {
    const std::string utf8 = ToUTF8(path);
    CountFileInfoStat();
    // A file on a share that does not answer in time is taken as not there.
    const std::optional<struct statx> found = files::Bounded<struct statx>(utf8, [utf8] {
        struct statx status {};
        if (::statx(AT_FDCWD, utf8.c_str(), AT_STATX_SYNC_AS_STAT, STATX_BASIC_STATS | STATX_BTIME,
                    &status) != 0) {
            status.stx_mask = 0;
        }
        return status;
    });
    if (!found || found->stx_mask == 0) {
        return;
    }
    const struct statx& status = *found;
    mExists = true;
    mModified = TicksOf(status.stx_mtime);
    mCreated = CreatedTicksOf(status);
    mSize = status.stx_size;
}

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
