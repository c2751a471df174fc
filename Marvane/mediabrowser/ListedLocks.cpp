#include "Marvane/mediabrowser/ListedLocks.h"

#include <mutex>
#include <unordered_map>

namespace host {

namespace {

// Beyond this many kept locks everything kept is let go: a new listing reads them again.
constexpr std::size_t kMostKept = 50'000;

struct Kept {
    LockFileSeen seen;
    ByteString name;
    ByteString second;
    ProjectLockFilePtr lock;
};

struct Store {
    std::mutex lock;
    std::unordered_map<std::string, Kept> byProject;
};

Store& TheStore() {
    static Store store;
    return store;
}

} // namespace

LockFileSeen LockFileSeen::Of(const struct statx& status) {
    LockFileSeen seen;
    seen.device = (static_cast<std::uint64_t>(status.stx_dev_major) << 32) | status.stx_dev_minor;
    seen.inode = status.stx_ino;
    seen.size = status.stx_size;
    seen.modifiedSeconds = status.stx_mtime.tv_sec;
    seen.modifiedNanoseconds = status.stx_mtime.tv_nsec;
    seen.changedSeconds = status.stx_ctime.tv_sec;
    seen.changedNanoseconds = status.stx_ctime.tv_nsec;
    if ((status.stx_mask & STATX_BTIME) != 0) {
        seen.bornSeconds = status.stx_btime.tv_sec;
        seen.bornNanoseconds = status.stx_btime.tv_nsec;
    }
    return seen;
}

std::optional<ProjectLockFilePtr> KeptListedLock(const std::string& projectPath,
                                                 const LockFileSeen& seen, const ByteString& name,
                                                 const ByteString& second) {
    if (seen == LockFileSeen()) {
        return std::nullopt; // nothing was seen of it to tell it by
    }
    Store& store = TheStore();
    const std::lock_guard<std::mutex> guard(store.lock);
    const auto found = store.byProject.find(projectPath);
    if (found != store.byProject.end() && found->second.seen == seen &&
        found->second.name == name && found->second.second == second) {
        return found->second.lock;
    }
    return std::nullopt;
}

ProjectLockFilePtr ReadListedLock(const std::string& projectPath, const LockFileSeen& seen,
                                  const ByteString& name, const ByteString& second) {
    if (std::optional<ProjectLockFilePtr> kept = KeptListedLock(projectPath, seen, name, second)) {
        return *kept;
    }
    ProjectLockFilePtr lock = ReadProjectLockFile(projectPath, name, second);
    if (seen == LockFileSeen() || !lock || lock->GetOwnerName() == kUnreadableLockHolder) {
        return lock;
    }
    Store& store = TheStore();
    const std::lock_guard<std::mutex> guard(store.lock);
    if (store.byProject.size() >= kMostKept) {
        store.byProject.clear();
    }
    store.byProject[projectPath] = Kept{seen, name, second, lock};
    return lock;
}

void ForgetListedLocks() {
    Store& store = TheStore();
    const std::lock_guard<std::mutex> guard(store.lock);
    store.byProject.clear();
}

} // namespace host
