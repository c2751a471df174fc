#include "Marvane/application/ProductionSession.h"

#include "host/PanelFramework.h"

namespace host {

ProductionSession& ProductionSession::Instance() {
    static ProductionSession session;
    return session;
}

std::string ProductionSession::Open(const std::filesystem::path& folder) {
    std::error_code error;
    const std::filesystem::file_status status = std::filesystem::status(folder, error);
    if (error || !std::filesystem::exists(status)) {
        return "The production folder \"" + folder.string() + "\" does not exist.";
    }
    if (!std::filesystem::is_directory(status)) {
        return "\"" + folder.string() +
               "\" is not a folder, so it cannot be opened as a production.";
    }
    std::filesystem::path absolute = std::filesystem::absolute(folder, error).lexically_normal();
    if (error) {
        return "The production folder \"" + folder.string() +
               "\" cannot be used: " + error.message();
    }
    if (absolute.has_relative_path() && absolute.filename().empty()) {
        absolute = absolute.parent_path();
    }
    if (IsOpen()) {
        Close();
    }
    mFolder = absolute;
    MessageStation::Get(kPanelFrameworkStation)->Broadcast(MvProductionFolderOpenedMessage());
    return {};
}

void ProductionSession::Close() {
    if (!IsOpen()) {
        return;
    }
    const std::string oldPath = mFolder.string();
    mFolder.clear();
    MessageStation::Get(kPanelFrameworkStation)
        ->Broadcast(MvProductionFolderClosedMessage(oldPath));
}

} // namespace host
