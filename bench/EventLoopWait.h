#pragma once
// Benchmarks that drive real windows wait for them through the event loop.
#include <QApplication>
#include <QElapsedTimer>
#include <functional>

namespace benchsupport {

// Runs the event loop until the condition holds or the time is up; whether it holds.
inline bool WaitUntil(const std::function<bool()>& condition, int timeoutMs = 600'000) {
    QElapsedTimer timer;
    timer.start();
    while (!condition() && timer.elapsed() < timeoutMs) {
        QApplication::processEvents(QEventLoop::AllEvents, 5);
    }
    return condition();
}

} // namespace benchsupport
