#pragma once
// The file "Production Panel Settings" in the user's profile folder: compact JSON with one
// member per production (its normalised folder path) holding the panel's saved state.
#include "host/CoreTypes.h"
#include "host/Json.h"
#include "state/TabViewStateData.h"

#include <map>
#include <string>

namespace HandlerTandrel {

using StateMap = std::map<host::WideString, TabViewStateData>;

// The whole store as the file's root object, members in the order of the records.
host::JsonValue EncodeProductionSettings(const StateMap& states);
// Decodes a root object. Every key is required; a missing key or a value of the wrong kind
// throws (host::MissingKeyException, host::JsonTypeError), abandoning the whole file.
StateMap DecodeProductionSettings(const host::JsonValue& root);

// The file's bytes as UTF-8 text: content that starts with "{" and a zero byte is UTF-16
// little-endian and is converted; anything else is taken as UTF-8.
std::string SettingsTextFromBytes(const std::string& bytes);

} // namespace HandlerTandrel
