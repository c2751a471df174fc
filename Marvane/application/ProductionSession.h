#pragma once
// The open production: at most one folder at a time. Opening and closing tell every panel
// through the panel framework's station. Main thread only.
#include "Marvane/fileservices/MountKinds.h"

#include <chrono>
#include <filesystem>
#include <string>

namespace host {

class ProductionSession {
public:
    static ProductionSession& Instance();

    // Opens a folder as the production. Returns an empty string on success, else a message
    // for the user; a path that does not exist or is not a folder is refused and nothing is
    // created.
    std::string Open(const std::filesystem::path& folder);
    // How long an opening waits for the folder's first answer.
    static constexpr std::chrono::seconds kOpenDeadline{3};
    // What the user is told of a production folder that did not answer in that time.
    static std::string NotAnsweringMessage(const std::filesystem::path& folder);
    void Close();
    // Shows the open production again from scratch (its share came back): panels save their
    // state as for a production that closes and put it back as for one that opens. Empty on
    // success, else why it could not be opened again (it stays closed).
    std::string Reopen();

    bool IsOpen() const { return !mFolder.empty(); }
    const std::filesystem::path& GetFolder() const { return mFolder; }
    // What the folder lies on, by the mount table (an SMB share, a local folder).
    ShareKind GetShareKind() const { return mShareKind; }

private:
    std::filesystem::path mFolder;
    ShareKind mShareKind = ShareKind::Local;
};

} // namespace host
