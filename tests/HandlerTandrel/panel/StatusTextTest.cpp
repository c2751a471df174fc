// The status line's text for every count, in English.
#include "panel/StatusText.h"

#include <gtest/gtest.h>

namespace {

using HandlerTandrel::StatusTextFor;

TEST(StatusText, OneItemSelectedOfOneReadsOneOfOneItemSelected) {
    EXPECT_EQ(StatusTextFor(1, 1), u"1 of 1 item selected");
}

TEST(StatusText, TwoItemsAndNoSelectionReadsTwoItems) {
    EXPECT_EQ(StatusTextFor(2, 0), u"2 items");
}

TEST(StatusText, OneItemAndNoSelectionReadsOneItem) {
    EXPECT_EQ(StatusTextFor(1, 0), u"1 item");
}

TEST(StatusText, NoItemsReadsZeroItems) {
    EXPECT_EQ(StatusTextFor(0, 0), u"0 items");
}

TEST(StatusText, SingularOrPluralFollowsTheTotalAlone) {
    EXPECT_EQ(StatusTextFor(5, 1), u"1 of 5 items selected");
    EXPECT_EQ(StatusTextFor(5, 3), u"3 of 5 items selected");
    EXPECT_EQ(StatusTextFor(120, 3), u"3 of 120 items selected");
}

TEST(StatusText, TheTranslatorsNoteIsNeverShown) {
    EXPECT_EQ(StatusTextFor(7, 0).find(u"comment"), std::u16string::npos);
    EXPECT_EQ(StatusTextFor(7, 2).find(u"#"), std::u16string::npos);
}

} // namespace
