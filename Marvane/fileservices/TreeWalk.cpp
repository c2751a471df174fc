#include "Marvane/fileservices/TreeWalk.h"
#include "Marvane/fileservices/OwnedDescriptor.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <memory>
#include <unistd.h>
#include <utility>

namespace host {

namespace fs = std::filesystem;

namespace {

// The names in the folder (never "." or ".."); 0, or errno's number when it cannot be listed.
int ListNames(int folder, bool dotNames, std::vector<std::string>& names) {
    const int own = ::fcntl(folder, F_DUPFD_CLOEXEC, 0);
    if (own < 0) {
        return errno;
    }
    const std::unique_ptr<DIR, int (*)(DIR*)> listing(::fdopendir(own), &::closedir);
    if (!listing) {
        const int error = errno;
        ::close(own);
        return error;
    }
    ::rewinddir(listing.get()); // the copy shares its position with the folder's descriptor
    for (;;) {
        errno = 0;
        const dirent* entry = ::readdir(listing.get());
        if (entry == nullptr) {
            return errno;
        }
        const char* name = entry->d_name;
        if (std::strcmp(name, ".") == 0 || std::strcmp(name, "..") == 0 ||
            (!dotNames && name[0] == '.')) {
            continue;
        }
        names.emplace_back(name);
    }
}

int OpenFolderAt(int folder, const char* name) {
    return ::openat(folder, name, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
}

} // namespace

WalkStep TreeVisitor::Leave(const TreeWalkEntry&, int) {
    return WalkStep::kContinue;
}

WalkStep TreeVisitor::Failed(const TreeWalkEntry&, int) {
    return WalkStep::kStop;
}

std::string TreeWalkEntry::PathBelowRoot() const {
    return walk != nullptr ? walk->PathBelowRoot(*this) : std::string(name);
}

fs::path TreeWalkEntry::FullPath() const {
    const std::string below = PathBelowRoot();
    return walk == nullptr ? fs::path(name) : below.empty() ? walk->Root() : walk->Root() / below;
}

// A folder gone into: its descriptor, how it was entered, and what it holds.
struct TreeWalk::Level {
    OwnedDescriptor descriptor;
    std::string name;
    struct stat status {};
    std::vector<std::string> names;
    std::size_t next = 0;
};

TreeWalk::TreeWalk(fs::path root, TreeWalkOptions options)
    : mRoot(std::move(root)), mOptions(options) {
    if (mRoot.has_relative_path() && !mRoot.has_filename()) {
        mRoot = mRoot.parent_path(); // "a/b/" is "a/b"
    }
}

std::string TreeWalk::PathBelowRoot(const TreeWalkEntry& entry) const {
    std::string path;
    if (entry.depth == 0) {
        return path;
    }
    if (mLevels != nullptr) {
        const std::size_t through = std::min(entry.depth, mLevels->size());
        for (std::size_t level = 1; level < through; ++level) {
            path += (*mLevels)[level].name;
            path += '/';
        }
    }
    path += entry.name;
    return path;
}

bool TreeWalk::Run(TreeVisitor& visitor) {
    const bool rootHasName = mRoot.has_filename();
    const fs::path parentPath = !rootHasName              ? mRoot
                                : mRoot.has_parent_path() ? mRoot.parent_path()
                                                          : fs::path(".");
    const std::string rootName = rootHasName ? mRoot.filename().string() : std::string(".");
    std::vector<Level> levels;
    mLevels = &levels;
    struct Forget {
        TreeWalk* walk;
        ~Forget() { walk->mLevels = nullptr; }
    } forget{this};

    TreeWalkEntry entry;
    entry.walk = this;
    entry.name = rootName.c_str();
    const OwnedDescriptor rootParent(
        ::open(parentPath.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    entry.folder = rootParent.Get();
    if (rootParent.Get() < 0 ||
        ::fstatat(rootParent.Get(), entry.name, &entry.status, AT_SYMLINK_NOFOLLOW) != 0) {
        return visitor.Failed(entry, errno) != WalkStep::kStop;
    }

    // Goes into the folder just entered; false when the walk must stop.
    const auto goInto = [&](const TreeWalkEntry& folder) {
        Level level;
        level.descriptor = OwnedDescriptor(OpenFolderAt(folder.folder, folder.name));
        int error = level.descriptor.Get() < 0 ? errno : 0;
        if (error == 0) {
            error = ListNames(level.descriptor.Get(), mOptions.dotNames, level.names);
        }
        if (error != 0) {
            return visitor.Failed(folder, error) != WalkStep::kStop;
        }
        level.name = folder.name;
        level.status = folder.status;
        levels.push_back(std::move(level));
        return true;
    };

    const WalkStep first = visitor.Enter(entry);
    if (first == WalkStep::kStop) {
        return false;
    }
    if (first == WalkStep::kContinue && entry.IsFolder() && !goInto(entry)) {
        return false;
    }
    while (!levels.empty()) {
        Level& level = levels.back();
        const std::size_t depth = levels.size() - 1;
        if (level.next == level.names.size()) {
            TreeWalkEntry left;
            left.walk = this;
            left.folder = depth == 0 ? rootParent.Get() : levels[depth - 1].descriptor.Get();
            left.name = level.name.c_str();
            left.status = level.status;
            left.depth = depth;
            const WalkStep step = visitor.Leave(left, level.descriptor.Get());
            levels.pop_back();
            if (step == WalkStep::kStop) {
                return false;
            }
            continue;
        }
        TreeWalkEntry next;
        next.walk = this;
        next.folder = level.descriptor.Get();
        next.name = level.names[level.next++].c_str();
        next.depth = depth + 1;
        if (::fstatat(next.folder, next.name, &next.status, AT_SYMLINK_NOFOLLOW) != 0) {
            if (visitor.Failed(next, errno) == WalkStep::kStop) {
                return false;
            }
            continue;
        }
        const WalkStep step = visitor.Enter(next);
        if (step == WalkStep::kStop) {
            return false;
        }
        // goInto may grow the stack, which moves the levels: nothing of `level` is used after.
        if (step == WalkStep::kContinue && next.IsFolder() && !goInto(next)) {
            return false;
        }
    }
    return true;
}

bool WalkTree(const fs::path& root, TreeVisitor& visitor, const TreeWalkOptions& options) {
    TreeWalk walk(root, options);
    return walk.Run(visitor);
}

} // namespace host
