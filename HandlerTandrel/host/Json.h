#pragma once
// JSON values, and the host's parser and writer for them. Objects keep their members in the
// order they were added or read; integers, unsigned integers, doubles, booleans and strings
// stay distinct kinds.
#include "host/CoreTypes.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

namespace host {

class JsonValue {
public:
    using Array = std::vector<JsonValue>;
    using Object = std::vector<std::pair<std::string, JsonValue>>;

    JsonValue() = default; // null
    JsonValue(bool value) : mValue(value) {}
    JsonValue(std::int64_t value) : mValue(value) {}
    JsonValue(std::uint64_t value) : mValue(value) {}
    JsonValue(double value) : mValue(value) {}
    JsonValue(std::string value) : mValue(std::move(value)) {}
    JsonValue(Array value) : mValue(std::move(value)) {}
    JsonValue(Object value) : mValue(std::move(value)) {}

    bool IsNull() const { return std::holds_alternative<std::monostate>(mValue); }
    bool IsBool() const { return std::holds_alternative<bool>(mValue); }
    bool IsSigned() const { return std::holds_alternative<std::int64_t>(mValue); }
    bool IsUnsigned() const { return std::holds_alternative<std::uint64_t>(mValue); }
    bool IsInteger() const { return IsSigned() || IsUnsigned(); }
    bool IsDouble() const { return std::holds_alternative<double>(mValue); }
    bool IsNumber() const { return IsInteger() || IsDouble(); }
    bool IsString() const { return std::holds_alternative<std::string>(mValue); }
    bool IsArray() const { return std::holds_alternative<Array>(mValue); }
    bool IsObject() const { return std::holds_alternative<Object>(mValue); }

    // Each accessor throws JsonTypeError when the value is of another kind.
    bool AsBool() const;
    std::int64_t AsSigned() const;    // either integer kind, when it fits
    std::uint64_t AsUnsigned() const; // either integer kind, when it is not negative
    double AsDouble() const;          // any number
    const std::string& AsString() const;
    const Array& AsArray() const;
    const Object& AsObject() const;

    // The member of an object, or null when the object has none.
    const JsonValue* Find(std::string_view key) const;
    // Appends a member to an object (a null value becomes an empty object first).
    void Add(std::string key, JsonValue value);

private:
    std::variant<std::monostate, bool, std::int64_t, std::uint64_t, double, std::string, Array,
                 Object>
        mValue;
};

class JsonTypeError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// A record lacks a member it must have.
class MissingKeyException : public std::runtime_error {
public:
    MissingKeyException(std::string key, std::string recordType)
        : std::runtime_error("missing key \"" + key + "\" in " + recordType), mKey(std::move(key)),
          mRecordType(std::move(recordType)) {}
    const std::string& GetKey() const { return mKey; }
    const std::string& GetRecordType() const { return mRecordType; }

private:
    std::string mKey;
    std::string mRecordType;
};

// Parses UTF-8 JSON text; nothing (and the reason in error) when it is not valid JSON.
std::optional<JsonValue> ParseJson(std::string_view text, std::string* error = nullptr);
// Renders compact UTF-8 JSON: no blanks, members in their order.
std::string RenderJson(const JsonValue& value);

} // namespace host
