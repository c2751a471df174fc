// The main thread and the calls queued for it.
#include "Marvane/core/MainThread.h"

#include "host/ExceptionLog.h"
#include "host/Messaging.h"

#include <QCoreApplication>
#include <QObject>
#include <QPointer>
#include <QThread>
#include <QTimer>

#include <chrono>
#include <climits>
#include <cstdio>
#include <exception>
#include <map>
#include <thread>
#include <utility>
#include <vector>

namespace host {

namespace {

using Clock = std::chrono::steady_clock;

// The thread that ran the library's static initialisation, which is the main thread until
// an application object says otherwise.
std::thread::id StartupThread() {
    static const std::thread::id startupThread = std::this_thread::get_id();
    return startupThread;
}

[[maybe_unused]] const std::thread::id gStartupThreadRecorded = StartupThread();

void RunGuarded(const std::function<void()>& call) {
    try {
        call();
    } catch (const std::exception& error) {
        LogException("host::QueueOnMainThread", error);
    } catch (...) {
        LogUnknownException("host::QueueOnMainThread");
    }
}

// Holds the delayed calls on the main thread and runs each when it is due. One timer serves
// all of them, armed for the earliest. The context is a child of the application object, so
// calls still waiting when the application ends are discarded with it.
class MainThreadContext final : public QObject {
public:
    // Main thread only, with an application object.
    static MainThreadContext& Get() {
        static QPointer<MainThreadContext> instance;
        if (instance.isNull()) {
            instance = new MainThreadContext(QCoreApplication::instance());
        }
        return *instance;
    }

    void Schedule(Clock::time_point due, std::function<void()> call) {
        // A multimap puts equal keys after the ones already there, which keeps calls with
        // the same due time in the order they were queued.
        mWaiting.emplace(due, std::move(call));
        ArmTimer();
    }

private:
    explicit MainThreadContext(QObject* parent) : QObject(parent), mTimer(this) {
        mTimer.setSingleShot(true);
        mTimer.setTimerType(Qt::PreciseTimer);
        QObject::connect(&mTimer, &QTimer::timeout, this, [this] { RunDueCalls(); });
    }

    void ArmTimer() {
        if (mWaiting.empty()) {
            mTimer.stop();
            return;
        }
        const auto remaining = mWaiting.begin()->first - Clock::now();
        // Rounded up: a timer that fires early would only be armed again.
        const auto milliseconds = std::chrono::ceil<std::chrono::milliseconds>(remaining).count();
        const auto interval = milliseconds <= 0        ? 0
                              : milliseconds > INT_MAX ? INT_MAX
                                                       : static_cast<int>(milliseconds);
        mTimer.start(interval);
    }

    void RunDueCalls() {
        const auto now = Clock::now();
        std::vector<std::function<void()>> due;
        while (!mWaiting.empty() && mWaiting.begin()->first <= now) {
            due.push_back(std::move(mWaiting.begin()->second));
            mWaiting.erase(mWaiting.begin());
        }
        // Armed before running, since the calls may queue more.
        ArmTimer();
        for (const auto& call : due) {
            RunGuarded(call);
        }
    }

    QTimer mTimer;
    std::multimap<Clock::time_point, std::function<void()>> mWaiting;
};

} // namespace

bool MainThreadHasEventLoop() {
    return QCoreApplication::instance() != nullptr;
}

bool CurrentThreadIsMainThread() {
    if (const QCoreApplication* application = QCoreApplication::instance()) {
        return QThread::currentThread() == application->thread();
    }
    return std::this_thread::get_id() == StartupThread();
}

void QueueOnMainThread(std::function<void()> call, int delayMs) {
    if (!call) {
        return;
    }
    QCoreApplication* application = QCoreApplication::instance();
    if (application == nullptr) {
        std::fputs("A call for the main thread was dropped: there is no application object.\n",
                   stderr);
        return;
    }
    // Both paths first post an event to the application object, which lives on the main
    // thread; a timer cannot be started from a thread without an event loop.
    if (delayMs <= 0) {
        QMetaObject::invokeMethod(
            application, [call = std::move(call)] { RunGuarded(call); }, Qt::QueuedConnection);
        return;
    }
    const auto due = Clock::now() + std::chrono::milliseconds(delayMs);
    QMetaObject::invokeMethod(
        application,
        [due, call = std::move(call)]() mutable {
            MainThreadContext::Get().Schedule(due, std::move(call));
        },
        Qt::QueuedConnection);
}

} // namespace host
