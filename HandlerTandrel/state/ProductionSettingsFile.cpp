#include "state/ProductionSettingsFile.h"

#include <cmath>
#include <limits>

namespace HandlerTandrel {

namespace {

using host::JsonValue;

const JsonValue& Require(const JsonValue& record, const char* key, const char* recordType) {
    const JsonValue* value = record.Find(key);
    if (value == nullptr) {
        throw host::MissingKeyException(key, recordType);
    }
    return *value;
}

// A JSON boolean; an integer (non-zero is true); or the text "true" or "false".
bool LenientBool(const JsonValue& value) {
    if (value.IsBool()) {
        return value.AsBool();
    }
    if (value.IsSigned()) {
        return value.AsSigned() != 0;
    }
    if (value.IsUnsigned()) {
        return value.AsUnsigned() != 0;
    }
    if (value.IsString() && value.AsString() == "true") {
        return true;
    }
    if (value.IsString() && value.AsString() == "false") {
        return false;
    }
    throw host::JsonTypeError("not a boolean");
}

// A finite number that fits a float (widths), or any finite double (the zoom).
double FiniteNumber(const JsonValue& value, double largest) {
    const double number = value.AsDouble();
    if (!std::isfinite(number) || std::fabs(number) > largest) {
        throw host::JsonTypeError("number out of range");
    }
    return number;
}

// What is written is always readable again: no infinities or NaN.
double Writable(double number) {
    return std::isfinite(number) ? number : 0.0;
}

std::uint32_t UnsignedId(const JsonValue& value) {
    if (!value.IsInteger()) {
        throw host::JsonTypeError("not an integer");
    }
    const std::uint64_t id = value.AsUnsigned();
    if (id > std::numeric_limits<std::uint32_t>::max()) {
        throw host::JsonTypeError("id out of range");
    }
    return static_cast<std::uint32_t>(id);
}

std::int32_t Int32(const JsonValue& value) {
    if (!value.IsInteger()) {
        throw host::JsonTypeError("not an integer");
    }
    const std::int64_t number = value.AsSigned();
    if (number < std::numeric_limits<std::int32_t>::min() ||
        number > std::numeric_limits<std::int32_t>::max()) {
        throw host::JsonTypeError("integer out of range");
    }
    return static_cast<std::int32_t>(number);
}

JsonValue Paths(const std::vector<host::WideString>& paths) {
    JsonValue::Array array;
    array.reserve(paths.size());
    for (const host::WideString& path : paths) {
        array.emplace_back(host::ToUTF8(path));
    }
    return JsonValue(std::move(array));
}

std::vector<host::WideString> DecodePaths(const JsonValue& value) {
    std::vector<host::WideString> paths;
    for (const JsonValue& item : value.AsArray()) {
        paths.push_back(host::ToUTF16(item.AsString()));
    }
    return paths;
}

JsonValue Point(std::int32_t x, std::int32_t y) {
    JsonValue point;
    point.Add("x", JsonValue(static_cast<std::int64_t>(x)));
    point.Add("y", JsonValue(static_cast<std::int64_t>(y)));
    return point;
}

JsonValue EncodeHeaderRow(const Columns::HeaderRowData& header) {
    JsonValue::Array columns;
    for (const Columns::ColumnData& column : header.mColumnDataList) {
        JsonValue item;
        item.Add("mColumnID", JsonValue(static_cast<std::uint64_t>(column.mColumnID)));
        item.Add("mWidth", JsonValue(Writable(static_cast<double>(column.mWidth))));
        columns.push_back(std::move(item));
    }
    JsonValue value;
    value.Add("mColumnDataList", JsonValue(std::move(columns)));
    value.Add("mSortColumnID", JsonValue(static_cast<std::uint64_t>(header.mSortColumnID)));
    value.Add("mSortAscending", JsonValue(header.mSortAscending));
    return value;
}

Columns::HeaderRowData DecodeHeaderRow(const JsonValue& value) {
    constexpr const char* kType = "HandlerTandrel::Columns::HeaderRowData";
    Columns::HeaderRowData header;
    for (const JsonValue& item : Require(value, "mColumnDataList", kType).AsArray()) {
        constexpr const char* kColumnType = "HandlerTandrel::Columns::ColumnData";
        Columns::ColumnData column;
        column.mColumnID = UnsignedId(Require(item, "mColumnID", kColumnType));
        column.mWidth = static_cast<float>(
            FiniteNumber(Require(item, "mWidth", kColumnType), std::numeric_limits<float>::max()));
        header.mColumnDataList.push_back(column);
    }
    header.mSortColumnID = UnsignedId(Require(value, "mSortColumnID", kType));
    header.mSortAscending = LenientBool(Require(value, "mSortAscending", kType));
    return header;
}

JsonValue EncodeState(const TabViewStateData& state) {
    const DirectoryViewStateData& tree = state.mDirectoryViewData;
    JsonValue directory;
    directory.Add("mOpenFolderPaths", Paths(tree.mOpenFolderPaths));
    directory.Add("mSelectedRowPaths", Paths(tree.mSelectedRowPaths));
    directory.Add("mHeaderRowData", EncodeHeaderRow(tree.mHeaderRowData));
    directory.Add("mTopVisibleRowPath", JsonValue(host::ToUTF8(tree.mTopVisibleRowPath)));
    const WindowRect& rect = state.mFloatingWindowGlobalRect;
    JsonValue floating;
    floating.Add("topleft", Point(rect.left, rect.top));
    floating.Add("size", Point(rect.width, rect.height));
    JsonValue value;
    value.Add("mDirectoryViewData", std::move(directory));
    value.Add("mZoom", JsonValue(Writable(state.mZoom)));
    value.Add("mDockedInMainWindow", JsonValue(state.mDockedInMainWindow));
    value.Add("mFloatingWindowGlobalRect", std::move(floating));
    value.Add("mSearchText", JsonValue(host::ToUTF8(state.mSearchText)));
    return value;
}

TabViewStateData DecodeState(const JsonValue& value) {
    constexpr const char* kType = "HandlerTandrel::TandrelTabView::StateData";
    constexpr const char* kTreeType = "HandlerTandrel::TandrelDirectoryView::StateData";
    TabViewStateData state;
    const JsonValue& tree = Require(value, "mDirectoryViewData", kType);
    state.mDirectoryViewData.mOpenFolderPaths =
        DecodePaths(Require(tree, "mOpenFolderPaths", kTreeType));
    state.mDirectoryViewData.mSelectedRowPaths =
        DecodePaths(Require(tree, "mSelectedRowPaths", kTreeType));
    state.mDirectoryViewData.mHeaderRowData =
        DecodeHeaderRow(Require(tree, "mHeaderRowData", kTreeType));
    state.mDirectoryViewData.mTopVisibleRowPath =
        host::ToUTF16(Require(tree, "mTopVisibleRowPath", kTreeType).AsString());
    state.mZoom = FiniteNumber(Require(value, "mZoom", kType), std::numeric_limits<double>::max());
    state.mDockedInMainWindow = LenientBool(Require(value, "mDockedInMainWindow", kType));
    const JsonValue& rect = Require(value, "mFloatingWindowGlobalRect", kType);
    constexpr const char* kRectType = "mFloatingWindowGlobalRect";
    const JsonValue& topLeft = Require(rect, "topleft", kRectType);
    const JsonValue& size = Require(rect, "size", kRectType);
    state.mFloatingWindowGlobalRect.left = Int32(Require(topLeft, "x", "topleft"));
    state.mFloatingWindowGlobalRect.top = Int32(Require(topLeft, "y", "topleft"));
    state.mFloatingWindowGlobalRect.width = Int32(Require(size, "x", "size"));
    state.mFloatingWindowGlobalRect.height = Int32(Require(size, "y", "size"));
    state.mSearchText = host::ToUTF16(Require(value, "mSearchText", kType).AsString());
    return state;
}

} // namespace

JsonValue EncodeProductionSettings(const StateMap& states) {
    JsonValue root = JsonValue(JsonValue::Object());
    for (const auto& [path, state] : states) {
        root.Add(host::ToUTF8(path), EncodeState(state));
    }
    return root;
}

StateMap DecodeProductionSettings(const JsonValue& root) {
    StateMap states;
    for (const auto& [path, value] : root.AsObject()) {
        states[host::ToUTF16(path)] = DecodeState(value);
    }
    return states;
}

std::string SettingsTextFromBytes(const std::string& bytes) {
    if (bytes.size() > 2 && bytes[0] == '{' && bytes[1] == '\0') {
        host::WideString text;
        text.reserve(bytes.size() / 2);
        for (std::size_t i = 0; i + 1 < bytes.size(); i += 2) {
            text.push_back(static_cast<char16_t>(static_cast<unsigned char>(bytes[i]) |
                                                 (static_cast<unsigned char>(bytes[i + 1]) << 8)));
        }
        return host::ToUTF8(text);
    }
    return bytes;
}

} // namespace HandlerTandrel
