#pragma once
// When a file was first made, kept across saves. A save writes a new file and renames it over
// the old one, so the file system gives the saved file a birth time of its own: "Date Created"
// would move to every save. The first birth time therefore goes with the file in an extended
// attribute, carried from the old file to the new one at each replacement. A file system that
// keeps no extended attributes (sshfs) shows the birth time of the last save.
#include <cstdint>
#include <optional>
#include <string>
#include <sys/stat.h>

namespace host {

// The attribute: the creation time in 100-nanosecond ticks since 1970 UTC, in decimal.
inline constexpr const char* kCreatedAttribute = "user.marvane.created";

// The creation time the file keeps, if it keeps one (a link is followed).
std::optional<std::int64_t> KeptCreatedTicks(const std::string& path);
// When the file was made: the time it keeps, else its birth time (else its last status
// change), from the status just asked.
std::int64_t CreatedTicksOfFile(const std::string& path, const struct statx& status);
// Gives replacement, a file about to be renamed over target, target's creation time. Nothing
// when target is not there or the attribute cannot be written; true when it was written.
bool CarryCreation(const std::string& target, const std::string& replacement);

} // namespace host
