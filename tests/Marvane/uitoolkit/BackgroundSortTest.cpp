// A big tree sorted by its rows' names is sorted on worker threads while the window answers:
// its rows stay as they were until the sort is done, then change places at once, as a sort at
// once would have put them; whatever changes the rows meanwhile makes the sort start again.
#include "Marvane/uitoolkit/TreeModel.h"
#include "NamedRowsTree.h"

#include <QAbstractItemModelTester>
#include <QPersistentModelIndex>
#include <algorithm>
#include <dirent.h>
#include <gtest/gtest.h>
#include <optional>
#include <string>
#include <vector>

namespace {

using host::TreeRowPtr;

// The threads of this process now.
int ThreadCount() {
    int threads = 0;
    if (DIR* tasks = ::opendir("/proc/self/task")) {
        while (const dirent* entry = ::readdir(tasks)) {
            threads += entry->d_name[0] != '.' ? 1 : 0;
        }
        ::closedir(tasks);
    }
    return threads;
}

class BackgroundSortTest : public testsupport::NamedRowsTree {
protected:
    static constexpr host::UI_MultiColumnTree::ColumnID kSize = 2;
    static constexpr int kFolders = 12;
    static constexpr int kRowsPerFolder = 150;

    void SetUp() override {
        NamedRowsTree::SetUp();
        header.AppendColumn("Size", kSize);
        // By name, the key is the whole name, but for names that start with "!", whose keys
        // are asked; by size, every key is asked (and kept by its row).
        tree.SetSortKeyInNameCallback(
            [](const TreeRowPtr& row,
               host::UI_MultiColumnTree::ColumnID column) -> std::optional<std::size_t> {
                const host::WideString& name = row->GetName();
                if (column != kName || (!name.empty() && name.front() == u'!')) {
                    return std::nullopt;
                }
                return name.size();
            });
        modelTester = std::make_unique<QAbstractItemModelTester>(
            &Model(), QAbstractItemModelTester::FailureReportingMode::Fatal);
        // Folders of rows out of order, every other folder open; a small tree is enough to be
        // sorted as a big one is.
        Model().SetSortInBackgroundFrom(100);
        for (int f = 0; f < kFolders; ++f) {
            folders.push_back(Named(u"folder " + Number(f * 7 % kFolders), true));
        }
        tree.InsertRows(nullptr, folders);
        for (std::size_t f = 0; f < folders.size(); ++f) {
            std::vector<TreeRowPtr> rows;
            for (int r = 0; r < kRowsPerFolder; ++r) {
                rows.push_back(Named(u"row " + Number((r * 37 + static_cast<int>(f)) % 200)));
            }
            tree.InsertRows(folders[f], rows);
            tree.OpenRow(folders[f], f % 2 == 0);
        }
        Show();
    }
    host::TreeModel& Model() { return tree.GetImpl()->model; }
    static std::u16string Number(int number) {
        std::string digits = std::to_string(number);
        digits.insert(0, 3 - digits.size(), '0');
        return host::ToUTF16(digits);
    }
    TreeRowPtr Named(const std::u16string& name, bool folder = false) {
        TreeRowPtr row = Row(name, folder);
        row->SetName(name);
        return row;
    }
    std::vector<std::u16string> NamesIn(const TreeRowPtr& folder) const {
        std::vector<std::u16string> result;
        const int count = folder ? folder->GetChildCount() : tree.GetTopLevelRowCount();
        for (int index = 0; index < count; ++index) {
            result.push_back(Name(folder ? folder->GetChild(index) : tree.GetTopLevelRow(index)));
        }
        return result;
    }
    // Every folder, open or not, and the top level, in the header's order; each row's number
    // is its place.
    void ExpectEveryFolderInOrder(bool ascending) {
        ExpectInOrder(nullptr, ascending);
        for (const TreeRowPtr& folder : folders) {
            ExpectInOrder(folder, ascending);
        }
    }
    void ExpectInOrder(const TreeRowPtr& folder, bool ascending) {
        const std::vector<std::u16string> shown = NamesIn(folder);
        std::vector<std::u16string> sorted = shown;
        std::stable_sort(sorted.begin(), sorted.end(), [ascending](const auto& a, const auto& b) {
            return ascending ? a < b : b < a;
        });
        EXPECT_EQ(shown, sorted) << "in " << (folder ? host::ToUTF8(Name(folder)) : "the top");
        const int count = folder ? folder->GetChildCount() : tree.GetTopLevelRowCount();
        for (int index = 0; index < count; ++index) {
            const TreeRowPtr row = folder ? folder->GetChild(index) : tree.GetTopLevelRow(index);
            EXPECT_EQ(row->Node().index, index); // the row finds its place in the view
        }
    }
    bool WaitUntilSorted() {
        return WaitUntil([this] { return !Model().IsSorting(); }, 20'000);
    }

    std::unique_ptr<QAbstractItemModelTester> modelTester;
    std::vector<TreeRowPtr> folders;
};

TEST_F(BackgroundSortTest, ABigTreeSortedByNamesKeepsItsRowsUntilTheyAllChangePlacesAtOnce) {
    header.SetSortDirection(false);
    const std::vector<std::u16string> topBefore = NamesIn(nullptr);
    const std::vector<std::u16string> firstBefore = NamesIn(folders.front());
    const TreeRowPtr current = folders[3]->GetChild(5);
    view()->setCurrentIndex(Model().IndexOf(current));
    int done = 0;
    int layoutChanges = 0;
    QObject::connect(&Model(), &QAbstractItemModel::layoutChanged, [&] { ++layoutChanges; });
    Model().Resort(tree.GetImpl()->OpenTest(), [&done] { ++done; });

    EXPECT_TRUE(Model().IsSorting());
    EXPECT_EQ(done, 0);
    EXPECT_EQ(NamesIn(nullptr), topBefore);
    EXPECT_EQ(NamesIn(folders.front()), firstBefore);
    ASSERT_TRUE(WaitUntilSorted());
    EXPECT_EQ(done, 1);
    EXPECT_EQ(layoutChanges, 1);
    ExpectEveryFolderInOrder(false);
    // Closed folders were sorted too, and need no sort when they open.
    EXPECT_FALSE(folders[1]->Node().childrenUnsorted);
    EXPECT_EQ(Model().RowAt(view()->currentIndex()), current);
    EXPECT_EQ(Model().RowCount(), static_cast<std::size_t>(kFolders + kFolders * kRowsPerFolder));
}

TEST_F(BackgroundSortTest, RowsArrivingWhileABigTreeSortsStartTheSortAgain) {
    header.SetSortDirection(false);
    tree.Resort();
    ASSERT_TRUE(Model().IsSorting());
    tree.InsertRows(folders[2], {Named(u"row 999"), Named(u"row 000a")});
    tree.RemoveRow(folders[4]->GetChild(0));
    ASSERT_TRUE(WaitUntilSorted());
    ExpectEveryFolderInOrder(false);
    EXPECT_EQ(NamesIn(folders[2]).front(), u"row 999");
    EXPECT_EQ(folders[2]->GetChildCount(), kRowsPerFolder + 2);
    EXPECT_EQ(Model().RowCount(),
              static_cast<std::size_t>(kFolders + kFolders * kRowsPerFolder + 1));
}

TEST_F(BackgroundSortTest, ARowRenamedWhileABigTreeSortsGoesWhereItsNewNameBelongs) {
    tree.Resort(); // ascending, from rows out of order
    ASSERT_TRUE(Model().IsSorting());
    const TreeRowPtr renamed = folders[5]->GetChild(7);
    renamed->SetName(u"row -1");
    names[renamed.get()] = u"row -1";
    ASSERT_TRUE(WaitUntilSorted());
    ExpectEveryFolderInOrder(true);
    EXPECT_EQ(folders[5]->GetChild(0), renamed);
}

TEST_F(BackgroundSortTest, AnotherSortReplacesTheOneUnderWay) {
    int firstDone = 0;
    int secondDone = 0;
    Model().Resort(tree.GetImpl()->OpenTest(), [&firstDone] { ++firstDone; });
    header.SetSortDirection(false);
    Model().Resort(tree.GetImpl()->OpenTest(), [&secondDone] { ++secondDone; });
    ASSERT_TRUE(WaitUntilSorted());
    SettleEvents();
    EXPECT_EQ(firstDone, 0);
    EXPECT_EQ(secondDone, 1);
    ExpectEveryFolderInOrder(false);
}

TEST_F(BackgroundSortTest, ARowWhoseKeyIsNotInItsNameHasTheTreeSortedAtOnceInstead) {
    const TreeRowPtr asked = Named(u"!row 100");
    tree.InsertRows(folders[6], {asked});
    const std::uint64_t before = tree.GetSortDataRequestCount();
    header.SetSortDirection(false);
    tree.Resort();
    ASSERT_TRUE(WaitUntilSorted());
    // Asked on the main thread: the workers never ask the owner for a key.
    EXPECT_GT(tree.GetSortDataRequestCount(), before);
    ExpectInOrder(nullptr, false);
    for (std::size_t f = 0; f < folders.size(); f += 2) {
        ExpectInOrder(folders[f], false); // the open ones; closed ones wait until they open
    }
    EXPECT_EQ(NamesIn(folders[6]).back(), u"!row 100");
}

TEST_F(BackgroundSortTest, AFolderOpenedWhileABigTreeSortsIsInOrderOnceItIsDone) {
    header.SetSortDirection(false);
    tree.Resort();
    ASSERT_TRUE(Model().IsSorting());
    tree.OpenRow(folders[1], true);
    ASSERT_TRUE(WaitUntilSorted());
    ExpectEveryFolderInOrder(false);
}

TEST_F(BackgroundSortTest, TheWorkersFreeWhatTheRowsNoLongerNeedOnceTheRowsAreDrawn) {
    // Sorted by another column first, every row keeps its key; the sort by names lets them go.
    header.SetSortColumn(kSize);
    tree.Resort();
    ASSERT_TRUE(WaitUntilSorted());
    ASSERT_FALSE(folders[0]->GetChild(0)->Node().sortKey.empty());
    header.SetSortColumn(kName);
    view()->hide(); // nothing is drawn meanwhile
    // Only the drawing lets them go: the wait for it outlasts the test.
    Model().SetFreeUndrawnAfter(600'000);
    const int threadsBefore = ThreadCount();
    tree.Resort();
    ASSERT_TRUE(WaitUntilSorted());
    ExpectEveryFolderInOrder(true);
    EXPECT_TRUE(folders[0]->GetChild(0)->Node().sortKey.empty());
    // The workers hold the keys until the rows are drawn: freeing them would slow that down.
    EXPECT_GT(ThreadCount(), threadsBefore);
    view()->show();
    EXPECT_TRUE(WaitUntil([&] { return ThreadCount() == threadsBefore; }));
    // With no view to draw the rows, they free them soon all the same.
    view()->hide();
    Model().SetFreeUndrawnAfter(1000);
    header.SetSortColumn(kSize);
    tree.Resort();
    ASSERT_TRUE(WaitUntilSorted());
    header.SetSortColumn(kName);
    tree.Resort();
    ASSERT_TRUE(WaitUntilSorted());
    EXPECT_GT(ThreadCount(), threadsBefore);
    EXPECT_TRUE(WaitUntil([&] { return ThreadCount() == threadsBefore; }));
}

TEST_F(BackgroundSortTest, TheWorkersEndWithTheSortAndWithATreeGoneMidway) {
    const int threadsBefore = ThreadCount();
    tree.Resort();
    ASSERT_TRUE(WaitUntilSorted());
    // They free what the rows no longer need, and end.
    EXPECT_TRUE(WaitUntil([&] { return ThreadCount() == threadsBefore; }));
    {
        host::UI_MultiColumnTreeHeaderRow otherHeader;
        auto other = std::make_unique<host::UI_MultiColumnTree>("Test.Gone");
        otherHeader.AppendColumn("Name", kName);
        testsupport::SortAscendingBy(otherHeader, kName);
        other->SetHeaderRow(&otherHeader);
        other->SetSortKeyInNameCallback(
            [](const TreeRowPtr& row, host::UI_MultiColumnTree::ColumnID) {
                return std::optional<std::size_t>(row->GetName().size());
            });
        other->GetImpl()->model.SetSortInBackgroundFrom(1);
        std::vector<TreeRowPtr> rows;
        for (int r = 0; r < 2000; ++r) {
            rows.push_back(std::make_shared<host::UI_TreeRow>(false));
            rows.back()->SetName(u"row " + Number(r % 1000));
        }
        other->InsertRows(nullptr, rows);
        otherHeader.SetSortDirection(false);
        other->Resort();
        EXPECT_TRUE(other->GetImpl()->model.IsSorting());
        other.reset(); // the workers stop before the rows they read go
        EXPECT_EQ(rows.front()->Node().tree, nullptr);
    }
    SettleEvents();
    EXPECT_EQ(ThreadCount(), threadsBefore);
}

} // namespace
