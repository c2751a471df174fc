// The zoom steps and what a zoom position means for rows and columns.
#include "panel/PanelZoom.h"

#include <gtest/gtest.h>
#include <limits>

namespace {

using namespace HandlerTandrel;
constexpr double kStep = 0.25;

TEST(PanelZoom, ZoomingInAtTheLargestStaysThere) {
    EXPECT_EQ(ZoomedIn(1.0, kStep), 1.0);
}

TEST(PanelZoom, ZoomingOutAtTheSmallestStaysThere) {
    EXPECT_EQ(ZoomedOut(0.0, kStep), 0.0);
}

TEST(PanelZoom, ZoomingInJustBelowTheLargestGivesTheLargest) {
    EXPECT_EQ(ZoomedIn(0.99, kStep), 1.0);
    EXPECT_EQ(ZoomedIn(0.9, kStep), 1.0);
}

TEST(PanelZoom, ZoomingOutJustAboveTheSmallestGivesTheSmallest) {
    EXPECT_EQ(ZoomedOut(0.01, kStep), 0.0);
    EXPECT_EQ(ZoomedOut(0.1, kStep), 0.0);
}

TEST(PanelZoom, ZoomingInMovesToTheNextStepAbove) {
    EXPECT_EQ(ZoomedIn(0.3, kStep), 0.5);
    EXPECT_EQ(ZoomedIn(0.5, kStep), 0.75);
    EXPECT_EQ(ZoomedIn(0.0, kStep), 0.25);
}

TEST(PanelZoom, ZoomingOutMovesToTheNextStepBelow) {
    EXPECT_EQ(ZoomedOut(0.3, kStep), 0.25);
    EXPECT_EQ(ZoomedOut(0.25, kStep), 0.0);
    EXPECT_EQ(ZoomedOut(1.0, kStep), 0.75);
}

TEST(PanelZoom, AZoomThatIsNotANumberBecomesTheSmallest) {
    EXPECT_EQ(ZoomedIn(std::numeric_limits<double>::quiet_NaN(), kStep), 0.0);
}

TEST(PanelZoom, RowsAre25HighAtTheSmallest47AndAHalfInTheMiddleAnd70AtTheLargest) {
    EXPECT_EQ(RowHeightAtZoom(0.0, 25, 70), 25.0f);
    EXPECT_EQ(RowHeightAtZoom(0.5, 25, 70), 47.5f);
    EXPECT_EQ(RowHeightAtZoom(1.0, 25, 70), 70.0f);
}

TEST(PanelZoom, ColumnsAreDrawnAtOneToTwoPointEightTimesTheirWidth) {
    EXPECT_EQ(ColumnScaleAtZoom(0.0, 25, 70), 1.0f);
    // In single precision, as the rows: (70 / 25 - 1) × 1 + 1.
    const float largest = (70.0f / 25.0f - 1.0f) * 1.0f + 1.0f;
    EXPECT_EQ(ColumnScaleAtZoom(1.0, 25, 70), largest);
    EXPECT_NEAR(ColumnScaleAtZoom(1.0, 25, 70), 2.8f, 1e-6f);
    EXPECT_EQ(ColumnScaleAtZoom(0.5, 25, 70), (70.0f / 25.0f - 1.0f) * 0.5f + 1.0f);
}

} // namespace
