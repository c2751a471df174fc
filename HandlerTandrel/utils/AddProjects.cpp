#include "utils/AddProjects.h"

#include "host/ApplicationLayer.h"
#include "host/Localizer.h"
#include "host/Messaging.h"
#include "host/UIFramework.h"

#include <memory>

namespace HandlerTandrel::Utils {

namespace {

constexpr std::string_view kWithinTitleKey =
    "$$$/Marvane/Handlers/MvProductionFolder/WithinMvProduction=Already in Production Folder";
constexpr std::string_view kWithinMessageKey =
    "$$$/Marvane/Handlers/MvProductionFolder/WithinMvProductionMessage=The selected project is "
    "already part of this production.";
constexpr std::string_view kWithinMessagePluralKey =
    "$$$/Marvane/Handlers/MvProductionFolder/WithinMvProductionMessagePlr=The selected projects "
    "are already part of this production.";
constexpr std::string_view kConfirmTitleKey =
    "$$$/Marvane/Handlers/MvProductionFolder/AddProjectsDialog/Title=Add Projects to Production";
constexpr std::string_view kConfirmMessageKey =
    "$$$/Marvane/Handlers/MvProductionFolder/AddProjectsDialog/Message=A new copy of the chosen "
    "projects will be added to the selected folder inside the Production. Would you like to "
    "continue?";
constexpr std::string_view kConfirmCopyKey =
    "$$$/Marvane/Handlers/MvProductionFolder/AddProjectsDialog/Copy=Copy";
constexpr std::string_view kConfirmCancelKey =
    "$$$/Marvane/Handlers/MvProductionFolder/AddProjectsDialog/Cancel=Cancel";

} // namespace

void NotifyProgressPanel() {
    const auto station = host::MessageStation::Get(host::kProgressStation);
    if (host::CurrentThreadIsMainThread()) {
        station->Broadcast(host::ShowProgressPanelMessage());
    } else {
        station->Post(std::make_shared<host::ShowProgressPanelMessage>());
    }
}

void AddProjectsToProduction(const std::vector<host::WideString>& projectPaths,
                             const host::WideString& destinationFolder) {
    if (projectPaths.empty()) {
        return;
    }
    if (host::IsWithinCurrentMvProductionFolder(projectPaths.front())) {
        host::ShowMessageBox(
            host::Localize(kWithinTitleKey),
            host::Localize(projectPaths.size() == 1 ? kWithinMessageKey : kWithinMessagePluralKey),
            {}, host::kNoticeIcon, 0);
        return;
    }
    if (!ConfirmAddProjects()) {
        return;
    }
    host::AddProjectsToMvProduction(projectPaths, destinationFolder);
    NotifyProgressPanel();
}

bool ConfirmAddProjects() {
    if (host::Workspace::Instance().GetCurrentWorkspace() == nullptr) {
        return false;
    }
    return host::ShowMessageBox(
               host::Localize(kConfirmTitleKey), host::Localize(kConfirmMessageKey),
               {host::Localize(kConfirmCopyKey), host::Localize(kConfirmCancelKey)},
               host::kQuestionIcon, 0) == 0;
}

} // namespace HandlerTandrel::Utils
