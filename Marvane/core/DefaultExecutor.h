#pragma once
// The host's worker threads behind host::RunOnDefaultExecutor.

namespace host {

// Waits until no work is queued or running there (at shut-down, and in tests); false when the
// time ran out first.
bool WaitForDefaultExecutor(int timeoutMs);

} // namespace host
