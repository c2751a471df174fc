// Copying files, links and folder trees to new paths, never over anything, with progress.
#include "Marvane/fileservices/FileCopy.h"

#include "Marvane/fileservices/CreationRecords.h"
#include "Marvane/fileservices/IoCounters.h"
#include "Marvane/fileservices/OwnedDescriptor.h"
#include "Marvane/fileservices/TreeWalk.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <linux/fs.h>
#include <string>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/statfs.h>
#include <sys/utsname.h>
#include <unistd.h>

namespace host {

namespace fs = std::filesystem;

namespace {

constexpr std::size_t kBufferBytes = std::size_t{1} << 20;
// The kernel copies in pieces of this size between two reports of progress.
constexpr std::size_t kKernelPieceBytes = std::size_t{8} << 20;
// Files of a copy synced one by one before the copy turns to one sync of its file system:
// a small copy waits for its own files only, never for whatever else the disk has to write.
constexpr int kFilesSyncedOnTheirOwn = 8;

std::string Reason(const fs::path& path, int errorNumber) {
    return path.string() + ": " + std::strerror(errorNumber);
}

// Since Linux 5.8 a sync of a file system reports a write that failed since the descriptor it
// is given was opened; before, it reports nothing.
bool FileSystemSyncReportsFailures() {
    static const bool reports = [] {
        struct utsname system {};
        int major = 0;
        int minor = 0;
        return ::uname(&system) == 0 && std::sscanf(system.release, "%d.%d", &major, &minor) == 2 &&
               (major > 5 || (major == 5 && minor >= 8));
    }();
    return reports;
}

} // namespace

bool SyncsWholeFileSystem(const fs::path& folder) {
    struct statfs info {};
    if (!FileSystemSyncReportsFailures() || ::statfs(folder.c_str(), &info) != 0) {
        return false;
    }
    // Local disks keep in order what one sync of the file system writes out; network and
    // user-space file systems pass a sync on to their server only for a file.
    switch (static_cast<unsigned long>(info.f_type) & 0xFFFFFFFFul) {
    case 0xEF53ul:     // ext2, ext3, ext4
    case 0x58465342ul: // XFS
    case 0x9123683Eul: // Btrfs
    case 0xF2F52010ul: // F2FS
    case 0x01021994ul: // tmpfs
    case 0x794C7630ul: // overlay (its upper file system is synced)
        return true;
    default:
        return false;
    }
}

namespace {

// How one copy goes about its files.
struct CopyContext {
    const CopyProgress& progress;
    CopyDigests* digests;
    bool syncEachFile; // every file (a share); else the first few, then the disk
    int filesSynced = 0;
    bool mayClone = true;        // until the file system says it cannot share blocks
    bool mayCopyInKernel = true; // until the kernel says it cannot copy between these files
    std::vector<char> buffer;    // made on first use
};

bool Report(const CopyContext& context, std::uint64_t bytes) {
    return !context.progress || context.progress(bytes, false);
}

// The fast ways, within one file system: the file's blocks shared, or copied by the kernel
// without passing through here. False when neither applies, with nothing written (the caller
// copies through a buffer); true with ok telling whether the copy succeeded.
bool CopyInKernel(int in, int out, std::uint64_t size, CopyContext& context, bool& ok,
                  bool& cancelled, int& error) {
    if (context.mayClone && size > 0) {
        if (::ioctl(out, FICLONE, in) == 0) {
            ok = Report(context, size);
            cancelled = !ok;
            return true;
        }
        context.mayClone = false;
    }
    if (!context.mayCopyInKernel) {
        return false;
    }
    std::uint64_t copied = 0;
    for (;;) {
        const ssize_t count = ::copy_file_range(in, nullptr, out, nullptr, kKernelPieceBytes, 0);
        if (count < 0 && errno == EINTR) {
            continue;
        }
        if (count < 0 && copied == 0 &&
            (errno == EXDEV || errno == EINVAL || errno == ENOSYS || errno == EOPNOTSUPP ||
             errno == EBADF || errno == EPERM)) {
            context.mayCopyInKernel = false;
            return false;
        }
        if (count < 0) {
            ok = false;
            error = errno;
            return true;
        }
        if (count == 0) {
            break;
        }
        copied += static_cast<std::uint64_t>(count);
        if (!Report(context, static_cast<std::uint64_t>(count))) {
            ok = false;
            cancelled = true;
            return true;
        }
    }
    if (copied == 0 && size > 0) {
        // Some file systems answer "nothing more" at once: copy through a buffer instead.
        context.mayCopyInKernel = false;
        return false;
    }
    ok = true;
    return true;
}

// Through a buffer: every byte passes here, and is hashed when a digest is wanted.
bool CopyThroughBuffer(int in, int out, CopyContext& context, FileDigest* digest, bool& cancelled,
                       int& error) {
    if (context.buffer.empty()) {
        context.buffer.resize(kBufferBytes);
    }
    ContentHash hash;
    std::uint64_t total = 0;
    for (;;) {
        const ssize_t count = ::read(in, context.buffer.data(), context.buffer.size());
        if (count < 0 && errno == EINTR) {
            continue;
        }
        if (count < 0) {
            error = errno;
            return false;
        }
        if (count == 0) {
            break;
        }
        std::size_t written = 0;
        while (written < static_cast<std::size_t>(count)) {
            const ssize_t result = ::write(out, context.buffer.data() + written,
                                           static_cast<std::size_t>(count) - written);
            if (result < 0 && errno == EINTR) {
                continue;
            }
            if (result <= 0) {
                error = result == 0 ? EIO : errno;
                return false;
            }
            written += static_cast<std::size_t>(result);
        }
        if (digest != nullptr) {
            hash.Add(context.buffer.data(), static_cast<std::size_t>(count));
        }
        total += static_cast<std::uint64_t>(count);
        if (!Report(context, static_cast<std::uint64_t>(count))) {
            cancelled = true;
            return false;
        }
    }
    if (digest != nullptr) {
        digest->size = total;
        digest->hash = hash.Value();
    }
    return true;
}

// Where one entry of a copy comes from and goes to: each a folder's descriptor and a name in
// it, with the paths for messages built only when something fails.
struct CopyStep {
    const TreeWalkEntry& from;
    int toFolder;
    const char* toName;
    const fs::path& toTop;

