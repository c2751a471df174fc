#include "directoryview/RowFilter.h"

#include "host/ApplicationLayer.h"
#include "host/ProjectBackEnd.h"

namespace HandlerTandrel {

bool IsFolderListed(const host::ByteString& folderPath) {
    return !host::IsPathExcludedFromMvProduction(host::ToUTF16(folderPath)) &&
           !(host::IsFolderProjectFormatEnabled() && host::IsFolderFormatProject(folderPath));
}

bool IsEntryShown(const host::DirectoryEntry& entry) {
    const host::WideString& path = host::EntryPath(entry);
    const bool project = host::ProductionSupportsMarvaneProjectFile(path);
    const bool folder =
        !project && host::EntryIsDirectory(entry) && !host::IsPathExcludedFromMvProduction(path);
    return project || folder;
}

host::DirectoryContent ShownEntries(const host::DirectoryContent& content) {
    host::DirectoryContent kept;
    for (const host::DirectoryEntry& entry : content) {
        if (IsEntryShown(entry)) {
            kept.push_back(entry);
        }
    }
    return kept;
}

bool CanRowOpen(const host::DirectoryEntry& entry) {
    return host::EntryIsDirectory(entry) &&
           !host::ProductionSupportsMarvaneProjectFile(host::EntryPath(entry));
}

} // namespace HandlerTandrel
