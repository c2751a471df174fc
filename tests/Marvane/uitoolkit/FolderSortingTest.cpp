#include "Marvane/uitoolkit/FolderSorting.h"

#include "Marvane/uitoolkit/TreeRowNode.h"

#include <algorithm>
#include <atomic>
#include <gtest/gtest.h>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

using host::FolderSorting;
using host::FolderSortJob;
using host::TreeRowPtr;
using host::WideString;

// A folder of rows whose keys repeat, so that a sort that is not stable shows.
struct Folder {
    std::vector<TreeRowPtr> rows;
    std::vector<WideString> keys;
};

Folder MakeFolder(int size, int seed) {
    Folder folder;
    for (int index = 0; index < size; ++index) {
        folder.rows.push_back(std::make_shared<host::UI_TreeRow>(false));
        folder.keys.push_back(
            u"k" + host::WideString(1, static_cast<char16_t>(u'a' + (index * 7 + seed) % 13)));
    }
    return folder;
}

FolderSortJob JobFor(Folder& folder) {
    FolderSortJob job;
    job.rows = &folder.rows;
    for (const WideString& key : folder.keys) {
        job.AddOwnedKey(key);
    }
    return job;
}

// The rows in the order a stable sort of each folder by its keys gives.
std::vector<TreeRowPtr> StablySorted(const Folder& folder, bool ascending) {
    std::vector<std::size_t> order(folder.rows.size());
    for (std::size_t index = 0; index < order.size(); ++index) {
        order[index] = index;
    }
    std::stable_sort(order.begin(), order.end(), [&](std::size_t a, std::size_t b) {
        return ascending ? folder.keys[a] < folder.keys[b] : folder.keys[b] < folder.keys[a];
    });
    std::vector<TreeRowPtr> rows;
    for (const std::size_t from : order) {
        rows.push_back(folder.rows[from]);
    }
    return rows;
}

TEST(FolderSortingTest, ManyFoldersSortedBesideTheMainThreadEndAsAStableSortOfEachWould) {
    for (const bool ascending : {true, false}) {
        std::vector<Folder> folders;
        for (int seed = 0; seed < 40; ++seed) {
            folders.push_back(MakeFolder(50 + seed * 3, seed));
        }
        std::vector<std::vector<TreeRowPtr>> expected;
        for (const Folder& folder : folders) {
            expected.push_back(StablySorted(folder, ascending));
        }
        std::atomic<int> comparisons{0};
        FolderSorting sorting(
            [&](std::u16string_view a, std::u16string_view b) {
                ++comparisons;
                return a < b;
            },
            ascending, 100);
        for (Folder& folder : folders) {
            sorting.Submit(JobFor(folder));
        }
        sorting.Finish();
        EXPECT_TRUE(sorting.UsedHelper());
        EXPECT_GT(comparisons.load(), 0);
        for (std::size_t index = 0; index < folders.size(); ++index) {
            EXPECT_EQ(folders[index].rows, expected[index]) << "folder " << index;
            // Each row keeps its key and knows its new place.
            for (std::size_t position = 0; position < folders[index].rows.size(); ++position) {
                const host::TreeRowNode& node = folders[index].rows[position]->Node();
                EXPECT_EQ(node.index, static_cast<int>(position));
                EXPECT_TRUE(node.sortKeyValid);
            }
        }
    }
}

TEST(FolderSortingTest, AFewRowsAreSortedOnTheMainThreadAlone) {
    Folder folder = MakeFolder(30, 3);
    const std::vector<TreeRowPtr> expected = StablySorted(folder, true);
    FolderSorting sorting(nullptr, true, 4096); // no callback: keys compare as they are
    sorting.Submit(JobFor(folder));
    sorting.Finish();
    EXPECT_FALSE(sorting.UsedHelper());
    EXPECT_EQ(folder.rows, expected);
}

TEST(FolderSortingTest, RowsAlreadyInOrderAreLeftWhereTheyAre) {
    Folder folder = MakeFolder(20, 1);
    std::sort(folder.keys.begin(), folder.keys.end());
    const std::vector<TreeRowPtr> before = folder.rows;
    FolderSorting sorting(nullptr, true, 1);
    sorting.Submit(JobFor(folder));
    sorting.Finish();
    EXPECT_FALSE(sorting.Jobs().front().reordered);
    EXPECT_EQ(folder.rows, before);
}

