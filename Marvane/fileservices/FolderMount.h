#pragma once
// A production opened on the very folder a share (or a disk) is mounted on shows, once the
// mount goes away (the share's client ended, the disk was taken out), the folder beneath it:
// empty, or what was there before the mount. Listing it would take every row for gone, and a
// save would write a file the share never sees and that the next mount hides. Whether the
// production's folder was a mount point when it was opened is kept, and its listings and the
// saves under it ask whether it still is.
#include <filesystem>
#include <string>

namespace host {

// Keeps whether the folder is a mount point now (it lies on another device than its parent).
// An empty path forgets it. The folder is known spelled as given and with its links resolved.
void KeepFolderMount(const std::filesystem::path& folder);

// Why the kept folder, when it was a mount point, is one no more (another device's folder shows
// there, or none): empty while it still is, when it was none, when it cannot be looked at
// (whoever asked then meets that error itself), and for any other folder. The descriptor, when
// given, is the folder opened just now.
std::string FolderMountGone(const std::string& folder, int descriptor = -1);

// The same question for the kept folder when path lies in it (or is it).
std::string MountGoneUnder(const std::filesystem::path& path);

} // namespace host
