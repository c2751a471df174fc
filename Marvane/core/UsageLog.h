#pragma once
// Host-side access to the usage events reported through host::ReportUsageEvent.
#include <cstddef>
#include <string>
#include <vector>

namespace host {

struct UsageEvent {
    std::string event;
    std::string value;
};

// How many events the log keeps; older ones are dropped first.
inline constexpr std::size_t kUsageLogCapacity = 256;

// The events kept, oldest first.
std::vector<UsageEvent> RecentUsageEvents();
// How many events were reported since the start (or the last clear), dropped ones included.
std::size_t UsageEventCount();
void ClearUsageEvents();

} // namespace host
