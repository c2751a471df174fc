#pragma once
// The zoom of the panel's rows: the slider's position from 0.0 (smallest rows) to 1.0
// (largest), the steps of Zoom In and Zoom Out, and what a position means for row heights and
// column widths. Heights and scales are computed in single precision.
#include <cstdint>

namespace HandlerTandrel {

// The next multiple of step above zoom, kept within 0.0 .. 1.0.
double ZoomedIn(double zoom, double step);
// The next multiple of step below zoom, kept within 0.0 .. 1.0.
double ZoomedOut(double zoom, double step);
// (max - min) × zoom + min: 25 at 0.0, 47.5 at 0.5, 70 at 1.0 with the panel's heights.
float RowHeightAtZoom(double zoom, std::int32_t minRowHeight, std::int32_t maxRowHeight);
// (max / min - 1) × zoom + 1: 1.0 at 0.0, 2.8 at 1.0 with the panel's heights.
float ColumnScaleAtZoom(double zoom, std::int32_t minRowHeight, std::int32_t maxRowHeight);

} // namespace HandlerTandrel
