#pragma once
// The host code profiler: a scoped timer adds the time spent in its scope to its label.
// The host prints a report of all labels on exit when MARVANE_PROFILE_REPORT is set.
// Timers record only while the host profiler is on (MARVANE_PROFILE_REPORT, or switched on
// by the host); off, a timer costs one atomic load. Thread-safe; the label must outlive the
// program (a string literal).
#include <chrono>

namespace host {

class ScopedTimer {
public:
    explicit ScopedTimer(const char* label);
    ~ScopedTimer();
    ScopedTimer(const ScopedTimer&) = delete;
    ScopedTimer& operator=(const ScopedTimer&) = delete;

private:
    const char* mLabel;
    std::chrono::steady_clock::time_point mStart{};
};

} // namespace host
