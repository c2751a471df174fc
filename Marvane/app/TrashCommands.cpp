#include "Marvane/app/TrashCommands.h"

#include "Marvane/application/ProductionSession.h"
#include "Marvane/application/TrashRecords.h"
#include "Marvane/mediabrowser/ShownDirectoryViews.h"
#include "host/Localizer.h"
#include "host/UIFramework.h"

#include <filesystem>
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

void RestoreSelection() {
    const fs::path production = ProductionSession::Instance().GetFolder();
    std::string refusals;
    for (const fs::path& item : SelectedItemsOfTheTrash()) {
        const RestoreResult result = RestoreFromTrash(production, item);
        if (!result.restored) {
            refusals += (refusals.empty() ? "" : "\n") + result.refusal;
        }
    }
    if (!refusals.empty()) {
        ShowMessageBox(Localize("$$$/Marvane/Host/Restore/Title=Not Put Back"), refusals, {},
                       kWarningIcon, 0);
    }
}

} // namespace host
