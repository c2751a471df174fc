// The panel's commands that make folders and projects and change how open projects are held:
// New Folder, New Project, Add Project, Make a Copy, the read-only toggle, Refresh All and
// Save All.
#include "panel/CommandRules.h"
#include "panel/TandrelTabView.h"

#include "directoryview/TandrelDirectoryView.h"
#include "host/ApplicationLayer.h"
#include "host/ExceptionLog.h"
#include "host/FileServices.h"
#include "host/Localizer.h"
#include "host/OpenProjects.h"
#include "host/ProjectBackEnd.h"
#include "host/UIFramework.h"
#include "utils/AddProjects.h"
#include "utils/CopyFiles.h"
#include "utils/ProductionItems.h"

#include <algorithm>
#include <string>
#include <string_view>

namespace HandlerTandrel {

namespace {

constexpr std::string_view kNewFolderTitleKey =
    "$$$/Marvane/Handlers/MvProductionFolder/NameFolderDialog/Title=New Folder";
constexpr std::string_view kUntitledKey =
    "$$$/Marvane/Handlers/MvProductionFolder/Untitled=Untitled";
constexpr std::string_view kNameLabelKey =
    "$$$/Marvane/Handlers/MvProduction/NameItemDialog/TextBoxLabel=Name";
constexpr std::string_view kInvalidNameTitleKey =
    "$$$/Marvane/Handlers/MvProduction/NameItemDialog/InvalidNameWarning/Title=Invalid Name";
constexpr std::string_view kInvalidNameMessageKey =
    "$$$/Marvane/Handlers/MvProduction/NameItemDialog/InvalidNameWarning/MessageWithParam=A "
    "valid name cannot be empty and cannot contain any of the following characters:\n@0";
constexpr std::string_view kFolderExistsTitleKey =
    "$$$/Marvane/Handlers/MvProductionFolder/MessageBox/DirectoryExistsTitle=Directory Exists";
constexpr std::string_view kFolderExistsMessageKey =
    "$$$/Marvane/Handlers/MvProductionFolder/MessageBox/DirectoryExistsMessage=Directory "
    "already exists";

constexpr std::string_view kAddProjectTitleKey =
    "$$$/Marvane/Handlers/MvProductionFolder/AddProject=Add Project";
constexpr std::string_view kCopyTooDeepTitleKey =
    "$$$/Marvane/Handlers/MvProductionFolder/CopyTooDeep/Title=Cannot Make a Copy";
constexpr std::string_view kCopyTooDeepMessageKey =
    "$$$/Marvane/Handlers/MvProductionFolder/CopyTooDeep/Message=\"@0\" was not copied: it "
    "holds items nested so deep that a copy of them would have a path of @1 bytes, longer than "
    "the @2 this system takes. Nothing was copied.";

// The longest path (UTF-8 bytes) an item of the folder would have in its copy.
std::size_t DeepestCopiedPathBytes(const host::WideString& folder, const host::WideString& copy) {
    const std::size_t folderBytes = host::ToUTF8(host::StripTrailingSlash(folder)).size();
    const std::size_t copyBytes = host::ToUTF8(host::StripTrailingSlash(copy)).size();
    std::size_t deepest = copyBytes;
    for (const host::WideString& found :
         host::FindFilesOrDirectories(folder, true, host::FindFilter::FilesAndDirectories)) {
        const std::size_t bytes = host::ToUTF8(found).size();
        if (bytes > folderBytes) {
            deepest = std::max(deepest, copyBytes + (bytes - folderBytes));
        }
    }
    return deepest;
}

host::WideString WithTrailingSlash(host::WideString path) {
    if (path.empty() || path.back() != u'/') {
        path += u'/';
    }
    return path;
}

host::WideString FolderPart(const host::WideString& path) {
    const std::size_t slash = path.find_last_of(u'/');
    return slash == host::WideString::npos ? host::WideString() : path.substr(0, slash);
}

} // namespace

bool TandrelTabView::AskItemName(const host::ByteString& title, host::WideString& name) {
    host::ByteString text = host::ToUTF8(name);
    if (!host::ShowSimpleInputBox(title, host::Localize(kNameLabelKey), text)) {
        return false;
    }
    name = host::ToUTF16(text);
    if (!host::IsValidFileName(name)) {
        host::ShowMessageBox(host::Localize(kInvalidNameTitleKey),
                             host::Localize(kInvalidNameMessageKey,
                                            {host::ToUTF8(host::GetIllegalFilenameCharacters())}),
                             {}, host::kWarningIcon, 0);
    }
    return true;
}

host::WideString TandrelTabView::ParentForNewItem() const {
    const std::vector<host::WideString> selected = GetSelectedPaths();
    host::WideString parent = selected.size() == 1 && !selected.front().empty()
                                  ? selected.front()
                                  : Utils::OpenProductionFolder();
    if (host::FileOrDirExists(parent) && !Utils::IsFolderItem(parent)) {
        parent = FolderPart(parent); // beside a selected project, not inside it
    }
    return parent;
}

void TandrelTabView::OnNewFolderCommand() {
    try {
        if (!IsCreated() || !mDirectoryView) {
            return;
        }
        const host::WideString parent = ParentForNewItem();
        host::WideString name = host::LocalizeWide(kUntitledKey);
        while (AskItemName(host::Localize(kNewFolderTitleKey), name)) {
            if (!host::IsValidFileName(name)) {
                continue; // refused with its message: asked again
            }
            const host::WideString path = WithTrailingSlash(parent) + name;
            if (host::DirectoryExists(path)) {
                host::ShowMessageBox(host::Localize(kFolderExistsTitleKey),
                                     host::Localize(kFolderExistsMessageKey), {},
                                     host::kWarningIcon, 0);
                continue;
            }
            if (host::EnsureDirectoryExists(path)) {
                host::OrganisingStep step;
                step.kind = host::OrganisingStepKind::kNewFolder;
                step.made.push_back(path);
                host::RecordOrganisingStep(step);
                mDirectoryView->ShowNewItem(path);
            }
            return;
        }
    } catch (const std::exception& error) {
        host::LogException("HandlerTandrel::TandrelTabView::OnNewFolderCommand", error);
    }
}

void TandrelTabView::OnNewProjectCommand() {
    const host::ByteString made = host::CreateNewProjectIn(host::ToUTF8(ParentForNewItem()));
    if (!made.empty() && mDirectoryView) {
        mDirectoryView->ShowNewItem(host::ToUTF16(made));
    }
}

void TandrelTabView::OnAddProjectCommand() {
    const std::vector<host::WideString> chosen = host::ShowOpenFilesDialog(
        host::Localize(kAddProjectTitleKey), host::GetAllMvProjectFilterForFileDialog());
    if (!chosen.empty()) {
        Utils::AddProjectsToProduction(chosen, ParentForNewItem());
    }
}

void TandrelTabView::OnMakeACopyCommand() {
    try {
        std::vector<host::WideString> chosen; // two copies made at once never share a name
        host::WideString lastProjectCopy;
        host::OrganisingStep made; // for Edit > Undo
        made.kind = host::OrganisingStepKind::kCopy;
        bool copying = false;
        for (const host::WideString& path : GetSelectedPaths()) {
            const host::WideString copy = host::GetMvProductionItemCopyPath(path, chosen);
            chosen.push_back(copy);
            if (!Utils::IsFolderItem(path)) {
                host::AddProjectToMvProduction(path, copy);
                made.made.push_back(copy);
                lastProjectCopy = copy;
                copying = true;
                continue;
            }
            // A folder: its folders are made at once, its projects copied in the background;
            // not begun when the copy could not be whole (items nested deeper than a path the
            // system takes would be left out of it).
            if (const std::size_t deepest = DeepestCopiedPathBytes(path, copy);
                deepest > host::GetLongestPathBytes()) {
                host::ShowMessageBox(host::Localize(kCopyTooDeepTitleKey),
                                     host::Localize(kCopyTooDeepMessageKey,
                                                    {host::ToUTF8(host::GetPathFileName(path)),
                                                     std::to_string(deepest),
                                                     std::to_string(host::GetLongestPathBytes())}),
                                     {}, host::kWarningIcon, 0);
                continue;
            }
            if (!host::EnsureDirectoryExists(copy)) {
                continue;
            }
            made.made.push_back(copy);
            Utils::CopyDirectoryTree(path, copy);
            std::vector<host::WideString> extensions = {
                host::WideString(host::kProjectFileExtension16)};
            if (host::IsFolderProjectFormatEnabled()) {
                extensions.emplace_back(host::kProjectFolderExtension16);
            }
            const std::vector<host::WideString> projects =
                host::FindFilesOrDirectories(path, extensions, {});
            if (!projects.empty()) {
                host::AddProjectsToMvProduction(projects, copy, path);
                copying = true;
            }
        }
        if (!made.made.empty()) {
            host::RecordOrganisingStep(made);
        }
        if (copying) {
            Utils::NotifyProgressPanel();
        }
        // The copies are what the person works on next: selected, in view, once there (the
        // projects arrive last, in the order they were chosen).
        if (mDirectoryView && !chosen.empty()) {
            mDirectoryView->SelectWhenListed(chosen, lastProjectCopy.empty() ? chosen.back()
                                                                             : lastProjectCopy);
        }
    } catch (const std::exception& error) {
        host::LogException("HandlerTandrel::TandrelTabView::OnMakeACopyCommand", error);
    }
}

void TandrelTabView::OnToggleReadOnlyCommand() {
    for (const host::WideString& path : GetSelectedPaths()) {
        const host::ProjectPtr project =
            Utils::IsFolderItem(path) ? nullptr : host::FindOpenProject(host::ToUTF8(path));
        if (!project) {
            continue;
        }
        bool needsReload = false;
        if (host::SetOpenProjectReadOnly(project, !host::GetIsReadOnly(project), needsReload) &&
            needsReload) {
            host::ReloadOpenProject(project, true);
        }
    }
}

void TandrelTabView::OnRefreshOutOfDateProjectsCommand() {
    const host::ProjectPtr active = host::GetActiveProject();
    const host::ByteString activePath = active ? active->GetPath() : host::ByteString();
    for (const host::ProjectPtr& project : host::GetOpenProjectList()) {
        if (project && host::IsWithinCurrentMvProductionFolder(host::ToUTF16(project->GetPath())) &&
            host::GetIsReadOnly(project) && host::IsProjectOutOfDate(project)) {
            host::ReloadOpenProject(project, true);
        }
    }
    // Reloading never changes which project the user works in.
    if (!activePath.empty()) {
        if (const host::ProjectPtr again = host::FindOpenProject(activePath)) {
            host::SetActiveProject(again);
        }
    }
}

void TandrelTabView::OnSaveAllCommand() {
    if (!host::HasDocumentManager()) {
        return;
    }
    for (const host::ProjectPtr& project : host::GetOpenProjectList()) {
        if (project && host::IsWithinCurrentMvProductionFolder(host::ToUTF16(project->GetPath())) &&
            !host::GetIsReadOnly(project)) {
            host::SaveOpenProject(project);
        }
    }
}

} // namespace HandlerTandrel
