// What modules see of the project back end (host/ProjectBackEnd.h): project files and their
// locks.
#include "host/ProjectBackEnd.h"
#include "host/Localizer.h"

#include "Marvane/projectbackend/LockFiles.h"
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

ByteString GetAllMvProjectFilterForFileDialog() {
    return Localize("$$$/Marvane/Host/ProjectFilesFilter=Projects") + " (*.mvproj)";
}

} // namespace host
