#include "Marvane/app/TrashCommands.h"

#include "Marvane/application/ProductionSession.h"
#include "Marvane/application/TrashEmptying.h"
#include "Marvane/application/TrashRecords.h"
#include "Marvane/fileservices/AccessDeadline.h"
#include "Marvane/mediabrowser/ShownDirectoryViews.h"
#include "Marvane/projectbackend/LockFiles.h"
#include "host/Localizer.h"
#include "host/UIFramework.h"

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace host {

namespace fs = std::filesystem;

namespace {

std::vector<fs::path> SelectedItemsOfTheTrash() {
    const fs::path production = ProductionSession::Instance().GetFolder();
    if (production.empty()) {
        return {};
    }
    const fs::path trash = (production / "Trash").lexically_normal();
    std::vector<fs::path> items;
    for (const WideString& path : SelectedPathsOfShownDirectoryView()) {
        fs::path item = fs::path(ToUTF8(path)).lexically_normal();
        if (item.filename().empty()) {
            item = item.parent_path(); // a folder's path may end in a separator
        }
        if (item.parent_path() != trash) {
            return {}; // not all of them are in the trash
        }
        items.push_back(item);
    }
    return items;
}

} // namespace

bool CanRestoreSelection() {
    return !SelectedItemsOfTheTrash().empty();
}

// Said when the production's folder did not answer in time: the work goes on by itself.
void TellNotAnswering() {
    ShowMessageBox(Localize("$$$/Marvane/Host/Trash/NotAnsweringTitle=The Production Does Not "
                            "Answer"),
                   Localize("$$$/Marvane/Host/Trash/NotAnswering=The production's folder did not "
                            "answer in time. What was asked finishes by itself once it answers; "
                            "look at the trash again then."),
                   {}, kWarningIcon, 0);
}

// Where an item cannot go back as it was, the person may choose another way: a numbered
// name beside the item that took its name, or its folder made again. Nothing when they leave
// it in the trash.
std::optional<RestoreChoice> AskAnotherWay(const TrashRestoreResult& refused) {
    const bool taken = refused.why == RestoreRefusal::kNameTaken;
    if (!taken && refused.why != RestoreRefusal::kFolderGone) {
        return std::nullopt;
    }
    const int answer = ShowMessageBox(
        Localize("$$$/Marvane/Host/PutBack/AnotherWayTitle=Put Back Another Way?"), refused.refusal,
        {taken ? Localize("$$$/Marvane/Host/PutBack/KeepBoth=Keep Both")
               : Localize("$$$/Marvane/Host/PutBack/MakeFolder=Make the Folder Again"),
         Localize("$$$/Marvane/Host/PutBack/Leave=Leave in Trash")},
        kQuestionIcon, 0);
    if (answer != 0) {
        return std::nullopt;
    }
    return taken ? RestoreChoice::kKeepBoth : RestoreChoice::kMakeTheFolder;
}

void RestoreSelection() {
    const fs::path production = ProductionSession::Instance().GetFolder();
    const std::vector<fs::path> items = SelectedItemsOfTheTrash();
    // On a share that stops answering, the window keeps turning: the moves run bounded.
    const auto restore = [&production](std::vector<fs::path> some, RestoreChoice choice) {
        return files::Bounded<std::vector<TrashRestoreResult>>(
            production,
            [production, some = std::move(some), choice] {
                std::vector<TrashRestoreResult> results;
                for (const fs::path& item : some) {
                    results.push_back(RestoreFromTrash(production, item, choice));
                }
                return results;
            },
            files::kLongAccess);
    };
    const std::optional<std::vector<TrashRestoreResult>> results =
        restore(items, RestoreChoice::kAsItWas);
    if (!results) {
        TellNotAnswering();
        return;
    }
    std::string refusals;
    for (std::size_t index = 0; index < items.size(); ++index) {
        TrashRestoreResult result = (*results)[index];
        if (const std::optional<RestoreChoice> choice =
                result.restored ? std::nullopt : AskAnotherWay(result)) {
            const auto again = restore({items[index]}, *choice);
            if (!again) {
                TellNotAnswering();
                return;
            }
            result = again->front();
        } else if (!result.restored && (result.why == RestoreRefusal::kNameTaken ||
                                        result.why == RestoreRefusal::kFolderGone)) {
            continue; // the person chose to leave it in the trash: nothing more to say
        }
        if (!result.restored) {
            refusals += (refusals.empty() ? "" : "\n") + result.refusal;
        }
    }
    if (!refusals.empty()) {
        ShowMessageBox(Localize("$$$/Marvane/Host/PutBack/Title=Not Put Back"), refusals, {},
                       kWarningIcon, 0);
    }
}

bool CanEmptyTrash() {
    // Asked whenever menus and buttons are brought up to date: nothing is read from disk here.
    return ProductionSession::Instance().IsOpen();
}

void EmptyTrashAfterAsking() {
    const fs::path production = ProductionSession::Instance().GetFolder();
    const std::optional<std::vector<fs::path>> items = files::Bounded<std::vector<fs::path>>(
        production, [production] { return TrashItems(production); });
    if (!items) {
        TellNotAnswering();
        return;
    }
    std::size_t count = 0;
    for (const fs::path& item : *items) {
        if (!IsProjectLockFileName(item.filename().string())) {
            ++count;
        }
    }
    if (count == 0) {
        ShowMessageBox(Localize("$$$/Marvane/Host/EmptyTrash/Title=Empty Trash"),
                       Localize("$$$/Marvane/Host/EmptyTrash/Nothing=The trash is empty."), {},
                       kInformationIcon, 0);
        return;
    }
    const int answer = ShowMessageBox(
        Localize("$$$/Marvane/Host/EmptyTrash/Title=Empty Trash"),
        Localize("$$$/Marvane/Host/EmptyTrash/Question=Remove the @0 item(s) in the trash of "
                 "\"@1\" for good? This cannot be undone. Projects that someone holds stay.",
                 {std::to_string(count), production.filename().string()}),
        {Localize("$$$/Marvane/Host/EmptyTrash/Empty=Empty Trash"),
         Localize("$$$/Marvane/Host/EmptyTrash/Cancel=Cancel")},
        kWarningIcon, 1);
    if (answer != 0) {
        return;
    }
    const std::optional<EmptyTrashResult> emptied = files::Bounded<EmptyTrashResult>(
        production, [production] { return EmptyTrash(production); }, files::kLongAccess);
    if (!emptied) {
        TellNotAnswering();
        return;
    }
    const EmptyTrashResult& result = *emptied;
    std::string told;
    const auto list = [](const std::vector<std::string>& names) {
        std::string text;
        for (const std::string& name : names) {
            text += (text.empty() ? "" : ", ") + ("\"" + name + "\"");
        }
        return text;
    };
    if (!result.keptLocked.empty()) {
        told = Localize("$$$/Marvane/Host/EmptyTrash/Kept=Kept because someone holds them: @0.",
                        {list(result.keptLocked)});
    }
    if (!result.failed.empty()) {
        told += (told.empty() ? "" : "\n") +
                Localize("$$$/Marvane/Host/EmptyTrash/Failed=Could not be removed: @0.",
                         {list(result.failed)});
    }
    if (!told.empty()) {
        ShowMessageBox(
            Localize("$$$/Marvane/Host/EmptyTrash/Stayed=Some Items Stayed in the Trash"), told, {},
            kWarningIcon, 0);
    }
}

} // namespace host
