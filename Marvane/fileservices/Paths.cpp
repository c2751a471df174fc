#include "host/FileServices.h"

namespace host {

namespace {
constexpr char16_t kSeparator = u'/';
} // namespace

WideString StripTrailingSlash(const WideString& path) {
    std::size_t end = path.size();
    while (end > 1 && path[end - 1] == kSeparator) {
        --end;
    }
    return path.substr(0, end);
}

WideString GetFullFilePart(const WideString& path) {
    const std::size_t slash = path.rfind(kSeparator);
    return slash == WideString::npos ? path : path.substr(slash + 1);
}

WideString GetFilePart(const WideString& path) {
    const WideString name = GetFullFilePart(StripTrailingSlash(path));
    const std::size_t dot = name.rfind(u'.');
    if (dot == WideString::npos || dot == 0) {
        return name;
    }
    return name.substr(0, dot);
}

} // namespace host
