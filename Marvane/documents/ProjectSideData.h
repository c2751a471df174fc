#pragma once
// Data the host keeps for each project beside the project itself, hidden from the production
// tree by a leading dot, so that it travels with the project on the shared drive and every
// editor sees the same:
//   ".<project file name>.objsel/"  object-selection data (when new masking is switched on)
//   ".<project file name>.mvindex"  the search index: the project's bins and sequences
#include "Marvane/documents/ProjectContent.h"

#include <filesystem>
#include <functional>

namespace host {

std::filesystem::path ObjectSelectionFolderFor(const std::filesystem::path& projectPath);
std::filesystem::path SearchIndexFileFor(const std::filesystem::path& projectPath);

// Brings the project's side data up to date after it was saved: its search index, and with
// new masking its object-selection folder. Failures are traced; the project is saved anyway.
void UpdateProjectSideData(const std::filesystem::path& projectPath, const ProjectContent& content);
// Whether object-selection data is kept ("new masking"): the application installs the source
// of this preference at start; without one it is not kept.
void SetNewMaskingSource(std::function<bool()> source);
// The search index follows its project to its new path (any index already there is replaced:
// it was made from a project that is not there any more). Safe on any thread.
void MoveSearchIndex(const std::filesystem::path& oldProjectPath,
                     const std::filesystem::path& newProjectPath);

} // namespace host
