#pragma once
// The demo production that a first start opens: a few folders at two levels, about twenty
// projects with varied names, dates and sizes, one locked by another editor, one project
// folder, a few ordinary files that the panel hides, and one item in the trash.
#include <filesystem>
#include <string>

namespace host {

inline constexpr const char* kDemoProductionName = "Demo Production";
inline constexpr const char* kDemoOtherEditorName = "Rowan Achebe";

// Writes the demo production under dataDirectory unless it is there already; returns its
// folder, or an empty path with error set when it could not be written.
std::filesystem::path EnsureDemoProduction(const std::filesystem::path& dataDirectory,
                                           std::string& error);

} // namespace host
