#pragma once
// "Date Created" where the file system keeps no extended attributes (sshfs, SMB through a
// user-space client). There the first creation time of a file saved by replacement is noted
// in a hidden record in the file's own folder, ".marvane-created", which every editor's copy
// reads and which goes with the folder when the folder is renamed or moved.
//
// An entry holds the time and what the file looked like when it was saved here (modification
// time and size, of the file written and of the one it replaced, so that a save cut short
// before its rename still matches the old file). A file changed since by another program, or
// removed and made anew under the same name, no longer matches and shows its own time again.
// Moves made through the host carry the entry to the new folder.
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <sys/stat.h>

namespace host {

inline constexpr const char* kCreationRecordName = ".marvane-created";

// The creation time the record of path's folder keeps for it, when the record has an entry
// for its name that matches status (the file's status, just asked). A record read a moment
// ago is not read again: another editor's save shows within a second.
std::optional<std::int64_t> RecordedCreatedTicks(const std::string& path,
                                                 const struct statx& status);

// Notes, before replacement is renamed over target, that target was first made at created;
// current is target's status, replacement's the new file's. False when the record could not
// be written.
bool RecordCreation(const std::string& target, std::int64_t created, const struct statx& current,
                    const struct statx& replacement);

// After the host moved the file from to to (another name, another folder): its entry goes
// along. Nothing when from's folder has no record or no entry for it.
void CarryCreationRecord(const std::filesystem::path& from, const std::filesystem::path& to);

// Forgets every record read, so that the next question reads the disk.
void ForgetReadCreationRecords();

} // namespace host
