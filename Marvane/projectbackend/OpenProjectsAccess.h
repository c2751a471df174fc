#pragma once
// The open projects, as the project back end hands them to modules: kept by the documents
// layer above, which installs this access while the library loads.
#include "host/ProjectBackEnd.h"

#include <functional>
#include <vector>

namespace host {

struct OpenProjectsAccess {
    std::function<ProjectPtr(const ByteString& projectPath)> find;
    std::function<std::vector<ProjectPtr>()> all;
    std::function<bool(const std::vector<ProjectPtr>& projects, bool saveWithoutAsking,
                       bool offerApplyToAll)>
        close;
    std::function<bool(const ByteString& projectPath, int mode)> openInHost;
    std::function<bool(const ProjectPtr& project, bool reportFailure)> reload;
    std::function<bool()> closeAll;
    std::function<bool(const ProjectPtr& project)> save;
    std::function<bool(const ProjectPtr& project, bool readOnly, bool& needsReload)> setReadOnly;
    std::function<ByteString(const ByteString& folderPath)> createNew;
    std::function<ProjectPtr()> active;
    std::function<void(const ProjectPtr& project)> makeActive;
    std::function<bool(const DraggedProjectItems& items, const ProjectPtr& target)> canAddItems;
    std::function<bool(const DraggedProjectItems& items, const ProjectPtr& target, int moveFlag)>
        copyItems;
};

void SetOpenProjectsAccess(OpenProjectsAccess access);

} // namespace host
