#pragma once
// The main window's size, place and panel layout, kept per user in the profile folder
// ("window.json") and given back at the next start.
#include <filesystem>

class QMainWindow;

namespace host {

void SaveWindowState(const QMainWindow& window, const std::filesystem::path& profileDirectory);
// False when nothing was saved, or what was saved cannot be used (the window stays as it is).
bool RestoreWindowState(QMainWindow& window, const std::filesystem::path& profileDirectory);

} // namespace host
