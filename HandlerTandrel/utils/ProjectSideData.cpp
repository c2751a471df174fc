#include "utils/ProjectSideData.h"

#include "host/ApplicationLayer.h"
#include "host/AsyncCalls.h"
#include "host/FileServices.h"
#include "utils/MoveItems.h"

#include <chrono>

namespace HandlerTandrel::Utils {

bool MoveMaskingStorage(const host::WideString& oldProjectPath,
                        const host::WideString& newProjectPath) {
    if (!host::IsNewMaskingEnabled()) {
        return true;
    }
    const auto storage = host::GetObjectSelectionRasterStorage();
    if (!storage) {
        return true;
    }
    const host::WideString oldFolder = storage->GetDataFolder(oldProjectPath);
    if (!host::DirectoryExists(oldFolder)) {
        return true;
    }
    const host::WideString newFolder = storage->GetDataFolder(newProjectPath);
    if (!host::FileOrDirExists(newFolder) && MoveFileOrFolder(oldFolder, newFolder)) {
        return true;
    }
    ShowMoveError(newFolder);
    return false;
}

void MoveIndexFiles(const host::ProjectPtr& project, const host::WideString& newProjectPath) {
    if (!project) {
        return;
    }
    std::shared_future<std::shared_ptr<host::IVideoEmbeddingStorage>> request =
        host::GetOrCreateVideoEmbeddingStorage();
    if (!request.valid()) {
        return;
    }
    // Nothing here waits: the storage is handed the move once it is there.
    host::RunOnDefaultExecutor(
        [request, oldPath = project->GetPath(), newPath = host::ToUTF8(newProjectPath)] {
            if (const auto storage = request.get()) {
                storage->UpdateProjectPath(oldPath, newPath);
            }
        });
}

} // namespace HandlerTandrel::Utils
