#pragma once
// Project files for the end-to-end tests, written as a user's would be.
#include <filesystem>
#include <fstream>
#include <string>

namespace e2e {

// A small project file with one sequence (its folders made as needed).
inline void WriteProject(const std::filesystem::path& path,
                         const std::string& sequence = "Sequence 1") {
    std::filesystem::create_directories(path.parent_path());
    std::ofstream(path, std::ios::binary)
        << R"({"formatVersion": 1, "name": ")" << path.stem().string()
        << R"(", "bins": ["Footage"], "sequences": [")" << sequence << "\"]}\n";
}

// The panel's widgets, by their node ids.
inline constexpr const char* kTree = "MvProduction.DirectoryView.MediaBrowserMultiColumnTree";
inline constexpr const char* kResults = "Handlers.Tandrel.TandrelSearchResultsView";
inline constexpr const char* kSearchBox = "Handlers.Tandrel.SearchBox";
inline constexpr const char* kStatus = "Handlers.Tandrel.StatusText";
inline constexpr const char* kSlider = "Handlers.Tandrel.ZoomSlider";

} // namespace e2e
