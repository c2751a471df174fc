#include "Marvane/app/WindowTitle.h"

#include <filesystem>

namespace host {

namespace {

namespace fs = std::filesystem;

// The folder as one spelling: absolute, without "." or "..", without a separator at its end.
fs::path Normal(const fs::path& folder) {
    fs::path normal = fs::absolute(folder).lexically_normal();
    if (!normal.has_filename() && normal.has_parent_path() && normal != normal.root_path()) {
        normal = normal.parent_path();
    }
    return normal;
}

} // namespace

std::string MainWindowTitle(const std::string& productionName, const HostSession& session) {
    std::string title = productionName.empty() ? "Marvane" : "Marvane \u2014 " + productionName;
    const bool ownProfile = !session.profileDirectory.empty() &&
                            Normal(session.profileDirectory) != Normal(DefaultProfileDirectory());
    if (ownProfile || session.userOverride) {
        const std::string user = session.GetLocking().name;
        if (!user.empty()) {
            title += " (" + user + ")";
        }
    }
    return title;
}

} // namespace host
