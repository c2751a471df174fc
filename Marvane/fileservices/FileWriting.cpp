#include "Marvane/fileservices/FileWriting.h"

#include <atomic>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <random>
#include <sys/stat.h>
#include <unistd.h>

namespace host {

namespace fs = std::filesystem;

namespace {

std::string HostName() {
    char name[256] = {};
    return gethostname(name, sizeof(name) - 1) == 0 ? std::string(name) : std::string();
}

// Writes everything, retrying short writes and interruptions; false with errno set.
bool WriteAll(int descriptor, const std::string& text) {
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
    return ::fsync(descriptor) == 0;
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

// A new hidden file beside target holding the text, or an empty path with error set.
fs::path WriteSibling(const fs::path& target, const std::string& text, mode_t mode,
                      std::string& error) {
    static std::atomic<unsigned> counter{0};
    static const std::string host = HostName();
    std::random_device random;
    const fs::path sibling =
        target.parent_path() /
        ("." + target.filename().string() + "." + host + "." + std::to_string(::getpid()) + "." +
         std::to_string(counter++) + "." + std::to_string(random()) + ".tmp");
    const int descriptor = ::open(sibling.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, mode);
    if (descriptor < 0) {
        error = Reason(sibling, errno);
        return {};
    }
    const bool written = WriteAll(descriptor, text) && ::fchmod(descriptor, mode) == 0;
    const int writeError = errno;
    ::close(descriptor);
    if (!written) {
        ::unlink(sibling.c_str());
        error = Reason(target, writeError);
        return {};
    }
    return sibling;
}

} // namespace

PlaceResult PlaceNewFile(const fs::path& target, const std::string& text, std::string& error) {
    const fs::path sibling = WriteSibling(target, text, 0644, error);
    if (sibling.empty()) {
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
            // No hard links here: create exclusively and write in place. A reader may see the
            // file incomplete for a moment; a failed write removes it again.
            const int descriptor =
                ::open(target.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0644);
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

bool ReplaceFile(const fs::path& target, const std::string& text, std::string& error) {
    mode_t mode = 0644;
    struct stat status {};
    if (::stat(target.c_str(), &status) == 0) {
        mode = status.st_mode & 07777;
    }
    const fs::path sibling = WriteSibling(target, text, mode, error);
    if (sibling.empty()) {
        return false;
    }
    if (::rename(sibling.c_str(), target.c_str()) != 0) {
        error = Reason(target, errno);
        ::unlink(sibling.c_str());
        return false;
    }
    SyncFolder(target.parent_path());
    return true;
}

} // namespace host
