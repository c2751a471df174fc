#pragma once
// The status line under the panel's tree: "5 items", or "2 of 5 items selected"; while a
// search runs, how many it found so far.
#include "host/CoreTypes.h"

#include <cstddef>

namespace HandlerTandrel {

// Singular or plural follows the total alone, with or without a selection: "1 of 1 item
// selected", "1 of 5 items selected".
host::WideString StatusTextFor(int total, int selected);
// While a search runs: "Searching... 1200 found".
host::WideString SearchingStatusTextFor(std::size_t found);

} // namespace HandlerTandrel
