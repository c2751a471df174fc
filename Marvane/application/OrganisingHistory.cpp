#include "Marvane/application/OrganisingHistory.h"

#include "Marvane/application/ProjectImport.h"
#include "Marvane/fileservices/AccessDeadline.h"
#include "Marvane/projectbackend/LockFiles.h"
#include "Marvane/projectbackend/LockingIdentity.h"
#include "host/FileServices.h"
#include "host/Localizer.h"
#include "host/ProjectBackEnd.h"

#include <algorithm>
#include <optional>
#include <system_error>

namespace host {

namespace fs = std::filesystem;

namespace {

// The most steps kept: older ones fall off the bottom.
constexpr std::size_t kMostSteps = 100;
constexpr std::string_view kTrashName = "Trash";

bool Exists(const fs::path& path) {
    std::error_code ignored;
    return fs::exists(fs::symlink_status(path, ignored));
}

bool IsRealFolder(const fs::path& path) {
    std::error_code ignored;
    return fs::is_directory(fs::symlink_status(path, ignored));
}

bool IsEmptyRealFolder(const fs::path& path) {
    std::error_code error;
    return IsRealFolder(path) && fs::is_empty(path, error) && !error;
}

// The name a person knows an item by: a project without its extension.
std::string ShownName(const fs::path& path) {
    const std::string name = path.filename().string();
    if (IsMarvaneProjectFile(path.string()) && path.has_extension()) {
        return path.stem().string();
    }
    return name;
}

// A folder as the person finds it in the panel: its path below the production.
std::string ShownFolder(const fs::path& production, const fs::path& folder) {
    const fs::path relative = folder.lexically_normal().lexically_relative(production);
    if (relative.empty() || relative == ".") {
        return production.filename().string();
    }
    return relative.string();
}

fs::path TrashOf(const fs::path& production) {
    return production / kTrashName;
}

bool GoesIntoTheTrash(const fs::path& production, const fs::path& to) {
    return to.parent_path().lexically_normal() == TrashOf(production).lexically_normal();
}

fs::path Clean(const WideString& path) {
    fs::path clean = fs::path(ToUTF8(path)).lexically_normal();
    if (clean.filename().empty()) {
        clean = clean.parent_path(); // a folder's path may end in a separator
    }
    return clean;
}

// Why the item may not move (empty when it may): another editor holds it, or something
// inside it; going into the trash, nobody may hold it, this editor included.
std::string HeldReason(const fs::path& item, bool intoTheTrash) {
    const std::string name = ShownName(item);
    const std::string me = CurrentLockingIdentity().name;
    if (IsMarvaneProjectFile(item.string())) {
        LockFileContent content;
        const LockFileState state = ReadLockFile(LockFilePathFor(item), content);
        if (state == LockFileState::Missing) {
            return {};
        }
        if (state == LockFileState::Unreadable) {
            return Localize("$$$/Marvane/Host/Undo/LockUnreadable=\"@0\" has a lock that cannot "
                            "be read: someone may have it open.",
                            {name});
        }
        if (content.lockingName != me) {
            return Localize("$$$/Marvane/Host/Undo/HeldByOther=\"@0\" is open by @1.",
                            {name, content.lockingName});
        }
        if (intoTheTrash) {
            return Localize("$$$/Marvane/Host/Undo/HeldHere=\"@0\" is open here: close it first.",
                            {name});
        }
        return {};
    }
    if (IsRealFolder(item)) {
        if (FolderHoldsLockedProjects(item.string(), true, true)) {
            return Localize("$$$/Marvane/Host/Undo/FolderHeldByOther=\"@0\" holds a project "
                            "another editor has open.",
                            {name});
        }
        if (intoTheTrash && FolderHoldsLockedProjects(item.string(), true, false)) {
            return Localize("$$$/Marvane/Host/Undo/FolderHeldHere=\"@0\" holds a project open "
                            "here: close it first.",
                            {name});
        }
    }
    return {};
}

// Why the item cannot move from one path to the other now (empty when it can).
std::string MoveReason(const fs::path& production, const fs::path& from, const fs::path& to) {
    if (!Exists(from)) {
        return Localize("$$$/Marvane/Host/Undo/Gone=\"@0\" is no longer in \"@1\".",
                        {ShownName(from), ShownFolder(production, from.parent_path())});
    }
    if (!IsRealFolder(to.parent_path())) {
        return Localize("$$$/Marvane/Host/Undo/FolderGone=\"@0\" cannot go back: the folder "
                        "\"@1\" is not there any more.",
                        {ShownName(from), ShownFolder(production, to.parent_path())});
    }
    if (Exists(to)) {
        return Localize(
            "$$$/Marvane/Host/Undo/NameTaken=\"@0\" cannot go back: \"@1\" already "
            "holds an item named \"@2\".",
            {ShownName(from), ShownFolder(production, to.parent_path()), to.filename().string()});
    }
    return HeldReason(from, GoesIntoTheTrash(production, to));
}

} // namespace

OrganisingHistory& OrganisingHistory::Instance() {
    static OrganisingHistory history;
    return history;
}

void OrganisingHistory::Record(const OrganisingStep& told, const fs::path& production) {
    const std::lock_guard lock(mMutex);
    if (mReplaying || production.empty()) {
        return;
    }
    Step step;
    step.kind = told.kind;
    step.production = production.lexically_normal();
    for (const auto& [before, after] : told.moved) {
        step.items.push_back({Role::kMoved, Clean(before), Clean(after)});
    }
    const Role made =
        told.kind == OrganisingStepKind::kNewFolder ? Role::kMadeFolder : Role::kMadeCopy;
    for (const WideString& path : told.made) {
        step.items.push_back({made, {}, Clean(path)});
    }
    if (step.items.empty()) {
        return;
    }
    // Steps of another production are of no use any more.
    const auto other = [&step](const Step& kept) { return kept.production != step.production; };
    std::erase_if(mUndo, other);
    mUndo.push_back(std::move(step));
    while (mUndo.size() > kMostSteps) {
        mUndo.pop_front();
    }
    mRedo.clear();
}

bool OrganisingHistory::CanUndo(const fs::path& production) const {
    const std::lock_guard lock(mMutex);
    return !mReplaying && !mUndo.empty() &&
           mUndo.back().production == production.lexically_normal();
}

bool OrganisingHistory::CanRedo(const fs::path& production) const {
    const std::lock_guard lock(mMutex);
    return !mReplaying && !mRedo.empty() &&
           mRedo.back().production == production.lexically_normal();
}

std::string OrganisingHistory::UndoLabel(const fs::path& production) const {
    if (!CanUndo(production)) {
        return Localize("$$$/Marvane/Host/Undo/Nothing=Undo");
    }
    const std::lock_guard lock(mMutex);
    return Localize("$$$/Marvane/Host/Undo/Label=Undo @0", {StepName(mUndo.back())});
}

std::string OrganisingHistory::RedoLabel(const fs::path& production) const {
    if (!CanRedo(production)) {
        return Localize("$$$/Marvane/Host/Redo/Nothing=Redo");
    }
    const std::lock_guard lock(mMutex);
    return Localize("$$$/Marvane/Host/Redo/Label=Redo @0", {StepName(mRedo.back())});
}

std::string OrganisingHistory::StepName(const Step& step) {
    std::vector<std::string> names;
    for (const Item& item : step.items) {
        names.push_back(ShownName(item.role == Role::kMoved ? item.before : item.after));
    }
    // The step's words, for one item and for several.
    struct Words {
        OrganisingStepKind kind;
        std::string_view one;
        std::string_view many;
    };
    static constexpr Words kWords[] = {
        {OrganisingStepKind::kMove, "$$$/Marvane/Host/Undo/MoveOne=Move of \"@0\"",
         "$$$/Marvane/Host/Undo/MoveMany=Move of @0 Items"},
        {OrganisingStepKind::kRename, "$$$/Marvane/Host/Undo/RenameOne=Rename of \"@0\"",
         "$$$/Marvane/Host/Undo/RenameMany=Rename of @0 Items"},
        {OrganisingStepKind::kMoveToTrash, "$$$/Marvane/Host/Undo/TrashOne=Move to Trash of \"@0\"",
         "$$$/Marvane/Host/Undo/TrashMany=Move to Trash of @0 Items"},
        {OrganisingStepKind::kNewFolder, "$$$/Marvane/Host/Undo/NewFolderOne=New Folder \"@0\"",
         "$$$/Marvane/Host/Undo/NewFolderMany=New Folders (@0)"},
        {OrganisingStepKind::kCopy, "$$$/Marvane/Host/Undo/CopyOne=Copy of \"@0\"",
         "$$$/Marvane/Host/Undo/CopyMany=Copy of @0 Items"},
    };
    const Words* words = &kWords[0];
    for (const Words& candidate : kWords) {
        if (candidate.kind == step.kind) {
            words = &candidate;
        }
    }
    if (names.size() == 1) {
        return Localize(words->one, {names.front()});
    }
    return Localize(words->many, {std::to_string(names.size())});
}

std::vector<std::string> OrganisingHistory::Refusals(const Step& step, Direction direction) {
    std::vector<std::string> refusals;
    const bool back = direction == Direction::kBack;
    const bool copying =
        ProjectImport::Instance().Progress().state == ImportProgress::State::Running;
    const auto refuse = [&refusals](std::string reason) {
        if (!reason.empty()) {
            refusals.push_back(std::move(reason));
        }
    };
    for (const Item& item : step.items) {
        switch (item.role) {
        case Role::kMoved:
            refuse(back ? MoveReason(step.production, item.after, item.before)
                        : MoveReason(step.production, item.before, item.after));
            break;
        case Role::kMadeFolder:
            if (back && !Exists(item.after)) {
                refuse(MoveReason(step.production, item.after, item.after));
            } else if (back && !IsEmptyRealFolder(item.after)) {
                refuse(Localize("$$$/Marvane/Host/Undo/NotEmpty=\"@0\" is no longer empty: "
                                "something was put in it.",
                                {ShownName(item.after)}));
            } else if (!back && Exists(item.after)) {
                refuse(Localize("$$$/Marvane/Host/Undo/Taken=\"@0\" already holds an item named "
                                "\"@1\".",
                                {ShownFolder(step.production, item.after.parent_path()),
                                 item.after.filename().string()}));
            } else if (!back && !IsRealFolder(item.after.parent_path())) {
                refuse(Localize("$$$/Marvane/Host/Undo/FolderGone=\"@0\" cannot go back: the "
                                "folder \"@1\" is not there any more.",
                                {ShownName(item.after),
                                 ShownFolder(step.production, item.after.parent_path())}));
            }
            break;
        case Role::kMadeCopy:
            if (copying) {
                // Projects still arrive in the copy, at the place it had: moved now, the copy
                // would be split between two places.
                refuse(Localize("$$$/Marvane/Host/Undo/StillCopying=\"@0\" is still being "
                                "copied: try again once the copies are done.",
                                {ShownName(item.after)}));
            } else if (back) {
                const fs::path trash = TrashOf(step.production);
                if (Exists(trash) && !IsRealFolder(trash)) {
                    refuse(Localize("$$$/Marvane/Host/Undo/TrashNotAFolder=The production's "
                                    "\"Trash\" is not a folder: the copies cannot go into it."));
                } else if (!Exists(item.after)) {
                    refuse(MoveReason(step.production, item.after, item.after));
                } else {
                    refuse(HeldReason(item.after, true));
                }
            } else {
                refuse(MoveReason(step.production, item.before, item.after));
            }
            break;
        }
    }
    return refusals;
}

std::vector<OrganisingHistory::Item> OrganisingHistory::Carry(Step& step, Direction direction,
                                                              const HistoryMover& mover,
                                                              std::string& refusal) {
    const bool back = direction == Direction::kBack;
    std::vector<Item> failed;
    std::vector<Item> carried;
    const auto fail = [&](const Item& item, const fs::path& named) {
        failed.push_back(item);
        refusal +=
            (refusal.empty() ? "" : "\n") +
            Localize("$$$/Marvane/Host/Undo/Failed=\"@0\" could not be moved.", {ShownName(named)});
    };
    for (Item item : step.items) {
        if (item.role == Role::kMadeFolder) {
            std::error_code error;
            // Only an empty folder goes, so nothing in it can be lost; made again, it stays
            // where it was if the name was taken a moment ago.
            const bool done = back
                                  ? (IsEmptyRealFolder(item.after) && fs::remove(item.after, error))
                                  : fs::create_directory(item.after, error);
            if (!done || error) {
                fail(item, item.after);
                continue;
            }
            carried.push_back(item);
            continue;
        }
        if (item.role == Role::kMadeCopy && back) {
            // A copy taken back goes into the trash, beside what the trash holds already
            // (under a numbered name where needed), and Redo brings it out from there.
            const fs::path trash = TrashOf(step.production);
            if (!EnsureDirectoryExists(ToUTF16(trash.string()))) {
                fail(item, item.after);
                continue;
            }
            item.before = trash / item.after.filename();
            if (Exists(item.before)) {
                item.before = Clean(MakeUniqueFilename(ToUTF16(item.before.string()), 1, u"_", {}));
            }
        }
        const fs::path& from = back ? item.after : item.before;
        const fs::path& to = back ? item.before : item.after;
        if (!mover(from, to)) {
            fail(item, from);
            continue;
        }
        carried.push_back(item);
    }
    step.items = std::move(carried);
    return failed;
}

HistoryOutcome OrganisingHistory::Replay(const fs::path& production, const HistoryMover& mover,
                                         Direction direction) {
    std::deque<Step>& from = direction == Direction::kBack ? mUndo : mRedo;
    std::deque<Step>& to = direction == Direction::kBack ? mRedo : mUndo;
    Step step;
    {
        const std::lock_guard lock(mMutex);
        if (mReplaying || from.empty() || from.back().production != production.lexically_normal()) {
            return {};
        }
        step = from.back();
    }
    HistoryOutcome outcome;
    // The check reads the disk item by item: on a share that stops answering, the window
    // keeps turning and nothing moves.
    const std::optional<std::vector<std::string>> refusals =
        files::Bounded<std::vector<std::string>>(
            step.production, [step, direction] { return Refusals(step, direction); },
            files::kLongAccess);
    if (!refusals) {
        outcome.refusal = Localize("$$$/Marvane/Host/Undo/NotAnswering=The production's folder "
                                   "did not answer in time: nothing was moved. Try again once "
                                   "it answers.");
        return outcome;
    }
    if (!refusals->empty()) {
        for (const std::string& refusal : *refusals) {
            outcome.refusal += (outcome.refusal.empty() ? "" : "\n") + refusal;
        }
        return outcome; // nothing moved: the step waits for the world to allow it
    }
    {
        const std::lock_guard lock(mMutex);
        mReplaying = true;
    }
    std::vector<Item> failed;
    try {
        failed = Carry(step, direction, mover, outcome.refusal);
    } catch (...) {
        const std::lock_guard lock(mMutex);
        mReplaying = false;
        throw;
    }
    const std::lock_guard lock(mMutex);
    mReplaying = false;
    from.pop_back();
    if (!failed.empty()) {
        // What did not go stays to be tried again; what went can be taken back.
        Step rest = step;
        rest.items = std::move(failed);
        from.push_back(std::move(rest));
    }
    if (!step.items.empty()) {
        to.push_back(std::move(step));
    }
    outcome.done = outcome.refusal.empty();
    return outcome;
}

HistoryOutcome OrganisingHistory::Undo(const fs::path& production, const HistoryMover& mover) {
    return Replay(production, mover, Direction::kBack);
}

HistoryOutcome OrganisingHistory::Redo(const fs::path& production, const HistoryMover& mover) {
    return Replay(production, mover, Direction::kForward);
}

void OrganisingHistory::Clear() {
    const std::lock_guard lock(mMutex);
    mUndo.clear();
    mRedo.clear();
}

std::size_t OrganisingHistory::UndoCount() const {
    const std::lock_guard lock(mMutex);
    return mUndo.size();
}

} // namespace host
