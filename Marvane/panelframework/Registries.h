#pragma once
// The host's registries of module and handler factories and of live handlers.
// Host-internal: modules only see host/PanelFramework.h.
#include "host/PanelFramework.h"

#include <memory>
#include <string>
#include <vector>

namespace host {

struct FactoryRegistration {
    std::string kind; // "handler" or "module"
    std::uint32_t id = 0;
};

class PanelFrameworkRegistry {
public:
    static PanelFrameworkRegistry& Instance();

    // Every factory registration since the process started, in order.
    const std::vector<FactoryRegistration>& GetRegistrationLog() const { return mLog; }
    std::size_t RegistrationMark() const { return mLog.size(); }
    // Forgets the factories registered since the mark (a plug-in that failed to load).
    void RollBackTo(std::size_t mark);

    void AddHandlerFactory(HandlerID id, Handler::Factory factory);
    void AddModuleFactory(ModuleID id, Module::Factory factory);
    Module::Factory FindModuleFactory(ModuleID id) const;

    // Makes one handler from every registered factory that has none yet.
    void CreateRegisteredHandlers();
    std::shared_ptr<Handler> FindHandler(HandlerID id) const;
    std::vector<std::shared_ptr<Handler>> GetHandlers() const;
    // Lets every handler go, newest first (before the host closes).
    void ReleaseHandlers();

private:
    struct HandlerEntry {
        HandlerID id = 0;
        Handler::Factory factory;
        std::shared_ptr<Handler> handler;
    };
    struct ModuleEntry {
        ModuleID id = 0;
        Module::Factory factory = nullptr;
    };
    std::vector<FactoryRegistration> mLog;
    std::vector<HandlerEntry> mHandlers;
    std::vector<ModuleEntry> mModules;
};

} // namespace host
