#pragma once
// Loads the host's modules: every "*.so" of the plug-ins folder, in name order. A module
// that cannot be loaded is reported with its file and the reason, and the host goes on.
#include "host/PanelFramework.h"

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

namespace host {

struct PluginLoadResult {
    std::filesystem::path file;
    bool loaded = false;
    std::string error; // readable, names the file; empty when loaded
};

class PluginLoader {
public:
    PluginLoader() = default;
    ~PluginLoader();
    PluginLoader(const PluginLoader&) = delete;
    PluginLoader& operator=(const PluginLoader&) = delete;

    PluginLoadResult Load(const std::filesystem::path& file);
    std::vector<PluginLoadResult> LoadFolder(const std::filesystem::path& folder);

    const std::vector<std::unique_ptr<Module>>& GetModules() const { return mModules; }
    // Destroys the module objects. Libraries stay mapped until the process ends, since
    // objects and functions they handed out (handlers, declarers) may still be reachable;
    // a library that failed after it ran code of its own is never unmapped either.
    void ReleaseModules();

private:
    std::vector<std::unique_ptr<Module>> mModules;
};

} // namespace host
