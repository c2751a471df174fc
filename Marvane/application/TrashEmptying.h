#pragma once
// Emptying the production's trash for good. Nothing anyone holds goes: an item that is a
// project with a lock beside it, or a folder with such a project anywhere inside, stays, and
// the person is told which. Links in the trash are removed as links; what they point to is
// never touched.
#include <filesystem>
#include <string>
#include <vector>

namespace host {

// The items lying directly in the trash (none when there is no trash).
std::vector<std::filesystem::path> TrashItems(const std::filesystem::path& production);

struct EmptyTrashResult {
    std::size_t removed = 0;
    std::vector<std::string> keptLocked; // names of the items kept because someone holds them
    std::vector<std::string> failed;     // "name: reason" of those that could not be removed
};
EmptyTrashResult EmptyTrash(const std::filesystem::path& production);

} // namespace host
