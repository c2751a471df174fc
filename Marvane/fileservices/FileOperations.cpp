// Copying and moving files and folders without ever writing over anything, and without
// losing a file when something fails part-way.
#include "Marvane/projectbackend/ProjectFormats.h"
#include "host/FileServices.h"
#include "host/ProjectBackEnd.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <string>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace host {

namespace fs = std::filesystem;

namespace {

fs::path Native(const WideString& path) {
    return fs::path(ToUTF8(path));
}

std::string Reason(const fs::path& path, int errorNumber) {
    return path.string() + ": " + std::strerror(errorNumber);
}

// Copies one regular file to a new path (never over an existing one), with its permissions
// and modification time; throws FileException.
void CopyRegularFile(const fs::path& from, const fs::path& to, const struct stat& status) {
    const int in = ::open(from.c_str(), O_RDONLY | O_CLOEXEC);
    if (in < 0) {
        throw FileException("Cannot read " + Reason(from, errno));
    }
    const int out = ::open(to.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
    if (out < 0) {
        const int error = errno;
        ::close(in);
        throw FileException("Cannot create " + Reason(to, error));
    }
    char buffer[1 << 16];
    bool ok = true;
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
        throw FileException("Cannot copy to " + Reason(to, error));
    }
}

// Copies a file, link or folder tree to a new path; records what it made, so that a failure
// can take it away again.
void CopyTree(const fs::path& from, const fs::path& to, std::vector<fs::path>& made) {
    struct stat status {};
    if (::lstat(from.c_str(), &status) != 0) {
        throw FileException("Cannot read " + Reason(from, errno));
    }
    if (S_ISLNK(status.st_mode)) {
        std::error_code error;
        const fs::path target = fs::read_symlink(from, error);
        if (error || ::symlink(target.c_str(), to.c_str()) != 0) {
            throw FileException("Cannot copy the link " +
                                Reason(to, error ? error.value() : errno));
        }
        made.push_back(to);
    } else if (S_ISDIR(status.st_mode)) {
        if (::mkdir(to.c_str(), 0700) != 0) {
            throw FileException("Cannot create " + Reason(to, errno));
        }
        made.push_back(to);
        std::error_code error;
        for (fs::directory_iterator it(from, error), end; !error && it != end;
             it.increment(error)) {
            CopyTree(it->path(), to / it->path().filename(), made);
        }
        if (error) {
            throw FileException("Cannot list " + Reason(from, error.value()));
        }
        ::chmod(to.c_str(), status.st_mode & 07777);
    } else if (S_ISREG(status.st_mode)) {
        CopyRegularFile(from, to, status);
        made.push_back(to);
    } else {
        throw FileException("Cannot copy " + from.string() + ": not a file, folder or link");
    }
}

void RemoveMade(std::vector<fs::path>& made) {
    for (auto it = made.rbegin(); it != made.rend(); ++it) {
        std::error_code ignored;
        fs::remove(*it, ignored);
    }
    made.clear();
}

bool SameBytes(const fs::path& a, const fs::path& b) {
    std::string first;
    std::string second;
    return ReadWholeFile(ToUTF16(a.string()), first) &&
           ReadWholeFile(ToUTF16(b.string()), second) && first == second;
}

// Every file of the copy has its original's size, and project files the same bytes.
bool CopyMatches(const fs::path& from, const fs::path& to) {
    struct stat a {};
    struct stat b {};
    if (::lstat(from.c_str(), &a) != 0 || ::lstat(to.c_str(), &b) != 0 ||
        (a.st_mode & S_IFMT) != (b.st_mode & S_IFMT)) {
        return false;
    }
    if (S_ISREG(a.st_mode)) {
        if (a.st_size != b.st_size) {
            return false;
        }
        return !IsMarvaneProjectFile(from.string()) || SameBytes(from, to);
    }
    if (S_ISDIR(a.st_mode)) {
        std::error_code error;
        for (fs::directory_iterator it(from, error), end; !error && it != end;
             it.increment(error)) {
            if (!CopyMatches(it->path(), to / it->path().filename())) {
                return false;
            }
        }
        if (error) {
            return false;
        }
        // Folder projects: their content file is compared byte for byte.
        if (IsMarvaneProjectFile(from.string())) {
            return SameBytes(from / kProjectFolderContentName, to / kProjectFolderContentName);
        }
    }
    return true;
}

} // namespace

