#include "Marvane/application/ProductionSession.h"

#include "Marvane/application/HostSession.h"
#include "Marvane/application/ProductionIndex.h"
#include "Marvane/application/ProductionWatch.h"
#include "Marvane/fileservices/FileNameRules.h"
#include "Marvane/fileservices/FolderMount.h"
#include "host/Localizer.h"
#include "host/PanelFramework.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <dirent.h>
#include <filesystem>

namespace host {

ProductionSession& ProductionSession::Instance() {
    static ProductionSession session;
    return session;
}

namespace {

// A production is organised: projects moved, folders trashed. The whole computer, its system
// folders or someone's home folder never are, so they are refused with the reason.
std::string WhyNotAProduction(const std::filesystem::path& folder) {
    std::error_code error;
    const std::filesystem::path real = std::filesystem::weakly_canonical(folder, error);
    const std::filesystem::path& checked = error ? folder : real;
    if (checked == checked.root_path()) {
        return "\"" + folder.string() +
               "\" is the top of the computer's file system, not a production: choose the folder "
               "that holds the production's projects.";
    }
    if (const char* home = std::getenv("HOME"); home != nullptr && *home != '\0') {
        const std::filesystem::path homeFolder =
            std::filesystem::weakly_canonical(std::filesystem::path(home), error);
        if (!error && checked == homeFolder) {
            return "\"" + folder.string() +
                   "\" is your home folder, not a production: choose the folder that holds the "
                   "production's projects.";
        }
    }
    static const char* const kSystemFolders[] = {"/bin",   "/boot", "/dev",  "/etc",  "/lib",
                                                 "/lib64", "/proc", "/run",  "/sbin", "/sys",
                                                 "/usr",   "/var",  "/home", "/root", "/tmp"};
    for (const char* system : kSystemFolders) {
        if (checked == std::filesystem::path(system)) {
            return "\"" + folder.string() +
                   "\" is a system folder, not a production: choose the folder that holds the "
                   "production's projects.";
        }
    }
    return {};
}

} // namespace

std::string ProductionSession::NotAnsweringMessage(const std::filesystem::path& folder) {
    return Localize("$$$/Marvane/Host/ProductionNotAnswering=The production folder \"@0\" "
                    "does not answer (its share may be down or hanging). Try again when it "
                    "answers.",
                    {folder.string()});
}

std::string ProductionSession::Open(const std::filesystem::path& folder) {
    // A folder on a share that hangs would block the window at the first look: look at it
    // off the main thread first, and give up after a while.
    const std::optional<FolderLook> look = LookAtFolderToOpenWithin(folder, kOpenDeadline);
    if (!look) {
        return NotAnsweringMessage(folder);
    }
    // A look that could open the folder for listing showed it is there, a folder, and
    // readable; on a share every further look is a round trip. One that could not says why
    // below.
    const bool listed = look->why.empty();
    std::error_code error;
    const std::filesystem::file_status status =
        listed ? std::filesystem::file_status(std::filesystem::file_type::directory)
               : std::filesystem::status(folder, error);
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
    if (const std::string why = WhyNotAProduction(absolute); !why.empty()) {
        return why;
    }
    // A folder whose list of projects cannot be read would look empty: say so instead.
    if (!listed) {
        DIR* listing = ::opendir(absolute.c_str());
        if (listing == nullptr) {
            return Localize("$$$/Marvane/Host/ProductionUnreadable=The production \"@0\" cannot "
                            "be read (@1). Ask for read access to the folder, or choose another.",
                            {absolute.string(), std::strerror(errno)});
        }
        ::closedir(listing);
    }
    if (IsOpen()) {
        Close();
    }
    mFolder = absolute;
    mShareKind = ShareKindOf(mFolder);
    // Names given in the production follow the rules of the file system it lives on.
    if (listed) {
        SetFileNameRuleFolder(mFolder, look->fileSystemType);
    } else {
        SetFileNameRuleFolder(mFolder);
    }
    // A look at the folder every few seconds tells when its share stops answering.
    constexpr std::chrono::seconds kLookDeadline{3};
    ProductionWatch::Instance().Start(
        mFolder, std::chrono::seconds(HostSession::Instance().preferences.shareProbeSeconds),
        kLookDeadline);
    // Whether a share is mounted on the folder itself: if that mount goes, the folder beneath
    // must not pass for the production. Asked once the folder is watched, so that resolving
    // its links on a share that stops answering now costs the main thread one deadline only.
    KeepFolderMount(mFolder);
    // The names of its projects are read in the background, for the search to answer from.
    ProductionIndex::Instance().Open(mFolder);
    MessageStation::Get(kPanelFrameworkStation)->Broadcast(MvProductionFolderOpenedMessage());
    // The production's hidden data folder (the record of broken locks goes there), made once
    // the panel has started to list the production: on a share it is a round trip. A
    // production nobody may write to simply has none.
    std::error_code ignored;
    std::filesystem::create_directory(absolute / ".marvane", ignored);
    return {};
}

std::string ProductionSession::Reopen() {
    if (!IsOpen()) {
        return {};
    }
    const std::filesystem::path folder = mFolder;
    Close();
    return Open(folder);
}

void ProductionSession::Close() {
    if (!IsOpen()) {
        return;
    }
    const std::string oldPath = mFolder.string();
    mFolder.clear();
    ProductionWatch::Instance().Stop();
    // A thread held by a share that stopped answering is left to end on its own.
    ProductionIndex::Instance().Close(kMainThreadAccessDeadline);
    KeepFolderMount({});
    SetFileNameRuleFolder({});
    MessageStation::Get(kPanelFrameworkStation)
        ->Broadcast(MvProductionFolderClosedMessage(oldPath));
}

} // namespace host
