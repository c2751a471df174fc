#pragma once
// A number that developers may override in the host's tuning store. Every read gives the
// current value; the store is asked again only when its change counter has moved. Safe to
// read from any thread.
#include <atomic>
#include <cstdint>
#include <string_view>

namespace HandlerTandrel::Columns {

class TuningValue {
public:
    constexpr TuningValue(std::string_view key, float defaultValue)
        : mKey(key), mDefault(defaultValue) {}

    float Get() const;
    std::string_view GetKey() const { return mKey; }

private:
    std::string_view mKey;
    float mDefault;
    // The counter the cached value belongs to; 0 means nothing is cached yet (the host's
    // counter starts above 0).
    mutable std::atomic<std::uint32_t> mCachedAt{0};
    mutable std::atomic<float> mCached{0.0f};
};

// The column widths of the panel.
const TuningValue& ColumnWidth();
const TuningValue& NameColumnMinimumWidth();
const TuningValue& OtherColumnMinimumWidth();

} // namespace HandlerTandrel::Columns
