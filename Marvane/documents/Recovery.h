#pragma once
// Unsaved changes that must not be lost when the host is stopped without asking (a signal):
// each modified project's content is written as a copy into "<data folder>/Recovery", never
// over the project, and offered at the next start.
#include <filesystem>
#include <string>
#include <vector>

namespace host {

struct RecoveredCopy {
    std::filesystem::path copy;     // the recovered project file
    std::filesystem::path original; // the project it was made from
};

// Writes a copy of every open, modified project; returns the copies written.
std::vector<std::filesystem::path> SaveRecoveryCopies(const std::filesystem::path& dataDirectory);
// Copies not offered to the user yet.
std::vector<RecoveredCopy> FindRecoveredCopies(const std::filesystem::path& dataDirectory);
// Marks a copy as offered, so that later starts do not ask about it again.
void MarkRecoveredCopyOffered(const RecoveredCopy& copy);

} // namespace host
