#include "panel/CommandRules.h"
#include "utils/ProductionItems.h"

#include "base/ProductionCommands.h"
#include "host/ApplicationLayer.h"
#include "host/FileServices.h"
#include "host/Localizer.h"
#include "host/OpenProjects.h"
#include "host/ProjectBackEnd.h"
#include "panel/SelectionTests.h"
#include "utils/MoveItems.h"
#include "utils/ProjectLocks.h"

#include <algorithm>
#include <optional>
#include <string_view>

namespace HandlerTandrel {

namespace {

constexpr std::string_view kReadWriteModeKey =
    "$$$/Marvane/Handlers/MvProductionFolder/ProjectContextMenu/ReadWriteMode=Read-Write Mode";
constexpr std::string_view kReadOnlyModeKey =
    "$$$/Marvane/Handlers/MvProductionFolder/ProjectContextMenu/ReadOnlyMode=Read-Only Mode";

host::ProjectPtr OpenProjectAt(const host::WideString& path) {
    return host::FindOpenProject(host::ToUTF8(path));
}

bool AnyOf(const std::vector<host::WideString>& paths, bool (*test)(const host::WideString&)) {
    return std::any_of(paths.begin(), paths.end(), test);
}

// The last part of a path; empty when that part may name something else once normalised.
std::u16string_view PlainFileName(std::u16string_view path) {
    while (path.size() > 1 && path.back() == u'/') {
        path.remove_suffix(1);
    }
    const std::size_t slash = path.rfind(u'/');
    const std::u16string_view name =
        slash == std::u16string_view::npos ? path : path.substr(slash + 1);
    return name == u"." || name == u".." ? std::u16string_view() : name;
}

// Which selected items are open projects, asking the host only about items named as one of
// the few open projects is: a selection may hold 100,000 items, and the main window asks
// several times a second.
class OpenProjectFinder {
public:
    OpenProjectFinder() {
        for (const host::ProjectPtr& project : host::GetOpenProjectList()) {
            if (project) {
                mNames.push_back(host::ToUTF16(project->GetPath()));
            }
        }
        for (host::WideString& path : mNames) {
            path = host::WideString(PlainFileName(path));
        }
    }
    host::ProjectPtr Find(const host::WideString& path) const {
        const std::u16string_view name = PlainFileName(path);
        // A name with surrogates may be spelled otherwise once made UTF-8: the host decides.
        const bool mayBeOne =
            name.empty() ||
            std::any_of(name.begin(), name.end(),
                        [](char16_t unit) { return unit >= 0xD800 && unit <= 0xDFFF; }) ||
            std::find(mNames.begin(), mNames.end(), name) != mNames.end();
        return mayBeOne ? OpenProjectAt(path) : nullptr;
    }
    // Whether any of the paths is an open project that passes the test.
    bool AnyOf(const std::vector<host::WideString>& paths,
               bool (*test)(const host::ProjectPtr&) = nullptr) const {
        return !mNames.empty() &&
               std::any_of(paths.begin(), paths.end(), [&](const host::WideString& path) {
                   const host::ProjectPtr project = Find(path);
                   return project && (test == nullptr || test(project));
               });
    }

private:
    std::vector<host::WideString> mNames;
};

bool IsOpenProject(const host::WideString& path) {
    return OpenProjectAt(path) != nullptr;
}

bool IsClosedProject(const host::WideString& path) {
    return !Utils::IsFolderItem(path) && !IsOpenProject(path);
}

bool IsOutOfDateReadOnly(const host::ProjectPtr& project) {
    return host::GetIsReadOnly(project) && host::IsProjectOutOfDate(project);
}

// The open projects inside the production.
std::vector<host::ProjectPtr> ProjectsOfTheProduction() {
    std::vector<host::ProjectPtr> projects;
    for (const host::ProjectPtr& project : host::GetOpenProjectList()) {
        if (project && host::IsWithinCurrentMvProductionFolder(host::ToUTF16(project->GetPath()))) {
            projects.push_back(project);
        }
    }
    return projects;
}

// Every selected path an open project, all read-only or all read-write, and over read-only
// ones no other editor holding a lock. The menu text offers the other mode.
bool DecideLockToggle(const std::vector<host::WideString>& selected, host::CommandStatus& status) {
    if (selected.empty() || !host::HasDocumentManager()) {
        return false;
    }
    std::optional<bool> readOnly;
    for (const host::WideString& path : selected) {
        const host::ProjectPtr project = OpenProjectAt(path);
        if (!project) {
            return false;
        }
        const bool thisReadOnly = host::GetIsReadOnly(project);
        if (readOnly && *readOnly != thisReadOnly) {
            return false;
        }
        readOnly = thisReadOnly;
    }
    if (*readOnly && AnyOf(selected, &Utils::IsLockedByOtherUser)) {
        return false;
    }
    status.label = host::Localize(*readOnly ? kReadWriteModeKey : kReadOnlyModeKey);
    return true;
}

} // namespace

bool DecideCommandStatus(host::CommandID id, const CommandFacts& facts,
                         host::CommandStatus& status) {
    return DecideCommandStatus(id, facts, facts.selected, status);
}

bool RuleReadsSelection(host::CommandID id) {
    switch (id) {
    case kCmdCloseProject:
    case kCmdRefreshProject:
        return host::OpenProjectCount() > 0;
    case kHostCmdCloseProjects:
        return host::OpenProjectCount() > 1;
    default:
        return true;
    }
}

bool DecideCommandStatus(host::CommandID id, const CommandFacts& facts,
                         const std::vector<host::WideString>& selected,
                         host::CommandStatus& status) {
    const bool productionOpen = !facts.production.empty();
    const bool documents = host::HasDocumentManager();
    status.checked = false;
    switch (id) {
    case kCmdNewFolder:
    case kCmdMoveToTrash:
    case kHostCmdSelectAll:
    case kHostCmdDeselectAll:
        if (!facts.created) {
            return false; // the host's default decides
        }
        if (id == kCmdNewFolder) {
            status.enabled = CanCreateForSelection(selected, productionOpen);
        } else if (id == kCmdMoveToTrash) {
            status.enabled = facts.movable ? *facts.movable : Utils::CanMoveItems(selected);
        } else {
            status.enabled = true;
        }
        return true;
    case kCmdNewProject:
    case kCmdAddProject:
        status.enabled = CanCreateForSelection(selected, productionOpen);
        return true;
    case kCmdOpenProject:
        status.enabled = documents && AnyOf(selected, &IsClosedProject);
        return true;
    case kCmdCloseProject:
        status.enabled =
            documents && host::OpenProjectCount() > 0 && OpenProjectFinder().AnyOf(selected);
        return true;
    case kHostCmdCloseProjects:
        status.enabled =
            documents && host::OpenProjectCount() > 1 && OpenProjectFinder().AnyOf(selected);
        return true;
    case kCmdRefreshProject:
        status.enabled = documents && host::OpenProjectCount() > 0 &&
                         OpenProjectFinder().AnyOf(selected, &IsOutOfDateReadOnly);
        return true;
    case kCmdRenameItem:
        status.enabled =
            selected.size() == 1 && !Utils::IsLockedByOtherUser(selected.front()) &&
            !host::DoesDirectoryContainLockedProjects(host::ToUTF8(selected.front()), true, true);
        return true;
    case kCmdToggleLock:
        status.enabled = DecideLockToggle(selected, status);
        return true;
    case kCmdRevealRootInSystem:
        status.enabled = productionOpen;
        return true;
    case kCmdRevealItemInSystem:
    case kCmdMakeACopy:
        status.enabled = !selected.empty();
        return true;
    case kCmdMoveHome:
    case kCmdMoveEnd:
    case kCmdMovePageDown:
    case kCmdMovePageUp:
    case kCmdZoomIn:
    case kCmdZoomOut:
        status.enabled = true;
        return true;
    case kCmdRefreshAllProjects: {
        const auto projects = ProjectsOfTheProduction();
        status.enabled = std::any_of(projects.begin(), projects.end(), [](const auto& project) {
            return host::GetIsReadOnly(project) && host::IsProjectOutOfDate(project);
        });
        return true;
    }
    case kCmdSaveAllProjects: {
        const auto projects = ProjectsOfTheProduction();
        status.enabled = std::any_of(projects.begin(), projects.end(), [](const auto& project) {
            return !host::GetIsReadOnly(project);
        });
        return true;
    }
    case kCmdCloseAllProjects:
        status.enabled = !ProjectsOfTheProduction().empty();
        return true;
    default:
        return false; // Show Path, Rename Production and the host's others: the default
    }
}

} // namespace HandlerTandrel
