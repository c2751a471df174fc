#include "Marvane/documents/Recovery.h"
#include "Marvane/core/JsonText.h"

#include "Marvane/documents/DocumentManager.h"
#include "Marvane/fileservices/FileReading.h"
#include "Marvane/fileservices/FileWriting.h"
#include "Marvane/projectbackend/ProjectFormats.h"

#include "host/Localizer.h"

#include <QDateTime>
#include <QLocale>
#include <algorithm>
#include <nlohmann/json.hpp>
#include <ostream>

namespace host {

namespace fs = std::filesystem;

namespace {

constexpr const char* kRecoveryFolder = "Recovery";
constexpr const char* kOriginSuffix = ".origin";

} // namespace

std::string LocalStamp() {
    // Day, the month's short name in the chosen language and the time: a person reads it at
    // a glance ("21 Nov 14.02", with no colon, which shares refuse in names); copies of one
    // minute are told apart by a number.
    return QLocale()
        .toString(QDateTime::currentDateTime(), QStringLiteral("d MMM HH.mm"))
        .toStdString();
}

std::string SafeFileName(const std::string& name) {
    std::string safe;
    for (const char c : name) {
        const auto byte = static_cast<unsigned char>(c);
        // Separators, control characters, and what Windows shares refuse in a name (a data
        // folder may live on one).
        const bool refused = c == '/' || c == '\\' || c == ':' || c == '*' || c == '?' ||
                             c == '"' || c == '<' || c == '>' || c == '|' || byte < 0x20 ||
                             byte == 0x7f;
        safe += refused ? '_' : c;
    }
    while (!safe.empty() && (safe.front() == '.' || safe.front() == ' ')) {
        safe.erase(safe.begin());
    }
    constexpr std::size_t kMostBytes = 120;
    if (safe.size() > kMostBytes) {
        std::size_t cut = kMostBytes;
        while (cut > 0 && (static_cast<unsigned char>(safe[cut]) & 0xC0) == 0x80) {
            --cut; // never in the middle of a character
        }
        safe.resize(cut);
    }
    return safe.empty() ? std::string("Project") : safe;
}

fs::path SaveRecoveryCopy(const fs::path& dataDirectory, const OpenProject& project,
                          std::string& error) {
    const fs::path folder = dataDirectory / kRecoveryFolder;
    std::error_code ignored;
    fs::create_directories(folder, ignored);
    const std::string base = SafeFileName(
        Localize("$$$/Marvane/Host/Recovery/CopyName=@0 (recovered @1)#{the file name of a "
                 "recovery copy: the project's name and when its changes were kept}",
                 {project.DisplayName(), LocalStamp()}));
    const std::string text = SerialiseProjectContent(project.Content());
    error = "no free name in " + folder.string();
    fs::path placed;
    for (int number = 1; number < 1000 && placed.empty(); ++number) {
        const fs::path copy = folder / (base + (number == 1 ? "" : " " + std::to_string(number)) +
                                        std::string(kProjectFileExtension));
        const PlaceResult outcome = PlaceNewFile(copy, text, error);
        if (outcome == PlaceResult::Placed) {
            placed = copy;
        } else if (outcome == PlaceResult::Failed) {
            break;
        }
    }
    if (placed.empty()) {
        return {};
    }
    if (PlaceNewFile(placed.string() + kOriginSuffix,
                     JsonText(nlohmann::json{{"original", PathToJson(project.Path())}}) + "\n",
                     error) != PlaceResult::Placed) {
        return {};
    }
    error.clear();
    return placed;
}

RecoveryResult SaveRecoveryCopies(const fs::path& dataDirectory) {
    RecoveryResult result;
    for (const OpenProjectPtr& project : DocumentManager::Instance().GetAll()) {
        if (!project->IsModified()) {
            continue;
        }
        std::string error;
        const fs::path placed = SaveRecoveryCopy(dataDirectory, *project, error);
        if (placed.empty()) {
            result.failed.emplace_back(project->Path(), error);
            continue;
        }
        result.written.push_back(placed);
    }
    return result;
}

std::vector<RecoveredCopy> FindRecoveredCopies(const fs::path& dataDirectory) {
    std::vector<RecoveredCopy> copies;
    std::error_code error;
    for (const auto& entry : fs::directory_iterator(dataDirectory / kRecoveryFolder, error)) {
        if (entry.path().extension() != kOriginSuffix) {
            continue;
        }
        const auto json = ReadJsonFile(entry.path());
        fs::path copy = entry.path();
        copy.replace_extension();
        if (!fs::exists(copy, error)) {
            continue;
        }
        const auto original = json.is_object() ? json.find("original") : json.end();
        copies.push_back({copy, original != json.end() ? PathFromJson(*original) : fs::path()});
    }
    return copies;
}

void MarkRecoveredCopyOffered(const RecoveredCopy& copy) {
    std::error_code error;
    fs::rename(copy.copy.string() + kOriginSuffix, copy.copy.string() + ".offered", error);
}

void KeepChangesBeforeStopping(const fs::path& dataDirectory, std::ostream& err) {
    const RecoveryResult recovery = SaveRecoveryCopies(dataDirectory);
    for (const auto& copy : recovery.written) {
        err << "marvane: unsaved changes were kept in " << copy << "\n";
    }
    for (const OpenProjectPtr& project : DocumentManager::Instance().GetAll()) {
        const bool failed =
            std::any_of(recovery.failed.begin(), recovery.failed.end(),
                        [&](const auto& failure) { return failure.first == project->Path(); });
        if (failed) {
            err << "marvane: the unsaved changes of " << project->Path()
                << " could not be kept; its lock stays in place.\n";
            project->AbandonLock();
        }
    }
}

} // namespace host
