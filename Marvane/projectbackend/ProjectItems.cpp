// Tells the file services, which sit below the project back end, what a project is to them:
// installed while the library loads.
#include "Marvane/fileservices/ProjectItemRules.h"
#include "Marvane/projectbackend/LockFiles.h"
#include "Marvane/projectbackend/ProjectFormats.h"

namespace host {

namespace {

bool InstallProjectItemRules() {
    SetProjectItemRules(ProjectItemRules{
        [](const std::string& utf8Path) { return IsMarvaneProjectFile(utf8Path); },
        [](const std::filesystem::path& project) { return ProjectContentFile(project); },
        // A lock of ours left at the old place, by this process or by one of ours that
        // crashed, names a project that is not there any more and would only keep others
        // from moving the folder.
        [](const std::filesystem::path& from) { RemoveOwnLockFile(from, true); },
        kLockFileSuffix.size(),
    });
    return true;
}

[[maybe_unused]] const bool gProjectItemRulesInstalled = InstallProjectItemRules();

} // namespace

} // namespace host
