// A project's text: reading it into ProjectContent and writing ProjectContent back, with no
// file system involved (the fuzz target reads arbitrary text through these).
#include "Marvane/core/JsonNesting.h"
#include "Marvane/documents/ProjectContent.h"
#include "Marvane/documents/ProjectTextReader.h"
#include "Marvane/projectbackend/ProjectFormats.h"

#include <cstdint>
#include <nlohmann/json.hpp>

namespace host {

namespace {

// Compact text: its size follows the content, never its depth. Text that is not UTF-8 (a
// name taken from a file name) is written with replacement characters rather than refused.
std::string Compact(const nlohmann::json& json) {
    return json.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
}

} // namespace

bool ParseProjectContent(std::string_view text, const std::filesystem::path& projectPath,
                         ProjectContent& content, std::string& error, ProjectReadWatch* watch) {
    const std::string project = "The project \"" + projectPath.string() + "\"";
    const std::string left = " It was left as it is.";
    if (NestsTooDeeply(text)) {
        error = project + " cannot be read: its content nests deeper than " +
                std::to_string(kMaximumJsonNesting) + " levels." + left;
        return false;
    }
    ProjectTextReader reader(watch, text.size());
    // A NUL byte is never in JSON text; the reader is not even started on one.
    if (HoldsNulByte(text) || !nlohmann::json::sax_parse(text.begin(), text.end(), &reader)) {
        if (watch != nullptr && watch->stop.load()) {
            error = project + " was not opened: the reading was stopped.";
            return false;
        }
        error = project + " is damaged: it is not a project file of this application." + left;
        return false;
    }
    if (std::uint64_t version = 0; reader.IsNewerFormat(version)) {
        error = project + " was saved by a newer version (format " + std::to_string(version) +
                ")." + left;
        return false;
    }
    if (!reader.WellFormed()) {
        error = project + " is damaged: its content is not in the expected form." + left;
        return false;
    }
    reader.TakeContent(content, projectPath.stem().string());
    if (watch != nullptr) {
        watch->parsedBytes.store(text.size());
    }
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
