#include "Marvane/documents/ProjectContent.h"

#include "Marvane/fileservices/FileWriting.h"
#include "Marvane/projectbackend/ProjectFormats.h"
#include "host/ProjectBackEnd.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <nlohmann/json.hpp>
#include <sys/stat.h>
#include <unistd.h>

namespace host {

namespace fs = std::filesystem;

namespace {

constexpr std::size_t kMaximumProjectBytes = 256 * 1024 * 1024;

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

FileStamp StampOfStatus(const struct stat& status) {
    FileStamp stamp;
    stamp.inode = static_cast<unsigned long long>(status.st_ino);
    stamp.modifiedNanoseconds =
        static_cast<long long>(status.st_mtim.tv_sec) * 1000000000LL + status.st_mtim.tv_nsec;
    stamp.size = static_cast<long long>(status.st_size);
    return stamp;
}

// The whole file and the identity of exactly the version read; false with errno set.
bool ReadWholeFile(const fs::path& file, std::string& text, FileStamp& stamp) {
    const int descriptor = ::open(file.c_str(), O_RDONLY | O_CLOEXEC);
    if (descriptor < 0) {
        return false;
    }
    struct stat status {};
    bool ok = ::fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode);
    if (ok && static_cast<std::size_t>(status.st_size) > kMaximumProjectBytes) {
        errno = EFBIG;
        ok = false;
    }
    char buffer[65536];
    while (ok) {
        const ssize_t count = ::read(descriptor, buffer, sizeof(buffer));
        if (count < 0 && errno == EINTR) {
            continue;
        }
        if (count < 0) {
            ok = false;
        } else if (count == 0) {
            break;
        } else {
            text.append(buffer, static_cast<std::size_t>(count));
        }
    }
    const int readError = errno;
    ::close(descriptor);
    errno = readError;
    if (ok) {
        stamp = StampOfStatus(status);
    }
    return ok;
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

bool LoadProjectContent(const fs::path& projectPath, ProjectContent& content, std::string& error,
                        FileStamp* stamp) {
    const fs::path file = ProjectContentFile(projectPath);
    std::string text;
    FileStamp readStamp;
    if (!ReadWholeFile(file, text, readStamp)) {
        error = "The project \"" + projectPath.string() +
                "\" cannot be read: " + std::strerror(errno) + ".";
        return false;
    }
    const auto json = nlohmann::json::parse(text, nullptr, false);
    const std::string left = " It was left as it is.";
    if (!json.is_object()) {
        error = "The project \"" + projectPath.string() +
                "\" is damaged: it is not a project file of this application." + left;
        return false;
    }
    const auto version = json.find("formatVersion");
    const auto name = json.find("name");
    bool ok = version != json.end() && version->is_number_integer() &&
              (name == json.end() || name->is_string());
    if (ok && version->get<long long>() > kProjectFormatVersion) {
        error = "The project \"" + projectPath.string() +
                "\" was saved by a newer version (format " +
                std::to_string(version->get<long long>()) + ")." + left;
        return false;
    }
    ProjectContent loaded;
    loaded.bins = Names(json, "bins", ok);
    loaded.sequences = Names(json, "sequences", ok);
    if (!ok) {
        error = "The project \"" + projectPath.string() +
                "\" is damaged: its content is not in the expected form." + left;
        return false;
    }
    loaded.formatVersion = version->get<int>();
    loaded.name = name != json.end() ? name->get<std::string>() : projectPath.stem().string();
    nlohmann::json others = json;
    for (const char* known : {"formatVersion", "name", "bins", "sequences"}) {
        others.erase(known);
    }
    loaded.otherMembers = others.dump();
    content = std::move(loaded);
    if (stamp != nullptr) {
        *stamp = readStamp;
    }
    return true;
}

std::string SerialiseProjectContent(const ProjectContent& content) {
    nlohmann::json json = nlohmann::json::parse(content.otherMembers, nullptr, false);
    if (!json.is_object()) {
        json = nlohmann::json::object();
    }
    json["formatVersion"] = kProjectFormatVersion;
    json["name"] = content.name;
    json["bins"] = content.bins;
    json["sequences"] = content.sequences;
    return json.dump(2) + "\n";
}

bool SaveProjectContent(const fs::path& projectPath, const ProjectContent& content,
                        std::string& error) {
    std::string reason;
    if (!ReplaceFile(ProjectContentFile(projectPath), SerialiseProjectContent(content), reason)) {
        error = "The project \"" + projectPath.string() + "\" could not be saved (" + reason +
                "). The file on disk is unchanged.";
        return false;
    }
    return true;
}

FileStamp StampOf(const fs::path& file) {
    struct stat status {};
    if (::stat(file.c_str(), &status) != 0) {
        return {};
    }
    return StampOfStatus(status);
}

} // namespace host
