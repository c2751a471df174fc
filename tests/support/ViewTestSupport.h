#pragma once
// Helpers for view tests on Qt's offscreen platform.
#include <QApplication>
#include <QElapsedTimer>
#include <functional>

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
