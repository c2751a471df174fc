#pragma once
// Host-side access to the times gathered by host::ScopedTimer (see host/Profiler.h).
#include <cstdint>
#include <string>
#include <vector>

namespace host {

struct ProfileEntry {
    std::string label;
    std::uint64_t count;
    std::uint64_t totalNanoseconds;
};

// Every label timed so far, the one with the most total time first.
std::vector<ProfileEntry> ProfilerSnapshot();
// A table with one row per label: label, calls, total milliseconds, mean microseconds.
std::string ProfilerReport();
// Forgets every label and its times.
void ResetProfiler();
// Whether MARVANE_PROFILE_REPORT asks for a report on exit (set, not empty and not "0").
bool ProfilerReportRequested();
// Timers record only while the profiler is on: from the start when a report is asked for,
// otherwise when switched on. Off, a timer costs one atomic load.
void SetProfilerEnabled(bool enabled);
bool ProfilerEnabled();

} // namespace host
