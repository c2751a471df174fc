// The project file reader over arbitrary bytes: it may refuse a file (with a message that
// names it), but it must never crash, never accept text nested deeper than JSON text may be,
// and what it accepts must come back the same after writing and reading again. It reads event
// by event; it must answer exactly as reading the whole text into one JSON tree and taking the
// members from it does (that plain reading is kept below as the reference).
#include "Marvane/core/JsonNesting.h"
#include "Marvane/documents/ProjectContent.h"
#include "Marvane/projectbackend/ProjectFormats.h"

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

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

bool ParseAsOneTree(std::string_view text, const std::filesystem::path& projectPath,
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
    loaded.bins = NameList(Names(json, "bins", ok));
    loaded.sequences = NameList(Names(json, "sequences", ok));
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
    loaded.otherMembers = others.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
    content = std::move(loaded);
    return true;
}

} // namespace
} // namespace host

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    const std::filesystem::path project = "/productions/Pilot/Scene 12.mvproj";
    host::ProjectContent first;
    std::string error;
    host::ProjectContent reference;
    std::string referenceError;
    const bool referenceAccepts = host::ParseAsOneTree(text, project, reference, referenceError);
    if (!host::ParseProjectContent(text, project, first, error)) {
        if (error.find("\"" + project.string() + "\"") == std::string::npos || referenceAccepts ||
            error != referenceError) {
            __builtin_trap();
        }
        return 0;
    }
    if (!referenceAccepts || !(reference == first)) {
        __builtin_trap();
    }
    if (host::NestsTooDeeply(text)) {
        __builtin_trap();
    }
    const std::string written = host::SerialiseProjectContent(first);
    // Compact: one line, however deeply the members nest.
    if (written.empty() || written.back() != '\n' || written.find('\n') != written.size() - 1) {
        __builtin_trap();
    }
    host::ProjectContent second;
    if (!host::ParseProjectContent(written, project, second, error) || !(second == first)) {
        __builtin_trap();
    }
    // Writing what was read again gives the same text: nothing is lost or invented.
    if (host::SerialiseProjectContent(second) != written) {
        __builtin_trap();
    }
    return 0;
}
