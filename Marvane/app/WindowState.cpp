#include "Marvane/app/WindowState.h"

#include "Marvane/fileservices/FileReading.h"
#include "Marvane/fileservices/FileWriting.h"
#include "host/DebugTrace.h"

#include <QByteArray>
#include <QMainWindow>
#include <nlohmann/json.hpp>

namespace host {

namespace {

constexpr const char* kFileName = "window.json";

std::string Encoded(const QByteArray& bytes) {
    return bytes.toBase64().toStdString();
}

QByteArray Decoded(const nlohmann::json& json, const char* key) {
    const auto found = json.find(key);
    if (found == json.end() || !found->is_string()) {
        return {};
    }
    return QByteArray::fromBase64(QByteArray::fromStdString(found->get<std::string>()));
}

} // namespace

void SaveWindowState(const QMainWindow& window, const std::filesystem::path& profileDirectory) {
    if (profileDirectory.empty()) {
        return;
    }
    const nlohmann::json json = {{"geometry", Encoded(window.saveGeometry())},
                                 {"state", Encoded(window.saveState())}};
    std::string error;
    if (!ReplaceFile(profileDirectory / kFileName, json.dump(2) + "\n", error)) {
        Trace("Host", 2, "The window's size and layout could not be kept: " + error);
    }
}

bool RestoreWindowState(QMainWindow& window, const std::filesystem::path& profileDirectory) {
    if (profileDirectory.empty()) {
        return false;
    }
    const nlohmann::json json = ReadJsonFile(profileDirectory / kFileName);
    if (!json.is_object()) {
        return false;
    }
    const QByteArray geometry = Decoded(json, "geometry");
    const QByteArray state = Decoded(json, "state");
    const bool placed = !geometry.isEmpty() && window.restoreGeometry(geometry);
    const bool laidOut = !state.isEmpty() && window.restoreState(state);
    return placed || laidOut;
}

} // namespace host
