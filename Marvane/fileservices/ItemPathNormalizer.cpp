// What an item's path is once normalised, its folder normalised once for many items.
#include "host/FileServices.h"

#include <string_view>

namespace host {

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
    normal += name;
    return normal;
}

} // namespace host
