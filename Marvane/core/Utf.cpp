// Conversions between UTF-8 and UTF-16. Both directions accept any input, so text from files
// and from the system never makes a conversion fail. A file name need not be UTF-8 at all: each
// byte of UTF-8 that is not well-formed becomes the lone low surrogate U+DC00 + byte, which
// converts back to that very byte, so a path read from the system and handed back names the
// same file. (Shown to a person, a lone surrogate appears as a replacement character.) Other
// lone surrogates become U+FFFD.
#include "host/CoreTypes.h"

#include <cstddef>
#include <cstdint>

namespace host {

namespace {

constexpr char32_t kReplacementCharacter = 0xFFFD;

bool IsHighSurrogate(char16_t unit) {
    return unit >= 0xD800 && unit <= 0xDBFF;
}

bool IsLowSurrogate(char16_t unit) {
    return unit >= 0xDC00 && unit <= 0xDFFF;
}

// The unit that stands for a byte of ill-formed UTF-8 (always 0x80 or above), and back.
constexpr char16_t kEscapedByteBase = 0xDC00;

char16_t EscapeByte(unsigned char byte) {
    return static_cast<char16_t>(kEscapedByteBase + byte);
}

bool IsEscapedByte(char16_t unit) {
    return unit >= kEscapedByteBase + 0x80 && unit <= kEscapedByteBase + 0xFF;
}

void AppendUTF8(ByteString& out, char32_t codePoint) {
    if (codePoint < 0x80) {
        out.push_back(static_cast<char>(codePoint));
    } else if (codePoint < 0x800) {
        out.push_back(static_cast<char>(0xC0 | (codePoint >> 6)));
        out.push_back(static_cast<char>(0x80 | (codePoint & 0x3F)));
    } else if (codePoint < 0x10000) {
        out.push_back(static_cast<char>(0xE0 | (codePoint >> 12)));
        out.push_back(static_cast<char>(0x80 | ((codePoint >> 6) & 0x3F)));
        out.push_back(static_cast<char>(0x80 | (codePoint & 0x3F)));
    } else {
        out.push_back(static_cast<char>(0xF0 | (codePoint >> 18)));
        out.push_back(static_cast<char>(0x80 | ((codePoint >> 12) & 0x3F)));
        out.push_back(static_cast<char>(0x80 | ((codePoint >> 6) & 0x3F)));
        out.push_back(static_cast<char>(0x80 | (codePoint & 0x3F)));
    }
}

void AppendUTF16(WideString& out, char32_t codePoint) {
    if (codePoint < 0x10000) {
        out.push_back(static_cast<char16_t>(codePoint));
    } else {
        const char32_t offset = codePoint - 0x10000;
        out.push_back(static_cast<char16_t>(0xD800 + (offset >> 10)));
        out.push_back(static_cast<char16_t>(0xDC00 + (offset & 0x3FF)));
    }
}

// What a lead byte promises: how many continuation bytes follow and the range the first
// of them must lie in. The narrowed ranges after E0, ED, F0 and F4 shut out overlong
// forms, surrogates and code points above U+10FFFF.
struct LeadByte {
    int continuationBytes = 0; // 0 for a byte that cannot start a sequence
    char32_t initialBits = 0;
    unsigned char secondMin = 0x80;
    unsigned char secondMax = 0xBF;
};

LeadByte DescribeLeadByte(unsigned char byte) {
    if (byte >= 0xC2 && byte <= 0xDF) {
        return {1, static_cast<char32_t>(byte & 0x1F), 0x80, 0xBF};
    }
    if (byte >= 0xE0 && byte <= 0xEF) {
        const unsigned char low = byte == 0xE0 ? 0xA0 : 0x80;
        const unsigned char high = byte == 0xED ? 0x9F : 0xBF;
        return {2, static_cast<char32_t>(byte & 0x0F), low, high};
    }
    if (byte >= 0xF0 && byte <= 0xF4) {
        const unsigned char low = byte == 0xF0 ? 0x90 : 0x80;
        const unsigned char high = byte == 0xF4 ? 0x8F : 0xBF;
        return {3, static_cast<char32_t>(byte & 0x07), low, high};
    }
    return {};
}

} // namespace

ByteString ToUTF8(const WideString& text) {
    const std::size_t size = text.size();
    // Paths are mostly ASCII: copy the leading ASCII run in one go.
    std::size_t ascii = 0;
    while (ascii < size && text[ascii] < 0x80) {
        ++ascii;
    }
    ByteString out;
    // At most three bytes for each unit past the run (a pair of units makes four).
    out.reserve(ascii + (size - ascii) * 3);
    out.resize(ascii);
    for (std::size_t i = 0; i < ascii; ++i) {
        out[i] = static_cast<char>(text[i]);
    }
    for (std::size_t i = ascii; i < size; ++i) {
        const char16_t unit = text[i];
        if (IsHighSurrogate(unit) && i + 1 < size && IsLowSurrogate(text[i + 1])) {
            const char32_t high = unit - 0xD800u;
            const char32_t low = text[i + 1] - 0xDC00u;
            AppendUTF8(out, 0x10000 + ((high << 10) | low));
            ++i;
        } else if (IsEscapedByte(unit)) {
            out.push_back(static_cast<char>(unit - kEscapedByteBase));
        } else if (IsHighSurrogate(unit) || IsLowSurrogate(unit)) {
            AppendUTF8(out, kReplacementCharacter);
        } else {
            AppendUTF8(out, unit);
        }
    }
    return out;
}

// Each byte of a malformed sequence is kept as its escape: the bytes that still looked like the
// start of a valid sequence are consumed together, and decoding resumes at the first byte that
// broke it.
WideString ToUTF16(const ByteString& text) {
    const std::size_t size = text.size();
    // The leading ASCII run in one go, as for ToUTF8.
    std::size_t i = 0;
    while (i < size && static_cast<unsigned char>(text[i]) < 0x80) {
        ++i;
    }
    WideString out;
    out.reserve(size);
    out.resize(i);
    for (std::size_t k = 0; k < i; ++k) {
        out[k] = static_cast<char16_t>(static_cast<unsigned char>(text[k]));
    }
    while (i < size) {
        const auto byte = static_cast<unsigned char>(text[i]);
        if (byte < 0x80) {
            out.push_back(static_cast<char16_t>(byte));
            ++i;
            continue;
        }
        const LeadByte lead = DescribeLeadByte(byte);
        if (lead.continuationBytes == 0) {
            out.push_back(EscapeByte(byte));
            ++i;
            continue;
        }
        char32_t codePoint = lead.initialBits;
        std::size_t next = i + 1;
        bool complete = true;
        for (int k = 0; k < lead.continuationBytes; ++k, ++next) {
            if (next >= size) {
                complete = false;
                break;
            }
            const auto continuation = static_cast<unsigned char>(text[next]);
            const unsigned char low = k == 0 ? lead.secondMin : 0x80;
            const unsigned char high = k == 0 ? lead.secondMax : 0xBF;
            if (continuation < low || continuation > high) {
                complete = false;
                break;
            }
            codePoint = (codePoint << 6) | static_cast<char32_t>(continuation & 0x3F);
        }
        if (complete) {
            AppendUTF16(out, codePoint);
        } else {
            for (std::size_t k = i; k < next; ++k) {
                out.push_back(EscapeByte(static_cast<unsigned char>(text[k])));
            }
        }
        i = next;
    }
    return out;
}

} // namespace host
