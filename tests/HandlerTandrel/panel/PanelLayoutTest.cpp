// Where the panel's children go for any panel size.
#include "panel/PanelLayout.h"

#include <array>
#include <cstring>
#include <gtest/gtest.h>

namespace {

using namespace HandlerTandrel;

bool Overlap(const host::UI_Rect& a, const host::UI_Rect& b) {
    return a.left < b.left + b.width && b.left < a.left + a.width && a.top < b.top + b.height &&
           b.top < a.top + a.height;
}

bool Inside(const host::UI_Rect& inner, const host::UI_Rect& outer) {
    return inner.left >= outer.left && inner.top >= outer.top &&
           inner.left + inner.width <= outer.left + outer.width + 0.01f &&
           inner.top + inner.height <= outer.top + outer.height + 0.01f;
}

PanelFrames Layout(float width, float height) {
    PanelMeasures measures;
    measures.searchBoxHeight = 24;
    measures.buttonWidth = 24;
    measures.buttonHeight = 24;
    measures.bottomBarHeight = 30;
    return ComputePanelFrames({0, 0, width, height}, PanelMetrics(), measures);
}

TEST(PanelLayout, ThePanelDeclaresNineteenMeasuresInItsOrder) {
    const PanelMetrics metrics;
    static_assert(sizeof(PanelMetrics) == 19 * sizeof(std::int32_t));
    std::array<std::int32_t, 19> values{};
    std::memcpy(values.data(), &metrics, sizeof(metrics));
    EXPECT_EQ(values, (std::array<std::int32_t, 19>{100, 600, 25, 70, 19, 43, 6, 38, 80, 200, 20,
                                                    15, 130, 23, 50, 71, 13, 12, 12}));
}

TEST(PanelLayout, OnAWidePanelNothingOverlapsAndEverythingIsInside) {
    const host::UI_Rect panel{0, 0, 1000, 700};
    const PanelFrames frames = Layout(panel.width, panel.height);
    const std::array<host::UI_Rect, 7> all = {
        frames.searchBox,  frames.tree,       frames.statusText, frames.slider,
        frames.buttons[0], frames.buttons[1], frames.buttons[2]};
    for (std::size_t a = 0; a < all.size(); ++a) {
        EXPECT_TRUE(Inside(all[a], panel)) << a;
        for (std::size_t b = a + 1; b < all.size(); ++b) {
            EXPECT_FALSE(Overlap(all[a], all[b])) << a << " and " << b;
        }
    }
}

TEST(PanelLayout, TheTreeTakesTheWholeWidthBetweenTheSearchBoxAndTheBottomBar) {
    const PanelFrames frames = Layout(500, 600);
    EXPECT_EQ(frames.tree.left, 0);
    EXPECT_EQ(frames.tree.width, 500);
    EXPECT_GT(frames.tree.top, frames.searchBox.top + frames.searchBox.height);
    EXPECT_LE(frames.tree.top + frames.tree.height, frames.statusText.top);
}

TEST(PanelLayout, TheSearchBoxIsNeverWiderThanItsLimit) {
    EXPECT_EQ(Layout(1600, 600).searchBox.width, 600);
    EXPECT_EQ(Layout(400, 600).searchBox.width, 400 - 2 * 6);
}

TEST(PanelLayout, TheButtonsSitLeftToRightNewProjectNewFolderTrashAtTheRightEnd) {
    const PanelFrames frames = Layout(500, 600);
    EXPECT_LT(frames.buttons[0].left, frames.buttons[1].left);
    EXPECT_LT(frames.buttons[1].left, frames.buttons[2].left);
    EXPECT_EQ(frames.buttons[2].left + frames.buttons[2].width, 500 - 6);
    EXPECT_LT(frames.slider.left + frames.slider.width, frames.buttons[0].left);
}

TEST(PanelLayout, ANarrowPanelHidesTheSliderThenTheButtons) {
    EXPECT_TRUE(Layout(300, 600).sliderShown);
    EXPECT_FALSE(Layout(120, 600).sliderShown);
    EXPECT_TRUE(Layout(120, 600).buttonsShown);
    EXPECT_FALSE(Layout(60, 600).buttonsShown);
}

TEST(PanelLayout, AShortPanelKeepsTheTreesMinimumHeight) {
    EXPECT_EQ(Layout(500, 40).tree.height, 50);
}

TEST(PanelLayout, TheBottomBarIsAsHighAsTheSkinSays) {
    const PanelFrames frames = Layout(500, 600);
    EXPECT_EQ(frames.statusText.height, 30);
    EXPECT_EQ(frames.statusText.top, 600 - 30);
}

} // namespace
