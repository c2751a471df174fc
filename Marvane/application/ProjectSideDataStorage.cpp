// The two storages through which modules reach the side data that the host keeps beside each
// project (documents/ProjectSideData), and the preference that switches object selections on.
#include "Marvane/application/HostSession.h"
#include "Marvane/documents/ProjectSideData.h"
#include "host/ApplicationLayer.h"

#include <mutex>

namespace host {

namespace {

namespace fs = std::filesystem;

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
        MoveSearchIndex(oldProjectPath, newProjectPath);
    }
};

} // namespace

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
