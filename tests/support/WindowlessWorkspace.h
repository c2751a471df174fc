#pragma once
// A workspace without windows, for tests and benchmarks that show panels offscreen or not at
// all: no tab is ever shown and there is no main window.
#include "host/UIFramework.h"

namespace testsupport {

class WindowlessWorkspace : public host::Workspace {
public:
    bool TabIsShown(host::HandlerID) const override { return false; }
    void OpenTab(host::HandlerID) override {}
    host::Window* GetMainWindow() const override { return nullptr; }
};

} // namespace testsupport
