#pragma once
// Helpers for view tests on Qt's offscreen platform.
#include <QApplication>
#include <QElapsedTimer>

// Runs the event loop for a short while so that queued layout, focus and dock changes land.
inline void SettleEvents(int milliseconds = 50) {
    QElapsedTimer timer;
    timer.start();
    while (timer.elapsed() < milliseconds) {
        QApplication::processEvents(QEventLoop::AllEvents, 10);
    }
}
