// The side data of projects, and the two storages that modules reach it through.
#include "Marvane/application/ProjectSideData.h"

#include "Marvane/application/HostSession.h"
#include "Marvane/fileservices/FileWriting.h"
#include "host/ApplicationLayer.h"
#include "host/DebugTrace.h"
#include "host/FileServices.h"

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

class ObjectSelectionStorage final : public IObjectSelectionRasterStorage {
public:
    WideString GetDataFolder(const WideString& projectPath) const override {
        return ToUTF16(ObjectSelectionFolderFor(fs::path(ToUTF8(projectPath))).string());
    }
};

class SearchIndexStorage final : public IVideoEmbeddingStorage {
public:
    void UpdateProjectPath(const ByteString& oldProjectPath,
                           const ByteString& newProjectPath) override {
        const fs::path from = SearchIndexFileFor(oldProjectPath);
        const fs::path to = SearchIndexFileFor(newProjectPath);
        const std::lock_guard guard(gIndexMutex);
        std::error_code error;
        if (!fs::exists(from, error)) {
            return;
        }
        // The index is made from the project; one left at the new place belonged to a
        // project that is not there any more, so it is replaced.
        if (std::rename(from.c_str(), to.c_str()) != 0) {
            fs::copy_file(from, to, fs::copy_options::overwrite_existing, error);
            if (!error) {
                fs::remove(from, error);
            } else {
                Trace("Host", 2,
                      "The search index " + from.string() + " could not follow its project");
            }
        }
    }
};

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
        if (!ReplaceFile(SearchIndexFileFor(projectPath), index.dump() + "\n", reason)) {
            Trace("Host", 2, "The search index could not be written: " + reason);
        }
    }
    if (IsNewMaskingEnabled()) {
        const fs::path folder = ObjectSelectionFolderFor(projectPath);
        std::error_code error;
        fs::create_directories(folder, error);
        const nlohmann::json selections = {{"project", content.name},
                                           {"sequences", content.sequences}};
        if (error || !ReplaceFile(folder / "selections.json", selections.dump() + "\n", reason)) {
            Trace("Host", 2,
                  "The object-selection data could not be written in " + folder.string());
        }
    }
}

bool IsNewMaskingEnabled() {
    return HostSession::Instance().preferences.newMasking;
}

std::shared_ptr<IObjectSelectionRasterStorage> GetObjectSelectionRasterStorage() {
    static const auto storage = std::make_shared<ObjectSelectionStorage>();
    return storage;
}

std::shared_future<std::shared_ptr<IVideoEmbeddingStorage>> GetOrCreateVideoEmbeddingStorage() {
    static std::once_flag made;
    static std::shared_future<std::shared_ptr<IVideoEmbeddingStorage>> storage;
    std::call_once(made, [] {
        std::promise<std::shared_ptr<IVideoEmbeddingStorage>> promise;
        promise.set_value(std::make_shared<SearchIndexStorage>());
        storage = promise.get_future().share();
    });
    return storage;
}

} // namespace host
