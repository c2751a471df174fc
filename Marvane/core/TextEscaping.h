#pragma once
// Text from disk shown or written somewhere it could do harm. Names of projects, holders and
// machines come from files other machines write: they need not be UTF-8 (a Latin-1 name),
// and they may hold control characters that a terminal obeys (clear the screen, set the
// window title, start a new line) or bidirectional overrides that show a name other than the
// one it is. These functions never fail and never throw.
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace host {

// The length of the well-formed UTF-8 sequence at `at` (1 to 4 bytes, no overlong forms, no
// surrogates, nothing above U+10FFFF) with its code point; 0 when none starts there.
std::size_t DecodeUtf8At(std::string_view bytes, std::size_t at, char32_t& codePoint);
bool IsWellFormedUtf8(std::string_view bytes);
// The bytes with each one that is not part of well-formed UTF-8 replaced by U+FFFD.
std::string WellFormedUtf8(std::string_view bytes);
// The bytes as well-formed UTF-8 from which they can be got back exactly: a backslash is
// doubled and each byte that is not part of well-formed UTF-8 is written "\xE9".
std::string EscapeIllFormedBytes(std::string_view bytes);
// The bytes EscapeIllFormedBytes was given; nothing when the text is not such an escape.
std::optional<std::string> UnescapeIllFormedBytes(std::string_view text);
// The bytes as a terminal can show them without obeying anything in them: a backslash is
// doubled, control characters (C0 and DEL as "\x1B", C1 as "\u0085"), format characters
// (bidirectional controls, zero-width characters: "\u202E"), line and paragraph separators,
// and bytes that are not well-formed UTF-8 ("\xE9") are written escaped.
std::string TerminalText(std::string_view bytes);
// How many columns a terminal gives well-formed UTF-8 text: East Asian wide characters take
// two, combining marks none, everything else one.
std::size_t TerminalColumns(std::string_view text);

} // namespace host
