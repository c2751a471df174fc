#pragma once
// Sorts every folder of a big tree on worker threads while the window goes on answering, when
// each row's key is the start of its name. The workers only read the rows (their names and
// their children) while they sort; the rows change places afterwards, all at once, when the
// main thread asks for it (Apply) and waits for the workers to do it. Anything that would change
// the rows or their names before then stops the workers first (the owner destroys the sort).
#include "Marvane/uitoolkit/TreeRowNode.h"
#include "host/MultiColumnTree.h"

#include <atomic>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <mutex>
#include <optional>
#include <thread>
#include <vector>

namespace host {

class BackgroundSorting {
public:
    using Less = UI_MultiColumnTreeHeaderRow::StringSortingCallback;
    // How many code units at the start of the row's name are its key; none when its key is not
    // part of its name, which ends the sort unsorted. Called on the workers.
    using KeyLength = std::function<std::optional<std::size_t>(const TreeRowPtr& row)>;

    // Starts sorting the rows of `top` and of every folder below it that holds rows, open or
    // not, comparing with less (a plain comparison when it is empty) in that direction, on
    // `workers` threads. `ended` is called once, on a worker, when every folder is sorted or
    // the sort cannot be done (Sorted says which). Throws std::system_error when not even one
    // thread could be had.
    BackgroundSorting(std::vector<TreeRowPtr>& top, Less less, bool ascending, KeyLength keyLength,
                      std::function<void()> ended, unsigned workers);
    // Stops the workers where they are and waits for them: a sort not applied changed nothing.
    ~BackgroundSorting();
    BackgroundSorting(const BackgroundSorting&) = delete;
    BackgroundSorting& operator=(const BackgroundSorting&) = delete;

    // Whether every folder is sorted, once `ended` was called: false when a row's key was not
    // part of its name or a comparison failed.
    bool Sorted() const;
    // Puts the rows of every folder in their new order and numbers them, the rows that wait for
    // their folder to open included; returns once every row is in place. Only when Sorted. The
    // keys rows kept from a sort by another column are let go of: the workers free them when
    // told to (FreeLeftovers) or when the sort is destroyed.
    void Apply();
    // Lets the workers free what the rows no longer need, once the window has drawn them in
    // their new order.
    void FreeLeftovers();

private:
    struct Folder {
        std::vector<TreeRowPtr>* rows = nullptr;
        // Positions in their new order; empty when the rows are in order already.
        std::vector<std::uint32_t> order;
        std::vector<TreeRowPtr> sorted; // as many places as rows, filled by Apply
    };
    // What one worker holds while it sorts a folder, kept from one folder to the next.
    struct Scratch {
        std::u16string block;
        std::vector<std::size_t> starts;
        std::vector<std::u16string_view> keys;
        std::vector<std::vector<TreeRowPtr>*> below;
    };

    void Work();
    // Reads the keys of a folder's rows, sorts them and notes the folders among its rows that
    // hold rows; false when a key is not part of its row's name.
    bool SortFolder(Folder& folder, Scratch& scratch) const;
    // Puts folders' rows in their places until none is left; what the rows no longer need
    // (keys kept from another column, the emptied vectors) is handed over to be freed later.
    void ApplyFolders(std::vector<KeptKey>& keys, std::vector<std::vector<TreeRowPtr>>& emptied);
    void End(bool sorted);

    Less mLess;
    bool mAscending;
    KeyLength mKeyLength;
    std::function<void()> mEnded;

    mutable std::mutex mMutex;
    std::condition_variable mWake;
    std::deque<Folder> mFolders; // elements stay where they are as more are added
    std::size_t mNext = 0;       // the next folder to sort
    std::size_t mUnfinished = 0; // folders added and not sorted yet
    bool mStopping = false;
    bool mEndTold = false;
    bool mSorted = false;
    bool mApplying = false;
    std::size_t mStillApplying = 0; // workers that have not finished their part of Apply
    bool mFreeNow = false;
    std::atomic<std::size_t> mNextToApply{0};
    std::vector<std::thread> mWorkers;
};

} // namespace host
