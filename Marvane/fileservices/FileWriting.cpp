#include "Marvane/fileservices/FileWriting.h"

#include "Marvane/core/ThisMachine.h"
#include "Marvane/fileservices/FolderMount.h"
#include "Marvane/fileservices/KeptCreation.h"
#include "Marvane/fileservices/NameClaim.h"
#include "Marvane/fileservices/TemporaryFiles.h"
#include "host/DebugTrace.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <fcntl.h>
#include <random>
#include <sys/stat.h>
#include <sys/statfs.h>
#include <thread>
#include <unistd.h>

namespace host {

namespace fs = std::filesystem;

namespace {

// Writes everything and syncs it; false with errno set.
bool WriteAll(int descriptor, const std::string& text) {
    return WriteWhole(descriptor, text) && ::fsync(descriptor) == 0;
}

void SyncFolder(const fs::path& folder) {
    const int descriptor = ::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (descriptor >= 0) {
        ::fsync(descriptor);
        ::close(descriptor);
    }
}

std::string Reason(const fs::path& file, int errorNumber) {
    return file.string() + ": " + std::strerror(errorNumber);
}

// Writes the text into a new hidden file, sibling, beside target; false with error set.
bool WriteSibling(const fs::path& sibling, const fs::path& target, const std::string& text,
                  mode_t mode, std::string& error) {
    // Under a production whose share is no longer mounted the file would land beneath the
    // mount, where the share never sees it and the next mount hides it.
    if (const std::string gone = MountGoneUnder(target); !gone.empty()) {
        error = target.string() + ": " + gone;
        errno = ENOTCONN;
        return false;
    }
    const int descriptor = ::open(sibling.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, mode);
    if (descriptor < 0) {
        // The person is told about the file they asked for; the private name it is written
        // under first is for the trace.
        const int openError = errno;
        Trace("Host", 2, "Cannot create " + Reason(sibling, openError));
        error = Reason(target, openError);
        errno = openError;
        return false;
    }
    const bool written = WriteAll(descriptor, text) && ::fchmod(descriptor, mode) == 0;
    const int writeError = errno;
    ::close(descriptor);
    if (!written) {
        ::unlink(sibling.c_str());
        error = Reason(target, writeError);
        return false;
    }
    return true;
}

} // namespace

bool WriteWhole(int descriptor, std::string_view text) {
    std::size_t written = 0;
    while (written < text.size()) {
        const ssize_t result = ::write(descriptor, text.data() + written, text.size() - written);
        if (result < 0 && errno == EINTR) {
            continue;
        }
        if (result <= 0) {
            if (result == 0) {
                errno = EIO;
            }
            return false;
        }
        written += static_cast<std::size_t>(result);
    }
    return true;
}

fs::path PrivateName(const fs::path& folder, const std::string& purpose) {
    static std::atomic<unsigned> counter{0};
    static const std::string host = ThisHostName().substr(0, 64);
    thread_local std::random_device random;
    return folder / (std::string(kPrivateNamePrefix) + purpose + "." + host + "." +
                     std::to_string(::getpid()) + "." + std::to_string(counter++) + "." +
                     std::to_string(random()));
}

int RenameNoReplace(const fs::path& from, const fs::path& to) {
    if (!MountGoneUnder(to).empty()) {
        return ENOTCONN;
    }
    if (::renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE) == 0) {
        return 0;
    }
    if (errno != EINVAL && errno != ENOSYS && errno != ENOTSUP) {
        return errno;
    }
    struct stat source {};
    if (::lstat(from.c_str(), &source) != 0) {
        return errno;
    }
    if (!S_ISDIR(source.st_mode)) {
        if (::link(from.c_str(), to.c_str()) == 0) {
            if (::unlink(from.c_str()) != 0) {
                // Both names hold the same file: nothing is lost, the old name lingers.
                const int error = errno;
                ::unlink(to.c_str());
                return error;
            }
            return 0;
        }
        if (errno == EEXIST || errno == EXDEV || errno == ENOENT || errno == ENOTDIR ||
            errno == EACCES || errno == EROFS || errno == ENOSPC || errno == ENAMETOOLONG) {
            return errno;
        }
        // No hard links on this file system either: the checked rename below.
    }
    // The name is claimed first: every copy that puts something at a name here claims it, so
    // nothing arrives at it between the check and the rename.
    const NameClaim claim(to);
    if (claim.Error() != 0) {
        return claim.Error();
    }
    struct stat existing {};
    if (::lstat(to.c_str(), &existing) == 0) {
        return EEXIST;
    }
    return ::rename(from.c_str(), to.c_str()) == 0 ? 0 : errno;
}

