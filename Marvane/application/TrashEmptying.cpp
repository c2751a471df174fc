#include "Marvane/application/TrashEmptying.h"

#include "Marvane/application/TrashRecords.h"
#include "Marvane/fileservices/CreationRecords.h"
#include "Marvane/projectbackend/LockFiles.h"
#include "Marvane/projectbackend/ProjectFormats.h"
#include "host/ProjectBackEnd.h"

#include <system_error>

namespace host {

namespace fs = std::filesystem;

namespace {

bool Exists(const fs::path& path) {
    std::error_code ignored;
    return fs::exists(fs::symlink_status(path, ignored));
}

// A project with its lock file beside it: someone holds it (or held it and may come back).
bool IsHeldProject(const fs::path& path) {
    return IsMarvaneProjectFile(path.string()) && Exists(LockFilePathFor(path));
}

// Whether the item, or anything inside it (links are not followed), is a held project.
bool HoldsAHeldProject(const fs::path& item) {
    if (IsHeldProject(item)) {
        return true;
    }
    std::error_code error;
    if (!fs::is_directory(fs::symlink_status(item, error))) {
        return false;
    }
    for (auto entry = fs::recursive_directory_iterator(item, error);
         !error && entry != fs::recursive_directory_iterator(); entry.increment(error)) {
        if (IsHeldProject(entry->path())) {
            return true;
        }
    }
    return static_cast<bool>(error); // a folder that cannot be read through is kept too
}

} // namespace

std::vector<fs::path> TrashItems(const fs::path& production) {
    std::vector<fs::path> items;
    const fs::path trash = production / "Trash";
    std::error_code error;
    if (!fs::is_directory(fs::symlink_status(trash, error))) {
        return items; // a link named Trash is not emptied through
    }
    for (auto entry = fs::directory_iterator(trash, error);
         !error && entry != fs::directory_iterator(); entry.increment(error)) {
        // The record of creation times is the folder's own, not an item put in the trash.
        if (entry->path().filename() != kCreationRecordName) {
            items.push_back(entry->path());
        }
    }
    return items;
}

EmptyTrashResult EmptyTrash(const fs::path& production) {
    EmptyTrashResult result;
    const std::vector<fs::path> items = TrashItems(production);
    for (const fs::path& item : items) {
        const std::string name = item.filename().string();
        // A lock file goes with its project, never on its own.
        if (IsProjectLockFileName(name) &&
            Exists(item.parent_path() / name.substr(0, name.size() - kLockFileSuffix.size()))) {
            continue;
        }
        if (HoldsAHeldProject(item)) {
            result.keptLocked.push_back(name);
            continue;
        }
        std::error_code error;
        fs::remove_all(item, error);
        if (error) {
            result.failed.push_back(name + ": " + error.message());
            continue;
        }
        ForgetTrashed(production, name);
        ++result.removed;
    }
    if (result.keptLocked.empty() && result.failed.empty()) {
        // Every entry of the trash's record of creation times was for an item now gone.
        std::error_code ignored;
        const fs::path record = production / "Trash" / kCreationRecordName;
        if (fs::is_regular_file(fs::symlink_status(record, ignored))) {
            fs::remove(record, ignored);
        }
    }
    return result;
}

} // namespace host
