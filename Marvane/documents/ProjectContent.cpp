#include "Marvane/documents/ProjectContent.h"

#include "Marvane/projectbackend/ProjectFormats.h"
#include "host/ProjectBackEnd.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <fstream>
#include <nlohmann/json.hpp>
#include <sstream>
#include <sys/stat.h>
#include <unistd.h>

namespace host {

namespace fs = std::filesystem;

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

} // namespace

fs::path ProjectContentFile(const fs::path& projectPath) {
    fs::path project = projectPath;
    if (!project.has_filename()) {
        project = project.parent_path();
    }
    if (project.extension() == kProjectFolderExtension) {
        return project / kProjectFolderContentName;
    }
    return project;
}

bool LoadProjectContent(const fs::path& projectPath, ProjectContent& content, std::string& error) {
    const fs::path file = ProjectContentFile(projectPath);
    std::ifstream in(file, std::ios::binary);
    if (!in) {
        error = "The project \"" + projectPath.string() +
                "\" cannot be read: " + std::strerror(errno) + ".";
        return false;
    }
    std::stringstream buffer;
    buffer << in.rdbuf();
    const auto json = nlohmann::json::parse(buffer.str(), nullptr, false);
    if (!json.is_object()) {
        error = "The project \"" + projectPath.string() +
                "\" is damaged: it is not a project file of this application. It was left "
                "as it is.";
        return false;
    }
    bool ok = true;
    const auto version = json.find("formatVersion");
    if (version == json.end() || !version->is_number_integer()) {
        ok = false;
    } else if (version->get<int>() > kProjectFormatVersion) {
        error = "The project \"" + projectPath.string() +
                "\" was saved by a newer version (format " + std::to_string(version->get<int>()) +
                "). It was left as it is.";
        return false;
    }
    ProjectContent loaded;
    loaded.formatVersion = ok ? version->get<int>() : 0;
    loaded.name = json.value("name", projectPath.stem().string());
    loaded.bins = Names(json, "bins", ok);
    loaded.sequences = Names(json, "sequences", ok);
    nlohmann::json others = json;
    for (const char* known : {"formatVersion", "name", "bins", "sequences"}) {
        others.erase(known);
    }
    loaded.otherMembers = others.dump();
    if (!ok) {
        error = "The project \"" + projectPath.string() +
                "\" is damaged: its content is not in the expected form. It was left as it is.";
        return false;
    }
    content = std::move(loaded);
    return true;
}

bool SaveProjectContent(const fs::path& projectPath, const ProjectContent& content,
                        std::string& error) {
    const fs::path file = ProjectContentFile(projectPath);
    nlohmann::json json = nlohmann::json::parse(content.otherMembers, nullptr, false);
    if (!json.is_object()) {
        json = nlohmann::json::object();
    }
    json["formatVersion"] = kProjectFormatVersion;
    json["name"] = content.name;
    json["bins"] = content.bins;
    json["sequences"] = content.sequences;
    const std::string text = json.dump(2) + "\n";
    const fs::path temporary = file.parent_path() / ("." + file.filename().string() + "." +
                                                     std::to_string(::getpid()) + ".saving");
    const int descriptor =
        ::open(temporary.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
    bool written = descriptor >= 0;
    std::size_t offset = 0;
    while (written && offset < text.size()) {
        const ssize_t result = ::write(descriptor, text.data() + offset, text.size() - offset);
        if (result < 0 && errno != EINTR) {
            written = false;
        } else if (result > 0) {
            offset += static_cast<std::size_t>(result);
        }
    }
    const int writeError = errno;
    if (descriptor >= 0) {
        written = ::fsync(descriptor) == 0 && written;
        ::close(descriptor);
    }
    if (!written || ::rename(temporary.c_str(), file.c_str()) != 0) {
        const int failure = written ? errno : writeError;
        ::unlink(temporary.c_str());
        error = "The project \"" + projectPath.string() +
                "\" could not be saved: " + std::strerror(failure) +
                ". The file on disk is unchanged.";
        return false;
    }
    return true;
}

FileStamp StampOf(const fs::path& file) {
    struct stat status {};
    if (::stat(file.c_str(), &status) != 0) {
        return {};
    }
    FileStamp stamp;
    stamp.inode = static_cast<unsigned long long>(status.st_ino);
    stamp.modifiedNanoseconds =
        static_cast<long long>(status.st_mtim.tv_sec) * 1000000000LL + status.st_mtim.tv_nsec;
    stamp.size = static_cast<long long>(status.st_size);
    return stamp;
}

} // namespace host
