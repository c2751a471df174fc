#include "Marvane/application/ProductionIndex.h"

#include "Marvane/monitor/DirectoryMonitorImpl.h"
#include "host/AsyncCalls.h"
#include "host/DebugTrace.h"
#include "host/DirectoryMonitor.h"
#include "host/ProjectBackEnd.h"

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <set>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace host {

namespace fs = std::filesystem;

struct ProductionIndex::Keeper : Listener {
    std::shared_ptr<NameIndex> index;
    std::string root; // as the monitor spells folders
    std::thread thread;

    std::mutex mutex;
    std::condition_variable wake;
    std::set<std::string> pending; // folders to read again
    std::uint64_t told = 0;        // how many times folders were added to pending
    std::uint64_t done = 0;        // of those, how many are in the index
    std::condition_variable caughtUp;
    bool stopping = false;
    bool busy = true;     // building, or reading folders taken from pending
    bool watched = false; // every folder of the tree is watched, and was read again since
    std::atomic<bool> cancelled{false};
    std::atomic<bool> ended{false};
    std::atomic<std::uint64_t> refreshed{0};

    bool Holds(const std::string& folder) const {
        return folder == root || (folder.size() > root.size() && folder.starts_with(root) &&
                                  (root.back() == '/' || folder[root.size()] == '/'));
    }

    // Folders to read again; the ticket of this change.
    std::uint64_t Tell(const std::vector<std::string>& folders) {
        std::uint64_t ticket = 0;
        {
            const std::lock_guard guard(mutex);
            bool any = false;
            for (const std::string& folder : folders) {
                if (Holds(folder)) {
                    any = pending.insert(folder).second || any;
                }
            }
            told += any ? 1 : 0;
            ticket = told;
        }
        wake.notify_one();
        return ticket;
    }

    // Main thread: the monitor tells of a changed folder.
    void ReceiveMessage(const Message& message) override {
        if (message.GetTypeID() == DirectoryChangedMessage::kTypeID) {
            Tell({ToUTF8(static_cast<const DirectoryChangedMessage&>(message).folder)});
        }
    }

    // The index once it holds every change up to the ticket; null when it cannot answer.
    std::shared_ptr<const NameIndex> WhenCaughtUp(std::uint64_t ticket,
                                                  const std::atomic<bool>* searchCancelled) {
        if (!index->IsComplete()) {
            return nullptr; // still being built: the search walks
        }
        std::unique_lock lock(mutex);
        while (done < ticket && !stopping) {
            if (searchCancelled != nullptr && searchCancelled->load()) {
                return nullptr;
            }
            caughtUp.wait_for(lock, std::chrono::milliseconds(50));
        }
        return stopping ? nullptr : index;
    }

    // Runs the call on the main thread and waits for it; false when the index stops first.
    bool OnMainThread(std::function<void()> call) {
        auto ran = std::make_shared<std::atomic<bool>>(false);
        CallAsyncOnMainThread([call = std::move(call), ran] {
            call();
            *ran = true;
        });
        while (!*ran) {
            if (cancelled) {
                return false;
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(2));
        }
        return true;
    }

    // The index's thread, once the tree was read: its folders are handed to the monitor a
    // part at a time (the main thread only adds the watches; on a share, polled folders take
    // their first look at the next round), and when every one is watched the tree is read
    // again, for what changed between the first reading and the watch.
    void WatchEveryFolder() {
        constexpr std::size_t kFoldersPerTurn = 1000;
        const std::vector<std::string> folders = index->FolderPaths();
        const std::string kept = root;
        for (std::size_t first = 0; first < folders.size(); first += kFoldersPerTurn) {
            const std::vector<std::string> part(
                folders.begin() + static_cast<std::ptrdiff_t>(first),
                folders.begin() +
                    static_cast<std::ptrdiff_t>(std::min(folders.size(), first + kFoldersPerTurn)));
            if (!OnMainThread([part] { DirectoryMonitor::Instance().KeepWatching(part); })) {
                return;
            }
        }
        // Held by the call too: a call that runs after the index stopped writes nothing freed.
        const auto looking = std::make_shared<std::atomic<bool>>(true);
        while (looking->load()) {
            if (!OnMainThread([looking, kept] {
                    *looking = DirectoryMonitor::Instance().FirstLooksPending(kept);
                })) {
                return;
            }
            if (looking->load()) {
                std::this_thread::sleep_for(std::chrono::milliseconds(50));
            }
        }
        if (index->Build(&cancelled)) {
            const std::lock_guard guard(mutex);
            watched = true;
        }
    }

    // The index's thread.
    void Run() {
        const auto started = std::chrono::steady_clock::now();
        const bool built = index->Build(&cancelled);
        if (built) {
            Trace("Host", 2,
                  "The name index of " + root + " holds " + std::to_string(index->ProjectCount()) +
                      " projects, read in " +
                      std::to_string(std::chrono::duration_cast<std::chrono::milliseconds>(
                                         std::chrono::steady_clock::now() - started)
                                         .count()) +
                      " ms");
        } else if (!cancelled) {
            Trace("Host", 1, "The name index of " + root + " could not be built");
        }
        if (built && !cancelled) {
            WatchEveryFolder();
        }
        std::unique_lock lock(mutex);
        for (;;) {
            busy = false;
            wake.wait(lock, [this] { return stopping || !pending.empty(); });
            if (stopping) {
                break;
            }
            std::set<std::string> folders;
            folders.swap(pending);
            const std::uint64_t taken = told;
            busy = true;
            lock.unlock();
            for (const std::string& folder : folders) {
                if (cancelled) {
                    break;
                }
                index->Refresh(folder);
                ++refreshed;
            }
            lock.lock();
            done = taken;
            caughtUp.notify_all();
        }
        caughtUp.notify_all();
        ended = true;
    }
};

// What the search asks: the keeper of the open production, whichever it is now.
struct ProductionIndex::Source : SearchIndexSource {
    std::mutex mutex;
    std::shared_ptr<Keeper> keeper;

    std::shared_ptr<Keeper> Current() {
        const std::lock_guard guard(mutex);
        return keeper;
    }

    std::uint64_t CatchUp() override {
        const std::shared_ptr<Keeper> current = Current();
        return current ? current->Tell(DirectoryMonitor::Instance().ChangesNotDeliveredYet()) : 0;
    }

    std::shared_ptr<const NameIndex> IndexFor(std::uint64_t ticket, const std::string& folder,
                                              const std::vector<WideString>& extensions,
                                              const std::atomic<bool>* cancelled) override {
        const std::shared_ptr<Keeper> current = Current();
        if (!current || folder != current->root || !current->index->HoldsExtensions(extensions)) {
            return nullptr;
        }
        return current->WhenCaughtUp(ticket, cancelled);
    }
};

ProductionIndex& ProductionIndex::Instance() {
    static ProductionIndex instance;
    return instance;
}

ProductionIndex::~ProductionIndex() {
    if (mKeeper && mKeeper->thread.joinable()) {
        mKeeper->cancelled = true;
        mKeeper->thread.detach(); // only at the very end of the process
    }
}

void ProductionIndex::Open(const fs::path& root) {
    Close();
    auto keeper = std::make_shared<Keeper>();
    keeper->root = root.lexically_normal().string();
    if (keeper->root.size() > 1 && keeper->root.back() == '/') {
        keeper->root.pop_back();
    }
    std::vector<WideString> extensions = {WideString(kProjectFileExtension16)};
    if (IsFolderProjectFormatEnabled()) {
        extensions.emplace_back(kProjectFolderExtension16);
    }
    keeper->index = std::make_shared<NameIndex>(keeper->root, extensions);
    // Watched before it is read, so that no change falls between the two.
    DirectoryMonitor::Instance().Keep(keeper->root);
    MessageStation::Get(kDirectoryMonitorStation)->Subscribe(keeper);
    if (!mSource) {
        mSource = std::make_shared<Source>();
        SetSearchIndexSource(mSource);
    }
    {
        const std::lock_guard guard(mSource->mutex);
        mSource->keeper = keeper;
    }
    keeper->thread = std::thread([keeper] { keeper->Run(); });
    mKeeper = std::move(keeper);
}

void ProductionIndex::Close(std::chrono::milliseconds deadline) {
    if (!mKeeper) {
        return;
    }
    const std::shared_ptr<Keeper> keeper = std::move(mKeeper);
    {
        const std::lock_guard guard(mSource->mutex);
        mSource->keeper.reset();
    }
    MessageStation::Get(kDirectoryMonitorStation)->Unsubscribe(keeper.get());
    DirectoryMonitor::Instance().Unkeep(keeper->root);
    keeper->cancelled = true;
    {
        const std::lock_guard guard(keeper->mutex);
        keeper->stopping = true;
    }
    keeper->wake.notify_one();
    keeper->caughtUp.notify_all();
    const auto until = std::chrono::steady_clock::now() + deadline;
    while (!keeper->ended && std::chrono::steady_clock::now() < until) {
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    if (keeper->ended) {
        keeper->thread.join();
    } else {
        Trace("Host", 1, "The name index of " + keeper->root + " is left to end on its own");
        keeper->thread.detach(); // it holds the keeper itself
    }
}

std::shared_ptr<const NameIndex> ProductionIndex::Index() const {
    return mKeeper ? mKeeper->index : nullptr;
}

bool ProductionIndex::IsCurrent() const {
    if (!mKeeper) {
        return false;
    }
    const std::lock_guard guard(mKeeper->mutex);
    return mKeeper->watched && !mKeeper->busy && mKeeper->pending.empty() &&
           mKeeper->index->IsComplete();
}

std::uint64_t ProductionIndex::RefreshCount() const {
    return mKeeper ? mKeeper->refreshed.load() : 0;
}

} // namespace host
