#pragma once
// The host's developer tuning store: named values that override built-in defaults, read from
// "tuning.json" in the user profile directory. Safe on any thread.
#include "host/CoreTypes.h"

#include <cstdint>
#include <string_view>

namespace host {

// The text of the entry for key; false when the store has none.
bool FindTuningValue(std::string_view key, ByteString& text);
// Moves whenever the store's entries change, so that callers can cache what they read.
std::uint32_t TuningStoreChangeCount();

} // namespace host
