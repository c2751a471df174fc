#include "Marvane/projectbackend/LockFiles.h"
#include "Marvane/core/JsonText.h"
#include "Marvane/core/MainThread.h"
#include "Marvane/projectbackend/LockingIdentity.h"

#include "Marvane/core/ThisMachine.h"
#include "Marvane/fileservices/AccessDeadline.h"
#include "Marvane/fileservices/FileWriting.h"
#include "Marvane/fileservices/ProcessNotes.h"
#include "Marvane/fileservices/TreeWalk.h"
#include "Marvane/projectbackend/LockFileText.h"
#include "Marvane/projectbackend/ProjectFormats.h"
#include "host/DebugTrace.h"

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <fstream>
#include <functional>
#include <mutex>
#include <nlohmann/json.hpp>
#include <set>
#include <sys/stat.h>
#include <unistd.h>

namespace host {

namespace {

namespace fs = std::filesystem;

constexpr std::size_t kMaximumLockFileBytes = 64 * 1024;

class LockFile final : public IProjectLockFile {
public:
    LockFile(bool owned, std::string owner) : mOwned(owned), mOwner(std::move(owner)) {}
    bool IsOwnedByCaller() const override { return mOwned; }
    ByteString GetOwnerName() const override { return mOwner; }

private:
    bool mOwned;
    std::string mOwner;
};

std::string UtcNow() {
    const std::time_t now = std::time(nullptr);
    std::tm parts{};
    gmtime_r(&now, &parts);
    char text[32] = {};
    std::strftime(text, sizeof(text), "%Y-%m-%dT%H:%M:%SZ", &parts);
    return text;
}

ProjectLockFilePtr LockFor(LockFileState state, const LockFileContent& content,
                           const std::string& name, const std::string& second) {
    if (state == LockFileState::Unreadable) {
        return std::make_shared<LockFile>(false, std::string(kUnreadableLockHolder));
    }
    const bool owned = content.lockingName == name && content.secondLockingString == second;
    return std::make_shared<LockFile>(owned, content.lockingName);
}

} // namespace

bool IsProjectLockFileName(const std::string& name) {
    const std::string suffix(kLockFileSuffix);
    if (name.size() <= suffix.size() ||
        name.compare(name.size() - suffix.size(), suffix.size(), suffix) != 0) {
        return false;
    }
    return IsMarvaneProjectFile(name.substr(0, name.size() - suffix.size()));
}

fs::path LockFilePathFor(const fs::path& projectPath) {
    fs::path project = projectPath;
    if (!project.has_filename()) {
        project = project.parent_path();
    }
    return project.parent_path() / (project.filename().string() + std::string(kLockFileSuffix));
}

namespace {
std::atomic<std::uint64_t> gLockFileReads{0};
thread_local std::string gLockCreationError;
// Locks this process wrote for a module that no open project has taken over. A module locks
// a project while a command of it moves the project; the command runs to its end before the
// event loop turns again, so once it turns these locks have done their work and go, whether
// the move succeeded or not: a closed project moved by an editor must not look locked by them.
std::mutex gCreatedMutex;
std::set<std::string> gCreatedLocks;
std::atomic<bool> gReleaseQueued{false};

// Each of those locks is noted in a record of this process in the data folder while it waits
// to go, so that the next start removes the locks of a run killed in the middle of a move.
ProcessNotes& TheLockNotes() {
    static ProcessNotes notes("locks of moves");
    return notes;
}

std::string CreatedLockKey(const std::string& projectPath) {
    return fs::path(projectPath).lexically_normal().string();
}

// noted: the lock was noted before it was placed (a kill between the two must not leave a
// lock nobody noted); else it is noted now.
void RememberCreatedLock(const std::string& projectPath, bool noted) {
    {
        const std::lock_guard guard(gCreatedMutex);
        const std::string project = CreatedLockKey(projectPath);
        if (gCreatedLocks.insert(project).second) {
            if (!noted) {
                TheLockNotes().Note(project);
            }
        } else if (noted) {
            TheLockNotes().Done(project); // noted once already
        }
    }
    if (MainThreadHasEventLoop() && !gReleaseQueued.exchange(true)) {
        QueueOnMainThread([] {
            gReleaseQueued = false;
            ReleaseCreatedLocks();
        });
    }
}

} // namespace

void ForgetCreatedLock(const fs::path& projectPath) {
    const std::lock_guard guard(gCreatedMutex);
    const std::string project = projectPath.lexically_normal().string();
    if (gCreatedLocks.erase(project) != 0) {
        TheLockNotes().Done(project); // an open project holds it now, and lets it go itself
    }
}

std::size_t ReleaseCreatedLocks() {
    std::set<std::string> created;
    {
        const std::lock_guard guard(gCreatedMutex);
        created.swap(gCreatedLocks);
    }
    std::size_t removed = 0;
    std::set<std::string> failed;
    for (const std::string& project : created) {
        switch (ReleaseOwnLockFile(project)) {
        case LockRelease::Released:
            ++removed;
            TheLockNotes().Done(project);
            break;
        case LockRelease::NotOurs:
            TheLockNotes().Done(project);
            break;
        case LockRelease::Failed:
            failed.insert(project); // kept for the next try, at the latest when the host stops
            break;
        }
    }
    if (!failed.empty()) {
        const std::lock_guard guard(gCreatedMutex);
        gCreatedLocks.merge(failed);
    }
    return removed;
}

void KeepReleasing(const fs::path& projectPath) {
    RememberCreatedLock(projectPath.string(), false);
}

std::vector<std::string> LocksLeftBehind() {
    const std::lock_guard guard(gCreatedMutex);
    return {gCreatedLocks.begin(), gCreatedLocks.end()};
}

std::string LockCreationError() {
    return gLockCreationError;
}

std::uint64_t LockFileReadCount() {
    return gLockFileReads.load();
}

LockFileState ReadLockFile(const fs::path& lockPath, LockFileContent& content) {
    std::string bytes;
    return ReadLockFile(lockPath, content, bytes);
}

namespace {

LockFileState ReadLockFileNow(const fs::path& lockPath, LockFileContent& content,
                              std::string& bytes) {
    bytes.clear();
    // Anything but a regular file in its place (a link, a folder, a pipe, a device) is
    // unreadable and never opened; the open checks again, in case it was swapped meanwhile.
    struct stat found {};
    if (::lstat(lockPath.c_str(), &found) != 0) {
        // A project whose name is too long for a lock beside it can have no lock at all.
        return errno == ENOENT || errno == ENOTDIR || errno == ENAMETOOLONG
                   ? LockFileState::Missing
                   : LockFileState::Unreadable;
    }
    if (!S_ISREG(found.st_mode)) {
        return LockFileState::Unreadable;
    }
    const int file =
        ::open(lockPath.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
    if (file < 0) {
        return errno == ENOENT || errno == ENOTDIR ? LockFileState::Missing
                                                   : LockFileState::Unreadable;
    }
    std::string text;
    struct stat status {};
    bool readable = ::fstat(file, &status) == 0 && S_ISREG(status.st_mode) && status.st_size > 0 &&
                    static_cast<std::size_t>(status.st_size) <= kMaximumLockFileBytes;
    if (readable) {
        text.resize(static_cast<std::size_t>(status.st_size));
        std::size_t filled = 0;
        while (filled < text.size()) {
            const ssize_t got = ::read(file, text.data() + filled, text.size() - filled);
            if (got < 0 && errno == EINTR) {
                continue;
            }
            if (got <= 0) {
                readable = got == 0;
                break;
            }
            filled += static_cast<std::size_t>(got);
        }
        text.resize(filled);
    }
    ::close(file);
    if (!readable || text.empty() || text.size() > kMaximumLockFileBytes ||
        !DecodeLockFileText(text, content)) {
        return LockFileState::Unreadable;
    }
    bytes = std::move(text);
    return LockFileState::Valid;
}

struct LockFileRead {
    LockFileState state = LockFileState::Unreadable;
    LockFileContent content;
    std::string bytes;
};

} // namespace

LockFileState ReadLockFile(const fs::path& lockPath, LockFileContent& content, std::string& bytes) {
    gLockFileReads.fetch_add(1);
    // A lock on a share that does not answer tells nothing: it counts as unreadable, and so as
    // someone else's, which never unlocks a project.
    const std::optional<LockFileRead> read = files::Bounded<LockFileRead>(lockPath, [lockPath] {
        LockFileRead result;
        result.state = ReadLockFileNow(lockPath, result.content, result.bytes);
        return result;
    });
    bytes.clear();
    if (!read) {
        return LockFileState::Unreadable;
    }
    content = read->content;
    bytes = read->bytes;
    return read->state;
}

LockFileContent MakeLockFileContent(const std::string& name, const std::string& second) {
    static const std::string bootId = ThisBootId();
    static const std::string machineId = ThisMachineId();
    LockFileContent content;
    content.lockingName = name;
    content.secondLockingString = second;
    content.hostName = ThisHostName();
    content.processId = static_cast<long long>(::getpid());
    content.processStartTicks = ThisProcessStartTicks();
    content.bootId = bootId;
    content.machineId = machineId;
    content.createdUtc = UtcNow();
    return content;
}

std::string SerialiseLockFile(const LockFileContent& content) {
    const nlohmann::json json = {{"lockingName", content.lockingName},
                                 {"secondLockingString", content.secondLockingString},
                                 {"hostName", content.hostName},
                                 {"processId", content.processId},
                                 {"processStartTicks", content.processStartTicks},
                                 {"bootId", content.bootId},
                                 {"machineId", content.machineId},
                                 {"createdUtc", content.createdUtc}};
    return JsonText(json, 2) + "\n";
}

LockHolder JudgeLockHolder(const LockFileContent& content) {
    static const std::string bootId = ThisBootId();
    static const std::string machineId = ThisMachineId();
    if (content.hostName.empty() || content.hostName != ThisHostName()) {
        return LockHolder::Elsewhere;
    }
    if (content.bootId != bootId) {
        // Another start of this very machine, or another machine that has our host name:
        // only the machine id tells them apart.
        return !machineId.empty() && content.machineId == machineId ? LockHolder::GoneHere
                                                                    : LockHolder::Elsewhere;
    }
    if (content.processId <= 0) {
        return LockHolder::GoneHere;
    }
    const long long ourStartTicks = ThisProcessStartTicks();
    if (content.processId == ::getpid()) {
        return content.processStartTicks == 0 || content.processStartTicks == ourStartTicks
                   ? LockHolder::ThisProcess
                   : LockHolder::GoneHere;
    }
    if (ourStartTicks == 0) {
        // No process table to read start times from: the pid alone has to do.
        const bool running =
            ::kill(static_cast<pid_t>(content.processId), 0) == 0 || errno == EPERM;
        return running ? LockHolder::LiveHere : LockHolder::GoneHere;
    }
    // A lock that recorded its process's start time is that process's only while the pid
    // still has that start time; an older lock can only go by the pid.
    const long long startTicks = ProcessStartTicks(content.processId);
    const bool sameProcess = startTicks != 0 && (content.processStartTicks == 0 ||
                                                 content.processStartTicks == startTicks);
    return sameProcess ? LockHolder::LiveHere : LockHolder::GoneHere;
}

bool MayBeHeldByAnotherProcess(const LockFileContent& content) {
    const LockHolder holder = JudgeLockHolder(content);
    return holder == LockHolder::LiveHere || holder == LockHolder::Elsewhere;
}

bool IsWrittenByThisProcess(const LockFileContent& content) {
    return JudgeLockHolder(content) == LockHolder::ThisProcess;
}

namespace {

// Takes a lock judged removable out of the way under a private name, checks that it is still
// the very lock judged (its bytes), then deletes it; a lock that turns out to be another goes
// back unless its place was taken meanwhile.
LockRelease RemoveJudgedLock(const fs::path& lockPath, const std::string& judged,
                             std::atomic<std::uint64_t>& progress) {
    const auto answered = [&progress] { progress.fetch_add(1); };
    // A colleague reading the lock makes an SMB server refuse both steps for a moment: they
    // are tried again.
    const fs::path aside = PrivateName(lockPath.parent_path(), "releasing");
    const int moved = RetryWhileBusy(
        [&] { return ::rename(lockPath.c_str(), aside.c_str()) == 0 ? 0 : errno; }, answered);
    if (moved != 0) {
        Trace("Host", 1,
              "Could not release the lock " + lockPath.string() + ": " + std::strerror(moved));
        return moved == ENOENT ? LockRelease::NotOurs : LockRelease::Failed;
    }
    LockFileContent asideContent;
    std::string bytes;
    if (ReadLockFile(aside, asideContent, bytes) == LockFileState::Valid && bytes == judged) {
        const int removed = RetryWhileBusy([&] { return RemoveJustClosedFile(aside); }, answered);
        if (removed != 0) {
            Trace("Host", 1,
                  "A released lock stays under " + aside.string() + ": " + std::strerror(removed));
        }
        return LockRelease::Released; // the project is not locked any more either way
    }
    if (RenameNoReplace(aside, lockPath) != 0) {
        Trace("Host", 1, "A lock taken aside could not go back: " + aside.string());
    }
    return LockRelease::NotOurs;
}

LockRelease ReleaseOwnLockFileNow(const fs::path& projectPath, bool alsoAbandoned,
                                  std::atomic<std::uint64_t>& progress) {
    const fs::path lockPath = LockFilePathFor(projectPath);
    LockFileContent content;
    std::string judged;
    const LockFileState state = ReadLockFile(lockPath, content, judged);
    if (state != LockFileState::Valid) {
        return LockRelease::NotOurs; // gone, or not a lock this process could have written
    }
    const LockHolder holder = JudgeLockHolder(content);
    bool removable = holder == LockHolder::ThisProcess;
    if (alsoAbandoned && holder == LockHolder::GoneHere) {
        const LockingIdentity ours = CurrentLockingIdentity();
        removable = content.lockingName == ours.name && content.secondLockingString == ours.second;
    }
    if (!removable) {
        return LockRelease::NotOurs;
    }
    return RemoveJudgedLock(lockPath, judged, progress);
}

} // namespace

LockRelease ReleaseOwnLockFile(const fs::path& projectPath, bool alsoAbandoned) {
    return files::BoundedWhileMoving<LockRelease>(
               projectPath,
               [projectPath, alsoAbandoned](std::atomic<std::uint64_t>& progress) {
                   return ReleaseOwnLockFileNow(projectPath, alsoAbandoned, progress);
               })
        .value_or(LockRelease::Failed);
}

bool RemoveOwnLockFile(const fs::path& projectPath, bool alsoAbandoned) {
    return ReleaseOwnLockFile(projectPath, alsoAbandoned) == LockRelease::Released;
}

namespace {

// Whether the lock was written by the very process that noted it (not only by the same
// person): the lock of an editor who took the project over since is theirs.
bool WrittenBy(const LockFileContent& content, const NoteWriter& writer) {
    return content.hostName == writer.hostName && content.bootId == writer.bootId &&
           content.processId == writer.processId &&
           content.processStartTicks == writer.processStartTicks;
}

// A lock a gone run made for a move and did not live to remove.
NoteTidied ReleaseLockOfGoneRun(const std::string& project, const NoteWriter& writer) {
    const fs::path projectPath(project);
    const std::optional<NoteTidied> tidied = files::BoundedWhileMoving<NoteTidied>(
        projectPath, [projectPath, writer](std::atomic<std::uint64_t>& progress) {
            const fs::path lockPath = LockFilePathFor(projectPath);
            LockFileContent content;
            std::string judged;
            switch (ReadLockFile(lockPath, content, judged)) {
            case LockFileState::Missing: {
                struct stat folder {};
                return ::stat(lockPath.parent_path().c_str(), &folder) == 0
                           ? NoteTidied::NothingThere
                           : NoteTidied::Unreachable; // a share not mounted now
            }
            case LockFileState::Unreadable:
                return NoteTidied::NothingThere; // not a lock that run wrote
            case LockFileState::Valid:
                break;
            }
            if (!WrittenBy(content, writer)) {
                return NoteTidied::NothingThere;
            }
            switch (RemoveJudgedLock(lockPath, judged, progress)) {
            case LockRelease::Released:
                Trace("Host", 2, "Removed the lock a stopped run left on " + projectPath.string());
                return NoteTidied::Removed;
            case LockRelease::NotOurs:
                return NoteTidied::NothingThere;
            case LockRelease::Failed:
                break;
            }
            return NoteTidied::Unreachable;
        });
    return tidied.value_or(NoteTidied::Unreachable);
}

} // namespace

void SetLockNotesFolder(const fs::path& folder) {
    TheLockNotes().SetFolder(folder);
}

std::size_t ReleaseLocksOfGoneRuns() {
    return TheLockNotes().TidyUpAfterGoneProcesses(ReleaseLockOfGoneRun);
}

void StartReleasingLocksOfGoneRuns() {
    TheLockNotes().StartTidyingUp(ReleaseLockOfGoneRun);
}

void StopReleasingLocksOfGoneRuns(std::chrono::milliseconds deadline) {
    TheLockNotes().StopTidyingUp(deadline);
}

void CloseLockNotes() {
    TheLockNotes().CloseRecord();
}

ProjectLockFilePtr ReadLockFor(const ByteString& projectPath, const ByteString& name,
                               const ByteString& second) {
    LockFileContent content;
    const LockFileState state = ReadLockFile(LockFilePathFor(projectPath), content);
    if (state == LockFileState::Missing) {
        return nullptr;
    }
    return LockFor(state, content, name, second);
}

namespace {

ProjectLockFilePtr CreateLockNow(const ByteString& projectPath, const ByteString& name,
                                 const ByteString& second) {
    const fs::path lockPath = LockFilePathFor(projectPath);
    const std::string text = SerialiseLockFile(MakeLockFileContent(name, second));
    // A lock removed between our failed placement and our read is tried again, a few times.
    for (int attempt = 0; attempt < 5; ++attempt) {
        LockFileContent content;
        const LockFileState state = ReadLockFile(lockPath, content);
        if (state != LockFileState::Missing) {
            return LockFor(state, content, name, second);
        }
        std::string error;
        const std::string key = CreatedLockKey(projectPath);
        const bool noted = TheLockNotes().Note(key);
        switch (PlaceNewFile(lockPath, text, error)) {
        case PlaceResult::Placed:
            RememberCreatedLock(projectPath, noted);
            return std::make_shared<LockFile>(true, name);
        case PlaceResult::Failed:
            if (noted) {
                TheLockNotes().Done(key);
            }
            Trace("Host", 3, "Could not create a lock file: " + error);
            gLockCreationError = error;
            return nullptr;
        case PlaceResult::Exists:
            if (noted) {
                TheLockNotes().Done(key);
            }
            break;
        }
    }
    return nullptr;
}

} // namespace

ProjectLockFilePtr CreateLockFor(const ByteString& projectPath, const ByteString& name,
                                 const ByteString& second) {
    gLockCreationError.clear();
    if (name.empty()) {
        return nullptr; // a lock must name its holder
    }
    // The reason of a failure is the thread's own: bring it back from the thread that tried.
    using Attempt = std::pair<ProjectLockFilePtr, std::string>;
    std::optional<Attempt> attempt =
        files::Bounded<Attempt>(projectPath, [projectPath, name, second] {
            ProjectLockFilePtr lock = CreateLockNow(projectPath, name, second);
            return Attempt(std::move(lock), gLockCreationError);
        });
    if (!attempt) {
        gLockCreationError = "the production's folder does not answer";
        return nullptr;
    }
    gLockCreationError = attempt->second;
    return attempt->first;
}

namespace {

// Looks through a tree for the lock of a project, folder by folder through descriptors; never
// through links, nor inside project folders, whose content is the project's own.
class LockSearch : public TreeVisitor {
public:
    explicit LockSearch(std::function<bool(const fs::path& lock)> isLocked)
        : mIsLocked(std::move(isLocked)) {}

