#include "host/Formatting.h"
#include "host/Localizer.h"

#include <QDateTime>
#include <QLocale>

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
        "$$$/Marvane/Host/Size/Bytes=bytes",         "$$$/Marvane/Host/Size/Kilobytes=kilobytes",
        "$$$/Marvane/Host/Size/Megabytes=megabytes", "$$$/Marvane/Host/Size/Gigabytes=gigabytes",
        "$$$/Marvane/Host/Size/Terabytes=terabytes", "$$$/Marvane/Host/Size/Petabytes=petabytes",
        "$$$/Marvane/Host/Size/Exabytes=exabytes"};
    if (bytes < 1024) {
        return std::to_string(bytes) + " " +
               (bytes == 1 ? Localize("$$$/Marvane/Host/Size/Byte=byte")
                           : Localize("$$$/Marvane/Host/Size/Bytes=bytes"));
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
    // The language's decimal separator ("3,4 MB" in German).
    const std::string separator = Localize("$$$/Marvane/Host/Number/DecimalSeparator=.");
    if (const std::size_t point = number.find('.'); point != std::string::npos) {
        number.replace(point, 1, separator);
    }
    return number + " " + (longUnits ? Localize(kLong[unit]) : std::string(kShort[unit]));
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
    // The chosen language's way (QLocale's default follows it), with the year in full.
    const QLocale locale;
    QString dateFormat = locale.dateFormat(QLocale::ShortFormat);
    if (!dateFormat.contains(QStringLiteral("yyyy"))) {
        dateFormat.replace(QStringLiteral("yy"), QStringLiteral("yyyy"));
    }
    const QDateTime moment = QDateTime::fromSecsSinceEpoch(secondsSince1970);
    if (!moment.isValid()) {
        return {};
    }
    return (locale.toString(moment.date(), dateFormat) + QLatin1Char(' ') +
            locale.toString(moment.time(), QLocale::ShortFormat))
        .toStdString();
}

} // namespace host
