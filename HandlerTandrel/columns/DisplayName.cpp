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

} // namespace HandlerTandrel
