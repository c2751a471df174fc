#pragma once
// View tests open projects as the window does, in the background, and wait for them.
#include "Marvane/documents/DocumentManager.h"
#include "ViewTestSupport.h"

namespace testsupport {

// Runs the event loop until no project is being opened any more (each is open or was
// refused); whether that happened in time.
inline bool WaitForOpenings(int timeoutMs = 10000) {
    return WaitUntil([] { return host::DocumentManager::Instance().GetOpenings().empty(); },
                     timeoutMs);
}

} // namespace testsupport
