#pragma once
// The module object that the host keeps while the Production panel's library is loaded.
#include "host/PanelFramework.h"

namespace HandlerTandrel {

class TandrelModule : public host::Module {
public:
    explicit TandrelModule(const host::ByteString& moduleName);
    ~TandrelModule() override;
};

} // namespace HandlerTandrel

// The exported entry point: makes the module and registers the panel's command context.
HOST_MODULE_ENTRY_POINT host::Module* CreateModule(const host::ByteString& moduleName);
