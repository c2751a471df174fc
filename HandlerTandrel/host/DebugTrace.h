#pragma once
// The host debug trace: lines by category and level (1 is the most important, 9 the most
// detailed). A category traces the levels up to the one it is switched to; configuration
// comes from the MARVANE_TRACE environment variable ("Tandrel=5,Host=3" or "*=9") or the
// host preference "trace". Thread-safe.
#include <cstdint>
#include <string_view>

namespace host {

bool TraceIsEnabled(std::string_view category, int level);
void Trace(std::string_view category, int level, std::string_view text);
// Moves whenever the trace configuration changes, so callers can cache TraceIsEnabled.
std::uint32_t TraceConfigurationChangeCount();

} // namespace host
