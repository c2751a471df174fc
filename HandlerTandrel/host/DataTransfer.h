#pragma once
// Custom drag-and-drop data types. A registered type name is the mime type under which
// a drag carries its data. Main thread only.
#include "host/CoreTypes.h"

namespace host {

void RegisterCustomDataType(const ByteString& typeName);
bool IsCustomDataTypeRegistered(const ByteString& typeName);

} // namespace host
