// What modules see of the application layer: the open production, the open projects and
// the locking identity.
#include "host/ApplicationLayer.h"

#include "Marvane/application/HostSession.h"
#include "Marvane/application/OrganisingHistory.h"
#include "Marvane/application/ProductionSession.h"
#include "Marvane/application/ProjectImport.h"
#include "Marvane/documents/DocumentManager.h"
#include "Marvane/projectbackend/LockFiles.h"
#include "host/FileServices.h"
#include "host/ProjectBackEnd.h"

namespace host {

bool IsTandrelManagerActive() {
    return ProductionSession::Instance().IsOpen();
}

WideString GetTandrelManagerFolderPath() {
    return ToUTF16(ProductionSession::Instance().GetFolder().string());
}

WideString GetMvProductionTrashDirectoryDisplayName() {
    return u"Trash";
}

WideString GetMvProductionTrashDirectoryPath() {
    if (!ProductionSession::Instance().IsOpen()) {
        return {};
    }
    return ToUTF16((ProductionSession::Instance().GetFolder() / "Trash").string());
}

bool IsTheMvProductionTrashDirectory(const WideString& path) {
    const WideString trash = GetMvProductionTrashDirectoryPath();
    return !trash.empty() && ToNormalizedPath(path) == ToNormalizedPath(trash);
}

bool IsInMvProductionTrash(const WideString& path, bool includeTrashItself) {
    const WideString trash = GetMvProductionTrashDirectoryPath();
    return !trash.empty() && IsPathWithinDirectory(path, trash, includeTrashItself);
}

bool IsPathExcludedFromMvProduction(const WideString& path) {
    const WideString name = GetPathFileName(path);
    // A lock is the host's own, whatever stands under its name (even a folder).
    if (!name.empty() && name.back() == u'k' && IsProjectLockFileName(ToUTF8(name))) {
        return true;
    }
    if (name.empty() || name.front() != u'.') {
        return false;
    }
    // The production folder itself is never left out, whatever its name.
    return !IsTandrelManagerActive() ||
           ToNormalizedPath(path) != ToNormalizedPath(GetTandrelManagerFolderPath());
}

bool ProductionSupportsMarvaneProjectFile(const WideString& path) {
    return IsMarvaneProjectFile(ToUTF8(path));
}

std::size_t OpenProjectCount() {
    return DocumentManager::Instance().GetAll().size();
}

bool GetProjectLockingPrefs(ByteString& name, ByteString& second) {
    const LockingPreferences locking = HostSession::Instance().GetLocking();
    name = locking.name;
    second = locking.second;
    return locking.enabled;
}

bool IsWithinCurrentMvProductionFolder(const WideString& path) {
    return ProductionSession::Instance().IsOpen() &&
           IsPathWithinDirectory(path, GetTandrelManagerFolderPath(), true);
}

WideString GetMvProductionItemCopyPath(const WideString& path,
                                       const std::vector<WideString>& reserved) {
    return MakeUniqueFilename(path, 1, u"_", reserved);
}

void AddProjectsToMvProduction(const std::vector<WideString>& projectPaths,
                               const WideString& destinationFolder) {
    std::vector<std::filesystem::path> projects;
    for (const WideString& path : projectPaths) {
        projects.emplace_back(ToUTF8(StripTrailingSlash(path)));
    }
    ProjectImport::Instance().Add(projects, std::filesystem::path(ToUTF8(destinationFolder)));
}

void AddProjectsToMvProduction(const std::vector<WideString>& projectPaths,
                               const WideString& destinationFolder,
                               const WideString& sourceFolder) {
    const std::filesystem::path source(ToUTF8(StripTrailingSlash(sourceFolder)));
    const std::filesystem::path destination(ToUTF8(StripTrailingSlash(destinationFolder)));
    for (const WideString& path : projectPaths) {
        const std::filesystem::path project(ToUTF8(StripTrailingSlash(path)));
        const std::filesystem::path place = project.parent_path().lexically_relative(source);
        const bool inside = !place.empty() && *place.begin() != "..";
        ProjectImport::Instance().Add({project}, inside && place != "."
                                                     ? (destination / place).lexically_normal()
                                                     : destination);
    }
}

void AddProjectToMvProduction(const WideString& projectPath, const WideString& destinationPath) {
    ProjectImport::Instance().AddAs(std::filesystem::path(ToUTF8(StripTrailingSlash(projectPath))),
                                    std::filesystem::path(ToUTF8(destinationPath)));
}

void RecordOrganisingStep(const OrganisingStep& step) {
    OrganisingHistory::Instance().Record(step, ProductionSession::Instance().GetFolder());
}

} // namespace host
