#pragma once
// Helpers for view tests on Qt's offscreen platform.
#include "host/CoreTypes.h"

#include <QApplication>
#include <QElapsedTimer>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

// Runs the event loop for a short while so that queued layout, focus and dock changes land.
inline void SettleEvents(int milliseconds = 50) {
    QElapsedTimer timer;
    timer.start();
    while (timer.elapsed() < milliseconds) {
        QApplication::processEvents(QEventLoop::AllEvents, 10);
    }
}

// Runs the event loop (reads finishing, results arriving) until the condition holds or the
// time is up; whether it holds.
inline bool WaitUntil(const std::function<bool()>& condition, int timeoutMs = 5000) {
    QElapsedTimer timer;
    timer.start();
    while (!condition() && timer.elapsed() < timeoutMs) {
        QApplication::processEvents(QEventLoop::AllEvents, 10);
    }
    return condition();
}

// The file names of a view's top-level rows, in the tree's order. View: anything with
// GetTree() and GetRowPath(row) (the media browser's views, the search results).
template <typename View> std::vector<std::string> TopLevelFileNames(View& view) {
    std::vector<std::string> names;
    auto& tree = view.GetTree();
    for (int index = 0; index < tree.GetTopLevelRowCount(); ++index) {
        names.push_back(
            std::filesystem::path(host::ToUTF8(view.GetRowPath(tree.GetTopLevelRow(index))))
                .filename()
                .string());
    }
    return names;
}
