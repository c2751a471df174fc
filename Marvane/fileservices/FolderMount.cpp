#include "Marvane/fileservices/FolderMount.h"

#include "host/FileServices.h"

#include <cerrno>
#include <fcntl.h>
#include <mutex>
#include <optional>
#include <sys/stat.h>
#include <utility>

namespace host {

namespace {

namespace fs = std::filesystem;

using Device = std::pair<unsigned, unsigned>;

struct Kept {
    std::mutex mutex;
    std::string folder;   // as opened: lexically normal, without a trailing separator
    std::string resolved; // with links resolved, as the panel names its rows
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
// looked at, or the folder has no parent. A folder that is not there while its parent is (a
// mount point removed with its mount, as removable disks' are) is no mount point.
std::optional<bool> IsMountPoint(const std::string& folder, int descriptor) {
    const std::string parent = ParentOf(folder);
    if (parent.empty() || parent == folder) {
        return std::nullopt;
    }
    const std::optional<Device> own = DeviceOf(folder, descriptor);
    const int ownError = errno;
    const std::optional<Device> parents = DeviceOf(parent, -1);
    if (!parents) {
        return std::nullopt;
    }
    if (!own) {
        return ownError == ENOENT || ownError == ENOTDIR ? std::optional<bool>(false)
                                                         : std::nullopt;
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

// Whether path is folder or lies in it.
bool IsWithin(const std::string& path, const std::string& folder) {
    return path == folder ||
           (path.size() > folder.size() && path.compare(0, folder.size(), folder) == 0 &&
            (folder == "/" || path[folder.size()] == '/'));
}

// The kept folder, links resolved, when it was a mount point and the path, spelled either
// way, is it (exactly, or within it); nothing otherwise.
std::optional<std::string> KeptMountPointFor(const fs::path& path, bool within) {
    Kept& kept = KeptMount();
    std::string folder;
    std::string resolved;
    {
        std::lock_guard lock(kept.mutex);
        if (!kept.mountPoint) {
            return std::nullopt;
        }
        folder = kept.folder;
        resolved = kept.resolved;
    }
    const std::string normal = Normal(path);
    const bool matches = within ? IsWithin(normal, folder) || IsWithin(normal, resolved)
                                : normal == folder || normal == resolved;
    return matches ? std::optional<std::string>(resolved) : std::nullopt;
}

std::string Gone(const std::string& resolved, int descriptor) {
    if (IsMountPoint(resolved, descriptor).value_or(true)) {
        return {};
    }
    // In the system's words, as the other reasons a folder cannot be read.
    return "the share or disk mounted on the folder is gone: the folder beneath it shows";
}

} // namespace

void KeepFolderMount(const fs::path& folder) {
    const std::string normal = folder.empty() ? std::string() : Normal(folder);
    // Spelled as the panel spells its rows (links resolved); the device is asked of that.
    const std::string resolved =
        normal.empty() ? std::string() : ToUTF8(ToNormalizedPath(ToUTF16(normal)));
    const bool mountPoint = !resolved.empty() && IsMountPoint(resolved, -1).value_or(false);
    Kept& kept = KeptMount();
    std::lock_guard lock(kept.mutex);
    kept.folder = normal;
    kept.resolved = resolved;
    kept.mountPoint = mountPoint;
}

std::string FolderMountGone(const std::string& folder, int descriptor) {
    const std::optional<std::string> resolved = KeptMountPointFor(folder, false);
    return resolved ? Gone(*resolved, descriptor) : std::string();
}

std::string MountGoneUnder(const fs::path& path) {
    const std::optional<std::string> resolved = KeptMountPointFor(path, true);
    return resolved ? Gone(*resolved, -1) : std::string();
}

} // namespace host
