#include "utils/OpenProjects.h"

#include "host/ApplicationLayer.h"
#include "host/FileServices.h"

#include <algorithm>

namespace HandlerTandrel::Utils {

namespace {

void AddIfOpen(const host::WideString& path, std::vector<host::ProjectPtr>& found) {
    host::ProjectPtr project = host::FindOpenProject(host::ToUTF8(path));
    if (project && std::find(found.begin(), found.end(), project) == found.end()) {
        found.push_back(std::move(project));
    }
}

} // namespace

std::vector<host::ProjectPtr> CollectOpenProjects(const std::vector<host::WideString>& paths) {
    std::vector<host::ProjectPtr> found;
    if (host::GetOpenProjectList().empty()) {
        return found; // nothing to look for: folders are not searched
    }
    for (const host::WideString& path : paths) {
        if (host::ProductionSupportsMarvaneProjectFile(path)) {
            AddIfOpen(path, found);
        } else if (host::DirectoryExists(path)) {
            // Project folders are folders: everything below is looked up, files and folders.
            for (const host::WideString& inside :
                 host::FindFilesOrDirectories(path, true, host::FindFilter::FilesAndDirectories)) {
                if (host::ProductionSupportsMarvaneProjectFile(inside)) {
                    AddIfOpen(inside, found);
                }
            }
        }
    }
    return found;
}

bool CloseProjects(const std::vector<host::ProjectPtr>& projects, UnsavedChanges changes,
                   ApplyToAll applyToAll) {
    return host::CloseProjects(projects, changes == UnsavedChanges::kSaveWithoutAsking,
                               applyToAll == ApplyToAll::kOffer);
}

bool CloseProjectsIn(const std::vector<host::WideString>& paths, UnsavedChanges changes,
                     ApplyToAll applyToAll) {
    const std::vector<host::ProjectPtr> inside = CollectOpenProjects(paths);
    return inside.empty() || CloseProjects(inside, changes, applyToAll);
}

bool CloseProjectsNotIn(const std::vector<host::WideString>& paths, UnsavedChanges changes,
                        ApplyToAll applyToAll) {
    const std::vector<host::ProjectPtr> inside = CollectOpenProjects(paths);
    std::vector<host::ProjectPtr> others;
    for (const host::ProjectPtr& project : host::GetOpenProjectList()) {
        if (std::find(inside.begin(), inside.end(), project) == inside.end()) {
            others.push_back(project);
        }
    }
    return others.empty() || CloseProjects(others, changes, applyToAll);
}

} // namespace HandlerTandrel::Utils
