#pragma once
// Benchmarks that drive real windows wait for them through the event loop, and see when they
// were drawn.
#include <QApplication>
#include <QElapsedTimer>
#include <QEvent>
#include <QTimer>
#include <QWidget>
#include <algorithm>
#include <chrono>
#include <functional>

namespace benchsupport {

// Runs the event loop until the condition holds or the time is up; whether it holds. The loop
// sleeps until something happens (a tick wakes it every few milliseconds to look again), so
// waiting takes no processor from the work waited for: on a machine of two cores a busy wait
// would compete with the workers, and with the file server of a share, that it measures.
inline bool WaitUntil(const std::function<bool()>& condition, int timeoutMs = 600'000) {
    QElapsedTimer timer;
    timer.start();
    QTimer tick;
    tick.start(2);
    while (!condition() && timer.elapsed() < timeoutMs) {
        QApplication::processEvents(QEventLoop::AllEvents | QEventLoop::WaitForMoreEvents);
    }
    return condition();
}

// Sees the paints of a widget once armed.
class PaintWatch final : public QObject {
public:
    explicit PaintWatch(QWidget* widget) : mWidget(widget) { mWidget->installEventFilter(this); }
    ~PaintWatch() override { mWidget->removeEventFilter(this); }
    PaintWatch(const PaintWatch&) = delete;
    PaintWatch& operator=(const PaintWatch&) = delete;
    bool eventFilter(QObject*, QEvent* event) override {
        painted = painted || (armed && event->type() == QEvent::Paint);
        return false;
    }
    bool armed = false;
    bool painted = false;

private:
    QWidget* mWidget;
};

// The longest gap between two ticks of a 1 ms timer on the main thread while it runs.
class StallWatch {
public:
    StallWatch() {
        mTimer.setInterval(1);
        QObject::connect(&mTimer, &QTimer::timeout, [this] {
            const auto now = std::chrono::steady_clock::now();
            mLongest = std::max(mLongest, now - mLast);
            mLast = now;
        });
        mLast = std::chrono::steady_clock::now();
        mTimer.start();
    }
    double LongestMs() {
        mLongest = std::max(mLongest, std::chrono::steady_clock::now() - mLast);
        return std::chrono::duration<double, std::milli>(mLongest).count();
    }

private:
    QTimer mTimer;
    std::chrono::steady_clock::time_point mLast;
    std::chrono::steady_clock::duration mLongest{};
};

} // namespace benchsupport
