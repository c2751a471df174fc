#include "Marvane/projectbackend/LockStates.h"

#include "Marvane/core/ThisMachine.h"
#include "Marvane/fileservices/AccessDeadline.h"
#include "Marvane/fileservices/TreeWalk.h"
#include "Marvane/projectbackend/LockingIdentity.h"
#include "host/Localizer.h"
#include "host/ProjectBackEnd.h"

#include <algorithm>
#include <fcntl.h>
#include <sys/stat.h>

namespace host {

namespace fs = std::filesystem;

namespace {

std::chrono::seconds AgeOf(fs::file_time_type time) {
    const auto age = fs::file_time_type::clock::now() - time;
    return std::max(std::chrono::seconds(0), std::chrono::duration_cast<std::chrono::seconds>(age));
}

bool IsOurs(const LockFileContent& content) {
    const LockingIdentity identity = CurrentLockingIdentity();
    return !identity.name.empty() && content.lockingName == identity.name &&
           content.secondLockingString == identity.second;
}

} // namespace

const char* LockStateName(LockState state) {
    switch (state) {
    case LockState::Yours:
        return "yours";
    case LockState::Live:
        return "live";
    case LockState::Abandoned:
        return "abandoned";
    case LockState::Silent:
        return "silent";
    case LockState::Unreadable:
        break;
    }
    return "unreadable";
}

LockState JudgeLockState(LockFileState read, const LockFileContent& content,
                         std::chrono::seconds sinceLastSeen, std::chrono::seconds silentAfter) {
    if (read != LockFileState::Valid) {
        return LockState::Unreadable;
    }
    switch (JudgeLockHolder(content)) {
    case LockHolder::GoneHere:
        return LockState::Abandoned;
    case LockHolder::ThisProcess:
    case LockHolder::LiveHere:
        return IsOurs(content) ? LockState::Yours : LockState::Live;
    case LockHolder::Elsewhere:
        break;
    }
    if (sinceLastSeen > silentAfter) {
        return LockState::Silent;
    }
    return IsOurs(content) ? LockState::Yours : LockState::Live;
}

namespace {

bool InspectLockNow(const fs::path& projectPath, std::chrono::seconds silentAfter,
                    LockReport& report) {
    report = LockReport{};
    report.projectPath = projectPath;
    const fs::path lockPath = LockFilePathFor(projectPath);
    std::error_code error;
    const fs::file_status status = fs::symlink_status(lockPath, error);
    if (error || !fs::exists(status)) {
        return false;
    }
    report.lockPath = lockPath;
    const LockFileState read = ReadLockFile(lockPath, report.content);
    if (read == LockFileState::Valid) {
        report.lastSeen = fs::last_write_time(lockPath, error);
        report.sinceLastSeen = error ? std::chrono::seconds(0) : AgeOf(report.lastSeen);
    } else {
        report.content = LockFileContent{};
    }
    report.state = JudgeLockState(read, report.content, report.sinceLastSeen, silentAfter);
    return true;
}

} // namespace

bool InspectLock(const fs::path& projectPath, std::chrono::seconds silentAfter,
                 LockReport& report) {
    using Inspection = std::pair<bool, LockReport>;
    const std::optional<Inspection> inspection =
        files::Bounded<Inspection>(projectPath, [projectPath, silentAfter] {
            Inspection result;
            result.first = InspectLockNow(projectPath, silentAfter, result.second);
            return result;
        });
    if (!inspection) {
        report = LockReport{};
        report.projectPath = projectPath;
        report.lockPath = LockFilePathFor(projectPath);
        report.unanswered = true;
        return true;
    }
    report = inspection->second;
    return inspection->first;
}

namespace {

// Every lock file in the production, beside its project; hidden names and the inside of
// project folders are passed over, and so is what cannot be read.
class LockFileSearch : public TreeVisitor {
public:
    std::vector<fs::path> projects;

    WalkStep Enter(const TreeWalkEntry& entry) override {
        if (entry.depth != 0 && IsProjectLockFileName(entry.name)) {
            const fs::path lock = entry.FullPath();
            const std::string name = lock.filename().string();
            projects.push_back(lock.parent_path() / name.substr(0, name.size() - 5));
        }
        return WalkStep::kContinue;
    }

    WalkStep Failed(const TreeWalkEntry& entry, int) override {
        return entry.depth == 0 ? WalkStep::kStop : WalkStep::kContinue;
    }
};

} // namespace

std::vector<LockReport> ListProductionLocks(const fs::path& production,
                                            std::chrono::seconds silentAfter) {
    LockFileSearch search;
    TreeWalkOptions options;
    options.dotNames = false;
    options.intoProjectFolders = false; // a project stored as a folder is the project's own
    options.statEveryEntry = false;
    options.followRootLink = true;
    WalkTree(production, search, options);
    std::vector<LockReport> reports;
    for (const fs::path& project : search.projects) {
        LockReport report;
        if (InspectLock(project, silentAfter, report)) {
            reports.push_back(std::move(report));
        }
    }
    std::sort(reports.begin(), reports.end(), [](const LockReport& a, const LockReport& b) {
        return a.projectPath < b.projectPath;
    });
    return reports;
}

bool RefreshLockTime(const fs::path& lockPath, const std::string& expectedBytes) {
    LockFileContent content;
    std::string bytes;
    if (ReadLockFile(lockPath, content, bytes) != LockFileState::Valid || bytes != expectedBytes) {
        return false;
    }
    // The time only: the content, and so everything that identifies the lock, stays.
    return files::Bounded<bool>(
               lockPath,
               [lockPath] { return ::utimensat(AT_FDCWD, lockPath.c_str(), nullptr, 0) == 0; })
        .value_or(false);
}

std::string DescribeLastSeen(std::chrono::seconds sinceLastSeen) {
    const long long seconds = sinceLastSeen.count();
    if (seconds < 60) {
        return "just now";
    }
    if (seconds < 3600) {
        return std::to_string(seconds / 60) + " min ago";
    }
    if (seconds < 48 * 3600) {
        return std::to_string(seconds / 3600) + " h ago";
    }
    return std::to_string(seconds / 86400) + " days ago";
}

std::string DescribeLock(const LockReport& report) {
    const LockFileContent& lock = report.content;
    const std::string machine = lock.hostName == ThisHostName()
                                    ? Localize("$$$/Marvane/Host/Lock/ThisMachine=this machine")
                                    : lock.hostName;
    switch (report.state) {
    case LockState::Abandoned:
        return Localize("$$$/Marvane/Host/Lock/Abandoned=@0's marvane on @1 is no longer "
                        "running. Nobody holds the project: it can be taken over.",
                        {lock.lockingName, machine});
    case LockState::Silent:
        return Localize("$$$/Marvane/Host/Lock/Silent=Locked by @0 on @1, last seen @2. Their "
                        "marvane has stopped answering: the lock can be broken.",
                        {lock.lockingName, machine, DescribeLastSeen(report.sinceLastSeen)});
    case LockState::Yours:
    case LockState::Live:
        return Localize("$$$/Marvane/Host/Lock/Live=Locked by @0 on @1, last seen @2.",
                        {lock.lockingName, machine, DescribeLastSeen(report.sinceLastSeen)});
    case LockState::Unreadable:
        break;
    }
    if (report.unanswered) {
        return Localize("$$$/Marvane/Host/Lock/Unanswered=The lock cannot be read now: the "
                        "production's folder does not answer.");
    }
    return Localize("$$$/Marvane/Host/Lock/Unreadable=The lock file cannot be read, so the "
                    "project counts as locked by someone else.");
}

} // namespace host
