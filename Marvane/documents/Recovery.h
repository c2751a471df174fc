#pragma once
// Unsaved changes that must not be lost when the host is stopped without asking (a signal):
// each modified project's content is written as a copy into "<data folder>/Recovery", never
// over the project, and offered at the next start.
#include <filesystem>
#include <iosfwd>
#include <string>
#include <vector>

namespace host {

struct RecoveredCopy {
    std::filesystem::path copy;     // the recovered project file
    std::filesystem::path original; // the project it was made from
};

struct RecoveryResult {
    std::vector<std::filesystem::path> written;
    // Projects whose copy could not be written, with the reason: they must not be closed.
    std::vector<std::pair<std::filesystem::path, std::string>> failed;
};

// Writes a copy of every open, modified project into "<data folder>/Recovery".
RecoveryResult SaveRecoveryCopies(const std::filesystem::path& dataDirectory);
// Before a stop that asks nobody: writes those copies, says on err where each went, and makes
// every project whose copy could not be written keep its lock (it is not released when it
// closes), so that its changes stay where its holder can still find them.
void KeepChangesBeforeStopping(const std::filesystem::path& dataDirectory, std::ostream& err);
class OpenProject;
// Writes a copy of one project's content (modified or not); the copy, or empty with the
// reason in error.
std::filesystem::path SaveRecoveryCopy(const std::filesystem::path& dataDirectory,
                                       const OpenProject& project, std::string& error);
// Now, as the names of recovery copies and kept files give it: "21 Nov 14.02" (local time,
// the month in the chosen language).
std::string LocalStamp();
// A file name made from a project's name that stays inside its folder and that any share
// takes: no separators, none of : * ? " < > |, no leading dots, no control characters, at
// most 120 bytes.
std::string SafeFileName(const std::string& name);
// Copies not offered to the user yet.
std::vector<RecoveredCopy> FindRecoveredCopies(const std::filesystem::path& dataDirectory);
// Marks a copy as offered, so that later starts do not ask about it again.
void MarkRecoveredCopyOffered(const RecoveredCopy& copy);

} // namespace host
