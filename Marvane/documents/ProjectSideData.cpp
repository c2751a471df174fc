// The side data of projects: where it lives beside them, and keeping it up to date.
#include "Marvane/documents/ProjectSideData.h"
#include "Marvane/core/InstalledSource.h"
#include "Marvane/core/JsonText.h"

#include "Marvane/fileservices/FileWriting.h"
#include "host/DebugTrace.h"
#include "host/FileServices.h"

#include <functional>

#include <cstdio>
#include <mutex>
#include <nlohmann/json.hpp>

namespace host {

namespace fs = std::filesystem;

namespace {

// The search index is written on the main thread and moved on a worker: one at a time.
std::mutex gIndexMutex;

fs::path Beside(const fs::path& projectPath, const char* suffix) {
    const fs::path project = projectPath.has_filename() ? projectPath : projectPath.parent_path();
    return project.parent_path() / ("." + project.filename().string() + suffix);
}

InstalledSource<bool>& NewMaskingSource() {
    static InstalledSource<bool> source;
    return source;
}

bool KeepsObjectSelections() {
    return NewMaskingSource().Get();
}

} // namespace

fs::path ObjectSelectionFolderFor(const fs::path& projectPath) {
    return Beside(projectPath, ".objsel");
}

fs::path SearchIndexFileFor(const fs::path& projectPath) {
    return Beside(projectPath, ".mvindex");
}

void UpdateProjectSideData(const fs::path& projectPath, const ProjectContent& content) {
    nlohmann::json index = {
        {"project", content.name}, {"bins", content.bins}, {"sequences", content.sequences}};
    std::string reason;
    {
        const std::lock_guard guard(gIndexMutex);
        if (!ReplaceFile(SearchIndexFileFor(projectPath), JsonText(index) + "\n", reason)) {
            Trace("Host", 2, "The search index could not be written: " + reason);
        }
    }
    if (KeepsObjectSelections()) {
        const fs::path folder = ObjectSelectionFolderFor(projectPath);
        std::error_code error;
        fs::create_directories(folder, error);
        const nlohmann::json selections = {{"project", content.name},
                                           {"sequences", content.sequences}};
        if (error ||
            !ReplaceFile(folder / "selections.json", JsonText(selections) + "\n", reason)) {
            Trace("Host", 2,
                  "The object-selection data could not be written in " + folder.string());
        }
    }
}

void SetNewMaskingSource(std::function<bool()> source) {
    NewMaskingSource().Install(std::move(source));
}

void MoveSearchIndex(const fs::path& oldProjectPath, const fs::path& newProjectPath) {
    const fs::path from = SearchIndexFileFor(oldProjectPath);
    const fs::path to = SearchIndexFileFor(newProjectPath);
    const std::lock_guard guard(gIndexMutex);
    std::error_code error;
    if (!fs::exists(from, error)) {
        return;
    }
    // The index is made from the project; one left at the new place belonged to a project
    // that is not there any more, so it is replaced.
    if (std::rename(from.c_str(), to.c_str()) != 0) {
        fs::copy_file(from, to, fs::copy_options::overwrite_existing, error);
        if (!error) {
            fs::remove(from, error);
        } else {
            Trace("Host", 2, "The search index " + from.string() + " could not follow its project");
        }
    }
}

} // namespace host
