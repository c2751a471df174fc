#pragma once
// A short, stable name for some bytes (64-bit FNV-1a in sixteen hexadecimal digits): for file
// names that must be the same in every copy of marvane, on every machine, for the same bytes.
// Not for security: anyone can make two texts with one fingerprint.
#include <cstdint>
#include <string>
#include <string_view>

namespace host {

inline std::string Fingerprint(std::string_view bytes) {
    std::uint64_t hash = 14695981039346656037ull;
    for (const char c : bytes) {
        hash ^= static_cast<unsigned char>(c);
        hash *= 1099511628211ull;
    }
    static const char* const digits = "0123456789abcdef";
    std::string text;
    for (int shift = 60; shift >= 0; shift -= 4) {
        text += digits[(hash >> shift) & 0xf];
    }
    return text;
}

} // namespace host