    fs::path FromPath() const { return from.FullPath(); }
    fs::path ToPath() const {
        const std::string below = from.PathBelowRoot();
        return below.empty() ? toTop : toTop / below;
    }
};

// Copies one regular file to a new name (never over an existing one), with its permissions
// and modification time; throws FileException.
void CopyRegularFile(const CopyStep& step, CopyContext& context) {
    const struct stat& status = step.from.status;
    // Never blocks on a pipe that took the file's place since it was looked at.
    const int in = ::openat(step.from.folder, step.from.name,
                            O_RDONLY | O_NONBLOCK | O_NOCTTY | O_NOFOLLOW | O_CLOEXEC);
    if (in < 0) {
        const int error = errno;
        throw FileException("Cannot read " + Reason(step.FromPath(), error), error);
    }
    struct stat opened {};
    if (::fstat(in, &opened) != 0 || !S_ISREG(opened.st_mode)) {
        ::close(in);
        throw FileException(
            "Cannot copy " + step.FromPath().string() + ": not a regular file any more", EINVAL);
    }
    const int out = ::openat(step.toFolder, step.toName,
                             O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600);
    if (out < 0) {
        const int error = errno;
        ::close(in);
        throw FileException("Cannot create " + Reason(step.ToPath(), error), error);
    }
    bool ok = true;
    bool cancelled = false;
    int error = 0;
    FileDigest digest;
    digest.sourceInode = static_cast<std::uint64_t>(opened.st_ino);
    digest.sourceModifiedSeconds = static_cast<std::int64_t>(opened.st_mtim.tv_sec);
    digest.sourceModifiedNanoseconds = static_cast<std::int64_t>(opened.st_mtim.tv_nsec);
    digest.sourceSize = static_cast<std::int64_t>(opened.st_size);
    if (context.digests != nullptr ||
        !CopyInKernel(in, out, static_cast<std::uint64_t>(opened.st_size), context, ok, cancelled,
                      error)) {
        ok = CopyThroughBuffer(in, out, context, context.digests != nullptr ? &digest : nullptr,
                               cancelled, error);
    }
    if (ok && ::fchmod(out, status.st_mode & 07777) != 0) {
        ok = false;
        error = errno;
    }
    if (ok && (context.syncEachFile || context.filesSynced < kFilesSyncedOnTheirOwn)) {
        ++context.filesSynced;
        CountFileSync();
        if (::fsync(out) != 0) {
            ok = false;
            error = errno;
        }
    }
    if (ok) {
        const timespec times[2] = {status.st_atim, status.st_mtim};
        ::futimens(out, times);
    }
    ::close(in);
    ::close(out);
    if (!ok) {
        ::unlinkat(step.toFolder, step.toName, 0);
        if (cancelled) {
            throw CopyCancelled("The copy to " + step.ToPath().string() + " was cancelled");
        }
        throw FileException("Cannot copy to " + Reason(step.ToPath(), error), error);
    }
    if (context.digests != nullptr) {
        (*context.digests)[step.from.PathBelowRoot()] = digest;
    }
    if (context.progress && !context.progress(0, true)) {
        ::unlinkat(step.toFolder, step.toName, 0);
        throw CopyCancelled("The copy to " + step.ToPath().string() + " was cancelled");
    }
}

// The target of a link, read by its folder's descriptor; throws FileException.
std::string LinkTarget(const TreeWalkEntry& link) {
    std::string target(
        static_cast<std::size_t>(link.status.st_size > 0 ? link.status.st_size : 0) + 1, '\0');
    for (;;) {
        const ssize_t length = ::readlinkat(link.folder, link.name, target.data(), target.size());
        if (length < 0) {
            const int error = errno;
            throw FileException("Cannot read the link " + Reason(link.FullPath(), error), error);
        }
        if (static_cast<std::size_t>(length) < target.size()) {
            target.resize(static_cast<std::size_t>(length));
            return target;
        }
        target.resize(target.size() * 2); // it grew since it was looked at
    }
}

// Copies the tree it walks to `to`, folder by folder: each copied folder's descriptor is kept
// while what it holds is copied into it.
class CopyVisitor : public TreeVisitor {
public:
    CopyVisitor(const fs::path& to, int toParent, std::vector<fs::path>& made, CopyContext& context,
                bool newItems)
        : mTo(to), mToName(to.filename().string()), mToParent(toParent), mMade(made),
          mContext(context), mNewItems(newItems) {}
    CopyVisitor(const CopyVisitor&) = delete;
    CopyVisitor& operator=(const CopyVisitor&) = delete;
    ~CopyVisitor() override {
        for (const int folder : mFolders) {
            if (folder >= 0) {
                ::close(folder);
            }
        }
    }

