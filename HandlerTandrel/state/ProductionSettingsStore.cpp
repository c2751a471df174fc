#include "state/ProductionSettingsStore.h"

#include "host/FileServices.h"
#include "state/ProductionSettingsFile.h"

namespace HandlerTandrel {

host::WideString ProductionSettingsFilePath() {
    const host::WideString folder = host::GetDirectory("user.profile");
    return folder.empty() ? host::WideString() : folder + u"Production Panel Settings";
}

void ProductionSettingsStore::LoadProductionSettings() {
    mStates.clear();
    mKeepFileAside = false;
    const host::WideString file = ProductionSettingsFilePath();
    if (file.empty() || !host::FileInfo(file).Exists()) {
        return;
    }
    try {
        std::string bytes;
        if (host::ReadWholeFile(file, bytes) && !bytes.empty()) {
            const std::optional<host::JsonValue> root =
                host::ParseJson(SettingsTextFromBytes(bytes));
            if (root) {
                mStates = DecodeProductionSettings(*root);
                return;
            }
        }
    } catch (...) {
        // An unreadable, malformed or incomplete file gives no saved states, without a word.
    }
    mStates.clear();
    mKeepFileAside = true;
}

std::optional<TabViewStateData>
ProductionSettingsStore::FindProductionState(const host::WideString& productionPath) const {
    if (productionPath.empty()) {
        return std::nullopt;
    }
    const auto found = mStates.find(host::ToNormalizedPath(productionPath));
    if (found == mStates.end()) {
        return std::nullopt;
    }
    return found->second;
}

void ProductionSettingsStore::StoreProductionState(const host::WideString& productionPath,
                                                   const TabViewStateData& state) {
    if (productionPath.empty()) {
        return;
    }
    mStates[host::ToNormalizedPath(productionPath)] = state;
    try {
        const host::WideString file = ProductionSettingsFilePath();
        if (!file.empty()) {
            if (mKeepFileAside) {
                std::string bytes;
                const bool keptAside = !host::FileInfo(file).Exists() ||
                                       (host::ReadWholeFile(file, bytes) &&
                                        host::ReplaceWholeFile(file + u".unreadable", bytes));
                if (!keptAside) {
                    return; // never write over what could not be kept
                }
                mKeepFileAside = false;
            }
            // Written beside the old file and renamed over it: a failure keeps the old one.
            host::ReplaceWholeFile(file, host::RenderJson(EncodeProductionSettings(mStates)));
        }
    } catch (...) {
        // A failed write is dropped; the store keeps the new state.
    }
}

} // namespace HandlerTandrel
