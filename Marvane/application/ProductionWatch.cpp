#include "Marvane/application/ProductionWatch.h"

#include "Marvane/fileservices/AccessDeadline.h"
#include "Marvane/fileservices/FileSystemTypes.h"
#include "Marvane/fileservices/FolderMount.h"

#include "host/AsyncCalls.h"
#include "host/DebugTrace.h"
#include "host/PanelFramework.h"

#include <atomic>
#include <cerrno>
#include <condition_variable>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <functional>
#include <mutex>
#include <sys/statfs.h>
#include <thread>
#include <unistd.h>

namespace host {

namespace fs = std::filesystem;

struct ProductionWatch::State {
    fs::path folder;
    std::chrono::milliseconds interval{};
    std::chrono::milliseconds deadline{};
    std::mutex mutex;
    std::condition_variable wake;
    bool stopping = false;
    bool reachable = true; // as last announced (main thread)
    std::string reason;
    std::thread worker;
};

namespace {

// What one look found, shared with the thread that looks: a look that hangs keeps its
// thread, and the watch goes on without it.
struct Look {
    std::mutex mutex;
    std::condition_variable done;
    bool finished = false;
    FolderLook result;
};

void Announce(const std::shared_ptr<ProductionWatch::State>& state, const std::string& why) {
    CallAsyncOnMainThread([state, why] {
        const bool reachable = why.empty();
        {
            std::lock_guard lock(state->mutex);
            if (state->stopping || state->reachable == reachable) {
                return;
            }
            state->reachable = reachable;
            state->reason = why;
        }
        if (reachable) {
            files::FolderAnswersAgain();
        }
        Trace("Host", 1,
              reachable
                  ? "The production answers again: " + state->folder.string()
                  : "The production does not answer: " + state->folder.string() + " (" + why + ")");
        MessageStation::Get(kPanelFrameworkStation)
            ->Broadcast(ProductionReachabilityMessage(reachable, why));
    });
}

// Opens the folder for listing (a descriptor, or -1 with look.why saying why not), after asking
// which file system it is on. No status is asked: on a share that is one more round trip.
int OpenFolderToLook(const fs::path& folder, FolderLook& look) {
    struct statfs info {};
    if (::statfs(folder.c_str(), &info) != 0) {
        look.why = std::strerror(errno);
        return -1;
    }
    look.fileSystemType = static_cast<long>(info.f_type);
    const int listing = ::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC | O_NONBLOCK);
    if (listing < 0) {
        look.why = std::strerror(errno);
        return -1;
    }
    // The listing and the watch that follow need not ask the server again.
    KeepFileSystemType(folder.string(), look.fileSystemType);
    return listing;
}

} // namespace

FolderLook LookAtFolderToOpen(const fs::path& folder) {
    // Its entries are not read: on a share a listing costs round trips, and the panel lists
    // the folder next.
    FolderLook look;
    if (const int listing = OpenFolderToLook(folder, look); listing >= 0) {
        ::close(listing);
    }
    return look;
}

std::string LookAtFolder(const fs::path& folder) {
    FolderLook look;
    const int descriptor = OpenFolderToLook(folder, look);
    if (descriptor < 0) {
        return look.why;
    }
    if (std::string gone = FolderMountGone(folder.string(), descriptor); !gone.empty()) {
        ::close(descriptor);
        return gone;
    }
    DIR* listing = ::fdopendir(descriptor);
    if (listing == nullptr) {
        const int error = errno;
        ::close(descriptor);
        return std::strerror(error);
    }
    // A server that still answers the file system's status may fail to list.
    errno = 0;
    const dirent* first = ::readdir(listing);
    const int error = errno;
    ::closedir(listing);
    if (first == nullptr && error != 0) {
        return std::strerror(error);
    }
    return {};
}

