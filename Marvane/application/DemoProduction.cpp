#include "Marvane/application/DemoProduction.h"

#include "Marvane/projectbackend/LockFiles.h"
#include "Marvane/projectbackend/ProjectFormats.h"

#include <chrono>
#include <fstream>
#include <nlohmann/json.hpp>
#include <vector>

namespace host {

namespace {

namespace fs = std::filesystem;

struct DemoProject {
    const char* relativePath; // without extension
    int ageDays;
    int sequences;
};

// Natural order shows in "Shot 2" before "Shot 10"; sizes grow with the sequence count.
const std::vector<DemoProject> kProjects = {
    {"Dailies/Day 1/Shot 1", 30, 2},
    {"Dailies/Day 1/Shot 2", 29, 3},
    {"Dailies/Day 1/Shot 10", 28, 1},
    {"Dailies/Day 1/Shot 12", 28, 4},
    {"Dailies/Day 2/Shot 3", 21, 2},
    {"Dailies/Day 2/Shot 21", 20, 6},
    {"Edit/Assembly v1", 18, 8},
    {"Edit/Assembly v2", 12, 9},
    {"Edit/Fine Cut", 3, 14},
    {"Edit/Director's Cut", 1, 16},
    {"Edit/Archive/Assembly v0", 40, 5},
    {"Sound/Sound Mix", 6, 3},
    {"Sound/Music Stems", 9, 2},
    {"Graphics/Lower Thirds", 11, 1},
    {"Trailer", 2, 7},
    {"Teaser", 5, 3},
    {"Étude 2", 15, 1},
    {"Scene 12", 7, 5},
    {"Scene 4", 8, 4},
    {"Trash/Old Cut", 60, 2},
};

void WriteText(const fs::path& file, const std::string& text) {
    fs::create_directories(file.parent_path());
    std::ofstream out(file, std::ios::binary | std::ios::trunc);
    out << text;
    if (!out.flush()) {
        throw std::runtime_error("could not write " + file.string());
    }
}

std::string ProjectJson(const std::string& name, int sequences) {
    nlohmann::json content;
    content["formatVersion"] = kProjectFormatVersion;
    content["name"] = name;
    content["bins"] = {"Footage", "Audio", "Graphics"};
    std::vector<std::string> names;
    for (int i = 1; i <= sequences; ++i) {
        names.push_back(name + " - Sequence " + std::to_string(i));
    }
    content["sequences"] = names;
    return content.dump(2) + "\n";
}

void SetAge(const fs::path& path, int ageDays) {
    const auto when = fs::file_time_type::clock::now() - std::chrono::hours(24 * ageDays);
    fs::last_write_time(path, when);
}

void WriteDemo(const fs::path& root) {
    for (const DemoProject& project : kProjects) {
        const fs::path file =
            root / (std::string(project.relativePath) + std::string(kProjectFileExtension));
        WriteText(file, ProjectJson(file.stem().string(), project.sequences));
        SetAge(file, project.ageDays);
    }
    // A project of the folder format.
    const fs::path folderProject = root / "Graphics" / "Titles.mvprojd";
    WriteText(folderProject / kProjectFolderContentName, ProjectJson("Titles", 3));
    SetAge(folderProject, 4);
    // Another editor has "Fine Cut" open for writing.
    LockFileContent lock = MakeLockFileContent(kDemoOtherEditorName, "edit-suite-2");
    lock.hostName = "edit-suite-2";
    lock.processId = 4242;
    lock.bootId = "00000000-0000-0000-0000-000000000000";
    WriteText(LockFilePathFor(root / "Edit" / ("Fine Cut" + std::string(kProjectFileExtension))),
              SerialiseLockFile(lock));
    // Ordinary files that the panel does not list.
    WriteText(root / "Notes.txt", "Call sheet and shot notes.\n");
    WriteText(root / "Dailies" / "camera-report.csv", "shot,take,clip\n1,1,A001C001\n");
    WriteText(root / ".production-cache", "\n");
}

} // namespace

fs::path EnsureDemoProduction(const fs::path& dataDirectory, std::string& error) {
    const fs::path root = dataDirectory / kDemoProductionName;
    std::error_code status;
    if (fs::is_directory(root, status)) {
        return root;
    }
    // Written into a fresh folder and renamed into place, so a half-written demo never
    // counts as done.
    const fs::path partial = dataDirectory / (std::string(kDemoProductionName) + ".partial");
    try {
        fs::remove_all(partial);
        WriteDemo(partial);
        fs::rename(partial, root);
    } catch (const std::exception& failure) {
        std::error_code ignored;
        fs::remove_all(partial, ignored);
        error = std::string("The demo production could not be written: ") + failure.what();
        return {};
    }
    return root;
}

} // namespace host
