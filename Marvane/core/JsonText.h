#pragma once
// JSON that the host writes to its own files. A file name need not be UTF-8 (a Latin-1 name
// from another machine), and JSON text can only hold UTF-8: writing such a name as a plain
// string makes the writer throw, at the worst moment (keeping a recovery copy at a stop).
#include "Marvane/core/TextEscaping.h"

#include <filesystem>
#include <nlohmann/json.hpp>
#include <string>
#include <string_view>

namespace host {

// The JSON as text; never throws: a string that is not UTF-8 is written with U+FFFD in place
// of what is not. indent as for nlohmann::json::dump (-1: one line).
std::string JsonText(const nlohmann::json& json, int indent = -1);

// A path as JSON that gives back exactly its bytes: a string when the path is UTF-8, else
// {"bytes": "<hexadecimal>"}.
nlohmann::json PathToJson(const std::filesystem::path& path);
// The path either form gives; empty for anything else.
std::filesystem::path PathFromJson(const nlohmann::json& value);

// Sets the member key to a text that need not be UTF-8 (a name from disk): bytes that are not
// well-formed UTF-8 show as U+FFFD there, and the member key + "Bytes" holds them escaped as
// EscapeIllFormedBytes writes them, so that a reader can get the exact bytes back.
template <typename Json>
void SetTextMember(Json& object, const std::string& key, std::string_view bytes) {
    if (IsWellFormedUtf8(bytes)) {
        object[key] = std::string(bytes);
        return;
    }
    object[key] = WellFormedUtf8(bytes);
    object[key + "Bytes"] = EscapeIllFormedBytes(bytes);
}

} // namespace host
