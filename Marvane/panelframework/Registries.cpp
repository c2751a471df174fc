#include "Marvane/panelframework/Registries.h"

#include "host/DebugTrace.h"
#include "host/ExceptionLog.h"

#include <algorithm>
#include <string>

namespace host {

PanelFrameworkRegistry& PanelFrameworkRegistry::Instance() {
    static PanelFrameworkRegistry registry;
    return registry;
}

void PanelFrameworkRegistry::RollBackTo(std::size_t mark) {
    while (mLog.size() > mark) {
        FactoryRegistration last = std::move(mLog.back());
        mLog.pop_back();
        if (last.kind == FactoryKind::Handler) {
            const auto entry = std::find_if(mHandlers.begin(), mHandlers.end(),
                                            [&](const HandlerEntry& e) { return e.id == last.id; });
            if (entry == mHandlers.end()) {
                continue;
            }
            if (last.replacedHandlerFactory) {
                entry->factory = std::move(last.replacedHandlerFactory);
            } else {
                mHandlers.erase(entry);
            }
        } else {
            const auto entry = std::find_if(mModules.begin(), mModules.end(),
                                            [&](const ModuleEntry& e) { return e.id == last.id; });
            if (entry == mModules.end()) {
                continue;
            }
            if (last.replacedModuleFactory != nullptr) {
                entry->factory = last.replacedModuleFactory;
            } else {
                mModules.erase(entry);
            }
        }
    }
}

void PanelFrameworkRegistry::AddHandlerFactory(HandlerID id, Handler::Factory factory) {
    FactoryRegistration registration{FactoryKind::Handler, id, {}, nullptr};
    for (HandlerEntry& entry : mHandlers) {
        if (entry.id == id) {
            registration.replacedHandlerFactory = std::move(entry.factory);
            entry.factory = std::move(factory);
            mLog.push_back(std::move(registration));
            return;
        }
    }
    mHandlers.push_back({id, std::move(factory), nullptr});
    mLog.push_back(std::move(registration));
}

void PanelFrameworkRegistry::AddModuleFactory(ModuleID id, Module::Factory factory) {
    FactoryRegistration registration{FactoryKind::Module, id, {}, nullptr};
    for (ModuleEntry& entry : mModules) {
        if (entry.id == id) {
            registration.replacedModuleFactory = entry.factory;
            entry.factory = factory;
            mLog.push_back(std::move(registration));
            return;
        }
    }
    mModules.push_back({id, factory});
    mLog.push_back(std::move(registration));
}

Module::Factory PanelFrameworkRegistry::FindModuleFactory(ModuleID id) const {
    for (const ModuleEntry& entry : mModules) {
        if (entry.id == id) {
            return entry.factory;
        }
    }
    return nullptr;
}

void PanelFrameworkRegistry::CreateRegisteredHandlers() {
    for (std::size_t i = 0; i < mHandlers.size(); ++i) {
        if (mHandlers[i].handler || !mHandlers[i].factory) {
            continue;
        }
        const HandlerID id = mHandlers[i].id;
        try {
            std::shared_ptr<Handler> handler = mHandlers[i].factory(HandlerCreationContext{id});
            if (!handler) {
                Trace("Host", 2, "A handler factory made no handler for id " + std::to_string(id));
                continue;
            }
            mHandlers[i].handler = handler;
            handler->PostSharedPtrInit();
        } catch (const std::exception& error) {
            mHandlers[i].handler.reset();
            LogException("host::PanelFrameworkRegistry::CreateRegisteredHandlers", error);
        } catch (...) {
            mHandlers[i].handler.reset();
            LogUnknownException("host::PanelFrameworkRegistry::CreateRegisteredHandlers");
        }
    }
}

std::shared_ptr<Handler> PanelFrameworkRegistry::FindHandler(HandlerID id) const {
    for (const HandlerEntry& entry : mHandlers) {
        if (entry.id == id) {
            return entry.handler;
        }
    }
    return nullptr;
}

std::vector<std::shared_ptr<Handler>> PanelFrameworkRegistry::GetHandlers() const {
    std::vector<std::shared_ptr<Handler>> handlers;
    for (const HandlerEntry& entry : mHandlers) {
        if (entry.handler) {
            handlers.push_back(entry.handler);
        }
    }
    return handlers;
}

void PanelFrameworkRegistry::ReleaseHandlers() {
    for (auto it = mHandlers.rbegin(); it != mHandlers.rend(); ++it) {
        it->handler.reset();
    }
}

// The framework classes that modules derive from.

Module::Module(ByteString name) : mName(std::move(name)) {}
Module::~Module() = default;

void Module::RegisterFactory(ModuleID id, Factory factory) {
    PanelFrameworkRegistry::Instance().AddModuleFactory(id, factory);
}

Module::Factory Module::FindFactory(ModuleID id) {
    return PanelFrameworkRegistry::Instance().FindModuleFactory(id);
}

Handler::Handler(HandlerID id) : mHandlerID(id) {}
Handler::~Handler() = default;

bool Handler::FindCommandStatus(const Command& command, CommandStatus& status) {
    return CommandHandler::FindCommandStatus(command, status);
}
bool Handler::ObeyCommand(const Command& command) {
    return CommandHandler::ObeyCommand(command);
}
bool Handler::AllowClose() {
    return true;
}
void Handler::OnSelectFindBox() {}
void Handler::OnSelectNextPanel() {}
void Handler::OnSelectPreviousPanel() {}
void Handler::PostSharedPtrInit() {}

void Handler::RegisterFactory(HandlerID id, Factory factory) {
    PanelFrameworkRegistry::Instance().AddHandlerFactory(id, std::move(factory));
}

std::shared_ptr<Handler> Handler::FindHandler(HandlerID id) {
    return PanelFrameworkRegistry::Instance().FindHandler(id);
}

} // namespace host
