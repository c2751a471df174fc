#include "Marvane/uitoolkit/BackgroundSorting.h"

#include <algorithm>
#if defined(__linux__)
#include <pthread.h>
#endif
#include <new>
#include <numeric>
#include <string_view>
#include <system_error>
#include <utility>

namespace host {

namespace {

// Folders a worker takes at once while the rows are put in their places.
constexpr std::size_t kFoldersPerTake = 16;

} // namespace

BackgroundSorting::BackgroundSorting(std::vector<TreeRowPtr>& top, Less less, bool ascending,
                                     KeyLength keyLength, std::function<void()> ended,
                                     unsigned workers)
    : mLess(std::move(less)), mAscending(ascending), mKeyLength(std::move(keyLength)),
      mEnded(std::move(ended)) {
    mFolders.push_back(Folder{&top, {}, {}});
    mUnfinished = 1;
    for (unsigned worker = 0; worker < std::max(workers, 1u); ++worker) {
        try {
            mWorkers.emplace_back([this] { Work(); });
        } catch (const std::system_error&) {
            if (mWorkers.empty()) {
                throw; // nothing sorts: the owner sorts at once instead
            }
            break; // fewer workers than asked for sort all the same
        }
    }
}

BackgroundSorting::~BackgroundSorting() {
    {
        std::lock_guard lock(mMutex);
        mStopping = true;
    }
    mWake.notify_all();
    for (std::thread& worker : mWorkers) {
        worker.join();
    }
}

bool BackgroundSorting::Sorted() const {
    std::lock_guard lock(mMutex);
    return mEndTold && mSorted;
}

void BackgroundSorting::End(bool sorted) {
    {
        std::lock_guard lock(mMutex);
        if (mEndTold) {
            return;
        }
        mEndTold = true;
        mSorted = sorted;
    }
    mWake.notify_all(); // the other workers stop looking for folders
    if (mEnded) {
        mEnded();
    }
}

void BackgroundSorting::Work() {
#if defined(__linux__)
    pthread_setname_np(pthread_self(), "tree sorting"); // as profilers and debuggers list it
#endif
    Scratch scratch;
    for (;;) {
        Folder* folder = nullptr;
        {
            std::unique_lock lock(mMutex);
            mWake.wait(lock, [this] { return mStopping || mEndTold || mNext < mFolders.size(); });
            if (mStopping || mEndTold) {
                break;
            }
            folder = &mFolders[mNext++];
        }
        bool sorted = false;
        bool last = false;
        try {
            sorted = SortFolder(*folder, scratch);
            std::lock_guard lock(mMutex);
            if (sorted) {
                for (std::vector<TreeRowPtr>* rows : scratch.below) {
                    mFolders.push_back(Folder{rows, {}, {}});
                }
                mUnfinished += scratch.below.size();
            }
            --mUnfinished;
            last = mUnfinished == 0;
        } catch (...) {
            sorted = false; // a comparison that failed, or no memory for the keys
        }
        if (!sorted || last) {
            End(sorted);
            break;
        }
        if (!scratch.below.empty()) {
            mWake.notify_all();
        }
    }
    // Every folder is sorted, or the sort ends: the rows are put in their places when the
    // main thread says so, and what they no longer need is freed here afterwards.
    {
        std::unique_lock lock(mMutex);
        mWake.wait(lock, [this] { return mStopping || mApplying; });
        if (!mApplying) {
            return;
        }
    }
    std::vector<KeptKey> keys;
    std::vector<std::vector<TreeRowPtr>> emptied;
    ApplyFolders(keys, emptied);
    {
        std::lock_guard lock(mMutex);
        --mStillApplying;
    }
    mWake.notify_all();
    // Freeing a million keys takes as long as drawing the rows, and slows it down when both
    // are done at once: the rows are drawn first.
    std::unique_lock lock(mMutex);
    mWake.wait(lock, [this] { return mStopping || mFreeNow; });
}

bool BackgroundSorting::SortFolder(Folder& folder, Scratch& scratch) const {
    const std::vector<TreeRowPtr>& rows = *folder.rows;
    const std::size_t count = rows.size();
    std::u16string& block = scratch.block;
    block.clear();
    scratch.starts.clear();
    scratch.below.clear();
    scratch.starts.reserve(count + 1);
    // Each key is read from wherever its row's name lies on the heap once, here, and copied
    // beside the others: the comparisons then read one block.
    for (std::size_t position = 0; position < count; ++position) {
        if (position + 2 * kNodesAhead < count) {
            PrefetchNode(*rows[position + 2 * kNodesAhead]);
        }
        if (position + kNodesAhead < count) {
            PrefetchName(*rows[position + kNodesAhead]);
        }
        const TreeRowPtr& row = rows[position];
        TreeRowNode& node = row->Node(); // only read here
        const std::optional<std::size_t> length = mKeyLength(row);
        if (!length) {
            return false;
        }
        scratch.starts.push_back(block.size());
        block.append(std::u16string_view(node.name).substr(0, std::min(*length, node.name.size())));
        if (!node.children.empty()) {
            scratch.below.push_back(&node.children);
        }
    }
    scratch.starts.push_back(block.size());
    std::vector<std::u16string_view>& keys = scratch.keys;
    keys.clear();
    keys.reserve(count);
    for (std::size_t position = 0; position < count; ++position) {
        keys.emplace_back(block.data() + scratch.starts[position],
                          scratch.starts[position + 1] - scratch.starts[position]);
    }
    std::vector<std::uint32_t> order(count);
    std::iota(order.begin(), order.end(), std::uint32_t{0});
    const auto before = [&](std::uint32_t a, std::uint32_t b) {
        const std::u16string_view first = keys[mAscending ? a : b];
        const std::u16string_view second = keys[mAscending ? b : a];
        return mLess ? mLess(first, second) : first < second;
    };
    if (!std::is_sorted(order.begin(), order.end(), before)) {
        std::stable_sort(order.begin(), order.end(), before);
        // The places are made now: putting the rows in them later needs no memory.
        folder.sorted.resize(count);
        folder.order = std::move(order);
    }
    return true;
}

void BackgroundSorting::Apply() {
    {
        std::lock_guard lock(mMutex);
        mApplying = true;
        mStillApplying = mWorkers.size();
    }
    mWake.notify_all();
    std::unique_lock lock(mMutex);
    mWake.wait(lock, [this] { return mStillApplying == 0; });
}

void BackgroundSorting::FreeLeftovers() {
    {
        std::lock_guard lock(mMutex);
        mFreeNow = true;
    }
    mWake.notify_all();
}

void BackgroundSorting::ApplyFolders(std::vector<KeptKey>& keys,
                                     std::vector<std::vector<TreeRowPtr>>& emptied) {
    for (;;) {
        const std::size_t first = mNextToApply.fetch_add(kFoldersPerTake);
        if (first >= mFolders.size()) {
            return;
        }
        const std::size_t end = std::min(first + kFoldersPerTake, mFolders.size());
        for (std::size_t next = first; next < end; ++next) {
            Folder& folder = mFolders[next];
            std::vector<TreeRowPtr>& rows = *folder.rows;
            if (!folder.order.empty()) {
                for (std::size_t position = 0; position < rows.size(); ++position) {
                    folder.sorted[position] = std::move(rows[folder.order[position]]);
                }
                rows.swap(folder.sorted);
                try {
                    emptied.push_back(std::move(folder.sorted));
                } catch (const std::bad_alloc&) {
                    // Freed with the sort instead.
                }
            }
            for (std::size_t position = 0; position < rows.size(); ++position) {
                if (position + kNodesAhead < rows.size()) {
                    PrefetchNode(*rows[position + kNodesAhead]);
                }
                TreeRowNode& node = rows[position]->Node();
                node.index = static_cast<int>(position);
                node.sortKeyValid = false;
                node.childrenUnsorted = false;
                if (!node.sortKey.empty()) {
                    try {
                        keys.push_back(std::move(node.sortKey));
                    } catch (const std::bad_alloc&) {
                        node.sortKey.Clear();
                    }
                }
            }
        }
    }
}

} // namespace host
