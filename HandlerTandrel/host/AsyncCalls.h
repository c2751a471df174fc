#pragma once
// Queue work on the host's main thread. Callable from any thread. The call runs after the
// current event has been handled and, when delayMs is above zero, no earlier than that
// many milliseconds from now. Calls with equal delays run in the order they were queued.
#include <functional>

namespace host {

void CallAsyncOnMainThread(std::function<void()> call, int delayMs = 0);

// Runs work on one of the host's worker threads (the default executor). Callable from any
// thread; an exception escaping the work is logged.
void RunOnDefaultExecutor(std::function<void()> work);

} // namespace host
