#pragma once
// The host's registries of module and handler factories and of live handlers.
// Host-internal: modules only see host/PanelFramework.h.
#include "host/PanelFramework.h"

#include <memory>
#include <string>
#include <vector>

namespace host {

enum class FactoryKind { Handler, Module };

struct FactoryRegistration {
    FactoryKind kind = FactoryKind::Handler;
    std::uint32_t id = 0;
    // What the registration replaced, so that a failed load can put it back.
    Handler::Factory replacedHandlerFactory;
    Module::Factory replacedModuleFactory = nullptr;
};

class PanelFrameworkRegistry {
public:
    static PanelFrameworkRegistry& Instance();

    // Every factory registration since the process started, in order.
    const std::vector<FactoryRegistration>& GetRegistrationLog() const { return mLog; }
    std::size_t RegistrationMark() const { return mLog.size(); }
    // Undoes the factory registrations since the mark (a plug-in that failed to load),
    // newest first, restoring any factory they replaced.
    void RollBackTo(std::size_t mark);

    void AddHandlerFactory(HandlerID id, Handler::Factory factory);
    void AddModuleFactory(ModuleID id, Module::Factory factory);
    Module::Factory FindModuleFactory(ModuleID id) const;

    // Makes one handler from every registered factory that has none yet. A factory that
    // throws is reported in the trace and the exception log; the others still run.
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
