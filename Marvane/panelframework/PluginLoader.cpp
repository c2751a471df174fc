#include "Marvane/panelframework/PluginLoader.h"

#include "Marvane/panelframework/Registries.h"

#include <algorithm>
#include <cstring>
#include <dlfcn.h>

namespace host {

namespace {

constexpr const char* kEntryPointName = "CreateModule";
constexpr const char* kVersionSymbolName = "MarvaneHostInterfaceVersion";

std::string Quoted(const std::filesystem::path& file) {
    return "'" + file.string() + "'";
}

} // namespace

PluginLoader::~PluginLoader() {
    ReleaseModules();
}

PluginLoadResult PluginLoader::Load(const std::filesystem::path& file) {
    PluginLoadResult result;
    result.file = file;
    std::error_code ignored;
    if (!std::filesystem::exists(file, ignored)) {
        result.error = "Could not load module " + Quoted(file) + ": the file does not exist";
        return result;
    }
    auto& registry = PanelFrameworkRegistry::Instance();
    const std::size_t mark = registry.RegistrationMark();
    void* library = dlopen(file.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (library == nullptr) {
        const char* reason = dlerror();
        result.error = "Could not load module " + Quoted(file) + ": " +
                       (reason != nullptr ? reason : "unknown reason");
        registry.RollBackTo(mark);
        return result;
    }
    const auto fail = [&](std::string message) {
        result.error = std::move(message);
        registry.RollBackTo(mark);
        return result;
    };
    void* entry = dlsym(library, kEntryPointName);
    if (entry == nullptr) {
        return fail("Module " + Quoted(file) + " has no entry point '" + kEntryPointName + "'");
    }
    const auto* version = static_cast<const int*>(dlsym(library, kVersionSymbolName));
    if (version == nullptr) {
        return fail("Module " + Quoted(file) + " does not state its host interface version ('" +
                    kVersionSymbolName + "')");
    }
    if (*version != kHostInterfaceVersion) {
        return fail("Module " + Quoted(file) + " was built for host interface version " +
                    std::to_string(*version) + "; this host supports version " +
                    std::to_string(kHostInterfaceVersion));
    }
    Module::Factory createModule = nullptr;
    static_assert(sizeof(createModule) == sizeof(entry));
    std::memcpy(&createModule, &entry, sizeof(entry));
    Module* module = nullptr;
    try {
        module = createModule(file.stem().string());
    } catch (const std::exception& error) {
        return fail("Module " + Quoted(file) + " failed in '" + kEntryPointName +
                    "': " + error.what());
    } catch (...) {
        return fail("Module " + Quoted(file) + " failed in '" + kEntryPointName + "'");
    }
    if (module == nullptr) {
        return fail("Module " + Quoted(file) + " made no module object");
    }
    mModules.emplace_back(module);
    result.loaded = true;
    return result;
}

std::vector<PluginLoadResult> PluginLoader::LoadFolder(const std::filesystem::path& folder) {
    std::vector<PluginLoadResult> results;
    std::error_code error;
    std::vector<std::filesystem::path> files;
    for (const auto& entry : std::filesystem::directory_iterator(folder, error)) {
        if (entry.path().extension() == ".so") {
            files.push_back(entry.path());
        }
    }
    if (error) {
        PluginLoadResult result;
        result.file = folder;
        result.error =
            "Could not read the plug-ins folder " + Quoted(folder) + ": " + error.message();
        results.push_back(result);
        return results;
    }
    std::sort(files.begin(), files.end());
    for (const auto& file : files) {
        results.push_back(Load(file));
    }
    return results;
}

void PluginLoader::ReleaseModules() {
    while (!mModules.empty()) {
        mModules.pop_back();
    }
}

} // namespace host
