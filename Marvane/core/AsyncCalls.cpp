// Calls queued by modules for the main thread.
#include "host/AsyncCalls.h"

#include "Marvane/core/MainThread.h"
#include "host/ExceptionLog.h"

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

} // namespace host
