#include "Marvane/uitoolkit/FolderSorting.h"

#include "Marvane/uitoolkit/TreeRowNode.h"

#include <algorithm>
#include <numeric>
#include <system_error>
#include <utility>

namespace host {

void FolderSortJob::AddOwnedKey(WideString key) {
    if (owned.empty()) {
        // Sized once: the keys' views point into these strings, which never move.
        owned.resize(rows->size());
        isOwned.resize(rows->size(), false);
    }
    const std::size_t position = keys.size();
    owned[position] = std::move(key);
    isOwned[position] = true;
    keys.push_back(owned[position]);
}

FolderSorting::FolderSorting(Less less, bool ascending, std::size_t helperFrom)
    : mLess(std::move(less)), mAscending(ascending), mHelperFrom(helperFrom) {}

FolderSorting::~FolderSorting() {
    StopHelper();
}

void FolderSorting::StopHelper() {
    {
        std::lock_guard lock(mMutex);
        mFinished = true;
        mStopped = true; // an error on the main thread: the helper stops at its next folder
    }
    mMore.notify_all();
    if (mHelper.joinable()) {
        mHelper.join();
    }
}

void FolderSorting::Submit(FolderSortJob job) {
    mSubmittedRows += job.keys.size();
    {
        std::lock_guard lock(mMutex);
        mJobs.push_back(std::move(job));
    }
    mMore.notify_one();
    if (!mHelperStarted && mSubmittedRows >= mHelperFrom) {
        mHelperStarted = true;
        try {
            mHelper = std::thread([this] {
                try {
                    Work(true);
                } catch (...) {
                    std::lock_guard lock(mMutex);
                    mHelperFailure = std::current_exception();
                    mStopped = true;
                }
            });
            mHelperRan = true;
        } catch (const std::system_error&) {
            // No thread to be had: the main thread sorts every folder itself in Finish.
        }
    }
}

void FolderSorting::Finish() {
    {
        std::lock_guard lock(mMutex);
        mFinished = true;
    }
    mMore.notify_all();
    Work(false);
    if (mHelper.joinable()) {
        mHelper.join();
    }
    if (mHelperFailure) {
        std::rethrow_exception(mHelperFailure);
    }
}

void FolderSorting::Work(bool untilFinished) {
    for (;;) {
        FolderSortJob* job = nullptr;
        {
            std::unique_lock lock(mMutex);
            if (untilFinished) {
                mMore.wait(lock,
                           [this] { return mStopped || mFinished || mNextToSort < mJobs.size(); });
            }
            if (mStopped || mNextToSort >= mJobs.size()) {
                return;
            }
            job = &mJobs[mNextToSort++];
        }
        Sort(*job);
    }
}

void FolderSorting::Sort(FolderSortJob& job) const {
    // The keys side by side: each row's name is read from wherever it lies on the heap once,
    // here, and the comparisons then read one block.
    std::size_t total = 0;
    for (const std::u16string_view key : job.keys) {
        total += key.size();
    }
    std::u16string block;
    block.reserve(total);
    std::vector<std::u16string_view> keys;
    keys.reserve(job.keys.size());
    for (const std::u16string_view key : job.keys) {
        keys.emplace_back(block.data() + block.size(), key.size());
        block.append(key);
    }
    job.order.resize(keys.size());
    std::iota(job.order.begin(), job.order.end(), std::uint32_t{0});
    const auto before = [&](std::uint32_t a, std::uint32_t b) {
        const std::u16string_view first = keys[mAscending ? a : b];
        const std::u16string_view second = keys[mAscending ? b : a];
        return mLess ? mLess(first, second) : first < second;
    };
    if (!std::is_sorted(job.order.begin(), job.order.end(), before)) {
        std::stable_sort(job.order.begin(), job.order.end(), before);
        job.reordered = true;
    }
    job.discarded.clear();
    job.discarded.shrink_to_fit();
    // The rows in their places at once, by whichever thread sorted them: while the helper puts
    // a folder's rows in order the main thread asks the keys of folders below them, which are
    // other rows (the main thread waits in Finish, so nothing else reads them meanwhile).
    ApplyFolderSort(job);
}

void ApplyFolderSort(FolderSortJob& job) {
    std::vector<TreeRowPtr>& rows = *job.rows;
    if (job.reordered) {
        std::vector<TreeRowPtr> sorted;
        sorted.reserve(rows.size());
        for (const std::uint32_t from : job.order) {
            sorted.push_back(std::move(rows[from]));
        }
        rows.swap(sorted);
    }
    for (std::size_t position = 0; position < rows.size(); ++position) {
        TreeRowNode& node = rows[position]->Node();
        const std::uint32_t from = job.order[position];
        // A key that is part of the row's name is not kept: the name is.
        node.sortKeyValid = !job.isOwned.empty() && job.isOwned[from];
        if (node.sortKeyValid) {
            node.sortKey.Set(job.owned[from]);
        }
        node.index = static_cast<int>(position);
    }
}

} // namespace host
