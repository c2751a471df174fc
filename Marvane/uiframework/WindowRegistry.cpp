#include "Marvane/uiframework/WindowRegistry.h"

#include "host/DebugTrace.h"

#include <algorithm>
#include <map>

namespace host {

namespace {

struct WindowClass {
    HandlerID handlerID = 0;
    int classType = 0;
};

std::map<std::uint32_t, WindowClass>& WindowClasses() {
    static std::map<std::uint32_t, WindowClass> classes;
    return classes;
}

std::vector<RegisteredWindow>& Windows() {
    static std::vector<RegisteredWindow> windows;
    return windows;
}

} // namespace

void AddWindowClass(std::uint32_t windowTypeID, HandlerID handlerID, int classType) {
    WindowClasses()[windowTypeID] = WindowClass{handlerID, classType};
}

void AddWindow(std::uint32_t windowTypeID, std::uint32_t windowID, const ByteString& title,
               std::uint32_t windowContextID) {
    const auto found = WindowClasses().find(windowTypeID);
    if (found == WindowClasses().end()) {
        Trace("Host", 2, "AddWindow: no window class " + std::to_string(windowTypeID));
        return;
    }
    RegisteredWindow window{
        windowTypeID,           windowID, title, windowContextID, found->second.handlerID,
        found->second.classType};
    auto& windows = Windows();
    const auto same = std::find_if(windows.begin(), windows.end(), [&](const auto& w) {
        return w.windowTypeID == windowTypeID && w.windowID == windowID;
    });
    if (same != windows.end()) {
        *same = window;
    } else {
        windows.push_back(window);
    }
}

const std::vector<RegisteredWindow>& GetRegisteredWindows() {
    return Windows();
}

} // namespace host
