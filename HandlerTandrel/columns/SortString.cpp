#include "columns/SortString.h"

#include "host/ApplicationLayer.h"
#include "host/Profiler.h"
#include "host/TextCompare.h"

namespace HandlerTandrel::Columns {

namespace {

const host::WideString& TrashDisplayName() {
    static const host::WideString name = host::GetMvProductionTrashDirectoryDisplayName();
    return name;
}

char16_t FoldAscii(char16_t c) {
    return (c >= u'A' && c <= u'Z') ? static_cast<char16_t>(c - u'A' + u'a') : c;
}

// A length check first, so that the common case costs one comparison.
bool IsTrashName(std::u16string_view key, std::u16string_view trash) {
    if (key.size() != trash.size()) {
        return false;
    }
    for (std::size_t i = 0; i < key.size(); ++i) {
        if (FoldAscii(key[i]) != FoldAscii(trash[i])) {
            return false;
        }
    }
    return true;
}

} // namespace

bool SortStringIsLess(std::u16string_view a, std::u16string_view b) {
    const host::ScopedTimer timer("HandlerTandrel::Columns::SortStringIsLess()");
    const host::WideString& trash = TrashDisplayName();
    if (IsTrashName(a, trash)) {
        return false;
    }
    if (IsTrashName(b, trash)) {
        return true;
    }
    return host::CompareNaturalNoCase(a, b) < 0;
}

} // namespace HandlerTandrel::Columns
