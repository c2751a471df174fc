#pragma once
// What the panel remembers of itself per production.
#include "columns/HeaderRowData.h"
#include "host/CoreTypes.h"

#include <cstdint>
#include <vector>

namespace HandlerTandrel {

struct DirectoryViewStateData {
    std::vector<host::WideString> mOpenFolderPaths;
    std::vector<host::WideString> mSelectedRowPaths;
    Columns::HeaderRowData mHeaderRowData;
    host::WideString mTopVisibleRowPath;
};

struct WindowRect {
    std::int32_t left = 0;
    std::int32_t top = 0;
    std::int32_t width = 0;
    std::int32_t height = 0;
};

struct TabViewStateData {
    DirectoryViewStateData mDirectoryViewData;
    double mZoom = 0.0;
    bool mDockedInMainWindow = true;
    WindowRect mFloatingWindowGlobalRect;
    host::WideString mSearchText;
};

} // namespace HandlerTandrel