int RetryWhileBusy(const std::function<int()>& attempt, const std::function<void()>& onAttempt) {
    const auto until = std::chrono::steady_clock::now() + kBusyPatience;
    auto pause = std::chrono::milliseconds(10);
    while (true) {
        const int answer = attempt();
        if (onAttempt) {
            onAttempt();
        }
        if (answer != EBUSY || std::chrono::steady_clock::now() + pause > until) {
            return answer;
        }
        std::this_thread::sleep_for(pause);
        pause = std::min(pause * 2, std::chrono::milliseconds(200));
    }
}

int RemoveJustClosedFile(const fs::path& path) {
    constexpr unsigned long kFuseMagic = 0x65735546ul;
    constexpr auto kCloseSettleDelay = std::chrono::milliseconds(5);
    struct statfs fileSystem {};
    if (::statfs(path.parent_path().c_str(), &fileSystem) == 0 &&
        static_cast<unsigned long>(fileSystem.f_type) == kFuseMagic) {
        std::this_thread::sleep_for(kCloseSettleDelay);
    }
    return ::unlink(path.c_str()) == 0 ? 0 : errno;
}

PlaceResult PlaceNewFile(const fs::path& target, const std::string& text, std::string& error) {
    // Noted while it exists, so that a run killed before it is gone has it removed.
    const fs::path sibling = PrivateName(target.parent_path(), "write");
    const TemporaryFileNote note(sibling);
    if (!WriteSibling(sibling, target, text, 0644, error)) {
        return PlaceResult::Failed;
    }
    PlaceResult result = PlaceResult::Failed;
    if (::link(sibling.c_str(), target.c_str()) == 0) {
        result = PlaceResult::Placed;
    } else {
        const int linkError = errno;
        struct stat status {};
        if (::stat(sibling.c_str(), &status) == 0 && status.st_nlink == 2) {
            // Network file systems may report a link that did succeed as failed.
            result = PlaceResult::Placed;
        } else if (linkError == EEXIST) {
            result = PlaceResult::Exists;
        } else if (linkError == EPERM || linkError == ENOTSUP || linkError == EOPNOTSUPP ||
                   linkError == EMLINK || linkError == ENOSYS) {
            // No hard links here: create exclusively and write in place, under the name's
            // claim (a checked rename by another copy must not replace it). A reader may see
            // the file incomplete for a moment; a failed write removes it again.
            const NameClaim claim(target);
            const int descriptor =
                claim.Error() != 0
                    ? (errno = claim.Error(), -1)
                    : ::open(target.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0644);
            if (descriptor < 0) {
                result = errno == EEXIST ? PlaceResult::Exists : PlaceResult::Failed;
                error = Reason(target, errno);
            } else {
                const bool written = WriteAll(descriptor, text);
                error = written ? std::string() : Reason(target, errno);
                ::close(descriptor);
                if (!written) {
                    ::unlink(target.c_str());
                }
                result = written ? PlaceResult::Placed : PlaceResult::Failed;
            }
        } else {
            error = Reason(target, linkError);
        }
    }
    ::unlink(sibling.c_str());
    if (result == PlaceResult::Placed) {
        SyncFolder(target.parent_path());
    }
    return result;
}

namespace {

bool Replace(const fs::path& target, const std::string& text, std::string& error,
             bool keepCreation) {
    mode_t mode = 0644;
    struct stat status {};
    if (::stat(target.c_str(), &status) == 0) {
        mode = status.st_mode & 07777;
    }
    const fs::path sibling = PrivateName(target.parent_path(), "write");
    const TemporaryFileNote note(sibling);
    if (!WriteSibling(sibling, target, text, mode, error)) {
        return false;
    }
    if (keepCreation) {
        // The file replaced was made before: the new one says so ("Date Created" stays).
        CarryCreation(target.string(), sibling.string());
    }
    if (::rename(sibling.c_str(), target.c_str()) != 0) {
        error = Reason(target, errno);
        ::unlink(sibling.c_str());
        return false;
    }
    SyncFolder(target.parent_path());
    return true;
}

} // namespace

bool ReplaceFile(const fs::path& target, const std::string& text, std::string& error) {
    return Replace(target, text, error, true);
}

bool ReplaceFileAsItIs(const fs::path& target, const std::string& text, std::string& error) {
    return Replace(target, text, error, false);
}

} // namespace host
