#pragma once
// Real project files and real open projects for tests.
#include "Marvane/application/ProjectImport.h"
#include "Marvane/documents/DocumentManager.h"
#include "Marvane/projectbackend/LockFiles.h"

#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>
#include <vector>

namespace testsupport {

// Writes a project file (or project folder) with a few sequences and returns its path.
inline std::filesystem::path WriteProject(const std::filesystem::path& path,
                                          std::vector<std::string> sequences = {"Sequence 1"}) {
    std::filesystem::create_directories(path.parent_path());
    if (path.extension() == ".mvprojd") {
        std::filesystem::create_directories(path);
    }
    host::ProjectContent content;
    content.name = path.stem().string();
    content.bins = {"Footage"};
    content.sequences = std::move(sequences);
    std::string error;
    if (!host::SaveProjectContent(path, content, error)) {
        throw std::runtime_error(error);
    }
    return path;
}

inline host::OpenProjectPtr OpenProject(const std::filesystem::path& path,
                                        host::OpenMode mode = host::OpenMode::Normal) {
    host::OpenResult result = host::DocumentManager::Instance().Open(path, mode);
    if (!result.project) {
        throw std::runtime_error(result.error);
    }
    return result.project;
}

inline bool CloseProject(const std::filesystem::path& path) {
    host::OpenProjectPtr project = host::DocumentManager::Instance().Find(path);
    return project && host::DocumentManager::Instance().Close({project});
}

// A small production, "Pilot" in the folder: Scene 4, Dailies/Shot 1 and the trash.
inline std::filesystem::path WriteSmallPilot(const std::filesystem::path& folder) {
    const std::filesystem::path pilot = folder / "Pilot";
    WriteProject(pilot / "Scene 4.mvproj");
    WriteProject(pilot / "Dailies" / "Shot 1.mvproj");
    std::filesystem::create_directories(pilot / "Trash");
    return pilot;
}

// Stops any adding of projects a test started and forgets its results.
inline void StopProjectImport() {
    host::ProjectImport::Instance().SetCopyHookForTesting({});
    host::ProjectImport::Instance().Cancel();
    host::ProjectImport::Instance().Wait(30000);
    host::ProjectImport::Instance().ClearFinished();
}

// Puts another editor's lock on a project, as their marvane on another machine writes it: live
// while its time is fresh, and never this process's to release.
inline void LockAsAnotherEditor(const std::filesystem::path& project, const std::string& name,
                                const std::string& second = "elsewhere") {
    host::LockFileContent lock = host::MakeLockFileContent(name, second);
    lock.hostName = "edit-bay-" + second;
    lock.bootId = "their boot";
    lock.machineId = "their machine";
    std::ofstream(host::LockFilePathFor(project), std::ios::binary)
        << host::SerialiseLockFile(lock);
}

inline void CloseAllProjects() {
    host::DocumentManager::Instance().CloseAllWithoutAsking();
}

} // namespace testsupport
