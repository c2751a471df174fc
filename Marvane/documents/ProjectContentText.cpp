// A project's text: reading it into ProjectContent and writing ProjectContent back, with no
// file system involved (the fuzz target reads arbitrary text through these).
#include "Marvane/core/JsonNesting.h"
#include "Marvane/documents/ProjectContent.h"
#include "Marvane/projectbackend/ProjectFormats.h"

#include <cstdint>
#include <nlohmann/json.hpp>

namespace host {

namespace {

std::vector<std::string> Names(const nlohmann::json& json, const char* key, bool& ok) {
    std::vector<std::string> names;
    const auto found = json.find(key);
    if (found == json.end()) {
        return names;
    }
    if (!found->is_array()) {
        ok = false;
        return names;
    }
    for (const auto& item : *found) {
        if (!item.is_string()) {
            ok = false;
            return names;
        }
        names.push_back(item.get<std::string>());
    }
    return names;
}

// Compact text: its size follows the content, never its depth. Text that is not UTF-8 (a
// name taken from a file name) is written with replacement characters rather than refused.
std::string Compact(const nlohmann::json& json) {
    return json.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
}

} // namespace

bool ParseProjectContent(std::string_view text, const std::filesystem::path& projectPath,
                         ProjectContent& content, std::string& error) {
    const std::string project = "The project \"" + projectPath.string() + "\"";
    const std::string left = " It was left as it is.";
    if (NestsTooDeeply(text)) {
        error = project + " cannot be read: its content nests deeper than " +
                std::to_string(kMaximumJsonNesting) + " levels." + left;
        return false;
    }
    const auto json = ParseUntrustedJson(text);
    if (!json.is_object()) {
        error = project + " is damaged: it is not a project file of this application." + left;
        return false;
    }
    const auto version = json.find("formatVersion");
    const auto name = json.find("name");
    bool ok = version != json.end() && version->is_number_integer() &&
              (name == json.end() || name->is_string());
    if (ok && version->is_number_unsigned() &&
        version->get<std::uint64_t>() > static_cast<std::uint64_t>(kProjectFormatVersion)) {
        error = project + " was saved by a newer version (format " +
                std::to_string(version->get<std::uint64_t>()) + ")." + left;
        return false;
    }
    // Formats are numbered from 1.
    ok = ok && version->get<std::int64_t>() >= 1;
    ProjectContent loaded;
    loaded.bins = Names(json, "bins", ok);
    loaded.sequences = Names(json, "sequences", ok);
    if (!ok) {
        error = project + " is damaged: its content is not in the expected form." + left;
        return false;
    }
    loaded.formatVersion = version->get<int>();
    loaded.name = name != json.end() ? name->get<std::string>() : projectPath.stem().string();
    nlohmann::json others = json;
    for (const char* known : {"formatVersion", "name", "bins", "sequences"}) {
        others.erase(known);
    }
    loaded.otherMembers = Compact(others);
    content = std::move(loaded);
    return true;
}

std::string SerialiseProjectContent(const ProjectContent& content) {
    nlohmann::json json = ParseUntrustedJson(content.otherMembers);
    if (!json.is_object()) {
        json = nlohmann::json::object();
    }
    json["formatVersion"] = kProjectFormatVersion;
    json["name"] = content.name;
    json["bins"] = content.bins;
    json["sequences"] = content.sequences;
    return Compact(json) + "\n";
}

} // namespace host
