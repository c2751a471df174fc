// Calls queued by modules for the main thread.
#include "host/AsyncCalls.h"

#include "Marvane/core/DefaultExecutor.h"
#include "Marvane/core/MainThread.h"
#include "host/ExceptionLog.h"

#include <QThreadPool>
#include <exception>
#include <utility>

namespace host {

void CallAsyncOnMainThread(std::function<void()> call, int delayMs) {
    if (!call) {
        return;
    }
    QueueOnMainThread(
        [call = std::move(call)] {
            try {
                call();
            } catch (const std::exception& error) {
                LogException("host::CallAsyncOnMainThread", error);
            } catch (...) {
                LogUnknownException("host::CallAsyncOnMainThread");
            }
        },
        delayMs);
}

namespace {

QThreadPool& Pool() {
    static QThreadPool* pool = [] {
        auto* made = new QThreadPool(); // lives as long as the process
        made->setMaxThreadCount(2);
        return made;
    }();
    return *pool;
}

} // namespace

void RunOnDefaultExecutor(std::function<void()> work) {
    if (!work) {
        return;
    }
    Pool().start([work = std::move(work)] {
        try {
            work();
        } catch (const std::exception& error) {
            LogException("host::RunOnDefaultExecutor", error);
        } catch (...) {
            LogUnknownException("host::RunOnDefaultExecutor");
        }
    });
}

bool WaitForDefaultExecutor(int timeoutMs) {
    return Pool().waitForDone(timeoutMs);
}

} // namespace host
