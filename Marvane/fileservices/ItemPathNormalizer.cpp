// What an item's path is once normalised, its folder normalised once for many items.
#include "host/FileServices.h"

#include <algorithm>
#include <string_view>

namespace host {

namespace {

// Whether the text holds a surrogate code unit: a character outside the basic plane, or a
// byte of a name that is not UTF-8. Such a name is spelled as ToNormalizedPath would spell it.
bool HasSurrogates(std::u16string_view text) {
    return std::any_of(text.begin(), text.end(),
                       [](char16_t unit) { return unit >= 0xD800 && unit <= 0xDFFF; });
}

} // namespace

WideString ItemPathNormalizer::Normalize(const WideString& path) {
    std::u16string_view item(path);
    while (item.size() > 1 && item.back() == u'/') {
        item.remove_suffix(1);
    }
    const std::size_t slash = item.rfind(u'/');
    const std::u16string_view name =
        slash == std::u16string_view::npos ? item : item.substr(slash + 1);
    if (slash == std::u16string_view::npos || name.empty() || name == u"." || name == u"..") {
        return ToNormalizedPath(path); // nothing to share with other items
    }
    WideString folder(slash == 0 ? u"/" : item.substr(0, slash));
    auto found = mFolders.find(folder);
    if (found == mFolders.end()) {
        WideString normal = ToNormalizedPath(folder);
        found = mFolders.emplace(std::move(folder), std::move(normal)).first;
    }
    WideString normal = found->second;
    if (normal.empty() || normal.back() != u'/') {
        normal += u'/';
    }
    if (HasSurrogates(name)) {
        normal += ToUTF16(ToUTF8(WideString(name)));
    } else {
        normal += name;
    }
    return normal;
}

} // namespace host
