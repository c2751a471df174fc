#pragma once
// What the file services must know of projects, which live in a layer above them: which items
// are projects (a project folder is one item, numbered before its extension), which file of a
// moved project is compared byte for byte before its original is removed, and what follows a
// project's move (its lock at the old place goes). The project back end installs the rules
// while the library loads; without them nothing is a project.
#include <cstddef>
#include <filesystem>
#include <functional>
#include <string>

namespace host {

struct ProjectItemRules {
    std::function<bool(const std::string& utf8Path)> isProject;
    // The file of a project (file or folder) that holds its content.
    std::function<std::filesystem::path(const std::filesystem::path& project)> contentFile;
    // Told after a project moved away from the path.
    std::function<void(const std::filesystem::path& from)> moved;
    // The bytes a file beside a project adds to the project's name (its lock file's suffix):
    // a project's name must leave that room.
    std::size_t besideNameBytes = 0;
};

void SetProjectItemRules(ProjectItemRules rules);
ProjectItemRules CurrentProjectItemRules();
bool IsProjectItem(const std::string& utf8Path);

} // namespace host
