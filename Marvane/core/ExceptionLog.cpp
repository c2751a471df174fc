// The exception log: one line per exception on stderr and in the trace (category
// "Exceptions", level 1), and the latest entries in memory for the host to show.
#include "host/ExceptionLog.h"

#include "Marvane/core/ExceptionLogAccess.h"
#include "host/DebugTrace.h"

#include <cstdio>
#include <deque>
#include <mutex>
#include <string>
#include <utility>

namespace host {

namespace {

constexpr std::string_view kUnknownExceptionMessage = "Unknown exception";

struct ExceptionLogState {
    std::mutex mutex;
    std::deque<ExceptionLogEntry> entries;
};

// Never destroyed: exceptions are still logged while the process shuts down.
ExceptionLogState& State() {
    static ExceptionLogState& state = *new ExceptionLogState;
    return state;
}

void Record(std::string_view place, std::string message, const std::string& line) {
    std::string output = line;
    output += '\n';
    std::fwrite(output.data(), 1, output.size(), stderr);
    Trace("Exceptions", 1, line);

    ExceptionLogState& state = State();
    std::lock_guard lock(state.mutex);
    state.entries.push_back(ExceptionLogEntry{std::string(place), std::move(message)});
    while (state.entries.size() > kRecentExceptionLimit) {
        state.entries.pop_front();
    }
}

} // namespace

// Logging runs inside catch blocks, so it swallows its own failures (such as running out of
// memory) instead of throwing from there.
void LogException(std::string_view place, const std::exception& error) {
    try {
        std::string message = error.what();
        std::string line = "Exception in ";
        line += place;
        line += ": ";
        line += message;
        Record(place, std::move(message), line);
    } catch (...) {
        std::fputs("An exception could not be logged.\n", stderr);
    }
}

void LogUnknownException(std::string_view place) {
    try {
        std::string line = "Unknown exception in ";
        line += place;
        Record(place, std::string(kUnknownExceptionMessage), line);
    } catch (...) {
        std::fputs("An exception could not be logged.\n", stderr);
    }
}

std::vector<ExceptionLogEntry> RecentExceptions() {
    ExceptionLogState& state = State();
    std::lock_guard lock(state.mutex);
    return {state.entries.begin(), state.entries.end()};
}

void ClearRecentExceptions() {
    ExceptionLogState& state = State();
    std::lock_guard lock(state.mutex);
    state.entries.clear();
}

} // namespace host
