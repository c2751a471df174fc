#include "directoryview/SelectionMoves.h"

#include <gtest/gtest.h>

namespace {

using HandlerTandrel::SelectionMoves;

TEST(SelectionMovesTest, PageDownFirstGoesToTheLastRowSeenWhole) {
    EXPECT_EQ(SelectionMoves::PageDownTarget(100, 9, false, 10), 9);
}

TEST(SelectionMovesTest, PageDownFromTheLastRowSeenGoesAPageFurtherButNotPastTheEnd) {
    EXPECT_EQ(SelectionMoves::PageDownTarget(100, 9, true, 10), 19);
    EXPECT_EQ(SelectionMoves::PageDownTarget(15, 9, true, 10), 14);
}

TEST(SelectionMovesTest, PageUpFirstGoesToTheFirstRowSeenWhole) {
    EXPECT_EQ(SelectionMoves::PageUpTarget(30, false, 10), 30);
}

TEST(SelectionMovesTest, PageUpFromTheFirstRowSeenGoesAPageUpButNotAboveTheTop) {
    EXPECT_EQ(SelectionMoves::PageUpTarget(30, true, 10), 20);
    EXPECT_EQ(SelectionMoves::PageUpTarget(4, true, 10), 0);
    EXPECT_EQ(SelectionMoves::PageUpTarget(10, true, 10), 0);
}

TEST(SelectionMovesTest, WithNoRowSeenWholePagingGoesToTheFirstRow) {
    EXPECT_EQ(SelectionMoves::PageDownTarget(100, -1, false, 10), 0);
    EXPECT_EQ(SelectionMoves::PageUpTarget(-1, false, 10), 0);
}

TEST(SelectionMovesTest, APageCountsWholeRowsWithTheLineBetweenThem) {
    EXPECT_EQ(SelectionMoves::RowsPerPageFor(200.0f, 19.0f), 10);
    EXPECT_EQ(SelectionMoves::RowsPerPageFor(199.0f, 19.0f), 9);
    EXPECT_EQ(SelectionMoves::RowsPerPageFor(10.0f, 19.0f), 0);
}

} // namespace
