#pragma once
// Basic string and id types shared by the host and its modules.
#include <cstdint>
#include <string>

namespace host {

// UTF-8 text: names, labels, localised strings, paths handed to the project back end.
using ByteString = std::string;
// UTF-16 text: paths and names as the panel keeps them.
using WideString = std::u16string;
// A string that never changes after it is made (a command's extra data, a state key).
using ImmutableString = std::string;

// Conversions that never fail and never lose a byte: a byte of ill-formed UTF-8 (a file name in
// another encoding) becomes the lone surrogate U+DC00 + byte and converts back to that byte, so
// a path converted one way and back names the same file. Other lone surrogates become U+FFFD.
ByteString ToUTF8(const WideString& text);
WideString ToUTF16(const ByteString& text);

} // namespace host
