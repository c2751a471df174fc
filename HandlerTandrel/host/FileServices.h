#pragma once
// Host path operations. Paths use "/" as separator.
#include "host/CoreTypes.h"

namespace host {

// The last component without its extension: "/a/Scene 12.mvproj" gives "Scene 12", and
// "/a/Titles.mvprojd/" gives "Titles" (trailing separators are ignored).
WideString GetFilePart(const WideString& path);
// The last component with its extension: "/a/Scene 12.mvproj" gives "Scene 12.mvproj".
WideString GetFullFilePart(const WideString& path);
// The path without trailing separators; the root "/" stays as it is.
WideString StripTrailingSlash(const WideString& path);

} // namespace host
