#include "Marvane/projectbackend/LockFileText.h"

#include "Marvane/core/JsonNesting.h"

#include <nlohmann/json.hpp>

namespace host {

namespace {

std::string StringMember(const nlohmann::json& json, const char* key) {
    const auto found = json.find(key);
    return found != json.end() && found->is_string() ? found->get<std::string>() : std::string();
}

long long IntegerMember(const nlohmann::json& json, const char* key) {
    const auto found = json.find(key);
    return found != json.end() && found->is_number_integer() ? found->get<long long>() : 0;
}

} // namespace

bool DecodeLockFileText(std::string_view text, LockFileContent& content) {
    // Another machine wrote this file: however deep its text nests, reading it must not
    // exhaust the stack.
    const auto json = ParseUntrustedJson(text);
    if (!json.is_object()) {
        return false;
    }
    const auto name = json.find("lockingName");
    const auto second = json.find("secondLockingString");
    if (name == json.end() || !name->is_string() || name->get<std::string>().empty() ||
        second == json.end() || !second->is_string()) {
        return false;
    }
    content.lockingName = name->get<std::string>();
    content.secondLockingString = second->get<std::string>();
    content.hostName = StringMember(json, "hostName");
    content.processId = IntegerMember(json, "processId");
    content.processStartTicks = IntegerMember(json, "processStartTicks");
    content.bootId = StringMember(json, "bootId");
    content.machineId = StringMember(json, "machineId");
    content.createdUtc = StringMember(json, "createdUtc");
    return true;
}

} // namespace host
