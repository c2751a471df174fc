#pragma once
// The saved layout of a header row: columns in display order with their widths, and the sort.
#include <cstdint>
#include <vector>

namespace HandlerTandrel::Columns {

struct ColumnData {
    std::uint32_t mColumnID = 0;
    float mWidth = 0.0f;
};

struct HeaderRowData {
    std::vector<ColumnData> mColumnDataList;
    std::uint32_t mSortColumnID = 0;
    bool mSortAscending = true;
};

} // namespace HandlerTandrel::Columns
