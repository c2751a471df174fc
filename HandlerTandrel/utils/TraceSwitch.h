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
        const bool first = !mAsked.exchange(true);
        const bool changed = mLastChangeCount.exchange(now) != now;
        if (first || changed) {
            mOn.store(host::TraceIsEnabled(mCategory, mLevel));
        }
        return mOn.load();
    }

private:
    std::string_view mCategory;
    int mLevel;
    std::atomic<bool> mAsked{false};
    std::atomic<std::uint32_t> mLastChangeCount{0};
    std::atomic<bool> mOn{false};
};

} // namespace HandlerTandrel::Utils
