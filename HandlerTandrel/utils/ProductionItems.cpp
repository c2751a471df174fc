#include "utils/ProductionItems.h"

#include "host/ApplicationLayer.h"

namespace HandlerTandrel::Utils {

host::WideString OpenProductionFolder() {
    if (!host::IsTandrelManagerActive()) {
        return {};
    }
    return host::GetTandrelManagerFolderPath();
}

bool IsFolderItem(const host::WideString& path) {
    return host::DirectoryExists(path) && !host::ProductionSupportsMarvaneProjectFile(path);
}

} // namespace HandlerTandrel::Utils
