#pragma once
// File accesses the main thread makes under the open production's folder, bounded in time.
//
// A share whose server hangs blocks every call into it until the server answers again, which
// may be never. The main thread must not wait for that: under the guarded folder its reads and
// writes run on an access thread, and the main thread waits for them at most a deadline. The
// first access that misses it marks the folder as not answering (the handler is told once);
// from then on main-thread accesses under it fail at once, without touching the file system,
// until FolderAnswersAgain. Other threads, and paths outside the folder, access directly.
#include <atomic>
#include <chrono>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace host::files {

// The folder to guard (empty: none) and how long the main thread waits for one access.
void GuardFolder(const std::filesystem::path& folder, std::chrono::milliseconds deadline);
// Called on the main thread, soon after (not inside) the access that missed its deadline,
// with the reason in the user's words.
void SetNotAnsweringHandler(std::function<void(const std::string& why)> handler);
// The guarded folder answers again (a look at it succeeded).
void FolderAnswersAgain();
// Whether the guarded folder is taken as not answering.
bool GuardedFolderIsHung();
// How many main-thread accesses were refused or cut short, for the tests.
std::uint64_t BoundedAccessFailures();
// How many main-thread accesses were handed to the access thread (each a wait on the file
// system), for the tests.
std::uint64_t BoundedAccessCount();

// Whether an access to path made now, on this thread, is bounded: the main thread's, under the
// guarded folder.
bool IsBounded(const std::filesystem::path& path);

// Runs `access`, bounded as described above. False when it did not finish (refused, or still
// running past the deadline: it then finishes on its own, later, and its outcome is lost).
// `access` must own everything it uses: it may outlive the caller.
// `deadline`: zero for the folder's; longer for an access that is long by nature (a walk
// through a folder tree, a save).
bool RunBounded(const std::filesystem::path& path, std::function<void()> access,
                std::chrono::milliseconds deadline = {});

// An access that tells how far it got: it adds to `progress` as it moves (bytes read). The
// main thread waits for it as long as it keeps moving, and takes the folder for not answering
// only when `progress` stood still for a whole deadline: a big file read slowly is not a
// share that stopped answering.
bool RunBoundedWhileMoving(const std::filesystem::path& path,
                           std::function<void(std::atomic<std::uint64_t>& progress)> access,
                           std::chrono::milliseconds deadline = {});

// Called before letting go of what the guarded folder holds (locks at quit): when the folder
// is taken for not answering, looks at it once more, within its deadline, and lets accesses
// through again when it answers. Whether it answers now.
bool LookAgainIfNotAnswering();

// The deadline of accesses that are long by nature.
inline constexpr std::chrono::milliseconds kLongAccess{3000};

// The value `access` returns, or nothing when it did not finish in time.
template <typename Result>
std::optional<Result> Bounded(const std::filesystem::path& path, std::function<Result()> access,
                              std::chrono::milliseconds deadline = {}) {
    auto result = std::make_shared<std::optional<Result>>();
    if (!RunBounded(
            path, [result, access = std::move(access)] { *result = access(); }, deadline)) {
        return std::nullopt;
    }
    return std::move(*result);
}

// The value `access` returns, waited for while it moves, or nothing when it stopped moving.
template <typename Result>
std::optional<Result>
BoundedWhileMoving(const std::filesystem::path& path,
                   std::function<Result(std::atomic<std::uint64_t>& progress)> access,
                   std::chrono::milliseconds deadline = {}) {
    auto result = std::make_shared<std::optional<Result>>();
    if (!RunBoundedWhileMoving(
            path,
            [result, access = std::move(access)](std::atomic<std::uint64_t>& progress) {
                *result = access(progress);
            },
            deadline)) {
        return std::nullopt;
    }
    return std::move(*result);
}

} // namespace host::files
