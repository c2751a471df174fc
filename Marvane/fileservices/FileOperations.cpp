// Copying and moving files and folders without ever writing over anything, and without
// losing a file when something fails part-way.
#include "Marvane/fileservices/FileCopy.h"
#include "Marvane/projectbackend/LockFiles.h"
#include "Marvane/projectbackend/ProjectFormats.h"
#include "host/DebugTrace.h"
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

// After a project moved: a lock this process left at its old place names a project that is
// not there any more.
int Moved(const fs::path& from) {
    if (IsMarvaneProjectFile(from.string())) {
        RemoveOwnLockFile(from);
    }
    return 0;
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
    if (IsPathWithinDirectory(to, from, true)) {
        // A folder copied into itself would copy its own copy without end.
        throw FileException("Cannot copy " + source.string() + " into itself");
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
        return Moved(from);
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
            return Moved(from);
        }
        if (errno != EXDEV) {
            return -errno;
        }
    } else if (renameError != EXDEV) {
        return -renameError;
    }
    // Across file systems: copy, verify, and only then remove the source. (A folder can
    // never be moved into itself: that is a rename on one file system, refused above.)
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
    // The verified copy is the item now. A source that cannot be removed completely is
    // reported, but the move counts as done: what is left behind is a second copy, not a loss.
    std::error_code error;
    fs::remove_all(from, error);
    if (error) {
        Trace("Host", 2,
              "Moved " + from.string() + " to " + to.string() +
                  " but could not remove all of the original: " + error.message());
    }
    return Moved(from);
}

} // namespace host
