#pragma once
// Host-side main-thread services: queueing work for the main thread's event loop.
// host::CurrentThreadIsMainThread() is declared in host/Messaging.h.
#include <functional>

namespace host {

// Queues call to run on the main thread once the current event has been handled and, when
// delayMs is above zero, no earlier than delayMs milliseconds from now. Callable from any
// thread. Calls with equal delays run in the order they were queued. An exception escaping
// the call is logged with the place "host::QueueOnMainThread". Without an application
// object there is no event loop to run the call: it is dropped and stderr says so.
void QueueOnMainThread(std::function<void()> call, int delayMs = 0);
// Whether an application object exists, so that calls queued for the main thread will run.
bool MainThreadHasEventLoop();

} // namespace host
