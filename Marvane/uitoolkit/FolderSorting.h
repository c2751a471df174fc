#pragma once
// Orders the rows of many folders at once. The main thread asks the rows for their keys folder
// by folder and hands each folder over; once enough rows were handed over, a helper thread
// sorts the folders already asked while the main thread asks the next ones, and the main thread
// joins in when it has asked them all. Each folder's keys are copied side by side before its
// sort. Positions are sorted, then the folder's rows are put in that order (ApplyFolderSort)
// by the thread that sorted them: the main thread meanwhile reads only other rows. The keys of
// the sort before are let go of by whichever thread sorts their folder.
#include "Marvane/uitoolkit/TreeRowNode.h"
#include "host/MultiColumnTree.h"

#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <exception>
#include <mutex>
#include <string_view>
#include <thread>
#include <vector>

namespace host {

struct FolderSortJob {
    std::vector<TreeRowPtr>* rows = nullptr;
    // By the rows' positions before the sort: parts of the rows' names, or of owned keys.
    std::vector<std::u16string_view> keys;
    // Keys asked for (not parts of names), by position, kept on the rows once sorted; empty
    // while every key is part of a name. A position's key is owned when owned[position] is.
    std::vector<WideString> owned;
    std::vector<bool> isOwned;
    std::vector<std::uint32_t> order; // positions, in their new order once sorted
    std::vector<KeptKey> discarded;   // keys of the sort before, freed off the main thread
    bool reordered = false;           // whether the order differs from the rows' order

    // Adds the next position's key, asked for (rows must be set: it says how many keys the
    // folder will have).
    void AddOwnedKey(WideString key);
};

class FolderSorting {
public:
    using Less = UI_MultiColumnTreeHeaderRow::StringSortingCallback;
    // Compares with less (a plain comparison when it is empty), in that direction. The helper
    // thread starts when folders of helperFrom rows in all were handed over.
    FolderSorting(Less less, bool ascending, std::size_t helperFrom);
    ~FolderSorting();
    FolderSorting(const FolderSorting&) = delete;
    FolderSorting& operator=(const FolderSorting&) = delete;

    void Submit(FolderSortJob job);
    // Sorts what is left with the helper and waits for it; an exception of a comparison made
    // by the helper is thrown here. Each folder's rows are put in their new order
    // (ApplyFolderSort) as soon as it is sorted.
    void Finish();
    // The folders in the order they were handed over, each sorted once Finish returned.
    std::deque<FolderSortJob>& Jobs() { return mJobs; }
    // Whether a helper thread sorted beside the main thread.
    bool UsedHelper() const { return mHelperRan; }

private:
    void Sort(FolderSortJob& job) const;
    // Sorts handed-over folders until none is left; with untilFinished, waits for more until
    // Finish says there are no more.
    void Work(bool untilFinished);
    void StopHelper();

    Less mLess;
    bool mAscending;
    std::size_t mHelperFrom;
    std::size_t mSubmittedRows = 0;
    std::deque<FolderSortJob> mJobs; // elements stay where they are as more are added
    std::mutex mMutex;
    std::condition_variable mMore;
    std::size_t mNextToSort = 0;
    bool mFinished = false;
    bool mStopped = false;
    bool mHelperStarted = false; // asked for once, whether or not a thread could be had
    bool mHelperRan = false;
    std::exception_ptr mHelperFailure;
    std::thread mHelper;
};

// The rows of a sorted folder in their new order, with their keys kept on them for the rows
// that are added or changed later.
void ApplyFolderSort(FolderSortJob& job);

} // namespace host
