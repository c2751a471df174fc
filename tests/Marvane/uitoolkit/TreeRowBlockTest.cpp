// The rows of one listing are made side by side in one block, which goes with the last of
// them, whatever order they go in and whichever thread lets them go.
#include "Marvane/uitoolkit/TreeRowBlock.h"
#include "Marvane/uitoolkit/TreeRowNode.h"

#include <cstdint>
#include <gtest/gtest.h>
#include <string>
#include <thread>
#include <vector>

namespace {

using host::TreeRowBlock;
using host::TreeRowPtr;

std::uintptr_t AddressOf(const TreeRowPtr& row) {
    return reinterpret_cast<std::uintptr_t>(row.get());
}

TEST(TreeRowBlockTest, TheRowsOfOneListingLieSideBySide) {
    TreeRowBlock block(6);
    std::vector<TreeRowPtr> rows;
    for (int index = 0; index < 6; ++index) {
        rows.push_back(block.MakeRow(index % 2 == 0));
    }
    const std::uintptr_t step = AddressOf(rows[1]) - AddressOf(rows[0]);
    // Each row with its counts, and nothing between two rows.
    EXPECT_GE(step, sizeof(host::UI_TreeRow));
    EXPECT_LT(step, 2 * sizeof(host::UI_TreeRow));
    for (std::size_t index = 1; index < rows.size(); ++index) {
        EXPECT_EQ(AddressOf(rows[index]) - AddressOf(rows[index - 1]), step) << index;
    }
    for (std::size_t index = 0; index < rows.size(); ++index) {
        EXPECT_EQ(rows[index]->CanHaveChildren(), index % 2 == 0);
        EXPECT_EQ(rows[index]->Node().self, rows[index].get());
    }
}

TEST(TreeRowBlockTest, TheBlockStaysWhileOneOfItsRowsLivesWhateverOrderTheyGoIn) {
    const std::size_t before = TreeRowBlock::BlocksInUse();
    std::vector<TreeRowPtr> rows;
    {
        TreeRowBlock block(4);
        for (char16_t letter = u'a'; letter < u'e'; ++letter) {
            rows.push_back(block.MakeRow(false));
            rows.back()->SetName(u"project " + std::u16string(1, letter));
        }
    }
    EXPECT_EQ(TreeRowBlock::BlocksInUse(), before + 1); // its maker gone, its rows keep it
    rows[2].reset();
    rows[0].reset();
    rows[3].reset();
    EXPECT_EQ(TreeRowBlock::BlocksInUse(), before + 1);
    EXPECT_EQ(rows[1]->GetName(), u"project b");
    rows[1]->SetName(u"the last one");
    EXPECT_EQ(rows[1]->GetName(), u"the last one");
    rows[1].reset();
    EXPECT_EQ(TreeRowBlock::BlocksInUse(), before);
}

TEST(TreeRowBlockTest, RowsBeyondTheCountAreMadeOneByOneAndKeepTheBlockToo) {
    const std::size_t before = TreeRowBlock::BlocksInUse();
    std::vector<TreeRowPtr> rows;
    {
        TreeRowBlock block(2);
        for (std::size_t index = 0; index < 5; ++index) {
            rows.push_back(block.MakeRow(index == 4));
            rows.back()->SetName(std::u16string(index + 1, u'x'));
        }
    }
    const std::uintptr_t step = AddressOf(rows[1]) - AddressOf(rows[0]);
    EXPECT_GE(step, sizeof(host::UI_TreeRow));
    EXPECT_LT(step, 2 * sizeof(host::UI_TreeRow));
    for (std::size_t index = 0; index < rows.size(); ++index) {
        EXPECT_EQ(rows[index]->GetName().size(), index + 1);
        EXPECT_EQ(rows[index]->CanHaveChildren(), index == 4);
    }
    rows.resize(4);
    EXPECT_EQ(TreeRowBlock::BlocksInUse(), before + 1);
    rows.clear();
    EXPECT_EQ(TreeRowBlock::BlocksInUse(), before);
}

TEST(TreeRowBlockTest, AMakerThatMadeNoRowGoesWithItsBlock) {
    const std::size_t before = TreeRowBlock::BlocksInUse();
    {
        TreeRowBlock block(3);
        EXPECT_EQ(TreeRowBlock::BlocksInUse(), before + 1);
    }
    EXPECT_EQ(TreeRowBlock::BlocksInUse(), before);
    TreeRowPtr row;
    {
        TreeRowBlock empty(0);
        row = empty.MakeRow(true); // more than asked for: made on its own
    }
    ASSERT_NE(row, nullptr);
    EXPECT_TRUE(row->CanHaveChildren());
    row.reset();
    EXPECT_EQ(TreeRowBlock::BlocksInUse(), before);
}

TEST(TreeRowBlockTest, RowsLetGoOnTwoThreadsAtOnceFreeTheirBlockOnce) {
    constexpr int kRows = 2000;
    const std::size_t before = TreeRowBlock::BlocksInUse();
    std::vector<TreeRowPtr> even;
    std::vector<TreeRowPtr> odd;
    {
        TreeRowBlock block(kRows);
        for (int index = 0; index < kRows; ++index) {
            (index % 2 == 0 ? even : odd).push_back(block.MakeRow(false));
        }
    }
    std::thread one([rows = std::move(even)]() mutable { rows.clear(); });
    std::thread two([rows = std::move(odd)]() mutable { rows.clear(); });
    one.join();
    two.join();
    EXPECT_EQ(TreeRowBlock::BlocksInUse(), before);
}

} // namespace
