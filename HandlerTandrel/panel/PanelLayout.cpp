#include "panel/PanelLayout.h"

#include <algorithm>

namespace HandlerTandrel {

PanelFrames ComputePanelFrames(const host::UI_Rect& bounds, const PanelMetrics& metrics,
                               const PanelMeasures& measures) {
    PanelFrames frames;
    const auto margin = static_cast<float>(metrics.margin);
    const float width = std::max(0.0f, bounds.width);
    const float height = std::max(0.0f, bounds.height);
    const float inner = std::max(0.0f, width - 2 * margin);

    // The search box: across the top, no narrower and no wider than its limits allow.
    const float searchWidth =
        std::min(inner, std::clamp(inner, static_cast<float>(metrics.searchBoxMinWidth),
                                   static_cast<float>(metrics.searchBoxMaxWidth)));
    frames.searchBox = {bounds.left + margin, bounds.top + margin, searchWidth,
                        measures.searchBoxHeight};

    // The bottom bar.
    const float buttonWidth =
        measures.buttonWidth > 0 ? measures.buttonWidth : static_cast<float>(metrics.buttonSize);
    const float buttonHeight =
        measures.buttonHeight > 0 ? measures.buttonHeight : static_cast<float>(metrics.buttonSize);
    const float barHeight = std::max(
        {measures.bottomBarHeight, buttonHeight, static_cast<float>(metrics.bottomBarMinHeight)});
    const float barTop = bounds.top + height - barHeight;
    const float barMiddle = barTop + barHeight / 2;

    // The tree: between the search box and the bar, never shorter than its minimum.
    const float treeTop = frames.searchBox.top + frames.searchBox.height + margin;
    const float treeHeight = std::max(static_cast<float>(metrics.minTreeHeight), barTop - treeTop);
    frames.tree = {bounds.left, treeTop, width, treeHeight};

    // The buttons sit at the right end of the bar, the slider before them, the status text
    // takes what is left at the left end.
    float right = bounds.left + width - margin;
    frames.buttonsShown = width >= static_cast<float>(metrics.minWidthForButtons);
    if (frames.buttonsShown) {
        for (int index = 2; index >= 0; --index) {
            frames.buttons[index] = {right - buttonWidth, barMiddle - buttonHeight / 2, buttonWidth,
                                     buttonHeight};
            right -= buttonWidth + (index > 0 ? static_cast<float>(metrics.buttonSpacing) : 0);
        }
        right -= static_cast<float>(metrics.sliderToButtonsGap);
    }
    const float statusLeft = bounds.left + margin;
    frames.sliderShown = width >= static_cast<float>(metrics.minWidthForSlider);
    if (frames.sliderShown) {
        const float room = right - statusLeft - static_cast<float>(metrics.statusTextMinWidth) -
                           static_cast<float>(metrics.statusToSliderGap);
        const float sliderWidth = std::clamp(room, static_cast<float>(metrics.sliderMinWidth),
                                             static_cast<float>(metrics.sliderMaxWidth));
        frames.slider = {right - sliderWidth,
                         barMiddle - static_cast<float>(metrics.sliderHeight) / 2, sliderWidth,
                         static_cast<float>(metrics.sliderHeight)};
        right -= sliderWidth + static_cast<float>(metrics.statusToSliderGap);
    }
    const float statusWidth =
        std::clamp(right - statusLeft, 0.0f, static_cast<float>(metrics.statusTextMaxWidth));
    const float statusHeight = std::max(static_cast<float>(metrics.statusTextHeight), barHeight);
    frames.statusText = {statusLeft, barMiddle - statusHeight / 2, statusWidth, statusHeight};
    return frames;
}

} // namespace HandlerTandrel
