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
    // The cached value and the counter it belongs to, in one word so that readers on other
    // threads never pair a value with another value's counter: counter in the high 32 bits,
    // the float's bits in the low 32. Counter 0 means nothing is cached yet (the host's
    // counter starts above 0).
    mutable std::atomic<std::uint64_t> mCache{0};
};

// The column widths of the panel.
const TuningValue& ColumnWidth();
const TuningValue& NameColumnMinimumWidth();
const TuningValue& OtherColumnMinimumWidth();

} // namespace HandlerTandrel::Columns
