#include "columns/Columns.h"
#include "Marvane/application/TuningStore.h"
#include "Marvane/uitoolkit/HeaderRowImpl.h"
#include "columns/SortString.h"

#include <gtest/gtest.h>
#include <limits>

#include "ViewTestSupport.h"

namespace {

using namespace HandlerTandrel::Columns;

class ColumnsTest : public ::testing::Test {
protected:
    void SetUp() override {
        host::SetTuningValues({});
        SetupColumns(&header, SortStringIsLess,
                     [this](ColumnID id, bool ascending) { changes.emplace_back(id, ascending); });
    }
    void TearDown() override { host::SetTuningValues({}); }

    HeaderRow header;
    std::vector<std::pair<ColumnID, bool>> changes;
};

TEST_F(ColumnsTest, FiveColumnsInTheirOrderWithTitlesWidthsAndMinimums) {
    ASSERT_EQ(header.GetCountOfColumns(), 5);
    const std::vector<ColumnID> expected = {kNameColumn, kLockColumn, kModifiedColumn,
                                            kCreatedColumn, kSizeColumn};
    for (int position = 0; position < 5; ++position) {
        const ColumnID id = header.GetColumnAt(position);
        EXPECT_EQ(id, expected[static_cast<std::size_t>(position)]);
        EXPECT_FLOAT_EQ(header.GetColumnWidth(id), 200.0f);
        EXPECT_FLOAT_EQ(header.GetColumnAllowedMinimumWidth(id), position == 0 ? 70.0f : 50.0f);
    }
    EXPECT_EQ(header.GetColumnTitle(kNameColumn), "Name");
    EXPECT_EQ(header.GetColumnTitle(kLockColumn), "Project Locked");
    EXPECT_EQ(header.GetColumnTitle(kModifiedColumn), "Date Modified");
    EXPECT_EQ(header.GetColumnTitle(kCreatedColumn), "Date Created");
    EXPECT_EQ(header.GetColumnTitle(kSizeColumn), "Size");
    EXPECT_TRUE(header.AllowsColumnMovingByUser());
    EXPECT_TRUE(header.GetImpl()->view->sectionsMovable());
    EXPECT_FALSE(header.GetImpl()->view->isFirstSectionMovable()); // Name stays first
    EXPECT_TRUE(header.IsSortIndicatorShown());
    ASSERT_TRUE(header.GetStringSortingCallback());
    EXPECT_TRUE(header.GetStringSortingCallback()(u"Shot 2", u"Shot 10"));
}

TEST(ColumnsSetup, OneTuningEntryOverridesBothMinimumWidthsAndTheWidth) {
    host::SetTuningValues({{"Tandrel.Columns.MinWidth", "90"}, {"Tandrel.Columns.Width", "150"}});
    HeaderRow header;
    SetupColumns(&header, {}, {});
    EXPECT_FLOAT_EQ(header.GetColumnAllowedMinimumWidth(kNameColumn), 90.0f);
    EXPECT_FLOAT_EQ(header.GetColumnAllowedMinimumWidth(kSizeColumn), 90.0f);
    EXPECT_FLOAT_EQ(header.GetColumnWidth(kSizeColumn), 150.0f);
    EXPECT_FALSE(header.GetStringSortingCallback()); // an empty callback is not installed
    host::SetTuningValues({});
}

TEST(ColumnsSetup, SettingUpWithoutAHeaderRowIsANullPointer) {
    EXPECT_THROW(SetupColumns(nullptr, {}, {}), host::NullPointerException);
    EXPECT_THROW(GetColumnIndices(nullptr), host::NullPointerException);
}

TEST_F(ColumnsTest, CapturingWithoutRecordedWidthsGivesTheDefaultWidth) {
    const HeaderRowData data = GetHeaderRowData(&header, {{kSizeColumn, 90.0f}});
    ASSERT_EQ(data.mColumnDataList.size(), 5u);
    EXPECT_FLOAT_EQ(data.mColumnDataList[0].mWidth, 200.0f);
    EXPECT_FLOAT_EQ(data.mColumnDataList[4].mWidth, 90.0f);
    host::SetTuningValues({{"Tandrel.Columns.Width", "240"}});
    EXPECT_FLOAT_EQ(GetHeaderRowData(&header, {}).mColumnDataList[1].mWidth, 240.0f);
}

TEST(ColumnsCapture, WithoutAHeaderRowTheCapturedDataIsEmptyAndAscending) {
    const HeaderRowData data = GetHeaderRowData(nullptr, {});
    EXPECT_TRUE(data.mColumnDataList.empty());
    EXPECT_EQ(data.mSortColumnID, 0u);
    EXPECT_TRUE(data.mSortAscending);
}

TEST_F(ColumnsTest, ApplyingScalesWidthsOneAndAHalfTimes) {
    HeaderRowData data;
    data.mColumnDataList = {{kNameColumn, 120.0f}};
    data.mSortColumnID = kSizeColumn;
    data.mSortAscending = false;
    ApplyHeaderRowData(&header, data, 1.5f);
    EXPECT_FLOAT_EQ(header.GetColumnWidth(kNameColumn), 180.0f);
    EXPECT_EQ(header.GetSortColumn(), kSizeColumn);
    EXPECT_FALSE(header.IsSortDirectionAscending());
}

TEST_F(ColumnsTest, AnUnknownSavedColumnIsSkippedAndTheNextTakesItsPlace) {
    HeaderRowData data;
    data.mColumnDataList = {
        {kSizeColumn, 80.0f}, {host::FourCharCode("Gone"), 100.0f}, {kLockColumn, 110.0f}};
    ApplyHeaderRowData(&header, data, 1.0f);
    EXPECT_EQ(header.GetColumnAt(0), kSizeColumn);
    EXPECT_EQ(header.GetColumnAt(1), kLockColumn);
    // Columns missing from the saved list stay behind, in their order.
    EXPECT_EQ(header.GetColumnAt(2), kNameColumn);
    EXPECT_EQ(header.GetColumnAt(3), kModifiedColumn);
    EXPECT_EQ(header.GetColumnAt(4), kCreatedColumn);
    EXPECT_FLOAT_EQ(header.GetColumnWidth(kLockColumn), 110.0f);
}

TEST_F(ColumnsTest, AColumnSavedTwiceIsPlacedOnce) {
    HeaderRowData data;
    data.mColumnDataList = {{kSizeColumn, 80.0f}, {kLockColumn, 90.0f}, {kSizeColumn, 300.0f}};
    ApplyHeaderRowData(&header, data, 1.0f);
    EXPECT_EQ(header.GetColumnAt(0), kSizeColumn);
    EXPECT_EQ(header.GetColumnAt(1), kLockColumn);
    EXPECT_FLOAT_EQ(header.GetColumnWidth(kSizeColumn), 80.0f);
}

TEST_F(ColumnsTest, WidthsAreKeptWithinReason) {
    header.SetColumnWidth(kLockColumn, std::numeric_limits<float>::infinity());
    EXPECT_FLOAT_EQ(header.GetColumnWidth(kLockColumn), 50.0f);
    header.SetColumnWidth(kLockColumn, 1e30f);
    EXPECT_FLOAT_EQ(header.GetColumnWidth(kLockColumn), 100000.0f);
}

TEST_F(ColumnsTest, TheSortIndicatorFollowsAColumnThatWasMoved) {
    header.MoveColumn(kSizeColumn, 0, true);
    QHeaderView* view = header.GetImpl()->view.data();
    emit view->sectionClicked(header.GetImpl()->SectionOf(kSizeColumn));
    EXPECT_EQ(view->sortIndicatorSection(), header.GetImpl()->SectionOf(kSizeColumn));
    EXPECT_EQ(view->visualIndex(view->sortIndicatorSection()), 0);
    header.SetSortColumn(kLockColumn);
    EXPECT_EQ(view->sortIndicatorSection(), header.GetImpl()->SectionOf(kLockColumn));
}

TEST_F(ColumnsTest, ASavedLayoutComesBackAsItWas) {
    header.MoveColumn(kSizeColumn, 1, true);
    header.SetColumnWidth(kNameColumn, 260.0f);
    header.SetSortColumn(kModifiedColumn);
    header.SetSortDirection(false);
    const HeaderRowData saved = GetHeaderRowData(&header, {{kNameColumn, 260.0f}});
    HeaderRow other;
    SetupColumns(&other, {}, {});
    ApplyHeaderRowData(&other, saved, 1.0f);
    for (int position = 0; position < 5; ++position) {
        EXPECT_EQ(other.GetColumnAt(position), header.GetColumnAt(position));
    }
    EXPECT_FLOAT_EQ(other.GetColumnWidth(kNameColumn), 260.0f);
    EXPECT_EQ(other.GetSortColumn(), kModifiedColumn);
    EXPECT_FALSE(other.IsSortDirectionAscending());
}

TEST_F(ColumnsTest, RecordedWidthsAreScaledAndOthersKeepTheirs) {
    header.SetColumnWidth(kLockColumn, 130.0f);
    ApplyRecordedWidths(&header, {{kNameColumn, 100.0f}}, 2.8f);
    EXPECT_FLOAT_EQ(header.GetColumnWidth(kNameColumn), 280.0f);
    EXPECT_FLOAT_EQ(header.GetColumnWidth(kLockColumn), 130.0f);
}

TEST_F(ColumnsTest, CopyingALayoutMatchesOrderWidthsAndSort) {
    header.MoveColumn(kCreatedColumn, 0, true);
    header.SetColumnWidth(kCreatedColumn, 123.0f);
    header.SetSortColumn(kLockColumn);
    header.SetSortDirection(false);
    HeaderRow other;
    SetupColumns(&other, {}, {});
    CopyHeaderRowLayout(&header, &other);
    for (int position = 0; position < 5; ++position) {
        EXPECT_EQ(other.GetColumnAt(position), header.GetColumnAt(position)) << position;
    }
    EXPECT_FLOAT_EQ(other.GetColumnWidth(kCreatedColumn), 123.0f);
    EXPECT_EQ(other.GetSortColumn(), kLockColumn);
    EXPECT_FALSE(other.IsSortDirectionAscending());
}

TEST_F(ColumnsTest, NamedPositionsFollowTheColumnsAndKeepTheirSpelling) {
    auto indices = GetColumnIndices(&header);
    EXPECT_EQ(indices.size(), 4u);
    EXPECT_EQ(indices.at("locked_column_index"), 1);
    EXPECT_EQ(indices.at("modifed_date_column_index"), 2);
    EXPECT_EQ(indices.at("creation_date_column_index"), 3);
    EXPECT_EQ(indices.at("size_column_index"), 4);
    EXPECT_EQ(indices.count("name_column_index"), 0u);
    header.MoveColumn(kSizeColumn, 0, true);
    indices = GetColumnIndices(&header);
    EXPECT_EQ(indices.at("size_column_index"), 0);
    EXPECT_EQ(indices.at("locked_column_index"), 2);
    EXPECT_TRUE(IsNameColumn(&header, 1));
    EXPECT_FALSE(IsNameColumn(&header, 0));
}

TEST_F(ColumnsTest, ClickingATitleChangesTheSortAndTellsTheOwner) {
    header.SetSortColumn(kNameColumn);
    header.SetSortDirection(true);
    QHeaderView* view = header.GetImpl()->view.data();
    emit view->sectionClicked(header.GetImpl()->SectionOf(kNameColumn));
    emit view->sectionClicked(header.GetImpl()->SectionOf(kSizeColumn));
    ASSERT_EQ(changes.size(), 2u);
    EXPECT_EQ(changes[0], std::make_pair(kNameColumn, false)); // the same column flips
    EXPECT_EQ(changes[1], std::make_pair(kSizeColumn, true));  // another starts ascending
    EXPECT_EQ(header.GetSortColumn(), kSizeColumn);
}

TEST_F(ColumnsTest, AColumnNeverGetsNarrowerThanItsMinimum) {
    QHeaderView* view = header.GetImpl()->view.data();
    view->resizeSection(header.GetImpl()->SectionOf(kNameColumn), 20); // as a drag would
    EXPECT_FLOAT_EQ(header.GetColumnWidth(kNameColumn), 70.0f);
    header.SetColumnWidth(kSizeColumn, 10.0f);
    EXPECT_FLOAT_EQ(header.GetColumnWidth(kSizeColumn), 50.0f);
}

} // namespace
