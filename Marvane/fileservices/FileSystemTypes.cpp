#include "Marvane/fileservices/FileSystemTypes.h"

#include <atomic>
#include <chrono>
#include <fcntl.h>
#include <map>
#include <mutex>
#include <sys/stat.h>
#include <sys/statfs.h>
#include <utility>

namespace host {

namespace {

// Long enough for the questions of one opening or listing; short enough that a share unmounted
// and another file system mounted with the same device number is soon seen as what it is.
constexpr std::chrono::seconds kKeptFor{5};

using Device = std::pair<std::uint32_t, std::uint32_t>;

struct Kept {
    long type = 0;
    std::chrono::steady_clock::time_point until;
};

struct Types {
    std::mutex mutex;
    std::map<Device, Kept> byDevice;
};

// Never destroyed: a look at a share that hung may still keep what it found while the
// program ends.
Types& KeptTypes() {
    static Types* const types = new Types;
    return *types;
}

std::atomic<std::uint64_t> gAsked{0};

std::optional<Device> DeviceOf(const std::string& path) {
    struct statx status {};
    if (::statx(AT_FDCWD, path.c_str(), AT_STATX_SYNC_AS_STAT, STATX_TYPE, &status) != 0) {
        return std::nullopt;
    }
    return Device{status.stx_dev_major, status.stx_dev_minor};
}

void Keep(const Device& device, long type) {
    Types& types = KeptTypes();
    std::lock_guard lock(types.mutex);
    types.byDevice[device] = {type, std::chrono::steady_clock::now() + kKeptFor};
}

} // namespace

std::optional<long> FileSystemTypeOf(const std::string& path) {
    const std::optional<Device> device = DeviceOf(path);
    if (!device) {
        return std::nullopt;
    }
    {
        Types& types = KeptTypes();
        std::lock_guard lock(types.mutex);
        const auto kept = types.byDevice.find(*device);
        if (kept != types.byDevice.end()) {
            if (std::chrono::steady_clock::now() < kept->second.until) {
                return kept->second.type;
            }
            types.byDevice.erase(kept);
        }
    }
    ++gAsked;
    struct statfs info {};
    if (::statfs(path.c_str(), &info) != 0) {
        return std::nullopt;
    }
    const long type = static_cast<long>(info.f_type);
    Keep(*device, type);
    return type;
}

void KeepFileSystemType(const std::string& path, long type) {
    if (const std::optional<Device> device = DeviceOf(path)) {
        Keep(*device, type);
    }
}

std::uint64_t FileSystemTypeAskCount() {
    return gAsked.load();
}

} // namespace host
