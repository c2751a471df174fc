// Taking over a lock that its holder left behind.
//
// Several processes may judge the same abandoned lock at the same moment, and a live lock may
// appear in its place while they do. The steps:
//  1. Claim the abandoned lock: create a marker named after its exact bytes, exclusively
//     (write-then-link, like any lock). Of all processes that judged those bytes, only the one
//     that made the marker goes on; a marker whose maker is gone is passed over by taking the
//     next generation of the marker name, so a crash half-way never blocks a project.
//  2. Check that the lock still holds the judged bytes, rename it to a private name, and check
//     the renamed file once more. A lock other than the one judged goes straight back: nobody
//     else renames it meanwhile, since nobody else holds the claim on what was there.
//  3. Create our lock exclusively in the free place. If a new editor created theirs first,
//     theirs stands and we have lost.
//  4. Remove the judged lock (its holder is gone) and the markers.
// Only the maker of the marker ever moves the judged lock, and it moves only those bytes, so a
// lock that is live is never taken, and exactly one process succeeds.
#include "Marvane/core/Fingerprint.h"
#include "Marvane/fileservices/FileReading.h"
#include "Marvane/fileservices/FileWriting.h"
#include "Marvane/projectbackend/LockFiles.h"
#include "Marvane/projectbackend/LockStates.h"
#include "Marvane/projectbackend/LockingIdentity.h"
#include "host/DebugTrace.h"

#include <cerrno>
#include <cstdint>
#include <cstring>
#include <string>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

