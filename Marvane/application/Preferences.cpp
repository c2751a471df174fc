#include "Marvane/application/Preferences.h"
#include "Marvane/core/JsonText.h"

#include "Marvane/core/ThisMachine.h"
#include "Marvane/fileservices/FileReading.h"
#include "Marvane/fileservices/FileWriting.h"
#include "host/DebugTrace.h"

#include <algorithm>
#include <nlohmann/json.hpp>
#include <pwd.h>
#include <unistd.h>

namespace host {

namespace {
constexpr const char* kFileName = "preferences.json";

std::string LoginName() {
    if (const passwd* entry = getpwuid(getuid()); entry != nullptr && entry->pw_name != nullptr) {
        return entry->pw_name;
    }
    const char* user = std::getenv("USER");
    return user != nullptr ? user : "editor";
}
} // namespace

LockingPreferences DefaultLockingPreferences() {
    LockingPreferences locking;
    if (const passwd* entry = getpwuid(getuid()); entry != nullptr && entry->pw_gecos != nullptr) {
        std::string fullName(entry->pw_gecos);
        fullName = fullName.substr(0, fullName.find(','));
        locking.name = fullName;
    }
    if (locking.name.empty()) {
        locking.name = LoginName();
    }
    locking.second = ThisHostName();
    return locking;
}

LockingPreferences ResolveLockingPreferences(const LockingPreferences& saved) {
    LockingPreferences resolved = saved;
    if (resolved.name.empty() || resolved.second.empty()) {
        const LockingPreferences defaults = DefaultLockingPreferences();
        if (resolved.name.empty()) {
            resolved.name = defaults.name;
        }
        if (resolved.second.empty()) {
            resolved.second = defaults.second;
        }
    }
    return resolved;
}

void RememberProduction(Preferences& preferences, const std::filesystem::path& folder) {
    preferences.lastProduction = folder;
    auto& recent = preferences.recentProductions;
    recent.erase(std::remove(recent.begin(), recent.end(), folder), recent.end());
    recent.insert(recent.begin(), folder);
    if (recent.size() > kMostRecentProductions) {
        recent.resize(kMostRecentProductions);
    }
}

Preferences LoadPreferences(const std::filesystem::path& profileDirectory) {
    Preferences preferences;
    std::error_code missing;
    if (!std::filesystem::exists(
            std::filesystem::symlink_status(profileDirectory / kFileName, missing))) {
        return preferences;
    }
    const auto json = ReadJsonFile(profileDirectory / kFileName);
    if (!json.is_object()) {
        Trace("Host", 2, "Ignoring a broken preferences file in " + profileDirectory.string());
        return preferences;
    }
    const auto text = [&](const nlohmann::json& object, const char* key, std::string fallback) {
        const auto found = object.find(key);
        return found != object.end() && found->is_string() ? found->get<std::string>() : fallback;
    };
    if (const auto last = json.find("lastProduction"); last != json.end()) {
        preferences.lastProduction = PathFromJson(*last);
    }
    if (const auto recent = json.find("recentProductions");
        recent != json.end() && recent->is_array()) {
        for (const auto& folder : *recent) {
            const std::filesystem::path path = PathFromJson(folder);
            if (!path.empty() && preferences.recentProductions.size() < kMostRecentProductions) {
                preferences.recentProductions.push_back(path);
            }
        }
    }
    preferences.trace = text(json, "trace", "");
    if (const auto folderFormat = json.find("folderProjectFormat");
        folderFormat != json.end() && folderFormat->is_boolean()) {
        preferences.folderProjectFormat = folderFormat->get<bool>();
    }
    const auto flag = [&](const char* key, bool& value) {
        if (const auto found = json.find(key); found != json.end() && found->is_boolean()) {
            value = found->get<bool>();
        }
    };
    flag("newMasking", preferences.newMasking);
    flag("forcePolling", preferences.forcePolling);
    if (const auto interval = json.find("pollIntervalMs");
        interval != json.end() && interval->is_number_integer()) {
        preferences.pollIntervalMs = std::clamp(interval->get<int>(), 50, 60000);
    }
    if (const auto heartbeat = json.find("heartbeatSeconds");
        heartbeat != json.end() && heartbeat->is_number_integer()) {
        preferences.heartbeatSeconds = std::clamp(heartbeat->get<int>(), 1, 3600);
    }
    if (const auto probe = json.find("shareProbeSeconds");
        probe != json.end() && probe->is_number_integer()) {
        preferences.shareProbeSeconds = std::clamp(probe->get<int>(), 1, 600);
    }
    if (const auto silent = json.find("silentLockSeconds");
        silent != json.end() && silent->is_number_integer()) {
        preferences.silentLockSeconds = std::clamp(silent->get<int>(), 1, 7 * 24 * 3600);
    }
    if (const auto locking = json.find("locking"); locking != json.end() && locking->is_object()) {
        preferences.locking.name = text(*locking, "name", preferences.locking.name);
        preferences.locking.second = text(*locking, "second", preferences.locking.second);
        if (const auto enabled = locking->find("enabled");
            enabled != locking->end() && enabled->is_boolean()) {
            preferences.locking.enabled = enabled->get<bool>();
        }
    }
    return preferences;
}

bool SavePreferences(const std::filesystem::path& profileDirectory,
                     const Preferences& preferences) {
    std::error_code error;
    std::filesystem::create_directories(profileDirectory, error);
    nlohmann::json json = nlohmann::json::object();
    if (const auto path = profileDirectory / kFileName; std::filesystem::exists(path, error)) {
        // Text nested too deeply is broken too: written out again it would exhaust the stack.
        auto existing = ReadJsonFile(path);
        if (existing.is_object()) {
            json = std::move(existing);
        } else {
            // Whatever the user had there is kept aside, never written over.
            std::filesystem::rename(path, profileDirectory / (std::string(kFileName) + ".broken"),
                                    error);
        }
    }
    json["lastProduction"] = PathToJson(preferences.lastProduction);
    json["recentProductions"] = nlohmann::json::array();
    for (const std::filesystem::path& folder : preferences.recentProductions) {
        json["recentProductions"].push_back(PathToJson(folder));
    }
    json["trace"] = preferences.trace;
    json["folderProjectFormat"] = preferences.folderProjectFormat;
    json["newMasking"] = preferences.newMasking;
    json["forcePolling"] = preferences.forcePolling;
    json["pollIntervalMs"] = preferences.pollIntervalMs;
    json["heartbeatSeconds"] = preferences.heartbeatSeconds;
    json["silentLockSeconds"] = preferences.silentLockSeconds;
    json["shareProbeSeconds"] = preferences.shareProbeSeconds;
    if (!json["locking"].is_object()) {
        json["locking"] = nlohmann::json::object();
    }
    json["locking"]["name"] = preferences.locking.name;
    json["locking"]["second"] = preferences.locking.second;
    json["locking"]["enabled"] = preferences.locking.enabled;
    std::string reason;
    return ReplaceFile(profileDirectory / kFileName, JsonText(json, 2) + "\n", reason);
}

} // namespace host
