// The host's JSON values, parser and writer, over nlohmann-json (ordered objects).
#include "host/Json.h"

#include "Marvane/core/JsonNesting.h"

#include <limits>
#include <nlohmann/json.hpp>

namespace host {

namespace {

using Ordered = nlohmann::ordered_json;

[[noreturn]] void WrongKind(const char* wanted) {
    throw JsonTypeError(std::string("JSON value is not ") + wanted);
}

JsonValue FromNlohmann(const Ordered& json) {
    switch (json.type()) {
    case Ordered::value_t::null:
        return {};
    case Ordered::value_t::boolean:
        return JsonValue(json.get<bool>());
    case Ordered::value_t::number_integer:
        return JsonValue(json.get<std::int64_t>());
    case Ordered::value_t::number_unsigned:
        return JsonValue(json.get<std::uint64_t>());
    case Ordered::value_t::number_float:
        return JsonValue(json.get<double>());
    case Ordered::value_t::string:
        return JsonValue(json.get<std::string>());
    case Ordered::value_t::array: {
        JsonValue::Array array;
        array.reserve(json.size());
        for (const auto& item : json) {
            array.push_back(FromNlohmann(item));
        }
        return JsonValue(std::move(array));
    }
    case Ordered::value_t::object: {
        JsonValue::Object object;
        object.reserve(json.size());
        for (const auto& [key, item] : json.items()) {
            object.emplace_back(key, FromNlohmann(item));
        }
        return JsonValue(std::move(object));
    }
    default:
        return {};
    }
}

Ordered ToNlohmann(const JsonValue& value) {
    if (value.IsBool()) {
        return value.AsBool();
    }
    if (value.IsSigned()) {
        return value.AsSigned();
    }
    if (value.IsUnsigned()) {
        return value.AsUnsigned();
    }
    if (value.IsDouble()) {
        return value.AsDouble();
    }
    if (value.IsString()) {
        return value.AsString();
    }
    if (value.IsArray()) {
        Ordered array = Ordered::array();
        for (const JsonValue& item : value.AsArray()) {
            array.push_back(ToNlohmann(item));
        }
        return array;
    }
    if (value.IsObject()) {
        Ordered object = Ordered::object();
        for (const auto& [key, item] : value.AsObject()) {
            object[key] = ToNlohmann(item);
        }
        return object;
    }
    return nullptr;
}

} // namespace

bool JsonValue::AsBool() const {
    if (!IsBool()) {
        WrongKind("a boolean");
    }
    return std::get<bool>(mValue);
}

std::int64_t JsonValue::AsSigned() const {
    if (IsSigned()) {
        return std::get<std::int64_t>(mValue);
    }
    if (IsUnsigned() && std::get<std::uint64_t>(mValue) <=
                            static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max())) {
        return static_cast<std::int64_t>(std::get<std::uint64_t>(mValue));
    }
    WrongKind("a signed integer");
}

std::uint64_t JsonValue::AsUnsigned() const {
    if (IsUnsigned()) {
        return std::get<std::uint64_t>(mValue);
    }
    if (IsSigned() && std::get<std::int64_t>(mValue) >= 0) {
        return static_cast<std::uint64_t>(std::get<std::int64_t>(mValue));
    }
    WrongKind("an unsigned integer");
}

double JsonValue::AsDouble() const {
    if (IsDouble()) {
        return std::get<double>(mValue);
    }
    if (IsSigned()) {
        return static_cast<double>(std::get<std::int64_t>(mValue));
    }
    if (IsUnsigned()) {
        return static_cast<double>(std::get<std::uint64_t>(mValue));
    }
    WrongKind("a number");
}

const std::string& JsonValue::AsString() const {
    if (!IsString()) {
        WrongKind("a string");
    }
    return std::get<std::string>(mValue);
}

const JsonValue::Array& JsonValue::AsArray() const {
    if (!IsArray()) {
        WrongKind("an array");
    }
    return std::get<Array>(mValue);
}

const JsonValue::Object& JsonValue::AsObject() const {
    if (!IsObject()) {
        WrongKind("an object");
    }
    return std::get<Object>(mValue);
}

const JsonValue* JsonValue::Find(std::string_view key) const {
    for (const auto& [name, value] : AsObject()) {
        if (name == key) {
            return &value;
        }
    }
    return nullptr;
}

void JsonValue::Add(std::string key, JsonValue value) {
    if (IsNull()) {
        mValue = Object();
    }
    if (!IsObject()) {
        WrongKind("an object");
    }
    std::get<Object>(mValue).emplace_back(std::move(key), std::move(value));
}

bool NestsTooDeeply(std::string_view text) {
    int depth = 0;
    bool inString = false;
    bool escaped = false;
    for (const char c : text) {
        if (inString) {
            if (escaped) {
                escaped = false;
            } else if (c == '\\') {
                escaped = true;
            } else if (c == '"') {
                inString = false;
            }
        } else if (c == '"') {
            inString = true;
        } else if (c == '[' || c == '{') {
            if (++depth > kMaximumJsonNesting) {
                return true;
            }
        } else if (c == ']' || c == '}') {
            --depth;
        }
    }
    return false;
}

std::optional<JsonValue> ParseJson(std::string_view text, std::string* error) {
    if (NestsTooDeeply(text)) {
        if (error != nullptr) {
            *error = "JSON nests deeper than " + std::to_string(kMaximumJsonNesting) + " levels";
        }
        return std::nullopt;
    }
    if (HoldsNulByte(text)) {
        if (error != nullptr) {
            *error = "JSON text holds a NUL byte";
        }
        return std::nullopt;
    }
    try {
        return FromNlohmann(Ordered::parse(text.begin(), text.end()));
    } catch (const std::exception& failure) {
        if (error != nullptr) {
            *error = failure.what();
        }
        return std::nullopt;
    }
}

std::string RenderJson(const JsonValue& value) {
    return ToNlohmann(value).dump(-1, ' ', false, Ordered::error_handler_t::replace);
}

} // namespace host
