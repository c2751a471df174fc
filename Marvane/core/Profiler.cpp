// The code profiler: call counts and total times by label.
#include "host/Profiler.h"

#include "Marvane/core/ProfilerReport.h"

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <mutex>
#include <string_view>

namespace host {

namespace {

struct LabelTotals {
    std::uint64_t count = 0;
    std::uint64_t totalNanoseconds = 0;
};

// Timers in different modules may use different literals with the same text; they share
// one row, so the map is keyed by the text.
struct ProfilerState {
    std::mutex mutex;
    std::map<std::string, LabelTotals, std::less<>> totals;
};

// Never destroyed: timers in static objects may still stop while the process shuts down.
ProfilerState& State() {
    static ProfilerState& state = *new ProfilerState;
    return state;
}

void AddTime(std::string_view label, std::uint64_t nanoseconds) {
    ProfilerState& state = State();
    std::lock_guard lock(state.mutex);
    auto found = state.totals.find(label);
    if (found == state.totals.end()) {
        found = state.totals.emplace(std::string(label), LabelTotals{}).first;
    }
    found->second.count += 1;
    found->second.totalNanoseconds += nanoseconds;
}

std::string FormatRow(std::string_view label, std::size_t labelWidth, std::string_view calls,
                      std::string_view total, std::string_view mean) {
    std::string row(label);
    row.append(labelWidth - label.size(), ' ');
    const auto appendRight = [&row](std::string_view cell, std::size_t width) {
        row.append(width > cell.size() ? width - cell.size() : 1, ' ');
        row += cell;
    };
    appendRight(calls, 12);
    appendRight(total, 14);
    appendRight(mean, 14);
    row += '\n';
    return row;
}

std::string FormatNumber(double value) {
    char buffer[64];
    std::snprintf(buffer, sizeof buffer, "%.3f", value);
    return buffer;
}

} // namespace

namespace {
std::atomic<bool>& EnabledFlag() {
    static std::atomic<bool> enabled{ProfilerReportRequested()};
    return enabled;
}
} // namespace

void SetProfilerEnabled(bool enabled) {
    EnabledFlag().store(enabled);
}

bool ProfilerEnabled() {
    return EnabledFlag().load(std::memory_order_relaxed);
}

ScopedTimer::ScopedTimer(const char* label) : mLabel(nullptr) {
    if (ProfilerEnabled()) {
        mLabel = label != nullptr ? label : "(unnamed)";
        mStart = std::chrono::steady_clock::now();
    }
}

ScopedTimer::~ScopedTimer() {
    if (mLabel == nullptr) {
        return; // the profiler was off when the timer started
    }
    const auto elapsed = std::chrono::steady_clock::now() - mStart;
    const auto nanoseconds = std::chrono::duration_cast<std::chrono::nanoseconds>(elapsed);
    // A timer stops inside destructors; a failure to record must not escape from here.
    try {
        AddTime(std::string_view(mLabel),
                static_cast<std::uint64_t>(std::max<std::int64_t>(nanoseconds.count(), 0)));
    } catch (...) {
        std::fputs("A profiler time could not be recorded.\n", stderr);
    }
}

std::vector<ProfileEntry> ProfilerSnapshot() {
    std::vector<ProfileEntry> entries;
    {
        ProfilerState& state = State();
        std::lock_guard lock(state.mutex);
        entries.reserve(state.totals.size());
        for (const auto& [label, totals] : state.totals) {
            entries.push_back(ProfileEntry{label, totals.count, totals.totalNanoseconds});
        }
    }
    // Stable, so labels with equal times stay in alphabetical order.
    std::stable_sort(entries.begin(), entries.end(),
                     [](const ProfileEntry& a, const ProfileEntry& b) {
                         return a.totalNanoseconds > b.totalNanoseconds;
                     });
    return entries;
}

std::string ProfilerReport() {
    const std::vector<ProfileEntry> entries = ProfilerSnapshot();
    constexpr std::string_view kLabelHeading = "Label";
    std::size_t labelWidth = kLabelHeading.size();
    for (const ProfileEntry& entry : entries) {
        labelWidth = std::max(labelWidth, entry.label.size());
    }
    std::string report = FormatRow(kLabelHeading, labelWidth, "Calls", "Total ms", "Mean us");
    for (const ProfileEntry& entry : entries) {
        const double totalMilliseconds = static_cast<double>(entry.totalNanoseconds) / 1.0e6;
        const double meanMicroseconds = entry.count == 0
                                            ? 0.0
                                            : static_cast<double>(entry.totalNanoseconds) /
                                                  static_cast<double>(entry.count) / 1.0e3;
        report += FormatRow(entry.label, labelWidth, std::to_string(entry.count),
                            FormatNumber(totalMilliseconds), FormatNumber(meanMicroseconds));
    }
    return report;
}

void ResetProfiler() {
    ProfilerState& state = State();
    std::lock_guard lock(state.mutex);
    state.totals.clear();
}

bool ProfilerReportRequested() {
    const char* value = std::getenv("MARVANE_PROFILE_REPORT");
    if (value == nullptr) {
        return false;
    }
    const std::string_view setting(value);
    return !setting.empty() && setting != "0";
}

} // namespace host
