#include "Marvane/application/LockAudit.h"

#include "Marvane/application/HostSession.h"
#include "Marvane/core/ThisMachine.h"

#include <cerrno>
#include <chrono>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <nlohmann/json.hpp>
#include <unistd.h>

namespace host {

namespace fs = std::filesystem;

namespace {

constexpr const char* kAuditFolder = ".marvane";

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

} // namespace

fs::path LockAuditFile(const fs::path& production) {
    return production / kAuditFolder / "lock-breaks.log";
}

fs::path AuditProductionFor(const fs::path& project, const fs::path& openProduction) {
    const fs::path absolute = fs::absolute(project).lexically_normal();
    std::error_code error;
    for (fs::path folder = absolute.parent_path(); folder.has_relative_path();
         folder = folder.parent_path()) {
        if (fs::is_directory(folder / kAuditFolder, error)) {
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
    nlohmann::json lock = nlohmann::json::parse(brokenLockBytes, nullptr, false);
    if (lock.is_discarded()) {
        lock = brokenLockBytes; // an unreadable lock is recorded as the text it held
    }
    const LockingPreferences by = HostSession::Instance().GetLocking();
    const nlohmann::json line{
        {"when", UtcNow()},
        {"by", by.name},
        {"byMachine", ThisHostName()},
        {"how", how},
        {"project", project.lexically_normal().lexically_relative(production).string()},
        {"lock", lock},
    };
    const fs::path file = LockAuditFile(production);
    std::error_code made;
    fs::create_directories(file.parent_path(), made);
    const int handle = ::open(file.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0644);
    if (handle < 0) {
        error = file.string() + ": " + std::strerror(errno);
        return false;
    }
    // One write of the whole line, so that lines of several editors never interleave.
    const std::string text = line.dump() + "\n";
    const ssize_t written = ::write(handle, text.data(), text.size());
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
