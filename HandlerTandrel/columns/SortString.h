#pragma once
// The one comparison by which every column of the panel sorts its keys.
#include "host/CoreTypes.h"

#include <string_view>

namespace HandlerTandrel::Columns {

// The production's trash folder sorts after everything (only ASCII letters are folded when
// recognising its name); everything else by the host's case-insensitive natural comparison
// ("Shot 2" before "Shot 10"). Equal keys answer false.
bool SortStringIsLess(std::u16string_view a, std::u16string_view b);

} // namespace HandlerTandrel::Columns
