#pragma once
// Data the host keeps for each project beside the project itself, hidden from the production
// tree by a leading dot, so that it travels with the project on the shared drive and every
// editor sees the same:
//   ".<project file name>.objsel/"  object-selection data (when new masking is switched on)
//   ".<project file name>.mvindex"  the search index: the project's bins and sequences
#include "Marvane/documents/ProjectContent.h"

#include <filesystem>

namespace host {

std::filesystem::path ObjectSelectionFolderFor(const std::filesystem::path& projectPath);
std::filesystem::path SearchIndexFileFor(const std::filesystem::path& projectPath);

// Brings the project's side data up to date after it was saved: its search index, and with
// new masking its object-selection folder. Failures are traced; the project is saved anyway.
void UpdateProjectSideData(const std::filesystem::path& projectPath, const ProjectContent& content);

} // namespace host
