#include "Marvane/documents/ProjectContent.h"
#include "Marvane/fileservices/FileReading.h"

#include "Marvane/fileservices/FileWriting.h"
#include "Marvane/projectbackend/ProjectFormats.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace host {

namespace fs = std::filesystem;

namespace {

constexpr std::size_t kMaximumProjectBytes = 256 * 1024 * 1024;

FileStamp StampOfStatus(const struct stat& status) {
    FileStamp stamp;
    stamp.inode = static_cast<unsigned long long>(status.st_ino);
    stamp.modifiedNanoseconds =
        static_cast<long long>(status.st_mtim.tv_sec) * 1000000000LL + status.st_mtim.tv_nsec;
    stamp.size = static_cast<long long>(status.st_size);
    return stamp;
}

// The whole file and the identity of exactly the version read; false with errno set. A pipe or
// anything else that is not a regular file is refused at once, never waited on.
bool ReadWholeFile(const fs::path& file, std::string& text, FileStamp& stamp) {
    struct stat status {};
    int error = 0;
    if (!ReadRegularFile(file, text, error, kMaximumProjectBytes, status)) {
        errno = error;
        return false;
    }
    stamp = StampOfStatus(status);
    return true;
}

} // namespace

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
    if (!ParseProjectContent(text, projectPath, content, error)) {
        return false;
    }
    if (stamp != nullptr) {
        *stamp = readStamp;
    }
    return true;
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
