// The open projects as modules see them (host/OpenProjects.h): the document manager's, asked
// directly.
#include "host/OpenProjects.h"

#include "Marvane/documents/BackgroundOpening.h"
#include "Marvane/documents/DocumentManager.h"
#include "Marvane/documents/PersonQuestions.h"
#include "Marvane/documents/ProjectItemsTransfer.h"
#include "Marvane/projectbackend/ProjectFormats.h"
#include "host/FileServices.h"
#include "host/Localizer.h"

#include <algorithm>
#include <optional>
#include <string_view>

namespace host {

namespace {

OpenProjectPtr AsOpen(const ProjectPtr& project) {
    return std::dynamic_pointer_cast<OpenProject>(project);
}

} // namespace

ProjectPtr FindOpenProject(const ByteString& projectPath) {
    return DocumentManager::Instance().Find(projectPath);
}

std::vector<ProjectPtr> GetOpenProjectList() {
    const auto& all = DocumentManager::Instance().GetAll();
    return std::vector<ProjectPtr>(all.begin(), all.end());
}

bool CloseProjects(const std::vector<ProjectPtr>& projects, bool saveWithoutAsking,
                   bool offerApplyToAll) {
    std::vector<OpenProjectPtr> open;
    for (const ProjectPtr& project : projects) {
        if (OpenProjectPtr known = AsOpen(project)) {
            open.push_back(std::move(known));
        }
    }
    return DocumentManager::Instance().Close(open, saveWithoutAsking, offerApplyToAll);
}

bool GetIsReadOnly(const ProjectPtr& project) {
    return project && project->IsReadOnly();
}

bool IsProjectOutOfDate(const ProjectPtr& project) {
    return project && project->IsOutOfDate();
}

bool OpenProjectInHost(const ByteString& projectPath, int mode) {
    return OpenInBackgroundOrReport(
        projectPath, mode == kOpenModeAlternative ? OpenMode::ReadOnly : OpenMode::Normal,
        Localize("$$$/Marvane/Host/OpenFailed=Cannot Open Project"), Telling::kFailure);
}

bool HasDocumentManager() {
    return true;
}

bool ReloadOpenProject(const ProjectPtr& project, bool reportFailure) {
    const OpenProjectPtr open = AsOpen(project);
    std::string error;
    if (!open || DocumentManager::Instance().Reload(open, error)) {
        return static_cast<bool>(open);
    }
    if (reportFailure) {
        AskPerson(Localize("$$$/Marvane/Host/ReloadFailed=Cannot Reload Project"), error, {},
                  Telling::kFailure, 0);
    }
    return false;
}

bool CloseAllOpenProjects() {
    return DocumentManager::Instance().CloseAll();
}

bool SaveOpenProject(const ProjectPtr& project) {
    const OpenProjectPtr open = AsOpen(project);
    std::string error;
    if (!open || DocumentManager::Instance().Save(open, error)) {
        return static_cast<bool>(open);
    }
    AskPerson(Localize("$$$/Marvane/Host/SaveFailed=Cannot Save Project"), error, {},
              Telling::kFailure, 0);
    return false;
}

bool SetOpenProjectReadOnly(const ProjectPtr& project, bool readOnly, bool& needsReload) {
    needsReload = false;
    const OpenProjectPtr open = AsOpen(project);
    if (!open) {
        return false;
    }
    const ReadOnlyResult result = DocumentManager::Instance().SetReadOnly(open, readOnly);
    needsReload = result.needsReload;
    if (!result.error.empty()) {
        AskPerson(Localize("$$$/Marvane/Host/ReadOnlyFailed=Cannot Change the Project's Mode"),
                  result.error, {}, Telling::kWarning, 0);
    }
    return result.changed;
}

namespace {

// What the person typed, without the project file's extension if they typed it too.
ByteString WithoutProjectExtension(ByteString name) {
    const std::string_view extension = kProjectFileExtension;
    if (name.size() > extension.size() &&
        std::equal(extension.begin(), extension.end(),
                   name.begin() + static_cast<std::ptrdiff_t>(name.size() - extension.size()),
                   [](char wanted, char typed) {
                       return wanted == (typed >= 'A' && typed <= 'Z' ? typed - 'A' + 'a' : typed);
                   })) {
        name.resize(name.size() - extension.size());
    }
    return name;
}

} // namespace

ByteString CreateNewProjectIn(const ByteString& folderPath) {
    const ByteString title = Localize("$$$/Marvane/Host/NewProject/Title=New Project");
    const ByteString label = Localize("$$$/Marvane/Host/NewProject/Label=Name of the new project:");
    ByteString name = DocumentManager::OfferedNewProjectName(folderPath);
    while (const std::optional<ByteString> entered = AskPersonForText(title, label, name)) {
        name = WithoutProjectExtension(*entered);
        if (name.empty()) {
            continue; // nothing typed: asked again
        }
        if (!IsValidFileName(ToUTF16(name + ByteString(kProjectFileExtension)))) {
            AskPerson(Localize("$$$/Marvane/Host/NewProject/InvalidTitle=Invalid Name"),
                      Localize("$$$/Marvane/Host/NewProject/Invalid=A project's name cannot be "
                               "empty or hold any of these characters:\n@0",
                               {ToUTF8(GetIllegalFilenameCharacters())}),
                      {}, Telling::kWarning, 0);
            continue;
        }
        const OpenResult result = DocumentManager::Instance().CreateNewProject(folderPath, name);
        if (result.nameTaken) {
            AskPerson(Localize("$$$/Marvane/Host/NewProject/TakenTitle=Name Taken"), result.error,
                      {}, Telling::kWarning, 0);
            continue; // asked again with the same name, to be changed
        }
        if (!result.project) {
            AskPerson(Localize("$$$/Marvane/Host/NewProjectFailed=Cannot Make a New Project"),
                      result.error, {}, Telling::kFailure, 0);
            return ByteString();
        }
        return result.project->GetPath();
    }
    return ByteString(); // cancelled: nothing made
}

ProjectPtr GetActiveProject() {
    return DocumentManager::Instance().GetActive();
}

void SetActiveProject(const ProjectPtr& project) {
    DocumentManager::Instance().SetActive(AsOpen(project));
}

bool CanAddProjectItems(const DraggedProjectItems& items, const ProjectPtr& target) {
    const OpenProjectPtr open = AsOpen(target);
    const OpenProjectPtr source = DocumentManager::Instance().Find(items.projectPath);
    return open && CanReceiveItems(*open, source.get());
}

bool CopySelection(const DraggedProjectItems& items, const ProjectPtr& target,
                   ItemsLeaveTheirProject leave) {
    const OpenProjectPtr open = AsOpen(target);
    if (!open) {
        return false;
    }
    const OpenProjectPtr source = DocumentManager::Instance().Find(items.projectPath);
    return TransferItems(*open, source.get(), {items.bins, items.sequences},
                         leave == ItemsLeaveTheirProject::kYes);
}

} // namespace host
