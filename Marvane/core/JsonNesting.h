#pragma once
// What JSON text from files that users or other machines write must be before it is read:
// shallow enough that reading it cannot exhaust the stack, and free of NUL bytes, which
// nlohmann-json takes for the end of its input ("{}" followed by a NUL and anything else would
// read as {}). Every such reader goes through ParseUntrustedJson or ParseJson, or makes both
// checks below before reading the text event by event.
#include <nlohmann/json.hpp>
#include <string_view>

namespace host {

// Far beyond any file of ours, and shallow enough that reading, writing and freeing a value
// never exhausts the stack.
inline constexpr int kMaximumJsonNesting = 512;

// Whether arrays and objects in the text nest deeper than kMaximumJsonNesting (brackets
// inside strings do not count). Looks at the text only; it need not be valid JSON.
bool NestsTooDeeply(std::string_view text);

// Whether the text holds a NUL byte, which JSON text never does.
inline bool HoldsNulByte(std::string_view text) {
    return text.find('\0') != std::string_view::npos;
}

// The JSON value that the whole text is; discarded for text that is not JSON, nests too deeply
// or holds a NUL byte. Never throws.
template <typename Json = nlohmann::json> Json ParseUntrustedJson(std::string_view text) {
    if (HoldsNulByte(text) || NestsTooDeeply(text)) {
        return Json(Json::value_t::discarded);
    }
    return Json::parse(text, nullptr, false);
}

} // namespace host
