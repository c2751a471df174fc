#pragma once
// Putting recovered changes back into the project they came from.
#include "Marvane/documents/OpenProject.h"

#include <filesystem>
#include <optional>
#include <string>

namespace host {

// The project a recovery copy was made from, when `copy` is one (offered or not).
std::optional<std::filesystem::path> RecoveredFrom(const std::filesystem::path& copy);

struct RestoreResult {
    bool restored = false;
    std::filesystem::path backup; // what the project held before, beside the recovery copy
    std::string error;            // why nothing was restored, in the user's words
};

// Writes the copy's content into its original: the original is opened read-write (taking its
// lock) or must already be open read-write without changes of its own; what it held on disk
// is kept first as "<name> (replaced <when>)" beside the copy; then it is saved. Nothing is
// written when any step is refused.
RestoreResult RestoreRecoveredCopy(const OpenProject& copy, const std::filesystem::path& original);

} // namespace host
