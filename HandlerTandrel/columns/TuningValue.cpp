#include "columns/TuningValue.h"

#include "host/TuningStore.h"

#include <cstdlib>
#include <string>

namespace HandlerTandrel::Columns {

float TuningValue::Get() const {
    const std::uint32_t counter = host::TuningStoreChangeCount();
    if (mCachedAt.load() == counter) {
        return mCached.load();
    }
    float value = mDefault;
    host::ByteString text = std::to_string(mDefault);
    if (host::FindTuningValue(mKey, text)) {
        // Text that is not a number gives 0, as a decimal conversion of it does.
        value = std::strtof(text.c_str(), nullptr);
    }
    mCached.exchange(value);
    mCachedAt.exchange(counter);
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
