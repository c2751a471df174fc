#include "Marvane/application/TuningStore.h"

#include "Marvane/fileservices/FileReading.h"
#include "host/DebugTrace.h"
#include "host/TuningStore.h"

#include <atomic>
#include <mutex>
#include <nlohmann/json.hpp>

namespace host {

namespace {

struct TuningState {
    std::mutex mutex;
    std::map<std::string, std::string, std::less<>> values;
    std::atomic<std::uint32_t> changes{1};
};

TuningState& State() {
    static TuningState state;
    return state;
}

} // namespace

bool FindTuningValue(std::string_view key, ByteString& text) {
    TuningState& state = State();
    std::lock_guard lock(state.mutex);
    const auto found = state.values.find(key);
    if (found == state.values.end()) {
        return false;
    }
    text = found->second;
    return true;
}

std::uint32_t TuningStoreChangeCount() {
    return State().changes.load();
}

void SetTuningValues(std::map<std::string, std::string> values) {
    TuningState& state = State();
    {
        std::lock_guard lock(state.mutex);
        state.values = {values.begin(), values.end()};
    }
    state.changes.fetch_add(1);
}

void LoadTuningStore(const std::filesystem::path& profileDirectory) {
    std::map<std::string, std::string> values;
    std::error_code missing;
    if (std::filesystem::exists(
            std::filesystem::symlink_status(profileDirectory / "tuning.json", missing))) {
        const auto json = ReadJsonFile(profileDirectory / "tuning.json");
        if (json.is_object()) {
            for (const auto& [key, value] : json.items()) {
                if (value.is_string()) {
                    values[key] = value.get<std::string>();
                } else if (value.is_number()) {
                    values[key] = value.dump();
                }
            }
        } else {
            Trace("Host", 2, "Ignoring a broken tuning.json in " + profileDirectory.string());
        }
    }
    SetTuningValues(std::move(values));
}

} // namespace host
