#pragma once
// Whether a trace category is on at a level, cached at the trace site. The host is asked
// again only when its trace configuration has changed since the last question, so tracing
// costs one atomic exchange on the common path.
#include "host/DebugTrace.h"

#include <atomic>
#include <cstdint>
#include <string_view>

namespace HandlerTandrel::Utils {

class TraceSwitch {
public:
    constexpr TraceSwitch(std::string_view category, int level)
        : mCategory(category), mLevel(level) {}

    bool IsOn() {
        const std::uint32_t now = host::TraceConfigurationChangeCount();
        const std::uint64_t cached = mCache.load();
        if ((cached & kCached) != 0 && static_cast<std::uint32_t>(cached >> 32) == now) {
            return (cached & kOn) != 0;
        }
        const bool on = host::TraceIsEnabled(mCategory, mLevel);
        mCache.exchange((static_cast<std::uint64_t>(now) << 32) | kCached | (on ? kOn : 0));
        return on;
    }

private:
    // The answer and the configuration it belongs to, in one word, so that a reader on
    // another thread never pairs an answer with another configuration: the change counter in
    // the high 32 bits, then whether anything is cached, then the answer.
    static constexpr std::uint64_t kOn = 1;
    static constexpr std::uint64_t kCached = 2;

    std::string_view mCategory;
    int mLevel;
    std::atomic<std::uint64_t> mCache{0};
};

} // namespace HandlerTandrel::Utils
