#pragma once
// The host's project formats: a ".mvproj" file of UTF-8 JSON, and a ".mvprojd" folder that
// holds "project.json" (switched on by a preference, on by default).
#include <filesystem>
#include <string_view>

namespace host {

inline constexpr std::string_view kProjectFileExtension = ".mvproj";
inline constexpr std::string_view kProjectFolderExtension = ".mvprojd";
inline constexpr std::string_view kProjectFolderContentName = "project.json";
inline constexpr std::string_view kLockFileSuffix = ".lock";
inline constexpr int kProjectFormatVersion = 1;

void SetFolderProjectFormatEnabled(bool enabled);
// The file that holds a project's content: the project file, or project.json of a folder.
std::filesystem::path ProjectContentFile(const std::filesystem::path& projectPath);

} // namespace host
