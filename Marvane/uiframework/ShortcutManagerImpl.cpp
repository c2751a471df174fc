#include "host/UIFramework.h"

#include "host/ExceptionLog.h"

#include <algorithm>
#include <memory>

namespace host {

namespace {

class CommandContextImpl final : public CommandContext {
public:
    CommandContextImpl(ByteString name, ByteString displayName)
        : mName(std::move(name)), mDisplayName(std::move(displayName)) {}

    const ByteString& GetName() const override { return mName; }
    const ByteString& GetDisplayName() const override { return mDisplayName; }

    void DeclareCommand(const ByteString& name, CommandID id, CommandKind kind,
                        const ByteString& label, const ImmutableString& data,
                        bool hidden) override {
        CommandDeclaration declaration{name, id, kind, label, data, hidden};
        for (CommandDeclaration& existing : mCommands) {
            if (existing.name == name) {
                existing = std::move(declaration);
                return;
            }
        }
        mCommands.push_back(std::move(declaration));
    }

    const std::vector<CommandDeclaration>& GetCommands() const override { return mCommands; }

private:
    ByteString mName;
    ByteString mDisplayName;
    std::vector<CommandDeclaration> mCommands;
};

class ShortcutManagerImpl final : public ShortcutManager {
public:
    CommandContext* GetContext(const ByteString& name) override {
        for (const auto& context : mContexts) {
            if (context->GetName() == name) {
                return context.get();
            }
        }
        return nullptr;
    }

    CommandContext* AddContext(const ByteString& name, const ByteString& displayName) override {
        if (CommandContext* existing = GetContext(name)) {
            return existing;
        }
        mContexts.push_back(std::make_unique<CommandContextImpl>(name, displayName));
        return mContexts.back().get();
    }

    void RegisterCommandContext(ContextDeclarer declarer) override {
        mDeclarers.push_back(std::move(declarer));
    }

    void AddWindowMenuID(const ByteString& contextName, const ByteString& title,
                         const ByteString& menuID) override {
        for (WindowMenuRegistration& existing : mWindowMenus) {
            if (existing.contextName == contextName && existing.menuID == menuID) {
                existing.title = title;
                return;
            }
        }
        mWindowMenus.push_back({contextName, title, menuID});
    }

    std::vector<CommandContext*> GetContexts() const override {
        std::vector<CommandContext*> contexts;
        for (const auto& context : mContexts) {
            contexts.push_back(context.get());
        }
        return contexts;
    }

    const std::vector<WindowMenuRegistration>& GetWindowMenus() const override {
        return mWindowMenus;
    }

    const CommandDeclaration* FindCommand(CommandID id) const override {
        for (const auto& context : mContexts) {
            for (const CommandDeclaration& command : context->GetCommands()) {
                if (command.id == id) {
                    return &command;
                }
            }
        }
        return nullptr;
    }

    const CommandDeclaration* FindCommand(const ByteString& name) const override {
        for (const auto& context : mContexts) {
            for (const CommandDeclaration& command : context->GetCommands()) {
                if (command.name == name) {
                    return &command;
                }
            }
        }
        return nullptr;
    }

    // Runs the declarers registered since the last call. A declarer that throws keeps what
    // it declared before the exception; the others still run.
    void DeclareRegisteredContexts() {
        while (mDeclared < mDeclarers.size()) {
            ContextDeclarer declarer = mDeclarers[mDeclared++];
            try {
                declarer(*this);
            } catch (const std::exception& error) {
                LogException("host::DeclareRegisteredCommandContexts", error);
            } catch (...) {
                LogUnknownException("host::DeclareRegisteredCommandContexts");
            }
        }
    }

    std::size_t DeclarerCount() const { return mDeclarers.size(); }

private:
    std::vector<std::unique_ptr<CommandContextImpl>> mContexts;
    std::vector<ContextDeclarer> mDeclarers;
    std::size_t mDeclared = 0;
    std::vector<WindowMenuRegistration> mWindowMenus;
};

ShortcutManagerImpl& TheShortcutManager() {
    static ShortcutManagerImpl manager;
    return manager;
}

} // namespace

ShortcutManager& ShortcutManager::Instance() {
    return TheShortcutManager();
}

void DeclareRegisteredCommandContexts() {
    TheShortcutManager().DeclareRegisteredContexts();
}

std::size_t RegisteredCommandDeclarerCount() {
    return TheShortcutManager().DeclarerCount();
}

} // namespace host
