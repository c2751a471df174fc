#pragma once
// Texts for numbers and dates as the user's system writes them.
#include "host/CoreTypes.h"

#include <cstdint>
#include <locale>

namespace host {

// A byte count as a memory size ("12 KB", "3.4 MB") with the given significant digits.
// Binary units (1 KB = 1024 bytes); with longUnits the unit is written out ("kilobytes").
ByteString NumberToMemoryString(std::uint64_t bytes, int significantDigits, bool longUnits);

// The user's locale for dates and numbers; the classic locale when the user's cannot be made.
std::locale GetNativeLocale();

// A moment (seconds since 1970-01-01 UTC) as a date and time in the local time zone, written
// the way the user's locale writes both (its "%c" form). Empty when it cannot be written.
ByteString FormatLocalDateTime(std::int64_t secondsSince1970);

} // namespace host
