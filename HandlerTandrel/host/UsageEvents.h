#pragma once
// Usage events: the module tells the host which features are used ("Zoom" with the new
// value, for example). What the host does with them is the host's business; ours keeps them
// on this machine (see docs/architecture.md). Thread-safe; never throws.
#include <string_view>

namespace host {

void ReportUsageEvent(std::string_view event, std::string_view value);

} // namespace host
