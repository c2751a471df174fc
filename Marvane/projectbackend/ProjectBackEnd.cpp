// What modules see of the project back end (host/ProjectBackEnd.h): project files, their
// locks, and the open projects that the documents layer keeps.
#include "host/ProjectBackEnd.h"
#include "host/Localizer.h"

#include "Marvane/core/InstalledSource.h"
#include "Marvane/projectbackend/LockFiles.h"
#include "Marvane/projectbackend/OpenProjectsAccess.h"
#include "Marvane/projectbackend/ProjectFormats.h"

#include <algorithm>
#include <atomic>
#include <cctype>

namespace host {

namespace {

bool EndsWithNoCase(std::string_view text, std::string_view suffix) {
    if (text.size() < suffix.size()) {
        return false;
    }
    return std::equal(suffix.begin(), suffix.end(), text.end() - static_cast<long>(suffix.size()),
                      [](char a, char b) {
                          return std::tolower(static_cast<unsigned char>(a)) ==
                                 std::tolower(static_cast<unsigned char>(b));
                      });
}

InstalledSource<OpenProjectsAccess>& Access() {
    static InstalledSource<OpenProjectsAccess> access;
    return access;
}

std::atomic<bool>& FolderFormatEnabled() {
    static std::atomic<bool> enabled{true};
    return enabled;
}

} // namespace

void SetFolderProjectFormatEnabled(bool enabled) {
    FolderFormatEnabled() = enabled;
}

bool IsFolderProjectFormatEnabled() {
    return FolderFormatEnabled();
}

bool IsFolderFormatProject(const ByteString& utf8Path) {
    std::string_view path(utf8Path);
    while (path.size() > 1 && path.back() == '/') {
        path.remove_suffix(1);
    }
    return FolderFormatEnabled() && EndsWithNoCase(path, kProjectFolderExtension);
}

bool IsMarvaneProjectFile(const ByteString& utf8Path) {
    std::string_view path(utf8Path);
    while (path.size() > 1 && path.back() == '/') {
        path.remove_suffix(1);
    }
    if (EndsWithNoCase(path, kProjectFileExtension)) {
        return true;
    }
    return FolderFormatEnabled() && EndsWithNoCase(path, kProjectFolderExtension);
}

std::filesystem::path ProjectContentFile(const std::filesystem::path& projectPath) {
    std::filesystem::path project = projectPath;
    if (!project.has_filename()) {
        project = project.parent_path();
    }
    if (project.extension() == kProjectFolderExtension) {
        return project / kProjectFolderContentName;
    }
    return project;
}

ProjectLockFilePtr ReadProjectLockFile(const ByteString& projectPath, const ByteString& name,
                                       const ByteString& second) {
    return ReadLockFor(projectPath, name, second);
}

ProjectLockFilePtr CreateProjectLockFile(const ByteString& projectPath, const ByteString& name,
                                         const ByteString& second) {
    return CreateLockFor(projectPath, name, second);
}

ByteString GetLastProjectLockError() {
    return LockCreationError();
}

bool DoesDirectoryContainLockedProjects(const ByteString& folderPath, bool recursive,
                                        bool othersOnly) {
    return FolderHoldsLockedProjects(folderPath, recursive, othersOnly);
}

void SetOpenProjectsAccess(OpenProjectsAccess access) {
    Access().Install([access = std::move(access)] { return access; });
}

ProjectPtr FindOpenProject(const ByteString& projectPath) {
    const OpenProjectsAccess access = Access().Get();
    return access.find ? access.find(projectPath) : nullptr;
}

std::vector<ProjectPtr> GetOpenProjectList() {
    const OpenProjectsAccess access = Access().Get();
    return access.all ? access.all() : std::vector<ProjectPtr>();
}

bool CloseProjects(const std::vector<ProjectPtr>& projects, bool saveWithoutAsking,
                   bool offerApplyToAll) {
    const OpenProjectsAccess access = Access().Get();
    return !access.close || access.close(projects, saveWithoutAsking, offerApplyToAll);
}

ByteString GetAllMvProjectFilterForFileDialog() {
    return Localize("$$$/Marvane/Host/ProjectFilesFilter=Projects") + " (*.mvproj)";
}

bool HasDocumentManager() {
    return static_cast<bool>(Access().Get().find);
}

bool ReloadOpenProject(const ProjectPtr& project, bool reportFailure) {
    const OpenProjectsAccess access = Access().Get();
    return project && access.reload && access.reload(project, reportFailure);
}

bool CloseAllOpenProjects() {
    const OpenProjectsAccess access = Access().Get();
    return !access.closeAll || access.closeAll();
}

bool SaveOpenProject(const ProjectPtr& project) {
    const OpenProjectsAccess access = Access().Get();
    return project && access.save && access.save(project);
}

bool SetOpenProjectReadOnly(const ProjectPtr& project, bool readOnly, bool& needsReload) {
    needsReload = false;
    const OpenProjectsAccess access = Access().Get();
    return project && access.setReadOnly && access.setReadOnly(project, readOnly, needsReload);
}

ByteString CreateNewProjectIn(const ByteString& folderPath) {
    const OpenProjectsAccess access = Access().Get();
    return access.createNew ? access.createNew(folderPath) : ByteString();
}

ProjectPtr GetActiveProject() {
    const OpenProjectsAccess access = Access().Get();
    return access.active ? access.active() : nullptr;
}

void SetActiveProject(const ProjectPtr& project) {
    const OpenProjectsAccess access = Access().Get();
    if (access.makeActive) {
        access.makeActive(project);
    }
}

bool OpenProjectInHost(const ByteString& projectPath, int mode) {
    const OpenProjectsAccess access = Access().Get();
    return access.openInHost && access.openInHost(projectPath, mode);
}

bool GetIsReadOnly(const ProjectPtr& project) {
    return project && project->IsReadOnly();
}

bool IsProjectOutOfDate(const ProjectPtr& project) {
    return project && project->IsOutOfDate();
}

bool CanAddProjectItems(const DraggedProjectItems& items, const ProjectPtr& target) {
    const OpenProjectsAccess access = Access().Get();
    return target && access.canAddItems && access.canAddItems(items, target);
}

bool CopySelection(const DraggedProjectItems& items, const ProjectPtr& target, int moveFlag) {
    const OpenProjectsAccess access = Access().Get();
    return target && access.copyItems && access.copyItems(items, target, moveFlag);
}

} // namespace host
