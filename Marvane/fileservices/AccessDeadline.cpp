#include "Marvane/fileservices/AccessDeadline.h"

#include "Marvane/core/MainThread.h"
#include "host/Messaging.h"

#include <atomic>
#include <condition_variable>
#include <deque>
#include <fcntl.h>
#include <mutex>
#include <thread>
#include <unistd.h>

namespace host::files {

namespace fs = std::filesystem;

namespace {

// A hand-over to a sleeping thread and back costs two wake-ups, tens of microseconds, while
// most accesses (a stat, a lock file that is not there) take a microsecond or two. The main
// thread often makes many accesses in a row (a test over every selected item), so both sides
// first watch for a short while before they sleep: the main thread for its answer, the access
// thread for the next access.
constexpr auto kAnswerWatch = std::chrono::microseconds(100);
constexpr auto kNextAccessWatch = std::chrono::microseconds(300);

// Watches `ready` until it holds or `watch` has passed; whether it held.
template <typename Ready> bool WatchFor(Ready ready, std::chrono::microseconds watch) {
    const auto until = std::chrono::steady_clock::now() + watch;
    while (true) {
        for (int look = 0; look < 64; ++look) {
            if (ready()) {
                return true;
            }
#if defined(__x86_64__) || defined(__i386__)
            __builtin_ia32_pause();
#endif
        }
        if (std::chrono::steady_clock::now() >= until) {
            return ready();
        }
    }
}

// One access handed to the access thread.
struct Task {
    std::function<void()> access;
    std::mutex mutex;
    std::condition_variable finished;
    bool done = false;                 // under mutex, for the sleeping wait
    std::atomic<bool> answered{false}; // the same, for the watch before it
};

// The thread that runs the main thread's accesses. One that hangs is left to finish on its
// own (it ends after its task) and the next access starts a new one.
struct AccessThread {
    std::mutex mutex;
    std::condition_variable wake;
    std::deque<std::shared_ptr<Task>> queue;
    bool abandoned = false;
    std::atomic<bool> pending{false}; // something was queued or the thread was let go
};

struct Gate {
    std::mutex mutex;
    fs::path folder;
    std::chrono::milliseconds deadline{500};
    std::function<void(const std::string&)> notAnswering;
    std::shared_ptr<AccessThread> thread;
    std::atomic<bool> hung{false};
    std::atomic<std::uint64_t> failures{0};
    std::atomic<std::uint64_t> handedOver{0};
    std::uint64_t generation = 0; // which guarding a late notice belongs to
};

Gate& TheGate() {
    static Gate gate;
    return gate;
}

void Serve(const std::shared_ptr<AccessThread>& thread) {
    std::unique_lock lock(thread->mutex);
    while (true) {
        if (thread->queue.empty() && !thread->abandoned) {
            lock.unlock();
            WatchFor([&] { return thread->pending.load(std::memory_order_acquire); },
                     kNextAccessWatch);
            lock.lock();
        }
        thread->wake.wait(lock, [&] { return thread->abandoned || !thread->queue.empty(); });
        if (thread->queue.empty()) {
            return;
        }
        const std::shared_ptr<Task> task = thread->queue.front();
        thread->queue.pop_front();
        thread->pending.store(!thread->queue.empty() || thread->abandoned,
                              std::memory_order_relaxed);
        lock.unlock();
        task->access();
        {
            std::lock_guard finished(task->mutex);
            task->done = true;
        }
        task->answered.store(true, std::memory_order_release);
        task->finished.notify_all();
        lock.lock();
    }
}

std::shared_ptr<AccessThread> StartAccessThread() {
    auto thread = std::make_shared<AccessThread>();
    std::thread([thread] { Serve(thread); }).detach();
    return thread;
}

bool IsUnder(const fs::path& path, const fs::path& folder) {
    if (folder.empty()) {
        return false;
    }
    auto part = path.begin();
    for (auto wanted = folder.begin(); wanted != folder.end(); ++wanted, ++part) {
        if (wanted->empty()) {
            continue; // a trailing separator
        }
        if (part == path.end() || *part != *wanted) {
            return false;
        }
    }
    return true;
}

} // namespace

void GuardFolder(const fs::path& folder, std::chrono::milliseconds deadline) {
    Gate& gate = TheGate();
    std::lock_guard lock(gate.mutex);
    gate.folder = folder;
    gate.deadline = deadline;
    gate.hung = false;
    ++gate.generation;
}

void SetNotAnsweringHandler(std::function<void(const std::string&)> handler) {
    Gate& gate = TheGate();
    std::lock_guard lock(gate.mutex);
    gate.notAnswering = std::move(handler);
}

void FolderAnswersAgain() {
    TheGate().hung = false;
}

bool GuardedFolderIsHung() {
    return TheGate().hung;
}

std::uint64_t BoundedAccessFailures() {
    return TheGate().failures;
}

std::uint64_t BoundedAccessCount() {
    return TheGate().handedOver;
}

namespace {

// Runs access as RunBounded does. With progress, the wait goes on while progress moves.
bool RunBoundedWatching(const fs::path& path, std::function<void()> access,
                        std::chrono::milliseconds deadline,
                        const std::shared_ptr<std::atomic<std::uint64_t>>& progress) {
    Gate& gate = TheGate();
    std::unique_lock lock(gate.mutex);
    if (!CurrentThreadIsMainThread() || !IsUnder(path, gate.folder)) {
        lock.unlock();
        access();
        return true;
    }
    if (gate.hung) {
        ++gate.failures;
        return false;
    }
    if (!gate.thread) {
        gate.thread = StartAccessThread();
    }
    const std::shared_ptr<AccessThread> thread = gate.thread;
    ++gate.handedOver;
    if (deadline.count() <= 0) {
        deadline = gate.deadline;
    }
    lock.unlock();

    auto task = std::make_shared<Task>();
    task->access = std::move(access);
    {
        std::lock_guard queued(thread->mutex);
        thread->queue.push_back(task);
        thread->pending.store(true, std::memory_order_release);
    }
    thread->wake.notify_one();
    if (WatchFor([&] { return task->answered.load(std::memory_order_acquire); }, kAnswerWatch)) {
        return true;
    }
    {
        std::unique_lock waiting(task->mutex);
        std::uint64_t seen = progress ? progress->load() : 0;
        while (!task->finished.wait_for(waiting, deadline, [&] { return task->done; })) {
            const std::uint64_t now = progress ? progress->load() : seen;
            if (now == seen) {
                break; // nothing moved for a whole deadline
            }
            seen = now;
        }
        if (task->done) {
            return true;
        }
    }

    // The file system did not answer in time: leave the thread to its call.
    lock.lock();
    if (gate.thread == thread) {
        gate.thread.reset();
    }
    {
        std::lock_guard abandoning(thread->mutex);
        thread->abandoned = true;
        thread->pending.store(true, std::memory_order_release);
    }
    thread->wake.notify_one();
    ++gate.failures;
    const bool first = !gate.hung.exchange(true);
    const std::uint64_t generation = gate.generation;
    const std::string why = "it did not answer within " + std::to_string(deadline.count()) + " ms";
    lock.unlock();
    if (first) {
        // The handler of the moment is told, and only while the same folder is guarded.
        QueueOnMainThread([generation, why] {
            Gate& current = TheGate();
            std::unique_lock guard(current.mutex);
            if (current.generation != generation || !current.notAnswering) {
                return;
            }
            const auto handler = current.notAnswering;
            guard.unlock();
            handler(why);
        });
    }
    return false;
}

} // namespace

bool IsBounded(const fs::path& path) {
    Gate& gate = TheGate();
    const std::lock_guard lock(gate.mutex);
    return CurrentThreadIsMainThread() && IsUnder(path, gate.folder);
}

bool RunBounded(const fs::path& path, std::function<void()> access,
                std::chrono::milliseconds deadline) {
    return RunBoundedWatching(path, std::move(access), deadline, nullptr);
}

bool RunBoundedWhileMoving(const fs::path& path,
                           std::function<void(std::atomic<std::uint64_t>& progress)> access,
                           std::chrono::milliseconds deadline) {
    auto progress = std::make_shared<std::atomic<std::uint64_t>>(0);
    return RunBoundedWatching(
        path, [progress, access = std::move(access)] { access(*progress); }, deadline, progress);
}

bool LookAgainIfNotAnswering() {
    Gate& gate = TheGate();
    std::unique_lock lock(gate.mutex);
    if (!gate.hung || gate.folder.empty()) {
        return true;
    }
    const fs::path folder = gate.folder;
    const std::chrono::milliseconds deadline = gate.deadline;
    const std::uint64_t generation = gate.generation;
    lock.unlock();

    // A look that hangs keeps its own thread, which ends when the folder answers.
    struct Look {
        std::mutex mutex;
        std::condition_variable done;
        bool finished = false;
        bool answered = false;
    };
    auto look = std::make_shared<Look>();
    std::thread([look, folder] {
        const int descriptor =
            ::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC | O_NONBLOCK);
        if (descriptor >= 0) {
            ::close(descriptor);
        }
        std::lock_guard finished(look->mutex);
        look->finished = true;
        look->answered = descriptor >= 0;
        look->done.notify_all();
    }).detach();
    std::unique_lock waiting(look->mutex);
    if (!look->done.wait_for(waiting, deadline, [&] { return look->finished; }) ||
        !look->answered) {
        return false;
    }
    waiting.unlock();
    lock.lock();
    if (gate.generation == generation) {
        gate.hung = false;
    }
    return true;
}

} // namespace host::files
