#include "TandrelModule.h"

#include "base/ProductionCommands.h"
#include "base/TandrelIDs.h"
#include "columns/NameCellView.h"
#include "handler/TandrelHandler.h"

#include <memory>
#include <new>

HOST_DECLARE_MODULE_INTERFACE_VERSION();

namespace HandlerTandrel {

TandrelModule::TandrelModule(const host::ByteString& moduleName) : host::Module(moduleName) {}

TandrelModule::~TandrelModule() {
    // The folder picture shared by every name cell goes with the module.
    Columns::ReleaseSharedFolderPicture();
}

namespace {

// Runs when the host loads the library, before any call into it: the handler factory
// first, then the module factory.
const bool kFactoriesRegistered = [] {
    host::Handler::RegisterFactory(
        kMvProductionFolderHandlerID, [](const host::HandlerCreationContext&) {
            return std::shared_ptr<host::Handler>(std::make_shared<TandrelHandler>());
        });
    host::Module::RegisterFactory(kMvProductionFolderModuleID, &CreateModule);
    return true;
}();

} // namespace

} // namespace HandlerTandrel

host::Module* CreateModule(const host::ByteString& moduleName) {
    std::unique_ptr<HandlerTandrel::TandrelModule> module(
        new (std::nothrow) HandlerTandrel::TandrelModule(moduleName));
    if (!module) {
        return nullptr;
    }
    host::ShortcutManager::Instance().RegisterCommandContext(
        &HandlerTandrel::DeclareProductionCommands);
    return module.release();
}
