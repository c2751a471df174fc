// The usage log: the last events in memory and a line in the debug trace ("Usage" category,
// level 3). Nothing leaves the machine and nothing is written to disk unless the user
// switches the trace on.
#include "host/UsageEvents.h"

#include "Marvane/core/UsageLog.h"
#include "host/DebugTrace.h"

#include <deque>
#include <mutex>

namespace host {

namespace {

struct UsageLogState {
    std::mutex mutex;
    std::deque<UsageEvent> events;
    std::size_t count = 0;
};

// Never destroyed: events may still be reported while the process shuts down.
UsageLogState& State() {
    static UsageLogState& state = *new UsageLogState;
    return state;
}

} // namespace

void ReportUsageEvent(std::string_view event, std::string_view value) {
    try {
        {
            UsageLogState& state = State();
            std::lock_guard lock(state.mutex);
            if (state.events.size() == kUsageLogCapacity) {
                state.events.pop_front();
            }
            state.events.push_back({std::string(event), std::string(value)});
            ++state.count;
        }
        if (TraceIsEnabled("Usage", 3)) {
            Trace("Usage", 3, std::string(event) + " " + std::string(value));
        }
    } catch (...) {
        // A usage event is never worth failing the user's action for.
    }
}

std::vector<UsageEvent> RecentUsageEvents() {
    UsageLogState& state = State();
    std::lock_guard lock(state.mutex);
    return {state.events.begin(), state.events.end()};
}

std::size_t UsageEventCount() {
    UsageLogState& state = State();
    std::lock_guard lock(state.mutex);
    return state.count;
}

void ClearUsageEvents() {
    UsageLogState& state = State();
    std::lock_guard lock(state.mutex);
    state.events.clear();
    state.count = 0;
}

} // namespace host
