#pragma once
// The host's own folders as the file services report them (GetDirectory). The file services
// sit below the application, which knows where the user's profile is: it installs the source
// at start, and every call asks it again, so a changed profile folder is followed.
#include <filesystem>
#include <functional>

namespace host {

void SetProfileFolderSource(std::function<std::filesystem::path()> source);

} // namespace host