namespace {

std::shared_ptr<Look> StartLook(std::function<FolderLook()> lookAt) {
    auto look = std::make_shared<Look>();
    std::thread([look, lookAt = std::move(lookAt)] {
        FolderLook result = lookAt();
        std::lock_guard done(look->mutex);
        look->result = std::move(result);
        look->finished = true;
        look->done.notify_all();
    }).detach();
    return look;
}

std::shared_ptr<Look> StartLook(const fs::path& folder) {
    return StartLook([folder] { return FolderLook{LookAtFolder(folder), 0}; });
}

std::optional<FolderLook> WaitForLook(Look& look, std::chrono::milliseconds deadline) {
    std::unique_lock waiting(look.mutex);
    if (!look.done.wait_for(waiting, deadline, [&] { return look.finished; })) {
        return std::nullopt;
    }
    return look.result;
}

} // namespace

std::optional<std::string> LookAtFolderWithin(const fs::path& folder,
                                              std::chrono::milliseconds deadline) {
    std::optional<FolderLook> look = WaitForLook(*StartLook(folder), deadline);
    return look ? std::optional<std::string>(std::move(look->why)) : std::nullopt;
}

std::optional<FolderLook> LookAtFolderToOpenWithin(const fs::path& folder,
                                                   std::chrono::milliseconds deadline) {
    return WaitForLook(*StartLook([folder] { return LookAtFolderToOpen(folder); }), deadline);
}

ProductionWatch& ProductionWatch::Instance() {
    static ProductionWatch watch;
    return watch;
}

ProductionWatch::~ProductionWatch() {
    Stop();
}

void ProductionWatch::Start(const fs::path& folder, std::chrono::milliseconds interval,
                            std::chrono::milliseconds deadline) {
    Stop();
    auto state = std::make_shared<State>();
    state->folder = folder;
    state->interval = interval;
    state->deadline = deadline;
    // The main thread's own accesses to the folder are bounded too; the first that misses its
    // deadline makes the production unreachable at once, without waiting for the next look.
    files::GuardFolder(folder, kMainThreadAccessDeadline);
    files::SetNotAnsweringHandler([weak = std::weak_ptr<State>(state)](const std::string& why) {
        if (const auto watched = weak.lock()) {
            Announce(watched, why);
        }
    });
    state->worker = std::thread([state] {
        std::shared_ptr<Look> pending;
        std::unique_lock lock(state->mutex);
        // The folder was just looked at (a production is opened only after a look): the first
        // look of the watch waits one interval, and leaves the share to the opening's listing.
        state->wake.wait_for(lock, state->interval, [&] { return state->stopping; });
        while (!state->stopping) {
            lock.unlock();
            // A look still hanging from before is waited for, never doubled.
            if (!pending) {
                pending = StartLook(state->folder);
            }
            std::string why;
            if (const std::optional<FolderLook> result = WaitForLook(*pending, state->deadline)) {
                why = result->why;
                pending.reset();
            } else {
                why = "it does not answer within " +
                      std::to_string(state->deadline.count() / 1000) + " s";
            }
            Announce(state, why);
            lock.lock();
            state->wake.wait_for(lock, state->interval, [&] { return state->stopping; });
        }
    });
    mState = std::move(state);
}

void ProductionWatch::Stop() {
    if (!mState) {
        return;
    }
    files::GuardFolder({}, kMainThreadAccessDeadline);
    files::SetNotAnsweringHandler({});
    {
        std::lock_guard lock(mState->mutex);
        mState->stopping = true;
    }
    mState->wake.notify_all();
    if (mState->worker.joinable()) {
        mState->worker.join();
    }
    mState.reset();
}

bool ProductionWatch::IsReachable() const {
    if (!mState) {
        return true;
    }
    std::lock_guard lock(mState->mutex);
    return mState->reachable;
}

std::string ProductionWatch::Reason() const {
    if (!mState) {
        return {};
    }
    std::lock_guard lock(mState->mutex);
    return mState->reason;
}

} // namespace host
