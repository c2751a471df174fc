#pragma once
// Window classes and windows that modules register; the Window menu lists the windows.
#include "host/UIFramework.h"

#include <vector>

namespace host {

struct RegisteredWindow {
    std::uint32_t windowTypeID = 0;
    std::uint32_t windowID = 0;
    ByteString title;
    std::uint32_t windowContextID = 0;
    HandlerID handlerID = 0; // from the window's class
    int classType = 0;
};

const std::vector<RegisteredWindow>& GetRegisteredWindows();

} // namespace host
