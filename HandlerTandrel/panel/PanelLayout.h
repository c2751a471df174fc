#pragma once
// Where the panel's children go: the search box on top, the tree below it, and a bottom bar
// with the status line, the zoom slider and the three buttons. Plain arithmetic, so that any
// panel size can be checked without a window.
#include "host/UINodes.h"

#include <cstdint>

namespace HandlerTandrel {

// The panel's measures, in pixels, in the order the panel declares them.
struct PanelMetrics {
    std::int32_t searchBoxMinWidth = 100;
    std::int32_t searchBoxMaxWidth = 600;
    std::int32_t minRowHeight = 25; // row height at zoom 0.0
    std::int32_t maxRowHeight = 70; // row height at zoom 1.0
    std::int32_t sliderHeight = 19;
    std::int32_t statusTextMinWidth = 43;
    std::int32_t margin = 6;
    std::int32_t sliderMinWidth = 38;
    std::int32_t sliderMaxWidth = 80;
    std::int32_t statusTextMaxWidth = 200;
    std::int32_t bottomBarMinHeight = 20;
    std::int32_t statusTextHeight = 15;   // at least; it takes the bar's height
    std::int32_t minWidthForSlider = 130; // a narrower panel hides the slider
    std::int32_t buttonSize = 23;         // when the buttons recommend no size of their own
    std::int32_t minTreeHeight = 50;
    std::int32_t minWidthForButtons = 71; // a narrower panel hides the buttons
    std::int32_t statusToSliderGap = 13;
    std::int32_t sliderToButtonsGap = 12;
    std::int32_t buttonSpacing = 12;
};

struct PanelFrames {
    host::UI_Rect searchBox;
    host::UI_Rect tree;
    host::UI_Rect statusText;
    host::UI_Rect slider;
    host::UI_Rect buttons[3];
    bool sliderShown = true;
    bool buttonsShown = true;
};

struct PanelMeasures {
    float searchBoxHeight = 22; // the search box's recommended height
    float buttonWidth = 0;      // the buttons' recommended size; 0 for none
    float buttonHeight = 0;
    float bottomBarHeight = 30; // the skin's bottom bar height
};

PanelFrames ComputePanelFrames(const host::UI_Rect& bounds, const PanelMetrics& metrics,
                               const PanelMeasures& measures);

} // namespace HandlerTandrel
