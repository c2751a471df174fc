#include "Marvane/core/TextEscaping.h"

#include <QChar>
#include <algorithm>
#include <array>
#include <utility>

namespace host {

namespace {

constexpr const char* kHexDigits = "0123456789ABCDEF";

void AppendHex(std::string& out, char32_t value, int digits) {
    for (int shift = (digits - 1) * 4; shift >= 0; shift -= 4) {
        out += kHexDigits[(value >> shift) & 0xF];
    }
}

void AppendByteEscape(std::string& out, unsigned char byte) {
    out += "\\x";
    AppendHex(out, byte, 2);
}

// Characters a terminal obeys or that change how the text around them is shown.
bool MustBeEscapedForTerminal(char32_t codePoint) {
    switch (QChar::category(codePoint)) {
    case QChar::Other_Control:
    case QChar::Other_Format:
    case QChar::Separator_Line:
    case QChar::Separator_Paragraph:
        return true;
    default:
        return false;
    }
}

bool IsWide(char32_t codePoint) {
    static constexpr std::array<std::pair<char32_t, char32_t>, 20> kWide{{
        {0x1100, 0x115F},   {0x231A, 0x231B},   {0x2329, 0x232A},   {0x23E9, 0x23EC},
        {0x2E80, 0x303E},   {0x3041, 0x33FF},   {0x3400, 0x4DBF},   {0x4E00, 0x9FFF},
        {0xA000, 0xA4CF},   {0xA960, 0xA97F},   {0xAC00, 0xD7A3},   {0xF900, 0xFAFF},
        {0xFE10, 0xFE19},   {0xFE30, 0xFE6F},   {0xFF00, 0xFF60},   {0xFFE0, 0xFFE6},
        {0x1F300, 0x1F64F}, {0x1F900, 0x1F9FF}, {0x20000, 0x2FFFD}, {0x30000, 0x3FFFD},
    }};
    return std::any_of(kWide.begin(), kWide.end(), [codePoint](const auto& range) {
        return codePoint >= range.first && codePoint <= range.second;
    });
}

int HexValue(char c) {
    if (c >= '0' && c <= '9') {
        return c - '0';
    }
    if (c >= 'A' && c <= 'F') {
        return c - 'A' + 10;
    }
    return -1;
}

} // namespace

std::size_t DecodeUtf8At(std::string_view bytes, std::size_t at, char32_t& codePoint) {
    const auto lead = static_cast<unsigned char>(bytes[at]);
    if (lead < 0x80) {
        codePoint = lead;
        return 1;
    }
    int following = 0;
    unsigned char secondMin = 0x80;
    unsigned char secondMax = 0xBF;
    char32_t value = 0;
    if (lead >= 0xC2 && lead <= 0xDF) {
        following = 1;
        value = lead & 0x1F;
    } else if (lead >= 0xE0 && lead <= 0xEF) {
        following = 2;
        value = lead & 0x0F;
        secondMin = lead == 0xE0 ? 0xA0 : 0x80; // no overlong forms
        secondMax = lead == 0xED ? 0x9F : 0xBF; // no surrogates
    } else if (lead >= 0xF0 && lead <= 0xF4) {
        following = 3;
        value = lead & 0x07;
        secondMin = lead == 0xF0 ? 0x90 : 0x80;
        secondMax = lead == 0xF4 ? 0x8F : 0xBF; // nothing above U+10FFFF
    } else {
        return 0;
    }
    if (bytes.size() - at <= static_cast<std::size_t>(following)) {
        return 0;
    }
    for (int index = 1; index <= following; ++index) {
        const auto next = static_cast<unsigned char>(bytes[at + static_cast<std::size_t>(index)]);
        const unsigned char low = index == 1 ? secondMin : 0x80;
        const unsigned char high = index == 1 ? secondMax : 0xBF;
        if (next < low || next > high) {
            return 0;
        }
        value = (value << 6) | (next & 0x3F);
    }
    codePoint = value;
    return static_cast<std::size_t>(following) + 1;
}

namespace {

// Walks the bytes a character at a time: each well-formed character (its bytes and code
// point) goes to onCharacter, each byte that begins none to onStray.
template <typename OnCharacter, typename OnStray>
void ForEachCharacter(std::string_view bytes, OnCharacter onCharacter, OnStray onStray) {
    char32_t codePoint = 0;
    for (std::size_t at = 0; at < bytes.size();) {
        const std::size_t length = DecodeUtf8At(bytes, at, codePoint);
        if (length == 0) {
            onStray(static_cast<unsigned char>(bytes[at]));
            ++at;
        } else {
            onCharacter(bytes.substr(at, length), codePoint);
            at += length;
        }
    }
}

} // namespace

bool IsWellFormedUtf8(std::string_view bytes) {
    char32_t codePoint = 0;
    for (std::size_t at = 0; at < bytes.size();) {
        const std::size_t length = DecodeUtf8At(bytes, at, codePoint);
        if (length == 0) {
            return false;
        }
        at += length;
    }
    return true;
}

std::string WellFormedUtf8(std::string_view bytes) {
    std::string out;
    out.reserve(bytes.size());
    ForEachCharacter(
        bytes, [&out](std::string_view character, char32_t) { out.append(character); },
        [&out](unsigned char) { out += "\xEF\xBF\xBD"; });
    return out;
}

std::string EscapeIllFormedBytes(std::string_view bytes) {
    std::string out;
    out.reserve(bytes.size());
    ForEachCharacter(
        bytes,
        [&out](std::string_view character, char32_t codePoint) {
            if (codePoint == '\\') {
                out += '\\';
            }
            out.append(character);
        },
        [&out](unsigned char stray) { AppendByteEscape(out, stray); });
    return out;
}

std::optional<std::string> UnescapeIllFormedBytes(std::string_view text) {
    std::string out;
    out.reserve(text.size());
    for (std::size_t at = 0; at < text.size(); ++at) {
        if (text[at] != '\\') {
            out += text[at];
        } else if (at + 1 < text.size() && text[at + 1] == '\\') {
            out += '\\';
            ++at;
        } else if (at + 3 < text.size() && text[at + 1] == 'x' && HexValue(text[at + 2]) >= 0 &&
                   HexValue(text[at + 3]) >= 0) {
            out += static_cast<char>(HexValue(text[at + 2]) * 16 + HexValue(text[at + 3]));
            at += 3;
        } else {
            return std::nullopt;
        }
    }
    return out;
}

std::string TerminalText(std::string_view bytes) {
    std::string out;
    out.reserve(bytes.size());
    char32_t codePoint = 0;
    for (std::size_t at = 0; at < bytes.size();) {
        const std::size_t length = DecodeUtf8At(bytes, at, codePoint);
        if (length == 0 || (length == 1 && (codePoint < 0x20 || codePoint == 0x7F))) {
            AppendByteEscape(out, static_cast<unsigned char>(bytes[at]));
            ++at;
            continue;
        }
        if (codePoint == '\\') {
            out += "\\\\";
        } else if (MustBeEscapedForTerminal(codePoint)) {
            const bool beyondPlane = codePoint > 0xFFFF;
            out += beyondPlane ? "\\U" : "\\u";
            AppendHex(out, codePoint, beyondPlane ? 8 : 4);
        } else {
            out.append(bytes.substr(at, length));
        }
        at += length;
    }
    return out;
}

std::size_t TerminalColumns(std::string_view text) {
    std::size_t columns = 0;
    ForEachCharacter(
        text,
        [&columns](std::string_view, char32_t codePoint) {
            const QChar::Category category = QChar::category(codePoint);
            if (category != QChar::Mark_NonSpacing && category != QChar::Mark_Enclosing) {
                columns += IsWide(codePoint) ? 2u : 1u;
            }
        },
        [&columns](unsigned char) { ++columns; }); // shown as one replacement character
    return columns;
}

} // namespace host
