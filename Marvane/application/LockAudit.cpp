#include "Marvane/application/LockAudit.h"
#include "Marvane/fileservices/MountKinds.h"

#include "Marvane/application/HostSession.h"
#include "Marvane/core/ThisMachine.h"
#include "Marvane/projectbackend/LockBreakLine.h"

#include <cerrno>
#include <chrono>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace host {

namespace fs = std::filesystem;

namespace {

constexpr const char* kAuditFolder = ".marvane";
constexpr const char* kAuditFileName = "lock-breaks.log";

std::string UtcNow() {
    const std::time_t now = std::chrono::system_clock::to_time_t(std::chrono::system_clock::now());
    std::tm parts{};
    ::gmtime_r(&now, &parts);
    char text[32];
    std::strftime(text, sizeof(text), "%Y-%m-%dT%H:%M:%SZ", &parts);
    return text;
}

bool IsWithin(const fs::path& path, const fs::path& folder) {
    const auto relative = path.lexically_normal().lexically_relative(folder.lexically_normal());
    return !folder.empty() && !relative.empty() && *relative.begin() != "..";
}

// Why a path of the record could not be opened; a link is named as such, whatever error
// refusing it gave.
std::string Reason(const fs::path& path, int errorNumber) {
    struct stat status {};
    if (::lstat(path.c_str(), &status) == 0 && S_ISLNK(status.st_mode)) {
        return path.string() + " is a symbolic link: the record is never written through one.";
    }
    return path.string() + ": " + std::strerror(errorNumber);
}

// The record file, opened for appending inside a ".marvane" that is a real folder: neither the
// folder nor the file may be a symbolic link, and the file must be a regular one (a pipe in
// its place would otherwise keep the break waiting). -1 with the reason in error.
//
// An SMB server refuses O_APPEND (the client then drops its connection for seconds, and the
// whole share stops answering): there the file is opened for writing and each line is written
// at the end the file has when it is written (see RecordLockBreak).
int OpenRecord(const fs::path& folder, bool append, std::string& error) {
    if (::mkdir(folder.c_str(), 0755) != 0 && errno != EEXIST) {
        error = Reason(folder, errno);
        return -1;
    }
    const int folderHandle =
        ::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
    if (folderHandle < 0) {
        error = Reason(folder, errno);
        return -1;
    }
    const fs::path file = folder / kAuditFileName;
    const int handle = ::openat(
        folderHandle, kAuditFileName,
        O_WRONLY | O_CREAT | (append ? O_APPEND : 0) | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC, 0644);
    const int openError = errno;
    ::close(folderHandle);
    if (handle < 0) {
        error = Reason(file, openError);
        return -1;
    }
    struct stat status {};
    if (::fstat(handle, &status) != 0 || !S_ISREG(status.st_mode)) {
        ::close(handle);
        error = file.string() + " is not a regular file: the record is not written into it.";
        return -1;
    }
    return handle;
}

} // namespace

fs::path LockAuditFile(const fs::path& production) {
    return production / kAuditFolder / kAuditFileName;
}

fs::path AuditProductionFor(const fs::path& project, const fs::path& openProduction) {
    const fs::path absolute = fs::absolute(project).lexically_normal();
    std::error_code error;
    for (fs::path folder = absolute.parent_path(); folder.has_relative_path();
         folder = folder.parent_path()) {
        // A link named ".marvane" does not make a production: its record would be written
        // wherever the link points.
        if (fs::is_directory(fs::symlink_status(folder / kAuditFolder, error))) {
            return folder;
        }
    }
    if (IsWithin(absolute, openProduction)) {
        return openProduction;
    }
    return absolute.parent_path();
}

bool RecordLockBreak(const fs::path& production, const fs::path& project,
                     const std::string& brokenLockBytes, const std::string& how,
                     std::string& error) {
    const LockBreak lockBreak{
        .when = UtcNow(),
        .by = HostSession::Instance().GetLocking().name,
        .byMachine = ThisHostName(),
        .how = how,
        .project = project.lexically_normal().lexically_relative(production).string(),
        .lock = brokenLockBytes,
    };
    const std::string text = LockBreakLine(lockBreak);
    const fs::path file = LockAuditFile(production);
    const bool append = ShareKindOf(production) != ShareKind::Smb;
    const int handle = OpenRecord(file.parent_path(), append, error);
    if (handle < 0) {
        return false;
    }
    // One write of the whole line, so that lines of several editors never interleave. Without
    // O_APPEND the line goes at the end the file has now; two editors recording at the very
    // same moment may then write one line over the other (the breaks themselves are not
    // affected: only one editor takes over any one lock).
    ssize_t written = -1;
    if (append) {
        written = ::write(handle, text.data(), text.size());
    } else {
        struct stat status {};
        written = ::fstat(handle, &status) == 0
                      ? ::pwrite(handle, text.data(), text.size(), status.st_size)
                      : -1;
    }
    const int writeError = errno;
    const bool synced = ::fsync(handle) == 0;
    ::close(handle);
    if (written != static_cast<ssize_t>(text.size()) || !synced) {
        error = file.string() + ": " + std::strerror(written < 0 ? writeError : EIO);
        return false;
    }
    return true;
}

} // namespace host
