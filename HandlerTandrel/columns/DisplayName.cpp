#include "columns/DisplayName.h"

#include "host/FileServices.h"
#include "host/ProjectBackEnd.h"

namespace HandlerTandrel {

host::WideString DisplayNameOf(const host::WideString& path) {
    if (path.empty()) {
        return {};
    }
    if (host::IsMarvaneProjectFile(host::ToUTF8(path))) {
        return host::GetFilePart(path);
    }
    return host::GetFullFilePart(host::StripTrailingSlash(path));
}

namespace {

bool EndsWithNoCase(std::u16string_view name, std::u16string_view ending) {
    if (name.size() < ending.size()) {
        return false;
    }
    const std::u16string_view tail = name.substr(name.size() - ending.size());
    for (std::size_t i = 0; i < ending.size(); ++i) {
        const char16_t c = tail[i];
        const char16_t folded = c >= u'A' && c <= u'Z' ? static_cast<char16_t>(c - u'A' + u'a') : c;
        if (folded != ending[i]) {
            return false;
        }
    }
    return true;
}

} // namespace

std::optional<std::size_t> DisplayNameLength(std::u16string_view name) {
    if (name.empty() || name.find(u'/') != std::u16string_view::npos) {
        return std::nullopt;
    }
    // Without making the UTF-8 path IsMarvaneProjectFile wants: this is asked for every row
    // at every sort by name.
    const bool project = EndsWithNoCase(name, host::kProjectFileExtension16) ||
                         (host::IsFolderProjectFormatEnabled() &&
                          EndsWithNoCase(name, host::kProjectFolderExtension16));
    if (!project) {
        return name.size();
    }
    const std::size_t dot = name.rfind(u'.');
    if (dot == 0 || dot == std::u16string_view::npos) {
        return std::nullopt;
    }
    return dot;
}

} // namespace HandlerTandrel
