#include "Marvane/application/TrashRecords.h"

#include "Marvane/core/JsonText.h"
#include "Marvane/fileservices/FileReading.h"
#include "Marvane/fileservices/FileWriting.h"
#include "Marvane/fileservices/MovedItems.h"
#include "Marvane/projectbackend/LockFiles.h"
#include "Marvane/projectbackend/LockingIdentity.h"
#include "host/FileServices.h"
#include "host/Localizer.h"

#include <cerrno>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <ctime>
#include <nlohmann/json.hpp>
#include <sys/stat.h>

namespace host {

namespace fs = std::filesystem;

namespace {

constexpr const char* kRecordsFolder = "trash";
constexpr const char* kTrashName = "Trash";

// A name's hash, the same on every machine and in every run (FNV-1a, 64 bits).
std::string NameHash(const std::string& name) {
    std::uint64_t hash = 14695981039346656037ULL;
    for (const char character : name) {
        hash = (hash ^ static_cast<unsigned char>(character)) * 1099511628211ULL;
    }
    char text[17];
    std::snprintf(text, sizeof(text), "%016llx", static_cast<unsigned long long>(hash));
    return text;
}

bool IsRealFolder(const fs::path& folder) {
    std::error_code ignored;
    return fs::is_directory(fs::symlink_status(folder, ignored));
}

// The folder of records, made when missing; never through a symbolic link.
std::optional<fs::path> RecordsFolder(const fs::path& production) {
    const fs::path own = production / ".marvane";
    const fs::path records = own / kRecordsFolder;
    std::error_code ignored;
    fs::create_directory(own, ignored);
    if (!IsRealFolder(own)) {
        return std::nullopt;
    }
    fs::create_directory(records, ignored);
    return IsRealFolder(records) ? std::optional<fs::path>(records) : std::nullopt;
}

std::string UtcNow() {
    const std::time_t now = std::chrono::system_clock::to_time_t(std::chrono::system_clock::now());
    std::tm parts{};
    gmtime_r(&now, &parts);
    char text[32];
    std::strftime(text, sizeof(text), "%Y-%m-%dT%H:%M:%SZ", &parts);
    return text;
}

// A place inside the production: relative, and never climbing out of it.
bool StaysInside(const fs::path& relative) {
    if (relative.empty() || relative.is_absolute()) {
        return false;
    }
    for (const fs::path& part : relative.lexically_normal()) {
        if (part == "..") {
            return false;
        }
    }
    return true;
}

fs::path TrashOf(const fs::path& production) {
    return production / kTrashName;
}

} // namespace

fs::path TrashRecordFile(const fs::path& production, const std::string& nameInTrash) {
    return production / ".marvane" / kRecordsFolder / (NameHash(nameInTrash) + ".json");
}

bool RecordTrashed(const fs::path& production, const fs::path& from, const fs::path& inTrash,
                   const std::string& by) {
    const std::optional<fs::path> folder = RecordsFolder(production);
    const fs::path relative = from.lexically_relative(production);
    if (!folder || !StaysInside(relative)) {
        return false;
    }
    const std::string name = inTrash.filename().string();
    nlohmann::json record;
    record["name"] = name;
    record["from"] = relative.generic_string();
    record["when"] = UtcNow();
    record["by"] = by;
    std::string error;
    return ReplaceFile(TrashRecordFile(production, name), JsonText(record, 2) + "\n", error);
}

std::optional<TrashRecord> FindTrashRecord(const fs::path& production,
                                           const std::string& nameInTrash) {
    const fs::path file = TrashRecordFile(production, nameInTrash);
    std::error_code ignored;
    if (!fs::is_regular_file(fs::symlink_status(file, ignored))) {
        return std::nullopt; // a link at its name leads elsewhere: not a record
    }
    const nlohmann::json json = ReadJsonFile(file);
    if (!json.is_object()) {
        return std::nullopt;
    }
    const auto field = [&json](const char* key) {
        const auto found = json.find(key);
        return found != json.end() && found->is_string() ? found->get<std::string>()
                                                         : std::string();
    };
    TrashRecord record{field("name"), fs::path(field("from")), field("when"), field("by")};
    // Another name's record (hashes can meet), or a place that leaves the production.
    if (record.name != nameInTrash || !StaysInside(record.from)) {
        return std::nullopt;
    }
    return record;
}

void ForgetTrashed(const fs::path& production, const std::string& nameInTrash) {
    std::error_code ignored;
    fs::remove(TrashRecordFile(production, nameInTrash), ignored);
}

namespace {

// The production whose trash directly holds the path: the folder above a "Trash" that has a
// production's own ".marvane" folder beside it. Worked out from the path alone, so that a
// move on any thread is recorded without asking the session.
std::optional<fs::path> ProductionOfTrashItem(const fs::path& item) {
    const fs::path trash = item.parent_path();
    if (trash.filename() != kTrashName) {
        return std::nullopt;
    }
    const fs::path production = trash.parent_path();
    if (!IsRealFolder(production / ".marvane")) {
        return std::nullopt;
    }
    return production;
}

} // namespace

void RecordMovesOfTheTrash() {
    SetMovedListener([](const fs::path& from, const fs::path& to) {
        const fs::path source = from.lexically_normal();
        const fs::path target = to.lexically_normal();
        const std::optional<fs::path> left = ProductionOfTrashItem(source);
        if (left) {
            ForgetTrashed(*left, source.filename().string());
        }
        const std::optional<fs::path> entered = ProductionOfTrashItem(target);
        if (entered && !(left && *left == *entered)) {
            RecordTrashed(*entered, source, target, CurrentLockingIdentity().name);
        }
    });
}

namespace {

// Installed while the library loads, as the other sources are.
[[maybe_unused]] const bool gTrashMovesRecorded = [] {
    RecordMovesOfTheTrash();
    return true;
}();

} // namespace

TrashRestoreResult RestoreFromTrash(const fs::path& production, const fs::path& item,
                                    RestoreChoice choice) {
    TrashRestoreResult result;
    const auto refuse = [&result](RestoreRefusal why, std::string text) {
        result.why = why;
        result.refusal = std::move(text);
        return result;
    };
    const std::string name = item.filename().string();
    if (item.parent_path().lexically_normal() != TrashOf(production).lexically_normal()) {
        return refuse(
            RestoreRefusal::kNotInTrash,
            Localize("$$$/Marvane/Host/PutBack/NotInTrash=\"@0\" is not in the trash.", {name}));
    }
    const std::optional<TrashRecord> record = FindTrashRecord(production, name);
    if (!record) {
        return refuse(RestoreRefusal::kNoRecord,
                      Localize("$$$/Marvane/Host/PutBack/NoRecord=\"@0\" cannot be put back: "
                               "there is no record of where it came from (it went into the "
                               "trash before such records were kept, or not through marvane).",
                               {name}));
    }
    fs::path destination = production / record->from;
    const fs::path folder = destination.parent_path();
    const std::string folderName =
        folder == production ? production.filename().string() : record->from.parent_path().string();
    std::error_code ignored;
    if (fs::exists(fs::symlink_status(LockFilePathFor(item), ignored))) {
        return refuse(RestoreRefusal::kLocked,
                      Localize("$$$/Marvane/Host/PutBack/Locked=\"@0\" cannot be put back while "
                               "someone holds its lock.",
                               {name}));
    }
    if (!IsRealFolder(folder)) {
        // Made again only where nothing else has its name, and inside the production.
        if (choice != RestoreChoice::kMakeTheFolder ||
            fs::exists(fs::symlink_status(folder, ignored)) ||
            !EnsureDirectoryExists(ToUTF16(folder.string())) || !IsRealFolder(folder)) {
            return refuse(RestoreRefusal::kFolderGone,
                          Localize("$$$/Marvane/Host/PutBack/FolderGone=\"@0\" cannot be put "
                                   "back: the folder it came from, \"@1\", is not there any more.",
                                   {name, folderName}));
        }
    }
    if (fs::exists(fs::symlink_status(destination, ignored))) {
        if (choice != RestoreChoice::kKeepBoth) {
            return refuse(RestoreRefusal::kNameTaken,
                          Localize("$$$/Marvane/Host/PutBack/NameTaken=\"@0\" cannot be put "
                                   "back: \"@1\" already holds an item named \"@2\".",
                                   {name, folderName, destination.filename().string()}));
        }
        destination =
            fs::path(ToUTF8(MakeUniqueFilename(ToUTF16(destination.string()), 1, u"_", {})));
    }
    // The move never replaces anything (a name taken meanwhile fails it), and tells the
    // record to go.
    if (Move(ToUTF16(item.string()), ToUTF16(destination.string())) < 0) {
        return refuse(RestoreRefusal::kFailed,
                      Localize("$$$/Marvane/Host/PutBack/Failed=\"@0\" could not be put back "
                               "into \"@1\".",
                               {name, folderName}));
    }
    ForgetTrashed(production, name);
    result.restored = destination;
    return result;
}

} // namespace host
