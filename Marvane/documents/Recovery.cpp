#include "Marvane/documents/Recovery.h"

#include "Marvane/documents/DocumentManager.h"
#include "Marvane/projectbackend/ProjectFormats.h"

#include <ctime>
#include <fstream>
#include <nlohmann/json.hpp>
#include <sstream>

namespace host {

namespace fs = std::filesystem;

namespace {

constexpr const char* kRecoveryFolder = "Recovery";
constexpr const char* kOriginSuffix = ".origin";

std::string LocalStamp() {
    const std::time_t now = std::time(nullptr);
    std::tm parts{};
    localtime_r(&now, &parts);
    char text[32] = {};
    std::strftime(text, sizeof(text), "%Y-%m-%d %H-%M-%S", &parts);
    return text;
}

} // namespace

std::vector<fs::path> SaveRecoveryCopies(const fs::path& dataDirectory) {
    std::vector<fs::path> written;
    const fs::path folder = dataDirectory / kRecoveryFolder;
    for (const OpenProjectPtr& project : DocumentManager::Instance().GetAll()) {
        if (!project->IsModified()) {
            continue;
        }
        std::error_code error;
        fs::create_directories(folder, error);
        const std::string base = project->Content().name + " (recovered " + LocalStamp() + ")";
        fs::path copy = folder / (base + std::string(kProjectFileExtension));
        for (int number = 2; fs::exists(copy, error); ++number) {
            copy =
                folder / (base + " " + std::to_string(number) + std::string(kProjectFileExtension));
        }
        std::string saveError;
        if (!SaveProjectContent(copy, project->Content(), saveError)) {
            continue;
        }
        std::ofstream(copy.string() + kOriginSuffix, std::ios::binary)
            << nlohmann::json{{"original", project->Path().string()}}.dump() << "\n";
        written.push_back(copy);
    }
    return written;
}

std::vector<RecoveredCopy> FindRecoveredCopies(const fs::path& dataDirectory) {
    std::vector<RecoveredCopy> copies;
    std::error_code error;
    for (const auto& entry : fs::directory_iterator(dataDirectory / kRecoveryFolder, error)) {
        if (entry.path().extension() != kOriginSuffix) {
            continue;
        }
        std::ifstream in(entry.path(), std::ios::binary);
        std::stringstream text;
        text << in.rdbuf();
        const auto json = nlohmann::json::parse(text.str(), nullptr, false);
        fs::path copy = entry.path();
        copy.replace_extension();
        if (!fs::exists(copy, error)) {
            continue;
        }
        copies.push_back({copy, json.is_object() ? json.value("original", std::string()) : ""});
    }
    return copies;
}

void MarkRecoveredCopyOffered(const RecoveredCopy& copy) {
    std::error_code error;
    fs::rename(copy.copy.string() + kOriginSuffix, copy.copy.string() + ".offered", error);
}

} // namespace host
