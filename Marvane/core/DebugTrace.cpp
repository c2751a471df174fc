// The debug trace: a level per category, read from MARVANE_TRACE when the library starts
// and replaced by ConfigureTrace (the host preference "trace").
#include "host/DebugTrace.h"

#include "Marvane/core/TraceConfiguration.h"

#include <algorithm>
#include <atomic>
#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <system_error>
#include <utility>

namespace host {

namespace {

constexpr int kMaximumTraceLevel = 9;

struct TraceLevels {
    std::map<std::string, int, std::less<>> byCategory;
    int unlisted = 0;
};

struct TraceState {
    std::mutex mutex;
    TraceLevels levels;
    std::shared_ptr<const TraceSink> sink; // null: the default sink
    std::atomic<std::uint32_t> changeCount{0};
};

std::string_view Trim(std::string_view text) {
    const auto isBlank = [](char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r'; };
    while (!text.empty() && isBlank(text.front())) {
        text.remove_prefix(1);
    }
    while (!text.empty() && isBlank(text.back())) {
        text.remove_suffix(1);
    }
    return text;
}

TraceLevels ParseTraceConfiguration(std::string_view config) {
    TraceLevels levels;
    while (!config.empty()) {
        const std::size_t comma = config.find(',');
        const std::string_view entry = Trim(config.substr(0, comma));
        config = comma == std::string_view::npos ? std::string_view{} : config.substr(comma + 1);

        const std::size_t equals = entry.find('=');
        if (equals == std::string_view::npos) {
            continue;
        }
        const std::string_view category = Trim(entry.substr(0, equals));
        const std::string_view value = Trim(entry.substr(equals + 1));
        if (category.empty() || value.empty()) {
            continue;
        }
        int level = 0;
        const char* const end = value.data() + value.size();
        const auto [stop, error] = std::from_chars(value.data(), end, level);
        if (error != std::errc{} || stop != end || level < 0) {
            continue;
        }
        level = std::min(level, kMaximumTraceLevel);
        if (category == "*") {
            levels.unlisted = level;
        } else {
            levels.byCategory.insert_or_assign(std::string(category), level);
        }
    }
    return levels;
}

// Made on first use and never destroyed, so code that traces while the process shuts down
// still finds it.
TraceState& State() {
    static TraceState& state = []() -> TraceState& {
        auto* created = new TraceState;
        if (const char* fromEnvironment = std::getenv("MARVANE_TRACE")) {
            created->levels = ParseTraceConfiguration(fromEnvironment);
        }
        return *created;
    }();
    return state;
}

// Reads MARVANE_TRACE when the library starts rather than at the first trace call.
[[maybe_unused]] const bool gTraceStateReady = (State(), true);

int ConfiguredLevel(const TraceLevels& levels, std::string_view category) {
    const auto found = levels.byCategory.find(category);
    return found == levels.byCategory.end() ? levels.unlisted : found->second;
}

void WriteToStandardError(std::string_view category, int level, std::string_view text) {
    std::string line;
    line.reserve(category.size() + text.size() + 8);
    line += '[';
    line += category;
    line += ':';
    line += std::to_string(level);
    line += "] ";
    line += text;
    if (line.back() != '\n') {
        line += '\n';
    }
    // One write per line keeps lines from different threads apart.
    std::fwrite(line.data(), 1, line.size(), stderr);
}

} // namespace

void ConfigureTrace(std::string_view config) {
    TraceLevels levels = ParseTraceConfiguration(config);
    TraceState& state = State();
    {
        std::lock_guard lock(state.mutex);
        state.levels = std::move(levels);
    }
    state.changeCount.fetch_add(1, std::memory_order_release);
}

void SetTraceSink(TraceSink sink) {
    std::shared_ptr<const TraceSink> shared;
    if (sink) {
        shared = std::make_shared<const TraceSink>(std::move(sink));
    }
    TraceState& state = State();
    std::lock_guard lock(state.mutex);
    state.sink = std::move(shared);
}

namespace {
std::atomic<std::uint64_t> gEnabledQueries{0};
} // namespace

std::uint64_t TraceEnabledQueryCount() {
    return gEnabledQueries.load();
}

bool TraceIsEnabled(std::string_view category, int level) {
    gEnabledQueries.fetch_add(1);
    if (level < 1) {
        return false;
    }
    TraceState& state = State();
    std::lock_guard lock(state.mutex);
    return level <= ConfiguredLevel(state.levels, category);
}

void Trace(std::string_view category, int level, std::string_view text) {
    if (level < 1) {
        return;
    }
    std::shared_ptr<const TraceSink> sink;
    {
        TraceState& state = State();
        std::lock_guard lock(state.mutex);
        if (level > ConfiguredLevel(state.levels, category)) {
            return;
        }
        sink = state.sink;
    }
    if (!sink) {
        WriteToStandardError(category, level, text);
        return;
    }
    // Tracing must never throw into the code that traces, which is often cleaning up.
    try {
        (*sink)(category, level, text);
    } catch (...) {
        std::fputs("The trace sink threw an exception; a trace line was lost.\n", stderr);
    }
}

std::uint32_t TraceConfigurationChangeCount() {
    return State().changeCount.load(std::memory_order_acquire);
}

} // namespace host