    bool Found() const { return mFound; }

    WalkStep Enter(const TreeWalkEntry& entry) override {
        if (entry.depth != 0 && IsProjectLockFileName(entry.name) && mIsLocked(entry.FullPath())) {
            mFound = true;
            return WalkStep::kStop;
        }
        return WalkStep::kContinue;
    }

    WalkStep Failed(const TreeWalkEntry& entry, int error) override {
        if (entry.depth != 0 && error == ENOENT) {
            return WalkStep::kContinue; // gone since the folder was listed: it holds nothing
        }
        // A folder that cannot be looked through might hold locked projects.
        mFound = true;
        return WalkStep::kStop;
    }

private:
    std::function<bool(const fs::path&)> mIsLocked;
    bool mFound = false;
};

bool FolderHoldsLockedProjectsNow(const ByteString& folderPath, bool recursive, bool othersOnly) {
    const LockingIdentity ours = CurrentLockingIdentity();
    // A folder, a pipe or a link where a lock should be makes its project unreadably locked,
    // for the folder as for the project itself. (A lock deeper than any path reaches is
    // missing: no one opens a project there.)
    const auto isLocked = [&](const fs::path& lock) {
        LockFileContent content;
        const LockFileState state = ReadLockFile(lock, content);
        if (state == LockFileState::Missing) {
            return false;
        }
        if (!othersOnly || state == LockFileState::Unreadable) {
            return true;
        }
        return content.lockingName != ours.name || content.secondLockingString != ours.second;
    };
    // Files hold no projects; a folder that cannot be looked through might: say so.
    std::error_code error;
    if (!fs::is_directory(folderPath, error)) {
        return false;
    }
    if (!recursive) {
        for (fs::directory_iterator it(folderPath, error), end; !error && it != end;
             it.increment(error)) {
            if (IsProjectLockFileName(it->path().filename().string()) && isLocked(it->path())) {
                return true;
            }
        }
        return static_cast<bool>(error);
    }
    LockSearch search(isLocked);
    TreeWalkOptions options;
    options.intoProjectFolders = false;
    options.statEveryEntry = false;
    options.followRootLink = true; // as the folder was found to be one above
    WalkTree(folderPath, search, options);
    return search.Found();
}

} // namespace

bool FolderHoldsLockedProjects(const ByteString& folderPath, bool recursive, bool othersOnly) {
    // A folder that cannot be looked through in time might hold locked projects: say so.
    return files::Bounded<bool>(
               folderPath,
               [folderPath, recursive, othersOnly] {
                   return FolderHoldsLockedProjectsNow(folderPath, recursive, othersOnly);
               },
               files::kLongAccess)
        .value_or(true);
}

} // namespace host
