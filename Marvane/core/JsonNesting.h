#pragma once
// How deeply the JSON text the host reads may nest. Every reader of files that users or other
// machines write checks this before parsing, so no such file can exhaust the stack, whether
// it is read through ParseJson or directly with nlohmann-json.
#include <string_view>

namespace host {

// Far beyond any file of ours, and shallow enough that reading, writing and freeing a value
// never exhausts the stack.
inline constexpr int kMaximumJsonNesting = 512;

// Whether arrays and objects in the text nest deeper than kMaximumJsonNesting (brackets
// inside strings do not count). Looks at the text only; it need not be valid JSON.
bool NestsTooDeeply(std::string_view text);

} // namespace host