    WalkStep Enter(const TreeWalkEntry& entry) override {
        const CopyStep step{entry, entry.depth == 0 ? mToParent : mFolders[entry.depth - 1],
                            entry.depth == 0 ? mToName.c_str() : entry.name, mTo};
        if (S_ISLNK(entry.status.st_mode)) {
            const std::string target = LinkTarget(entry);
            if (::symlinkat(target.c_str(), step.toFolder, step.toName) != 0) {
                const int error = errno;
                throw FileException("Cannot copy the link " + Reason(step.ToPath(), error), error);
            }
            Made(entry);
        } else if (entry.IsFolder()) {
            if (::mkdirat(step.toFolder, step.toName, 0700) != 0) {
                const int error = errno;
                throw FileException("Cannot create " + Reason(step.ToPath(), error), error);
            }
            Made(entry);
            mFolders.push_back(-1);
            mFolders.back() = ::openat(step.toFolder, step.toName,
                                       O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
            if (mFolders.back() < 0) {
                const int error = errno;
                throw FileException("Cannot open " + Reason(step.ToPath(), error), error);
            }
        } else if (S_ISREG(entry.status.st_mode)) {
            if (mNewItems && entry.depth > 0 && std::strcmp(entry.name, kCreationRecordName) == 0) {
                return WalkStep::kContinue; // the copies were made now, not when the originals were
            }
            CopyRegularFile(step, mContext);
            Made(entry);
        } else {
            throw FileException("Cannot copy " + entry.FullPath().string() +
                                    ": not a file, folder or link",
                                EINVAL);
        }
        return WalkStep::kContinue;
    }

    WalkStep Leave(const TreeWalkEntry& entry, int) override {
        const int folder = mFolders.back();
        mFolders.pop_back();
        ::fchmod(folder, entry.status.st_mode & 07777);
        ::close(folder);
        return WalkStep::kContinue;
    }

    WalkStep Failed(const TreeWalkEntry& entry, int error) override {
        throw FileException((entry.IsFolder() ? "Cannot list " : "Cannot read ") +
                                Reason(entry.FullPath(), error),
                            error);
    }

private:
    // The copy's top is all a failure needs to take away: everything below it was made here.
    void Made(const TreeWalkEntry& entry) {
        if (entry.depth == 0) {
            mMade.push_back(mTo);
        }
    }

    const fs::path& mTo;
    const std::string mToName;
    const int mToParent;
    std::vector<fs::path>& mMade;
    CopyContext& mContext;
    const bool mNewItems;
    std::vector<int> mFolders; // the copied folders gone into, by depth
};

} // namespace

namespace {

constexpr std::uint64_t kPrime1 = 0x9E3779B185EBCA87ull;
constexpr std::uint64_t kPrime2 = 0xC2B2AE3D27D4EB4Full;
constexpr std::uint64_t kPrime3 = 0x165667B19E3779F9ull;

std::uint64_t RotateLeft(std::uint64_t value, int bits) {
    return (value << bits) | (value >> (64 - bits));
}

std::uint64_t WordAt(const char* bytes) {
    std::uint64_t word = 0;
    for (unsigned byte = 0; byte < 8; ++byte) {
        word |= static_cast<std::uint64_t>(static_cast<unsigned char>(bytes[byte])) << (8 * byte);
    }
    return word;
}

} // namespace

void ContentHash::AddWord(std::uint64_t word) {
    mHash ^= RotateLeft(word * kPrime2, 31) * kPrime1;
    mHash = RotateLeft(mHash, 27) * kPrime1 + kPrime3;
}

void ContentHash::Add(const char* bytes, std::size_t count) {
    mLength += count;
    std::size_t at = 0;
    // Whole 8-byte words at a time, the rest kept for the next piece, so that the value does
    // not depend on how the bytes were cut into pieces.
    while (at < count && mPendingCount != 0) {
        mPending |= static_cast<std::uint64_t>(static_cast<unsigned char>(bytes[at++]))
                    << (8 * mPendingCount);
        if (++mPendingCount == 8) {
            AddWord(mPending);
            mPending = 0;
            mPendingCount = 0;
        }
    }
    for (; count - at >= 8; at += 8) {
        AddWord(WordAt(bytes + at));
    }
    for (; at < count; ++at) {
        mPending |= static_cast<std::uint64_t>(static_cast<unsigned char>(bytes[at]))
                    << (8 * mPendingCount++);
    }
}

std::uint64_t ContentHash::Value() const {
    std::uint64_t hash = mHash ^ mLength;
    if (mPendingCount != 0) {
        hash ^= RotateLeft(mPending * kPrime2, 31) * kPrime1;
        hash = RotateLeft(hash, 27) * kPrime1 + kPrime3;
    }
    // The final mix: every bit of the state reaches every bit of the value.
    hash ^= hash >> 33;
    hash *= kPrime2;
    hash ^= hash >> 29;
    hash *= kPrime3;
    hash ^= hash >> 32;
    return hash;
}

namespace {

// The digest of a file's bytes as they are on disk now, read by its folder's descriptor.
bool DigestOfFileAt(int folder, const char* name, FileDigest& digest) {
    const int in = ::openat(folder, name, O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
    if (in < 0) {
        return false;
    }
    struct stat status {};
    if (::fstat(in, &status) != 0 || !S_ISREG(status.st_mode)) {
        ::close(in);
        return false;
    }
    std::vector<char> buffer(kBufferBytes);
    ContentHash hash;
    std::uint64_t total = 0;
    bool ok = true;
    for (;;) {
        const ssize_t count = ::read(in, buffer.data(), buffer.size());
        if (count < 0 && errno == EINTR) {
            continue;
        }
        if (count <= 0) {
            ok = count == 0;
            break;
        }
        hash.Add(buffer.data(), static_cast<std::size_t>(count));
        total += static_cast<std::uint64_t>(count);
    }
    ::close(in);
    digest.size = total;
    digest.hash = hash.Value();
    return ok;
}

} // namespace

bool DigestOfFile(const fs::path& path, FileDigest& digest) {
    return DigestOfFileAt(AT_FDCWD, path.c_str(), digest);
}

void CopyTree(const fs::path& from, const fs::path& to, std::vector<fs::path>& made,
              const CopyProgress& progress, CopyDigests* digests, bool newItems) {
    // Opened before anything is written: the sync at the end reports every write to the file
    // system that failed from now on, even one another program's sync saw first.
    const fs::path parent = to.has_parent_path() ? to.parent_path() : fs::path(".");
    const int folder = ::open(parent.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (folder < 0) {
        const int error = errno;
        throw FileException("Cannot create " + Reason(to, error), error);
    }
    const bool wholeFileSystem = SyncsWholeFileSystem(parent);
    CopyContext context{progress, digests, !wholeFileSystem, 0, true, true, {}};
    try {
        CopyVisitor visitor(to, folder, made, context, newItems);
        if (!WalkTree(from, visitor)) {
            throw FileException("The copy of " + from.string() + " stopped", ECANCELED);
        }
    } catch (...) {
        if (folder >= 0) {
            ::close(folder);
        }
        throw;
    }
    // Every file was synced on its own, or the file system is synced once for the rest.
    int error = 0;
    if (!context.syncEachFile && context.filesSynced >= kFilesSyncedOnTheirOwn) {
        CountFileSystemSync();
        error = ::syncfs(folder) == 0 ? 0 : errno;
    }
    if (folder >= 0) {
        ::close(folder);
    }
    if (error != 0) {
        throw FileException("Cannot write the copy " + Reason(to, error), error);
    }
}

namespace {

// Walks the original and looks at each entry's copy beside it, folder by folder.
class CopyCheck : public TreeVisitor {
public:
    CopyCheck(const fs::path& to, int toParent, const ProjectItemRules& rules,
              const CopyDigests& digests)
        : mToName(to.filename().string()), mToParent(toParent), mRules(rules), mDigests(digests) {}
    CopyCheck(const CopyCheck&) = delete;
    CopyCheck& operator=(const CopyCheck&) = delete;
    ~CopyCheck() override {
        for (const Folder& folder : mFolders) {
            if (folder.descriptor >= 0) {
                ::close(folder.descriptor);
            }
        }
    }

    bool Holds() const { return mHolds; }

    WalkStep Enter(const TreeWalkEntry& entry) override {
        const int toFolder = entry.depth == 0 ? mToParent : mFolders[entry.depth - 1].descriptor;
        const char* toName = entry.depth == 0 ? mToName.c_str() : entry.name;
        const bool insideProject = entry.depth != 0 && mFolders[entry.depth - 1].project;
        struct statx original {};
        struct stat copy {};
        // The original's state from its server, not from what this machine remembers of it.
        if (::statx(entry.folder, entry.name, AT_SYMLINK_NOFOLLOW | AT_STATX_FORCE_SYNC,
                    STATX_BASIC_STATS, &original) != 0 ||
            ::fstatat(toFolder, toName, &copy, AT_SYMLINK_NOFOLLOW) != 0 ||
            (original.stx_mode & S_IFMT) != (copy.st_mode & S_IFMT)) {
            return Fails();
        }
        const bool project = insideProject || (mRules.isProject && mRules.isProject(entry.name));
        if (S_ISREG(original.stx_mode)) {
            return FileHolds(entry, original, copy, toFolder, toName, project) ? WalkStep::kContinue
                                                                               : Fails();
        }
        if (S_ISDIR(original.stx_mode)) {
            mFolders.push_back({-1, project});
            mFolders.back().descriptor =
                ::openat(toFolder, toName, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
            if (mFolders.back().descriptor < 0) {
                return Fails();
            }
        }
        return WalkStep::kContinue;
    }

    WalkStep Leave(const TreeWalkEntry&, int) override {
        ::close(mFolders.back().descriptor);
        mFolders.pop_back();
        return WalkStep::kContinue;
    }

    WalkStep Failed(const TreeWalkEntry&, int) override { return Fails(); }

private:
    struct Folder {
        int descriptor;
        bool project; // a project folder, or inside one
    };

    WalkStep Fails() {
        mHolds = false;
        return WalkStep::kStop;
    }

    bool FileHolds(const TreeWalkEntry& entry, const struct statx& original,
                   const struct stat& copy, int toFolder, const char* toName, bool project) const {
        const auto digest = mDigests.find(entry.PathBelowRoot());
        if (digest == mDigests.end()) {
            return false;
        }
        const FileDigest& seen = digest->second;
        if (seen.sourceInode != original.stx_ino ||
            seen.sourceModifiedSeconds != original.stx_mtime.tv_sec ||
            seen.sourceModifiedNanoseconds != original.stx_mtime.tv_nsec ||
            seen.sourceSize != static_cast<std::int64_t>(original.stx_size) ||
            static_cast<std::uint64_t>(copy.st_size) != seen.size ||
            original.stx_size != seen.size) {
            return false;
        }
        if (!project) {
            return true;
        }
        FileDigest reread;
        return DigestOfFileAt(toFolder, toName, reread) && reread.size == seen.size &&
               reread.hash == seen.hash;
    }

    const std::string mToName;
    const int mToParent;
    const ProjectItemRules& mRules;
    const CopyDigests& mDigests;
    std::vector<Folder> mFolders;
    bool mHolds = true;
};

} // namespace

bool CopyHoldsWhatWasRead(const fs::path& from, const fs::path& to, const ProjectItemRules& rules,
                          const CopyDigests& digests) {
    const fs::path parent = to.has_parent_path() ? to.parent_path() : fs::path(".");
    const OwnedDescriptor toParent(::open(parent.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (toParent.Get() < 0) {
        return false;
    }
    CopyCheck check(to, toParent.Get(), rules, digests);
    return WalkTree(from, check) && check.Holds();
}

namespace {

// Empties each folder and removes it after what it held; read-only folders are opened up
// first. Whatever cannot be removed stays, and so do the folders that hold it.
class Removal : public TreeVisitor {
public:
    WalkStep Enter(const TreeWalkEntry& entry) override {
        if (entry.IsFolder()) {
            // Never through a link that took the folder's place since it was looked at.
            ::fchmodat(entry.folder, entry.name, (entry.status.st_mode & 07777) | S_IRWXU,
                       AT_SYMLINK_NOFOLLOW);
        } else {
            ::unlinkat(entry.folder, entry.name, 0); // a link itself, never what it leads to
        }
        return WalkStep::kContinue;
    }
    WalkStep Leave(const TreeWalkEntry& entry, int) override {
        ::unlinkat(entry.folder, entry.name, AT_REMOVEDIR);
        return WalkStep::kContinue;
    }
    WalkStep Failed(const TreeWalkEntry& entry, int) override {
        // Listed but gone since, or a folder that cannot be opened: the rest goes on.
        if (entry.depth == 0) {
            return WalkStep::kStop;
        }
        return WalkStep::kContinue;
    }
};

} // namespace

void RemoveTree(const fs::path& path) {
    Removal removal;
    WalkTree(path, removal);
}

void RemoveMade(std::vector<fs::path>& made) {
    for (auto it = made.rbegin(); it != made.rend(); ++it) {
        RemoveTree(*it);
    }
    made.clear();
}

} // namespace host
