#include "columns/TuningValue.h"

#include "host/TuningStore.h"

#include <bit>
#include <charconv>
#include <string>

namespace HandlerTandrel::Columns {

float TuningValue::Get() const {
    const std::uint32_t counter = host::TuningStoreChangeCount();
    const std::uint64_t cached = mCache.load();
    if (static_cast<std::uint32_t>(cached >> 32) == counter) {
        return std::bit_cast<float>(static_cast<std::uint32_t>(cached));
    }
    float value = mDefault;
    host::ByteString text;
    if (host::FindTuningValue(mKey, text)) {
        // The decimal point is always "."; text that is not a number gives 0.
        value = 0.0f;
        const char* begin = text.data();
        while (begin != text.data() + text.size() && (*begin == ' ' || *begin == '+')) {
            ++begin;
        }
        std::from_chars(begin, text.data() + text.size(), value);
    }
    mCache.exchange((static_cast<std::uint64_t>(counter) << 32) |
                    std::bit_cast<std::uint32_t>(value));
    return value;
}

const TuningValue& ColumnWidth() {
    static const TuningValue value("Tandrel.Columns.Width", 200.0f);
    return value;
}

// One key for both minimums on purpose: one entry overrides both, while without an entry the
// Name column keeps the larger one.
const TuningValue& NameColumnMinimumWidth() {
    static const TuningValue value("Tandrel.Columns.MinWidth", 70.0f);
    return value;
}

const TuningValue& OtherColumnMinimumWidth() {
    static const TuningValue value("Tandrel.Columns.MinWidth", 50.0f);
    return value;
}

} // namespace HandlerTandrel::Columns
