#include "panel/CommandRules.h"
#include "utils/ProductionItems.h"

#include "base/ProductionCommands.h"
#include "host/ApplicationLayer.h"
#include "host/FileServices.h"
#include "host/Localizer.h"
#include "host/OpenProjects.h"
#include "host/ProjectBackEnd.h"
#include "panel/PanelCommands.h"
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
    // Whether an item of this name may be one of the open projects.
    bool MayBeOne(std::u16string_view name) const {
        // A name with surrogates may be spelled otherwise once made UTF-8: the host decides.
        return name.empty() || name == u"." || name == u".." ||
               std::any_of(name.begin(), name.end(),
                           [](char16_t unit) { return unit >= 0xD800 && unit <= 0xDFFF; }) ||
               std::find(mNames.begin(), mNames.end(), name) != mNames.end();
    }
    // Whether any of the items is an open project that passes the test; only the items named
    // as one of them are looked for among the open projects, and they are found once for the
    // same selection and the same open projects.
    bool AnyOf(const SelectedItems& selected,
               bool (*test)(const host::ProjectPtr&) = nullptr) const {
        if (mNames.empty()) {
            return false;
        }
        const std::vector<host::WideString>& named = selected.PathsNamed(
            mNames, [this](std::u16string_view name) { return MayBeOne(name); });
        return std::any_of(named.begin(), named.end(), [test](const host::WideString& path) {
            const host::ProjectPtr project = OpenProjectAt(path);
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
bool DecideLockToggle(const SelectedItems& selected, host::CommandStatus& status) {
    if (selected.empty() || !host::HasDocumentManager()) {
        return false;
    }
    // One visit, stopping at the first item that is no open project or is in the other mode
    // (a Select All stops at its first row).
    std::optional<bool> readOnly;
    const bool notAllAlike = selected.AnyOf([&readOnly](const host::WideString& path) {
        const host::ProjectPtr project = OpenProjectAt(path);
        if (!project) {
            return true;
        }
        const bool thisReadOnly = host::GetIsReadOnly(project);
        if (readOnly && *readOnly != thisReadOnly) {
            return true;
        }
        readOnly = thisReadOnly;
        return false;
    });
    if (notAllAlike || !readOnly) {
        return false;
    }
    if (*readOnly && selected.AnyOf(&Utils::IsLockedByOtherUser)) {
        return false;
    }
    status.label = host::Localize(*readOnly ? kReadWriteModeKey : kReadOnlyModeKey);
    return true;
}

} // namespace

namespace Rules {

bool MakesItems(const CommandFacts& facts, const SelectedItems& selected, host::CommandStatus&) {
    return CanCreateForSelection(selected, !facts.production.empty());
}

bool MovesToTrash(const CommandFacts& facts, const SelectedItems& selected, host::CommandStatus&) {
    // What lies in a selected folder goes with it, and the test looks through the folder.
    return facts.movable ? *facts.movable : Utils::CanMoveItems(*selected.Outermost());
}

bool AlwaysOn(const CommandFacts&, const SelectedItems&, host::CommandStatus&) {
    return true;
}

bool OpensClosedProjects(const CommandFacts&, const SelectedItems& selected, host::CommandStatus&) {
    return host::HasDocumentManager() && selected.AnyOf(&IsClosedProject);
}

bool ClosesOpenProjects(const CommandFacts&, const SelectedItems& selected, host::CommandStatus&) {
    return host::HasDocumentManager() && host::OpenProjectCount() > 0 &&
           OpenProjectFinder().AnyOf(selected);
}

bool ClosesSomeOfTheOpenProjects(const CommandFacts&, const SelectedItems& selected,
                                 host::CommandStatus&) {
    return host::HasDocumentManager() && host::OpenProjectCount() > 1 &&
           OpenProjectFinder().AnyOf(selected);
}

bool RefreshesOutOfDateProjects(const CommandFacts&, const SelectedItems& selected,
                                host::CommandStatus&) {
    return host::HasDocumentManager() && host::OpenProjectCount() > 0 &&
           OpenProjectFinder().AnyOf(selected, &IsOutOfDateReadOnly);
}

bool RenamesOneFreeItem(const CommandFacts&, const SelectedItems& selected, host::CommandStatus&) {
    if (selected.size() != 1) {
        return false;
    }
    const host::WideString only = selected.Only();
    return !Utils::IsLockedByOtherUser(only) &&
           !host::DoesDirectoryContainLockedProjects(host::ToUTF8(only), true, true);
}

bool TogglesTheLock(const CommandFacts&, const SelectedItems& selected,
                    host::CommandStatus& status) {
    return DecideLockToggle(selected, status);
}

bool NeedsAProduction(const CommandFacts& facts, const SelectedItems&, host::CommandStatus&) {
    return !facts.production.empty();
}

bool NeedsASelection(const CommandFacts&, const SelectedItems& selected, host::CommandStatus&) {
    return !selected.empty();
}

bool RefreshesTheProductionsOutOfDateProjects(const CommandFacts&, const SelectedItems&,
                                              host::CommandStatus&) {
    const auto projects = ProjectsOfTheProduction();
    return std::any_of(projects.begin(), projects.end(), &IsOutOfDateReadOnly);
}

bool SavesTheProductionsProjects(const CommandFacts&, const SelectedItems&, host::CommandStatus&) {
    const auto projects = ProjectsOfTheProduction();
    return std::any_of(projects.begin(), projects.end(), [](const host::ProjectPtr& project) {
        return !host::GetIsReadOnly(project);
    });
}

bool ClosesTheProductionsProjects(const CommandFacts&, const SelectedItems&, host::CommandStatus&) {
    return !ProjectsOfTheProduction().empty();
}

} // namespace Rules

bool DecideCommandStatus(host::CommandID id, const CommandFacts& facts,
                         host::CommandStatus& status) {
    return DecideCommandStatus(id, facts, SelectedItems(facts.selected), status);
}

bool DecideCommandStatus(host::CommandID id, const CommandFacts& facts,
                         const SelectedItems& selected, host::CommandStatus& status) {
    status.checked = false;
    const PanelCommand* command = FindPanelCommand(id);
    if (command == nullptr || (command->before == Before::kHostRules && !facts.created)) {
        return false; // the host's default decides
    }
    status.enabled = command->rule(facts, selected, status);
    return true;
}

} // namespace HandlerTandrel
