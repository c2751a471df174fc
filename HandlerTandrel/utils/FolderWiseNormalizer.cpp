#include "utils/FolderWiseNormalizer.h"

#include "host/FileServices.h"

#include <string_view>

namespace HandlerTandrel::Utils {

host::WideString FolderWiseNormalizer::Normalize(const host::WideString& path) {
    std::u16string_view item(path);
    while (item.size() > 1 && item.back() == u'/') {
        item.remove_suffix(1);
    }
    const std::size_t slash = item.rfind(u'/');
    const std::u16string_view name =
        slash == std::u16string_view::npos ? item : item.substr(slash + 1);
    if (slash == std::u16string_view::npos || name.empty() || name == u"." || name == u"..") {
        return host::ToNormalizedPath(path); // nothing to share with other items
    }
    host::WideString folder(slash == 0 ? u"/" : item.substr(0, slash));
    auto found = mFolders.find(folder);
    if (found == mFolders.end()) {
        host::WideString normal = host::ToNormalizedPath(folder);
        found = mFolders.emplace(std::move(folder), std::move(normal)).first;
    }
    host::WideString normal = found->second;
    if (normal.empty() || normal.back() != u'/') {
        normal += u'/';
    }
    normal += name;
    return normal;
}

bool FolderWiseNormalizer::IsWithin(const host::WideString& path, const host::WideString& folder) {
    if (path.empty() || folder.empty() || path.size() < folder.size() ||
        path.compare(0, folder.size(), folder) != 0) {
        return false;
    }
    return path.size() == folder.size() || folder.back() == u'/' || path[folder.size()] == u'/';
}

} // namespace HandlerTandrel::Utils
