#include "columns/ColumnWidthRecorder.h"

namespace HandlerTandrel::Columns {

void ColumnWidthRecorder::Install() {
    mHeader.SetUserResizedColumnCallback([this](ColumnID column, float width) {
        mRecorded[column] = mScale > 0.0f ? width / mScale : width;
    });
}

void ColumnWidthRecorder::ApplyScale(float scale) {
    mScale = scale;
    ApplyRecordedWidths(&mHeader, mRecorded, scale);
}

} // namespace HandlerTandrel::Columns
