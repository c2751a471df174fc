#pragma once
// The status line under the panel's tree: "5 items", or "2 of 5 items selected".
#include "host/CoreTypes.h"

namespace HandlerTandrel {

// Singular or plural follows the total alone, with or without a selection: "1 of 1 item
// selected", "1 of 5 items selected".
host::WideString StatusTextFor(int total, int selected);

} // namespace HandlerTandrel
