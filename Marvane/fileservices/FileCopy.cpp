// Copying files, links and folder trees to new paths, never over anything, with progress.
#include "Marvane/fileservices/FileCopy.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

namespace host {

namespace fs = std::filesystem;

namespace {

std::string Reason(const fs::path& path, int errorNumber) {
    return path.string() + ": " + std::strerror(errorNumber);
}

// Copies one regular file to a new path (never over an existing one), with its permissions
// and modification time; throws FileException.
void CopyRegularFile(const fs::path& from, const fs::path& to, const struct stat& status,
                     const CopyProgress& progress) {
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
    char buffer[1 << 16];
    bool ok = true;
    bool cancelled = false;
    int error = 0;
    while (ok) {
        const ssize_t count = ::read(in, buffer, sizeof(buffer));
        if (count < 0 && errno == EINTR) {
            continue;
        }
        if (count <= 0) {
            ok = count == 0;
            error = errno;
            break;
        }
        std::size_t written = 0;
        while (written < static_cast<std::size_t>(count)) {
            const ssize_t result =
                ::write(out, buffer + written, static_cast<std::size_t>(count) - written);
            if (result < 0 && errno == EINTR) {
                continue;
            }
            if (result <= 0) {
                ok = false;
                error = result == 0 ? EIO : errno;
                break;
            }
            written += static_cast<std::size_t>(result);
        }
        if (ok && progress && !progress(static_cast<std::uint64_t>(count), false)) {
            ok = false;
            cancelled = true;
            break;
        }
    }
    if (ok && (::fchmod(out, status.st_mode & 07777) != 0 || ::fsync(out) != 0)) {
        ok = false;
        error = errno;
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
    if (progress && !progress(0, true)) {
        ::unlink(to.c_str());
        throw CopyCancelled("The copy to " + to.string() + " was cancelled");
    }
}

} // namespace

// Copies a file, link or folder tree to a new path; records what it made, so that a failure
// can take it away again.
void CopyTree(const fs::path& from, const fs::path& to, std::vector<fs::path>& made,
              const CopyProgress& progress) {
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
            CopyTree(it->path(), to / it->path().filename(), made, progress);
        }
        if (error) {
            throw FileException("Cannot list " + Reason(from, error.value()), error.value());
        }
        ::chmod(to.c_str(), status.st_mode & 07777);
    } else if (S_ISREG(status.st_mode)) {
        CopyRegularFile(from, to, status, progress);
        made.push_back(to);
    } else {
        throw FileException("Cannot copy " + from.string() + ": not a file, folder or link",
                            EINVAL);
    }
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
