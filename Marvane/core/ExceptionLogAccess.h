#pragma once
// Host-side access to the exception log kept in memory (see host/ExceptionLog.h).
#include <cstddef>
#include <string>
#include <vector>

namespace host {

struct ExceptionLogEntry {
    std::string place;
    // The exception's what() text, or "Unknown exception" for one that is not a
    // std::exception.
    std::string message;
};

// How many entries the log keeps; older ones are dropped.
inline constexpr std::size_t kRecentExceptionLimit = 100;

// The most recent entries, oldest first.
std::vector<ExceptionLogEntry> RecentExceptions();
void ClearRecentExceptions();

} // namespace host
