#pragma once
// The host localiser. Keys look like "$$$/Area/Name=Default text#{note for translators}".
// The text is looked up in the current language's table by the part before "=";
// a missing entry falls back to the default after "=". The "#{...}" note is never shown.
// "@0" and "@1" in the text are replaced by the given arguments.
// Thread-safe: may be called from any thread.
#include "host/CoreTypes.h"

#include <initializer_list>
#include <string_view>

namespace host {

ByteString Localize(std::string_view keyWithDefault);
ByteString Localize(std::string_view keyWithDefault, std::initializer_list<ByteString> arguments);
WideString LocalizeWide(std::string_view keyWithDefault);

// The language in use, as a two-letter code ("en", "de").
ByteString CurrentLanguage();

} // namespace host
