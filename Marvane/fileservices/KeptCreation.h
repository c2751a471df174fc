#pragma once
// When a file was first made, kept across saves. A save writes a new file and renames it over
// the old one, so the file system gives the saved file a birth time of its own: "Date Created"
// would move to every save. The first birth time therefore goes with the file in an extended
// attribute, carried from the old file to the new one at each replacement. Where the file
// system keeps no extended attributes (sshfs, SMB through a user-space client) the folder's
// record keeps it instead (CreationRecords).
#include <cstdint>
#include <optional>
#include <string>
#include <sys/stat.h>

namespace host {

// The attribute: the creation time in 100-nanosecond ticks since 1970 UTC, in decimal.
inline constexpr const char* kCreatedAttribute = "user.marvane.created";

// The creation time the file keeps in its attribute, if it keeps one (a link is followed).
std::optional<std::int64_t> KeptCreatedTicks(const std::string& path);
// The creation time kept for the file whose status was just asked: its attribute's, else the
// one its folder's record keeps for it.
std::optional<std::int64_t> KeptCreatedTicks(const std::string& path, const struct statx& status);
// When the file was made: the time it keeps, else its birth time (else its last status
// change), from the status just asked.
std::int64_t CreatedTicksOfFile(const std::string& path, const struct statx& status);
// Gives replacement, a file about to be renamed over target, target's creation time: in the
// attribute, else in the folder's record. Nothing when target is not there or neither can be
// written; true when one was.
bool CarryCreation(const std::string& target, const std::string& replacement);

} // namespace host