WideString GetPathFileName(const WideString& path) {
    return GetFullFilePart(StripTrailingSlash(path));
}

bool FileOrDirExists(const WideString& path) {
    struct stat status {};
    return ::lstat(ToUTF8(path).c_str(), &status) == 0;
}

bool DirectoryExists(const WideString& path) {
    std::error_code error;
    return fs::is_directory(Native(path), error);
}

bool IsPathWithinDirectory(const WideString& path, const WideString& directory, bool includeEqual) {
    const WideString inner = ToNormalizedPath(path);
    WideString outer = ToNormalizedPath(directory);
    if (inner.empty() || outer.empty()) {
        return false;
    }
    if (inner == outer) {
        return includeEqual;
    }
    if (outer.back() != u'/') {
        outer += u'/';
    }
    return inner.compare(0, outer.size(), outer) == 0;
}

WideString MakeUniqueFilename(const WideString& path, int firstIndex, const WideString& separator,
                              const std::vector<WideString>& reservedPaths) {
    const WideString clean = StripTrailingSlash(path);
    const std::size_t slash = clean.rfind(u'/');
    const WideString folder = slash == WideString::npos ? WideString() : clean.substr(0, slash + 1);
    const WideString name = clean.substr(folder.size());
    // Files and project folders keep their extension at the end; other folders are numbered
    // at the end of their whole name.
    std::size_t dot = name.rfind(u'.');
    const bool plainFolder = DirectoryExists(clean) && !IsMarvaneProjectFile(ToUTF8(clean));
    if (dot == WideString::npos || dot == 0 || plainFolder) {
        dot = name.size();
    }
    const WideString stem = name.substr(0, dot);
    const WideString extension = name.substr(dot);
    for (int index = firstIndex;; ++index) {
        const WideString candidate =
            folder + stem + separator + ToUTF16(std::to_string(index)) + extension;
        bool reserved = false;
        for (const WideString& taken : reservedPaths) {
            reserved = reserved || ToNormalizedPath(taken) == ToNormalizedPath(candidate);
        }
        if (!reserved && !FileOrDirExists(candidate)) {
            return candidate;
        }
    }
}

bool EnsureDirectoryExists(const WideString& path) {
    std::error_code error;
    fs::create_directories(Native(path), error);
    return DirectoryExists(path);
}

void Copy(const WideString& from, const WideString& to) {
    const fs::path source = Native(StripTrailingSlash(from));
    const fs::path target = Native(StripTrailingSlash(to));
    if (FileOrDirExists(to)) {
        throw FileException("Cannot copy to " + target.string() + ": it exists already");
    }
    std::vector<fs::path> made;
    try {
        CopyTree(source, target, made);
    } catch (...) {
        RemoveMade(made);
        throw;
    }
}

int Move(const WideString& source, const WideString& destination) {
    const fs::path from = Native(StripTrailingSlash(source));
    const fs::path to = Native(StripTrailingSlash(destination));
    // A rename that never replaces what is at the destination.
    if (::renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE) == 0) {
        return 0;
    }
    const int renameError = errno;
    if (renameError == EEXIST) {
        return -EEXIST;
    }
    if (renameError == EINVAL || renameError == ENOSYS) {
        // No RENAME_NOREPLACE on this file system: link-and-unlink for files never replaces.
        struct stat status {};
        if (::lstat(to.c_str(), &status) == 0) {
            return -EEXIST;
        }
        if (::rename(from.c_str(), to.c_str()) == 0) {
            return 0;
        }
        if (errno != EXDEV) {
            return -errno;
        }
    } else if (renameError != EXDEV) {
        return -renameError;
    }
    // Across file systems: copy, verify, and only then remove the source.
    std::vector<fs::path> made;
    try {
        CopyTree(from, to, made);
    } catch (const FileException&) {
        RemoveMade(made);
        return -EIO;
    }
    if (!CopyMatches(from, to)) {
        RemoveMade(made);
        return -EIO;
    }
    std::error_code error;
    fs::remove_all(from, error);
    return error ? -error.value() : 0;
}

} // namespace host
