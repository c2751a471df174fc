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

ByteString ToUTF8(const WideString& text);
WideString ToUTF16(const ByteString& text);

} // namespace host
