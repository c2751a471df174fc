#include "Marvane/fileservices/TreeWalk.h"
#include "Marvane/fileservices/FolderEntries.h"
#include "Marvane/fileservices/IoCounters.h"
#include "Marvane/fileservices/OwnedDescriptor.h"
#include "Marvane/fileservices/ProjectItemRules.h"

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <numeric>
#include <string_view>
#include <utility>

namespace host {

namespace fs = std::filesystem;

namespace {

int OpenFolderAt(int folder, const char* name, bool follow) {
    return ::openat(folder, name,
                    O_RDONLY | O_DIRECTORY | O_NONBLOCK | O_CLOEXEC | (follow ? 0 : O_NOFOLLOW));
}

// The kind of file a listing tells, as the type bits of a mode; 0 when it does not say.
mode_t ModeOfKind(unsigned char kind) {
    switch (kind) {
    case DT_DIR:
        return S_IFDIR;
    case DT_REG:
        return S_IFREG;
    case DT_LNK:
        return S_IFLNK;
    case DT_FIFO:
        return S_IFIFO;
    case DT_SOCK:
        return S_IFSOCK;
    case DT_CHR:
        return S_IFCHR;
    case DT_BLK:
        return S_IFBLK;
    default:
        return 0;
    }
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

// A folder gone into: its descriptor, how it was entered, and what it holds. The names are
// kept in one buffer, each ended by a zero byte, so that a folder of many thousand entries
// costs no allocation per entry.
struct TreeWalk::Level {
    OwnedDescriptor descriptor;
    std::string name;
    struct stat status {};
    std::vector<char> names;
    std::vector<std::uint32_t> starts; // where each name begins in names
    std::vector<unsigned char> kinds;  // each entry's kind as the listing tells it
    std::vector<std::uint32_t> order;  // the entries in the order they are visited
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

bool TreeWalk::Cancelled() const {
    return mOptions.cancelled != nullptr && mOptions.cancelled->load(std::memory_order_relaxed);
}

bool TreeWalk::GoInto(const TreeWalkEntry& folder, bool follow, TreeVisitor& visitor) {
    Level level;
    level.descriptor = OwnedDescriptor(OpenFolderAt(folder.folder, folder.name, follow));
    int error = level.descriptor.Get() < 0 ? errno : 0;
    if (error == 0) {
        CountFolderWalked();
        const bool dotNames = mOptions.dotNames;
        const bool read = ForEachEntryIn(
            level.descriptor.Get(), [&level, dotNames](std::string_view name, unsigned char kind) {
                if (name.empty() || (!dotNames && name.front() == '.')) {
                    return;
                }
                level.starts.push_back(static_cast<std::uint32_t>(level.names.size()));
                level.names.insert(level.names.end(), name.begin(), name.end());
                level.names.push_back('\0');
                level.kinds.push_back(kind);
            });
        error = read ? 0 : (errno != 0 ? errno : EIO);
    }
    if (error != 0) {
        return visitor.Failed(folder, error) != WalkStep::kStop;
    }
    level.order.resize(level.starts.size());
    std::iota(level.order.begin(), level.order.end(), std::uint32_t{0});
    if (mOptions.sortedNames) {
        const char* names = level.names.data();
        const std::vector<std::uint32_t>& starts = level.starts;
        std::sort(level.order.begin(), level.order.end(),
                  [names, &starts](std::uint32_t a, std::uint32_t b) {
                      return std::strcmp(names + starts[a], names + starts[b]) < 0;
                  });
    }
    level.name = folder.name;
    level.status = folder.status;
    mLevels->push_back(std::move(level));
    return true;
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
    // Only a path to the root's folder, not its listing: it needs no right to read that folder,
    // as the root is reached from it by name alone.
    const OwnedDescriptor rootParent(::open(parentPath.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
    entry.folder = rootParent.Get();
    const int rootFlags = mOptions.followRootLink ? 0 : AT_SYMLINK_NOFOLLOW;
    if (rootParent.Get() < 0 ||
        ::fstatat(rootParent.Get(), entry.name, &entry.status, rootFlags) != 0) {
        return visitor.Failed(entry, errno) != WalkStep::kStop;
    }
    entry.statusRead = true;

    // Whether to go into the folder the visitor answered for. The rules of what a project is
    // are read once for the walk, not once for each folder.
    const ProjectItemRules rules =
        mOptions.intoProjectFolders ? ProjectItemRules{} : CurrentProjectItemRules();
    const auto goesInto = [this, &rules](const TreeWalkEntry& folder, WalkStep step) {
        return step == WalkStep::kContinue && folder.IsFolder() &&
               (mOptions.intoProjectFolders || folder.depth == 0 || !rules.isProject ||
                !rules.isProject(folder.name));
    };

    const WalkStep first = visitor.Enter(entry);
    if (first == WalkStep::kStop) {
        return false;
    }
    if (goesInto(entry, first) && !GoInto(entry, mOptions.followRootLink, visitor)) {
        return false;
    }
    while (!levels.empty()) {
        if (Cancelled()) {
            return false;
        }
        Level& level = levels.back();
        const std::size_t depth = levels.size() - 1;
        if (level.next == level.order.size()) {
            TreeWalkEntry left;
            left.walk = this;
            left.folder = depth == 0 ? rootParent.Get() : levels[depth - 1].descriptor.Get();
            left.name = level.name.c_str();
            left.status = level.status;
            left.statusRead = true;
            left.depth = depth;
            const WalkStep step = visitor.Leave(left, level.descriptor.Get());
            levels.pop_back();
            if (step == WalkStep::kStop) {
                return false;
            }
            continue;
        }
        const std::uint32_t index = level.order[level.next++];
        TreeWalkEntry next;
        next.walk = this;
        next.folder = level.descriptor.Get();
        // The names stay where they are when the stack grows: a vector's buffer moves whole.
        next.name = level.names.data() + level.starts[index];
        next.depth = depth + 1;
        next.status.st_mode = ModeOfKind(level.kinds[index]);
        if (mOptions.statEveryEntry || next.status.st_mode == 0) {
            if (::fstatat(next.folder, next.name, &next.status, AT_SYMLINK_NOFOLLOW) != 0) {
                if (visitor.Failed(next, errno) == WalkStep::kStop) {
                    return false;
                }
                continue;
            }
            next.statusRead = true;
        }
        const WalkStep step = visitor.Enter(next);
        if (step == WalkStep::kStop) {
            return false;
        }
        // GoInto may grow the stack, which moves the levels: nothing of `level` is used after.
        if (goesInto(next, step) && !GoInto(next, false, visitor)) {
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