TEST(FolderSortingTest, AComparisonThatFailsOnEitherThreadIsThrownByFinish) {
    std::vector<Folder> folders;
    for (int seed = 0; seed < 30; ++seed) {
        folders.push_back(MakeFolder(200, seed));
    }
    std::atomic<int> comparisons{0};
    const std::vector<TreeRowPtr> untouched = folders.front().rows;
    {
        FolderSorting sorting(
            [&](std::u16string_view a, std::u16string_view b) {
                if (++comparisons > 500) {
                    throw std::runtime_error("no comparison");
                }
                return a < b;
            },
            true, 1);
        for (Folder& folder : folders) {
            sorting.Submit(JobFor(folder));
        }
        EXPECT_THROW(sorting.Finish(), std::runtime_error);
    } // the helper has stopped: leaving the scope does not wait for ever
    EXPECT_GT(comparisons.load(), 500);
    EXPECT_EQ(folders.front().rows, untouched); // nothing applied, no row lost
}

// Keys that are parts of the rows' names are sorted where the names are and not kept on the
// rows; keys asked for are kept.
TEST(FolderSortingTest, KeysInNamesAreSortedAndNotKeptKeysAskedForAreKept) {
    std::vector<TreeRowPtr> rows;
    const std::vector<WideString> names = {u"Shot 3.mvproj", u"Reel", u"Shot 1.mvproj", u"Cut"};
    for (const WideString& name : names) {
        rows.push_back(std::make_shared<host::UI_TreeRow>(false));
        rows.back()->SetName(name);
    }
    FolderSortJob job;
    job.rows = &rows;
    // "Reel" and "Cut" are given as copies; the shots as the start of their names.
    job.keys.push_back(std::u16string_view(rows[0]->GetName()).substr(0, 6));
    job.AddOwnedKey(u"Reel");
    job.keys.push_back(std::u16string_view(rows[2]->GetName()).substr(0, 6));
    job.AddOwnedKey(u"Cut");
    const std::vector<TreeRowPtr> expected = {rows[3], rows[1], rows[2], rows[0]};
    FolderSorting sorting(nullptr, true, 4096);
    sorting.Submit(std::move(job));
    sorting.Finish();
    EXPECT_EQ(rows, expected);
    EXPECT_TRUE(rows[0]->Node().sortKeyValid);
    EXPECT_EQ(rows[0]->Node().sortKey.View(), u"Cut");
    EXPECT_TRUE(rows[1]->Node().sortKeyValid);
    EXPECT_EQ(rows[1]->Node().sortKey.View(), u"Reel");
    for (const std::size_t shot : {std::size_t{2}, std::size_t{3}}) {
        EXPECT_FALSE(rows[shot]->Node().sortKeyValid);
        EXPECT_TRUE(rows[shot]->Node().sortKey.empty());
        EXPECT_EQ(rows[shot]->Node().index, static_cast<int>(shot));
    }
    EXPECT_EQ(rows[2]->GetName(), u"Shot 1.mvproj"); // names are untouched
}

TEST(FolderSortingTest, KeysOfTheSortBeforeAreLetGoOf) {
    Folder folder = MakeFolder(64, 2);
    FolderSortJob job = JobFor(folder);
    job.discarded.resize(64);
    for (host::KeptKey& key : job.discarded) {
        key.Set(WideString(40, u'x'));
    }
    FolderSorting sorting(nullptr, true, 1);
    sorting.Submit(std::move(job));
    sorting.Finish();
    EXPECT_TRUE(sorting.Jobs().front().discarded.empty());
    EXPECT_EQ(sorting.Jobs().front().discarded.capacity(), 0u);
}

TEST(FolderSortingTest, AKeptKeyGivesBackExactlyWhatItWasGiven) {
    host::KeptKey key;
    EXPECT_TRUE(key.empty());
    EXPECT_TRUE(key.View().empty());
    // Any length, and units that are not valid text on their own (a lone surrogate, a zero).
    WideString odd = u"Reel 10";
    odd.push_back(u'\0');
    odd.push_back(static_cast<char16_t>(0xD800));
    odd += WideString(5000, u'z');
    key.Set(odd);
    EXPECT_FALSE(key.empty());
    EXPECT_EQ(key.View(), odd);
    key.Set(u"a");
    EXPECT_EQ(key.View(), u"a");
    // An empty key keeps nothing.
    key.Set(u"");
    EXPECT_TRUE(key.empty());
    key.Set(u"b");
    key.Clear();
    EXPECT_TRUE(key.empty());
}

} // namespace
