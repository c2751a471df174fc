#include "panel/PanelZoom.h"

#include <cmath>

namespace HandlerTandrel {

namespace {

double Clamped(double zoom) {
    if (!(zoom > 0.0)) { // also a value that is not a number
        return 0.0;
    }
    return zoom > 1.0 ? 1.0 : zoom;
}

} // namespace

double ZoomedIn(double zoom, double step) {
    return Clamped((std::floor(zoom / step) + 1.0) * step);
}

double ZoomedOut(double zoom, double step) {
    return Clamped((std::ceil(zoom / step) - 1.0) * step);
}

float RowHeightAtZoom(double zoom, std::int32_t minRowHeight, std::int32_t maxRowHeight) {
    return static_cast<float>(maxRowHeight - minRowHeight) * static_cast<float>(zoom) +
           static_cast<float>(minRowHeight);
}

float ColumnScaleAtZoom(double zoom, std::int32_t minRowHeight, std::int32_t maxRowHeight) {
    return (static_cast<float>(maxRowHeight) / static_cast<float>(minRowHeight) - 1.0f) *
               static_cast<float>(zoom) +
           1.0f;
}

} // namespace HandlerTandrel
