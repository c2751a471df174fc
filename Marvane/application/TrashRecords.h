#pragma once
// Where each item put in the production's trash came from, so that it can go back. One small
// file an item, "<production>/.marvane/trash/<hash of its name in the trash>.json", written
// whole in one step: every editor's copy reads them, and two editors putting items in the
// trash at once never write the same file. The record goes when the item leaves the trash.
#include <filesystem>
#include <optional>
#include <string>

namespace host {

struct TrashRecord {
    std::string name;           // its name in the trash
    std::filesystem::path from; // where it was, relative to the production
    std::string when;           // UTC, "2026-11-27T11:52:03Z"
    std::string by;             // who put it there
};

// The file that holds the record of the item named so in the trash.
std::filesystem::path TrashRecordFile(const std::filesystem::path& production,
                                      const std::string& nameInTrash);
// Notes that the item at from (inside the production) was moved to inTrash (directly inside
// its trash). False when nothing could be written (no real ".marvane" folder, say).
bool RecordTrashed(const std::filesystem::path& production, const std::filesystem::path& from,
                   const std::filesystem::path& inTrash, const std::string& by);
// The record of an item of the trash; nothing when there is none, or when it is not one this
// system would write (another name, a place outside the production).
std::optional<TrashRecord> FindTrashRecord(const std::filesystem::path& production,
                                           const std::string& nameInTrash);
void ForgetTrashed(const std::filesystem::path& production, const std::string& nameInTrash);

// From now on every move into or out of the open production's trash is recorded.
void RecordMovesOfTheTrash();

// Puts an item of the trash back where it came from. Never replaces anything: a name taken
// there, a folder that is gone, an item with no record or locked by someone is refused with
// the reason for the person. Returns the place it went back to, or nothing.
enum class RestoreRefusal {
    kNone,
    kNotInTrash,
    kNoRecord,
    kFolderGone,
    kNameTaken,
    kLocked,
    kFailed
};
// What to do where the item cannot go back as it was: a name taken there is answered with a
// numbered name beside it ("Shot 1_1.mvproj"); a folder that is gone is made again.
enum class RestoreChoice { kAsItWas, kKeepBoth, kMakeTheFolder };
struct TrashRestoreResult {
    std::optional<std::filesystem::path> restored;
    std::string refusal; // when not restored
    RestoreRefusal why = RestoreRefusal::kNone;
};
TrashRestoreResult RestoreFromTrash(const std::filesystem::path& production,
                                    const std::filesystem::path& item,
                                    RestoreChoice choice = RestoreChoice::kAsItWas);

} // namespace host
