#include "host/Formatting.h"

#include <array>
#include <charconv>
#include <cmath>
#include <ctime>
#include <iomanip>
#include <sstream>
#include <string>

namespace host {

ByteString NumberToMemoryString(std::uint64_t bytes, int significantDigits, bool longUnits) {
    static constexpr std::array<const char*, 7> kShort = {"bytes", "KB", "MB", "GB",
                                                          "TB",    "PB", "EB"};
    static constexpr std::array<const char*, 7> kLong = {
        "bytes", "kilobytes", "megabytes", "gigabytes", "terabytes", "petabytes", "exabytes"};
    if (bytes < 1024) {
        return std::to_string(bytes) + (bytes == 1 ? " byte" : " bytes");
    }
    double value = static_cast<double>(bytes);
    std::size_t unit = 0;
    while (value >= 1024.0 && unit + 1 < kShort.size()) {
        value /= 1024.0;
        ++unit;
    }
    // Significant digits: 2 gives "12 KB", "3.4 MB", "120 GB". The text never depends on the C
    // locale ("." always); a value that rounds up to 1024 moves on to the next unit.
    const int digits = significantDigits < 1 ? 1 : significantDigits;
    std::string number;
    for (int attempt = 0; attempt < 2; ++attempt) {
        const int integerDigits =
            value >= 1.0 ? static_cast<int>(std::floor(std::log10(value))) + 1 : 1;
        const int decimals = digits > integerDigits ? digits - integerDigits : 0;
        char text[64];
        const auto written =
            std::to_chars(text, text + sizeof(text), value, std::chars_format::fixed, decimals);
        number.assign(text, written.ptr);
        double shown = 0.0;
        std::from_chars(number.data(), number.data() + number.size(), shown);
        if (shown < 1024.0 || unit + 1 >= kShort.size()) {
            break;
        }
        value /= 1024.0;
        ++unit;
    }
    if (number.find('.') != std::string::npos) {
        while (number.back() == '0') {
            number.pop_back();
        }
        if (number.back() == '.') {
            number.pop_back();
        }
    }
    return number + " " + (longUnits ? kLong[unit] : kShort[unit]);
}

std::locale GetNativeLocale() {
    static const std::locale native = [] {
        try {
            return std::locale("");
        } catch (const std::exception&) {
            return std::locale::classic();
        }
    }();
    return native;
}

ByteString FormatLocalDateTime(std::int64_t secondsSince1970) {
    const auto seconds = static_cast<std::time_t>(secondsSince1970);
    std::tm local{};
    if (::localtime_r(&seconds, &local) == nullptr) {
        return {};
    }
    // Written as wide text, so the locale's own characters come out whole, then made UTF-8.
    std::wostringstream text;
    text.imbue(GetNativeLocale());
    text << std::put_time(&local, L"%c");
    static_assert(sizeof(wchar_t) == sizeof(char32_t), "wide text is UTF-32 on this platform");
    WideString utf16;
    for (const wchar_t unit : text.str()) {
        auto code = static_cast<char32_t>(unit);
        if (code >= 0x10000 && code <= 0x10FFFF) {
            code -= 0x10000;
            utf16.push_back(static_cast<char16_t>(0xD800 + (code >> 10)));
            utf16.push_back(static_cast<char16_t>(0xDC00 + (code & 0x3FF)));
        } else {
            utf16.push_back(static_cast<char16_t>(code));
        }
    }
    return ToUTF8(utf16);
}

} // namespace host
