#pragma once
// Host-side control of the debug trace (see host/DebugTrace.h for the part modules use).
#include <cstdint>
#include <functional>
#include <string_view>

namespace host {

// Replaces the trace configuration with "Category=level,Other=level,*=level". "*" sets the
// level of every category that is not listed; without it, unlisted categories are off.
// Levels run from 0 (off) to 9; higher numbers are taken as 9. Entries that cannot be read
// are skipped. Moves TraceConfigurationChangeCount().
void ConfigureTrace(std::string_view config);

// Where enabled trace lines go. The text is passed exactly as given to Trace().
using TraceSink = std::function<void(std::string_view category, int level, std::string_view text)>;

// Sends trace lines to sink; an empty function restores the default, which writes
// "[Category:level] text" as one line to stderr.
void SetTraceSink(TraceSink sink);

// How many times TraceIsEnabled has consulted the configuration since the process started:
// trace sites that cache their answer show here as not asking again.
std::uint64_t TraceEnabledQueryCount();

} // namespace host
