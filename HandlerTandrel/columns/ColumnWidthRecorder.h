#pragma once
// The widths the user gave a tree's columns, kept unzoomed: a width dragged while the rows are
// zoomed is recorded divided by the zoom's column scale, so that any zoom can put it back.
#include "columns/Columns.h"

namespace HandlerTandrel::Columns {

class ColumnWidthRecorder {
public:
    explicit ColumnWidthRecorder(HeaderRow& header) : mHeader(header) {}
    ColumnWidthRecorder(const ColumnWidthRecorder&) = delete;
    ColumnWidthRecorder& operator=(const ColumnWidthRecorder&) = delete;

    // Starts recording the widths the user drags.
    void Install();
    const RecordedWidths& Get() const { return mRecorded; }
    void Set(RecordedWidths widths) { mRecorded = std::move(widths); }
    // The column scale the header's widths are drawn at now.
    float GetScale() const { return mScale; }
    void SetScale(float scale) { mScale = scale; }
    // Draws every recorded column at the scale (which becomes the current one).
    void ApplyScale(float scale);

private:
    HeaderRow& mHeader;
    RecordedWidths mRecorded;
    float mScale = 1.0f;
};

} // namespace HandlerTandrel::Columns
