#pragma once
// Host path operations. Paths use "/" as separator.
#include "host/CoreTypes.h"

#include <cstdint>
#include <string_view>

namespace host {

// The last component without its extension: "/a/Scene 12.mvproj" gives "Scene 12", and
// "/a/Titles.mvprojd/" gives "Titles" (trailing separators are ignored).
WideString GetFilePart(const WideString& path);
// The last component with its extension: "/a/Scene 12.mvproj" gives "Scene 12.mvproj".
WideString GetFullFilePart(const WideString& path);
// The path without trailing separators; the root "/" stays as it is.
WideString StripTrailingSlash(const WideString& path);

// One spelling for every way of writing the path of one file or folder: made absolute,
// repeated separators collapsed, "." and ".." resolved, no trailing separator, and symbolic
// links resolved for the part of the path that exists.
WideString ToNormalizedPath(const WideString& path);

// A folder of the host by name, ending in a separator: "user.profile" is the user's profile
// folder. Empty for an unknown name.
WideString GetDirectory(std::string_view name);

// What the file system says of a file or folder. Times are 100-nanosecond ticks since
// 1970-01-01 UTC; a file system that keeps no creation time reports the last status change.
class FileInfo {
public:
    explicit FileInfo(const WideString& path);
    bool Exists() const { return mExists; }
    std::int64_t Modified() const { return mModified; }
    std::int64_t Created() const { return mCreated; }
    std::uint64_t Size() const { return mSize; }

private:
    bool mExists = false;
    std::int64_t mModified = 0;
    std::int64_t mCreated = 0;
    std::uint64_t mSize = 0;
};

// Reads a whole file; false when it cannot be opened or read completely.
bool ReadWholeFile(const WideString& path, std::string& bytes);
// Replaces a file's content in one step (written beside it, then renamed over it): a failure
// leaves the old content.
bool ReplaceWholeFile(const WideString& path, const std::string& bytes);

} // namespace host