namespace host {

namespace {

namespace fs = std::filesystem;

constexpr int kMarkerGenerations = 32;

enum class Claim { Claimed, Lost, Failed };

// Step 1: the claim on the judged bytes, made as the marker of the given generation or a later
// one whose earlier makers are all gone.
Claim ClaimJudgedLock(const fs::path& lockPath, const std::string& judged, const std::string& ours,
                      int& generation) {
    for (generation = 0; generation < kMarkerGenerations; ++generation) {
        const fs::path marker = TakeOverMarkerPath(lockPath, judged, generation);
        std::string error;
        switch (PlaceNewFile(marker, ours, error)) {
        case PlaceResult::Placed:
            return Claim::Claimed;
        case PlaceResult::Failed:
            Trace("Host", 2, "Could not claim the lock " + lockPath.string() + ": " + error);
            return Claim::Failed;
        case PlaceResult::Exists:
            break;
        }
        LockFileContent maker;
        std::string bytes;
        if (ReadLockFile(marker, maker, bytes) == LockFileState::Valid &&
            JudgeLockHolder(maker) == LockHolder::GoneHere) {
            continue; // its maker stopped half-way: the next generation decides
        }
        // Being taken over by a process that is running (or whose marker we cannot read, or
        // that went away just now and took its marker with it: the lock changed).
        return Claim::Lost;
    }
    return Claim::Lost;
}

void RemoveMarkers(const fs::path& lockPath, const std::string& judged, int upToGeneration) {
    for (int generation = 0; generation <= upToGeneration; ++generation) {
        ::unlink(TakeOverMarkerPath(lockPath, judged, generation).c_str());
    }
}

// Puts a lock that was taken aside by mistake back in its place, never over another one.
void PutBack(const fs::path& aside, const fs::path& lockPath) {
    const int error = RenameNoReplace(aside, lockPath);
    if (error != 0) {
        Trace("Host", 1,
              "A lock taken aside could not go back to " + lockPath.string() + " (" +
                  std::to_string(error) + "); it is kept as " + aside.string());
    }
}

// The exact bytes at a lock's name: a regular file's whole content, or nothing. A symbolic
// link is never a lock, whatever it points to, so it is never moved or removed as one: the
// name itself must be the regular file that is read.
bool LockBytes(const fs::path& path, std::string& bytes) {
    struct stat named {};
    if (::lstat(path.c_str(), &named) != 0 || !S_ISREG(named.st_mode)) {
        return false;
    }
    struct stat opened {};
    int errorNumber = 0;
    std::string content;
    if (!ReadRegularFile(path, content, errorNumber, static_cast<std::size_t>(-1), opened) ||
        opened.st_dev != named.st_dev || opened.st_ino != named.st_ino) {
        return false;
    }
    bytes = std::move(content);
    return true;
}

// Steps 2 and 3, with the claim held. Without ours (a lock broken, not taken over), the
// place is left free.
TakeOverResult ReplaceJudgedLock(const fs::path& lockPath, const std::string& judged,
                                 const std::string& ours) {
    std::string now;
    if (!LockBytes(lockPath, now) || now != judged) {
        return TakeOverResult::Lost;
    }
    // Colleagues reading the judged lock make an SMB server refuse the rename for a moment.
    const fs::path aside = PrivateName(lockPath.parent_path(), "stale");
    if (const int moved = RetryWhileBusy(
            [&] { return ::rename(lockPath.c_str(), aside.c_str()) == 0 ? 0 : errno; });
        moved != 0) {
        Trace("Host", 2,
              "Could not take the lock " + lockPath.string() + " aside: " + std::strerror(moved));
        return moved == ENOENT ? TakeOverResult::Lost : TakeOverResult::Failed;
    }
    std::string moved;
    if (!LockBytes(aside, moved) || moved != judged) {
        PutBack(aside, lockPath);
        return TakeOverResult::Lost;
    }
    const auto removeAside = [&aside] {
        RetryWhileBusy([&aside] { return RemoveJustClosedFile(aside); });
    };
    if (ours.empty()) {
        removeAside();
        return TakeOverResult::Taken;
    }
    std::string error;
    switch (PlaceNewFile(lockPath, ours, error)) {
    case PlaceResult::Placed:
        removeAside();
        return TakeOverResult::Taken;
    case PlaceResult::Exists:
        // A new editor locked the project in the moment it was free: theirs stands.
        removeAside();
        return TakeOverResult::Lost;
    case PlaceResult::Failed:
        break;
    }
    Trace("Host", 2, "Could not take over the lock " + lockPath.string() + ": " + error);
    PutBack(aside, lockPath);
    return TakeOverResult::Failed;
}

} // namespace

fs::path TakeOverMarkerPath(const fs::path& lockPath, const std::string& judgedBytes,
                            int generation) {
    return lockPath.parent_path() /
           (std::string(kPrivateNamePrefix) + "takeover." + Fingerprint(judgedBytes) + "-" +
            std::to_string(judgedBytes.size()) + "." + std::to_string(generation));
}

TakeOverResult ReplaceLockFile(const fs::path& projectPath, const LockReplacement& replacement,
                               std::string* replacedBytes) {
    const LockingIdentity identity = CurrentLockingIdentity();
    const fs::path lockPath = LockFilePathFor(projectPath);
    LockFileContent content;
    std::string judged;
    const LockFileState read = ReadLockFile(lockPath, content, judged);
    if (read == LockFileState::Missing) {
        return TakeOverResult::NotAbandoned;
    }
    if (read == LockFileState::Unreadable &&
        (!replacement.evenIfLive || !LockBytes(lockPath, judged))) {
        return TakeOverResult::NotAbandoned; // garbage is removed only by force, and only a file
    }
    const bool ours = read == LockFileState::Valid && content.lockingName == identity.name &&
                      content.secondLockingString == identity.second;
    if (read == LockFileState::Valid && JudgeLockHolder(content) == LockHolder::ThisProcess) {
        return replacement.placeOurs ? TakeOverResult::Taken : TakeOverResult::NotAbandoned;
    }
    if (!replacement.evenIfLive) {
        std::error_code error;
        const auto written = fs::last_write_time(lockPath, error);
        const auto since = error ? std::chrono::seconds(0)
                                 : std::chrono::duration_cast<std::chrono::seconds>(
                                       fs::file_time_type::clock::now() - written);
        const LockState state = JudgeLockState(read, content, since, replacement.silentAfter);
        const bool replaceable =
            state == LockState::Abandoned || (replacement.silentToo && state == LockState::Silent);
        if (!replaceable || (replacement.onlyOurs && !ours)) {
            return TakeOverResult::NotAbandoned;
        }
    }
    const std::string placed =
        replacement.placeOurs
            ? SerialiseLockFile(MakeLockFileContent(identity.name, identity.second))
            : std::string();
    // The claim marker needs content: a breaker with no lock to place claims with its own.
    const std::string claim =
        placed.empty() ? SerialiseLockFile(MakeLockFileContent(identity.name, identity.second))
                       : placed;
    int generation = 0;
    switch (ClaimJudgedLock(lockPath, judged, claim, generation)) {
    case Claim::Claimed:
        break;
    case Claim::Lost:
        return TakeOverResult::Lost;
    case Claim::Failed:
        return TakeOverResult::Failed;
    }
    const TakeOverResult result = ReplaceJudgedLock(lockPath, judged, placed);
    RemoveMarkers(lockPath, judged, generation);
    if (result == TakeOverResult::Taken) {
        if (replacedBytes != nullptr) {
            *replacedBytes = judged;
        }
        Trace("Host", 3,
              std::string(replacement.placeOurs ? "Took over" : "Broke") + " the lock " +
                  lockPath.string());
    }
    return result;
}

TakeOverResult TakeOverOwnLockFile(const fs::path& projectPath) {
    LockReplacement replacement;
    replacement.onlyOurs = true;
    return ReplaceLockFile(projectPath, replacement, nullptr);
}

} // namespace host
