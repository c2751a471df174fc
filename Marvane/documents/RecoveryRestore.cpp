#include "Marvane/documents/RecoveryRestore.h"

#include "Marvane/core/JsonText.h"
#include "Marvane/documents/DocumentManager.h"
#include "Marvane/documents/ProjectContent.h"
#include "Marvane/documents/Recovery.h"
#include "Marvane/fileservices/FileReading.h"
#include "Marvane/fileservices/FileWriting.h"
#include "Marvane/projectbackend/ProjectFormats.h"
#include "host/Localizer.h"

#include <nlohmann/json.hpp>

namespace host {

namespace fs = std::filesystem;

std::optional<fs::path> RecoveredFrom(const fs::path& copy) {
    for (const char* suffix : {".origin", ".offered"}) {
        const auto json = ReadJsonFile(copy.string() + suffix);
        if (!json.is_object()) {
            continue;
        }
        const auto original = json.find("original");
        if (original != json.end()) {
            fs::path path = PathFromJson(*original);
            if (!path.empty()) {
                return path;
            }
        }
    }
    return std::nullopt;
}

namespace {

// Keeps the bytes the project file holds now beside the copy; empty with error set when it
// cannot.
fs::path KeepReplaced(const OpenProject& copy, const fs::path& original, std::string& error) {
    std::string bytes;
    int readError = 0;
    if (!ReadRegularFile(ProjectContentFile(original), bytes, readError)) {
        error = Localize("$$$/Marvane/Host/Restore/Unreadable=\"@0\" cannot be read, so what it "
                         "holds could not be kept first.",
                         {original.stem().string()});
        return {};
    }
    const std::string base = SafeFileName(
        Localize("$$$/Marvane/Host/Restore/ReplacedName=@0 (replaced @1)#{the file name of what a "
                 "project held before recovered changes replaced it, and when}",
                 {original.stem().string(), LocalStamp()}));
    for (int number = 1; number < 1000; ++number) {
        const fs::path backup =
            copy.Path().parent_path() / (base + (number == 1 ? "" : " " + std::to_string(number)) +
                                         std::string(kProjectFileExtension));
        std::string why;
        switch (PlaceNewFile(backup, bytes, why)) {
        case PlaceResult::Placed:
            return backup;
        case PlaceResult::Exists:
            continue;
        case PlaceResult::Failed:
            error = why;
            return {};
        }
    }
    error = "no free name beside " + copy.Path().string();
    return {};
}

} // namespace

RestoreResult RestoreRecoveredCopy(const OpenProject& copy, const fs::path& original) {
    RestoreResult result;
    DocumentManager& documents = DocumentManager::Instance();
    OpenProjectPtr target = documents.Find(original);
    if (!target) {
        const OpenResult opened = documents.Open(original);
        if (!opened.project) {
            result.error = opened.error;
            return result;
        }
        target = opened.project;
    }
    if (target->IsReadOnly()) {
        if (const std::string holder = target->CurrentLockHolder();
            !holder.empty() && target->ReadOnlyReason().empty()) {
            result.error = Localize("$$$/Marvane/Host/Restore/Locked=\"@0\" is locked by @1: "
                                    "the changes can be restored once they close it.",
                                    {target->DisplayName(), holder});
            return result;
        }
        result.error = target->ReadOnlyReason().empty()
                           ? Localize("$$$/Marvane/Host/Restore/ReadOnly=\"@0\" is open "
                                      "read-only: switch it to read-write first.",
                                      {target->DisplayName()})
                           : target->ReadOnlyReason();
        return result;
    }
    if (target->IsModified()) {
        result.error = Localize("$$$/Marvane/Host/Restore/Modified=\"@0\" has changes of its own: "
                                "save or revert them first.",
                                {target->DisplayName()});
        return result;
    }
    result.backup = KeepReplaced(copy, target->Path(), result.error);
    if (result.backup.empty()) {
        return result;
    }
    target->EditContent(copy.Content());
    if (!documents.Save(target, result.error)) {
        return result;
    }
    result.restored = true;
    return result;
}

} // namespace host
