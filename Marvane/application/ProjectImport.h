#pragma once
// Adding outside projects to the production as copies, in the background. Each project is
// copied under a hidden temporary name in the destination folder and renamed into place only
// once complete, so a cancel or a failure never leaves half a project behind.
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <filesystem>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace host {

struct ImportProgress {
    enum class State { Idle, Running, Finished, Cancelled };
    State state = State::Idle;
    std::size_t projectsTotal = 0;
    std::size_t projectsDone = 0;
    std::uint64_t filesTotal = 0;
    std::uint64_t filesDone = 0;
    std::uint64_t bytesTotal = 0;
    std::uint64_t bytesDone = 0;
    std::string currentProject;               // the file name being copied
    std::vector<std::filesystem::path> added; // where the copies went, in order
    std::vector<std::string> failures;        // one line for each project that failed
};

class ProjectImport {
public:
    static ProjectImport& Instance();
    ~ProjectImport();

    // Queues the projects to be copied into the folder; work starts at once when idle.
    void Add(const std::vector<std::filesystem::path>& projects,
             const std::filesystem::path& folder);
    // Queues one project to be copied to the path given (a fresh name beside it when that is
    // taken by the time the copy is complete).
    void AddAs(const std::filesystem::path& project, const std::filesystem::path& destination);
    ImportProgress Progress() const;
    // Stops the copy under way and drops what is queued. Projects already added stay.
    void Cancel();
    // Waits until everything queued is done; false when the time ran out.
    bool Wait(int timeoutMs);
    // Forgets the last results (the panel was closed).
    void ClearFinished();
    // Called on the worker thread after each block copied, before it checks for a cancel: lets
    // a test act at a known point of the copy. Empty to remove.
    void SetCopyHookForTesting(std::function<void()> hook);

private:
    struct Batch {
        std::vector<std::filesystem::path> projects;
        std::filesystem::path folder;
        std::uint64_t id = 0;
        std::filesystem::path name; // of a single project's copy; empty: the project's own
    };
    void Queue(Batch batch);
    bool IsCancelled(const Batch& batch) const; // with mMutex held
    void Run();
    void CopyBatch(const Batch& batch);
    bool CopyOne(const Batch& batch, const std::filesystem::path& project,
                 std::vector<std::filesystem::path>& reserved);

    mutable std::mutex mMutex;
    std::condition_variable mDone;
    std::deque<Batch> mQueue;
    ImportProgress mProgress;
    std::uint64_t mNextBatch = 0;
    std::uint64_t mCancelledBelow = 0; // batches with a smaller id were cancelled
    bool mAnyCancelled = false;
    bool mWorking = false;
    // Work given in one turn of the main thread's event loop (one command copying several
    // projects) is one round, even when a piece ends before the next is given.
    bool mRoundOpen = false;
    std::function<void()> mCopyHook;
    std::thread mWorker;
};

} // namespace host
