#include "Marvane/core/JsonText.h"

#include "host/CoreTypes.h"

namespace host {

namespace {

constexpr char16_t kFirstEscapedByte = 0xDC80;
constexpr char16_t kLastEscapedByte = 0xDCFF;

// UTF-16 keeps every byte that is not part of well-formed UTF-8 as an escape.
bool IsUtf8(const std::string& bytes) {
    for (const char16_t unit : ToUTF16(bytes)) {
        if (unit >= kFirstEscapedByte && unit <= kLastEscapedByte) {
            return false;
        }
    }
    return true;
}

int HexValue(char digit) {
    if (digit >= '0' && digit <= '9') {
        return digit - '0';
    }
    if (digit >= 'a' && digit <= 'f') {
        return digit - 'a' + 10;
    }
    return -1;
}

} // namespace

std::string JsonText(const nlohmann::json& json, int indent) {
    return json.dump(indent, ' ', false, nlohmann::json::error_handler_t::replace);
}

nlohmann::json PathToJson(const std::filesystem::path& path) {
    const std::string bytes = path.string();
    if (IsUtf8(bytes)) {
        return bytes;
    }
    static const char* const digits = "0123456789abcdef";
    std::string hex;
    hex.reserve(bytes.size() * 2);
    for (const char c : bytes) {
        const auto byte = static_cast<unsigned char>(c);
        hex += digits[byte >> 4];
        hex += digits[byte & 0x0F];
    }
    return nlohmann::json{{"bytes", hex}};
}

std::filesystem::path PathFromJson(const nlohmann::json& value) {
    if (value.is_string()) {
        return value.get<std::string>();
    }
    const auto hex = value.is_object() ? value.find("bytes") : value.end();
    if (hex == value.end() || !hex->is_string() || hex->get<std::string>().size() % 2 != 0) {
        return {};
    }
    const std::string& digits = hex->get_ref<const std::string&>();
    std::string bytes;
    bytes.reserve(digits.size() / 2);
    for (std::size_t i = 0; i < digits.size(); i += 2) {
        const int high = HexValue(digits[i]);
        const int low = HexValue(digits[i + 1]);
        if (high < 0 || low < 0) {
            return {};
        }
        bytes += static_cast<char>(high * 16 + low);
    }
    return bytes;
}

} // namespace host
