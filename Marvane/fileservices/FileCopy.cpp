// Copying files, links and folder trees to new paths, never over anything, with progress.
#include "Marvane/fileservices/FileCopy.h"

#include "Marvane/fileservices/IoCounters.h"

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

// Copies one regular file to a new path (never over an existing one), with its permissions
// and modification time; throws FileException.
void CopyRegularFile(const fs::path& from, const fs::path& to, const struct stat& status,
                     CopyContext& context) {
    // Never blocks on a pipe that took the file's place since it was looked at.
    const int in = ::open(from.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
    if (in < 0) {
        throw FileException("Cannot read " + Reason(from, errno), errno);
    }
    struct stat opened {};
    if (::fstat(in, &opened) != 0 || !S_ISREG(opened.st_mode)) {
        ::close(in);
        throw FileException("Cannot copy " + from.string() + ": not a regular file any more",
                            EINVAL);
    }
    const int out = ::open(to.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
    if (out < 0) {
        const int error = errno;
        ::close(in);
        throw FileException("Cannot create " + Reason(to, error), error);
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
        ::unlink(to.c_str());
        if (cancelled) {
            throw CopyCancelled("The copy to " + to.string() + " was cancelled");
        }
        throw FileException("Cannot copy to " + Reason(to, error), error);
    }
    if (context.digests != nullptr) {
        (*context.digests)[to.string()] = digest;
    }
    if (context.progress && !context.progress(0, true)) {
        ::unlink(to.c_str());
        throw CopyCancelled("The copy to " + to.string() + " was cancelled");
    }
}

void CopyTreeIn(const fs::path& from, const fs::path& to, std::vector<fs::path>& made,
                CopyContext& context) {
    struct stat status {};
    if (::lstat(from.c_str(), &status) != 0) {
        throw FileException("Cannot read " + Reason(from, errno), errno);
    }
    if (S_ISLNK(status.st_mode)) {
        std::error_code error;
        const fs::path target = fs::read_symlink(from, error);
        if (error || ::symlink(target.c_str(), to.c_str()) != 0) {
            const int number = error ? error.value() : errno;
            throw FileException("Cannot copy the link " + Reason(to, number), number);
        }
        made.push_back(to);
    } else if (S_ISDIR(status.st_mode)) {
        if (::mkdir(to.c_str(), 0700) != 0) {
            throw FileException("Cannot create " + Reason(to, errno), errno);
        }
        made.push_back(to);
        std::error_code error;
        for (fs::directory_iterator it(from, error), end; !error && it != end;
             it.increment(error)) {
            CopyTreeIn(it->path(), to / it->path().filename(), made, context);
        }
        if (error) {
            throw FileException("Cannot list " + Reason(from, error.value()), error.value());
        }
        ::chmod(to.c_str(), status.st_mode & 07777);
    } else if (S_ISREG(status.st_mode)) {
        CopyRegularFile(from, to, status, context);
        made.push_back(to);
    } else {
        throw FileException("Cannot copy " + from.string() + ": not a file, folder or link",
                            EINVAL);
    }
}

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

bool DigestOfFile(const fs::path& path, FileDigest& digest) {
    const int in = ::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
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

void CopyTree(const fs::path& from, const fs::path& to, std::vector<fs::path>& made,
              const CopyProgress& progress, CopyDigests* digests) {
    // Opened before anything is written: the sync at the end reports every write to the file
    // system that failed from now on, even one another program's sync saw first.
    const int folder = ::open(to.parent_path().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    const bool wholeFileSystem = folder >= 0 && SyncsWholeFileSystem(to.parent_path());
    CopyContext context{progress, digests, !wholeFileSystem, 0, true, true, {}};
    try {
        CopyTreeIn(from, to, made, context);
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

bool HoldsWhatWasRead(const fs::path& from, const fs::path& to, const ProjectItemRules& rules,
                      const CopyDigests& digests, bool insideProject) {
    struct statx original {};
    struct stat copy {};
    // The original's state from its server, not from what this machine remembers of it.
    if (::statx(AT_FDCWD, from.c_str(), AT_SYMLINK_NOFOLLOW | AT_STATX_FORCE_SYNC,
                STATX_BASIC_STATS, &original) != 0 ||
        ::lstat(to.c_str(), &copy) != 0 ||
        (original.stx_mode & S_IFMT) != (copy.st_mode & S_IFMT)) {
        return false;
    }
    const bool project = insideProject || (rules.isProject && rules.isProject(from.string()));
    if (S_ISREG(original.stx_mode)) {
        const auto digest = digests.find(to.string());
        if (digest == digests.end()) {
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
        return DigestOfFile(to, reread) && reread.size == seen.size && reread.hash == seen.hash;
    }
    if (S_ISDIR(original.stx_mode)) {
        std::error_code error;
        for (fs::directory_iterator it(from, error), end; !error && it != end;
             it.increment(error)) {
            if (!HoldsWhatWasRead(it->path(), to / it->path().filename(), rules, digests,
                                  project)) {
                return false;
            }
        }
        return !error;
    }
    return true;
}

} // namespace

bool CopyHoldsWhatWasRead(const fs::path& from, const fs::path& to, const ProjectItemRules& rules,
                          const CopyDigests& digests) {
    return HoldsWhatWasRead(from, to, rules, digests, false);
}

void RemoveTree(const fs::path& path) {
    std::vector<fs::path> made;
    std::error_code error;
    // A link is removed itself: what it leads to is not ours.
    if (fs::is_symlink(fs::symlink_status(path, error))) {
        fs::remove(path, error);
        return;
    }
    // A copied folder may have been given a read-only mode: RemoveMade opens it up.
    for (fs::recursive_directory_iterator it(path, error), end; !error && it != end;
         it.increment(error)) {
        made.push_back(it->path());
    }
    made.insert(made.begin(), path);
    RemoveMade(made);
}

void RemoveMade(std::vector<fs::path>& made) {
    // A copied folder may have been given a read-only mode: open it up to empty it.
    for (const fs::path& path : made) {
        struct stat status {};
        if (::lstat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode)) {
            ::chmod(path.c_str(), (status.st_mode & 07777) | S_IRWXU);
        }
    }
    for (auto it = made.rbegin(); it != made.rend(); ++it) {
        std::error_code ignored;
        fs::remove(*it, ignored);
    }
    made.clear();
}

} // namespace host
