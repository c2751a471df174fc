#include "Marvane/fileservices/FolderMount.h"

#include <fcntl.h>
#include <mutex>
#include <optional>
#include <string_view>
#include <sys/stat.h>
#include <utility>

namespace host {

namespace {

namespace fs = std::filesystem;

using Device = std::pair<unsigned, unsigned>;

struct Kept {
    std::mutex mutex;
    std::string folder; // lexically normal, without a trailing separator
    bool mountPoint = false;
};

// Never destroyed: a listing on a worker may ask while the program ends.
Kept& KeptMount() {
    static Kept* const kept = new Kept;
    return *kept;
}

// The device of the path (or of the open descriptor), asked with no more than the entry's type:
// the kernel answers from what it holds, without a round trip to a share's server.
std::optional<Device> DeviceOf(const std::string& path, int descriptor) {
    struct statx status {};
    const int result =
        descriptor >= 0
            ? ::statx(descriptor, "", AT_EMPTY_PATH | AT_STATX_DONT_SYNC, STATX_TYPE, &status)
            : ::statx(AT_FDCWD, path.c_str(), AT_STATX_DONT_SYNC, STATX_TYPE, &status);
    if (result != 0) {
        return std::nullopt;
    }
    return Device{status.stx_dev_major, status.stx_dev_minor};
}

std::string ParentOf(const std::string& folder) {
    return fs::path(folder).parent_path().string();
}

// Whether the folder lies on another device than its parent; nothing when either cannot be
// looked at, or the folder has no parent.
std::optional<bool> IsMountPoint(const std::string& folder, int descriptor) {
    const std::string parent = ParentOf(folder);
    if (parent.empty() || parent == folder) {
        return std::nullopt;
    }
    const std::optional<Device> own = DeviceOf(folder, descriptor);
    const std::optional<Device> parents = DeviceOf(parent, -1);
    if (!own || !parents) {
        return std::nullopt;
    }
    return *own != *parents;
}

std::string Normal(const fs::path& folder) {
    fs::path normal = folder.lexically_normal();
    if (normal.has_relative_path() && !normal.has_filename()) {
        normal = normal.parent_path();
    }
    return normal.string();
}

// The kept folder when the folder, as a listing names it (perhaps with a trailing separator),
// is the kept folder and was a mount point; nothing otherwise.
std::optional<std::string> KeptMountPoint(std::string_view folder) {
    while (folder.size() > 1 && folder.back() == '/') {
        folder.remove_suffix(1);
    }
    Kept& kept = KeptMount();
    std::lock_guard lock(kept.mutex);
    if (!kept.mountPoint || kept.folder != folder) {
        return std::nullopt;
    }
    return kept.folder;
}

} // namespace

void KeepFolderMount(const fs::path& folder) {
    const std::string normal = folder.empty() ? std::string() : Normal(folder);
    const bool mountPoint = !normal.empty() && IsMountPoint(normal, -1).value_or(false);
    Kept& kept = KeptMount();
    std::lock_guard lock(kept.mutex);
    kept.folder = normal;
    kept.mountPoint = mountPoint;
}

std::string FolderMountGone(const std::string& folder, int descriptor) {
    const std::optional<std::string> kept = KeptMountPoint(folder);
    if (!kept || IsMountPoint(*kept, descriptor).value_or(true)) {
        return {};
    }
    // In the system's words, as the other reasons a folder cannot be read.
    return "the share or disk mounted on the folder is gone: the folder beneath it shows";
}

std::string MountGoneUnder(const fs::path& path) {
    std::string folder;
    {
        Kept& kept = KeptMount();
        std::lock_guard lock(kept.mutex);
        if (!kept.mountPoint) {
            return {};
        }
        folder = kept.folder;
    }
    const std::string normal = Normal(path);
    const bool inside = normal == folder || (normal.size() > folder.size() &&
                                             normal.compare(0, folder.size(), folder) == 0 &&
                                             (folder == "/" || normal[folder.size()] == '/'));
    return inside ? FolderMountGone(folder) : std::string();
}

} // namespace host
