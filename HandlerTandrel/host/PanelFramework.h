#pragma once
// The host panel framework: modules, panel handlers and their factories.
//
// A module is a shared library in the host's plug-ins folder. Its static initialisation
// registers its factories (Handler::RegisterFactory, Module::RegisterFactory); the host then
// checks its interface version (HOST_DECLARE_MODULE_INTERFACE_VERSION), calls its exported
// entry point CreateModule, and after every module is loaded creates one handler from each
// registered handler factory. All calls happen on the main thread.
#include "host/CoreTypes.h"
#include "host/Messaging.h"
#include "host/UIFramework.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <utility>

namespace host {

// Raise this when a header of host/ changes in a way that breaks built modules.
inline constexpr int kHostInterfaceVersion = 1;

using ModuleID = std::uint32_t;

// Four-character codes such as 'Name' make readable ids.
constexpr std::uint32_t FourCharCode(const char (&code)[5]) {
    return (static_cast<std::uint32_t>(static_cast<unsigned char>(code[0])) << 24) |
           (static_cast<std::uint32_t>(static_cast<unsigned char>(code[1])) << 16) |
           (static_cast<std::uint32_t>(static_cast<unsigned char>(code[2])) << 8) |
           static_cast<std::uint32_t>(static_cast<unsigned char>(code[3]));
}

class Module {
public:
    using Factory = Module* (*)(const ByteString& moduleName);

    explicit Module(ByteString name);
    virtual ~Module();
    Module(const Module&) = delete;
    Module& operator=(const Module&) = delete;

    const ByteString& GetName() const { return mName; }

    static void RegisterFactory(ModuleID id, Factory factory);
    static Factory FindFactory(ModuleID id);

private:
    ByteString mName;
};

// What the host passes to a handler factory.
struct HandlerCreationContext {
    HandlerID handlerID = 0;
};

class Handler : public CommandHandler,
                public TabViewCreator,
                public std::enable_shared_from_this<Handler> {
public:
    using Factory = std::function<std::shared_ptr<Handler>(const HandlerCreationContext&)>;

    explicit Handler(HandlerID id);
    ~Handler() override;

    HandlerID GetHandlerID() const { return mHandlerID; }

    // Command handling: the host defaults decline every command.
    bool FindCommandStatus(const Command& command, CommandStatus& status) override;
    bool ObeyCommand(const Command& command) override;

    virtual bool AllowClose();
    virtual void OnSelectFindBox();
    virtual void OnSelectNextPanel();
    virtual void OnSelectPreviousPanel();

    // Called once the handler is held by a shared pointer; derived classes subscribe
    // themselves to stations here and then call this base version.
    virtual void PostSharedPtrInit();

    static void RegisterFactory(HandlerID id, Factory factory);
    // The live handler with this id, or empty.
    static std::shared_ptr<Handler> FindHandler(HandlerID id);

private:
    HandlerID mHandlerID;
};

// Sent on the station kPanelFrameworkStation when the user has opened a production.
struct MvProductionFolderOpenedMessage : Message {
    HOST_DECLARE_MESSAGE_TYPE(MvProductionFolderOpenedMessage)
};
// Sent on the same station when the open production is closed.
struct MvProductionFolderClosedMessage : Message {
    HOST_DECLARE_MESSAGE_TYPE(MvProductionFolderClosedMessage)
    explicit MvProductionFolderClosedMessage(ByteString folder)
        : MvProductionFolderClosedMessage() {
        oldPath = std::move(folder);
    }
    ByteString oldPath; // the production that was closed (UTF-8)
};
inline constexpr std::string_view kPanelFrameworkStation = "zkr.mvproductionfolderpanel";

} // namespace host

// Every module states the host interface version it was built against, once, at file scope.
#define HOST_DECLARE_MODULE_INTERFACE_VERSION()                                                    \
    extern "C" __attribute__((visibility("default"))) const int MarvaneHostInterfaceVersion =      \
        ::host::kHostInterfaceVersion

// The module's exported entry point.
#define HOST_MODULE_ENTRY_POINT extern "C" __attribute__((visibility("default")))
