// Custom drag-and-drop data types (host/DataTransfer.h).
#include "host/DataTransfer.h"

#include <set>

namespace host {

namespace {

std::set<ByteString>& CustomDataTypes() {
    static std::set<ByteString> types;
    return types;
}

} // namespace

void RegisterCustomDataType(const ByteString& typeName) {
    CustomDataTypes().insert(typeName);
}

bool IsCustomDataTypeRegistered(const ByteString& typeName) {
    return CustomDataTypes().count(typeName) != 0;
}

} // namespace host
