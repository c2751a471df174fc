#include "Marvane/documents/ProjectContent.h"
#include "Marvane/fileservices/AccessDeadline.h"
#include "Marvane/fileservices/FileReading.h"
#include "Marvane/fileservices/FileWriting.h"
#include "Marvane/projectbackend/ProjectFormats.h"

#include <atomic>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <functional>
#include <memory>
#include <sys/stat.h>
#include <unistd.h>

namespace host {

namespace fs = std::filesystem;

namespace {

constexpr std::size_t kMaximumProjectBytes = 256 * 1024 * 1024;

struct Read {
    std::string text;
    struct stat status {};
    int error = 0;
};

FileStamp StampOfStatus(const struct stat& status) {
    FileStamp stamp;
    stamp.inode = static_cast<unsigned long long>(status.st_ino);
    stamp.modifiedNanoseconds =
        static_cast<long long>(status.st_mtim.tv_sec) * 1000000000LL + status.st_mtim.tv_nsec;
    stamp.size = static_cast<long long>(status.st_size);
    return stamp;
}

std::function<void(std::size_t)>& ReadHook() {
    static std::function<void(std::size_t)> hook;
    return hook;
}

// The whole file and the identity of exactly the version read; false with errno set. A pipe or
// anything else that is not a regular file is refused at once, never waited on. A big file
// read slowly is waited for as long as its bytes keep coming: only a folder that stops
// answering is taken for one.
bool ReadWholeFile(const fs::path& file, std::string& text, FileStamp& stamp,
                   ProjectReadWatch* watch) {
    auto read = std::make_shared<Read>();
    const bool finished = files::RunBoundedWhileMoving(
        file, [file, read, watch, hook = ReadHook()](std::atomic<std::uint64_t>& progress) {
            struct stat before {};
            if (watch != nullptr && ::stat(file.c_str(), &before) == 0) {
                watch->totalBytes.store(static_cast<std::uint64_t>(before.st_size));
            }
            const auto moved = [&progress, &hook, watch](std::size_t bytesSoFar) {
                progress.store(bytesSoFar + 1);
                if (watch != nullptr) {
                    watch->readBytes.store(bytesSoFar);
                }
                if (hook) {
                    hook(bytesSoFar);
                }
            };
            if (!ReadRegularFile(file, read->text, read->error, kMaximumProjectBytes, read->status,
                                 moved)) {
                read->error = read->error != 0 ? read->error : EIO;
            }
        });
    if (!finished) {
        errno = ETIMEDOUT;
        return false;
    }
    if (read->error != 0) {
        errno = read->error;
        return false;
    }
    text = std::move(read->text);
    stamp = StampOfStatus(read->status);
    return true;
}

} // namespace

void SetProjectReadHookForTesting(std::function<void(std::size_t bytesSoFar)> hook) {
    ReadHook() = std::move(hook);
}

bool LoadProjectContent(const fs::path& projectPath, ProjectContent& content, std::string& error,
                        FileStamp* stamp, ProjectReadWatch* watch) {
    const fs::path file = ProjectContentFile(projectPath);
    std::string text;
    FileStamp readStamp;
    if (!ReadWholeFile(file, text, readStamp, watch)) {
        error = "The project \"" + projectPath.string() +
                "\" cannot be read: " + std::strerror(errno) + ".";
        return false;
    }
    if (!ParseProjectContent(text, projectPath, content, error, watch)) {
        return false;
    }
    if (stamp != nullptr) {
        *stamp = readStamp;
    }
    return true;
}

bool SaveProjectContent(const fs::path& projectPath, const ProjectContent& content,
                        std::string& error) {
    const fs::path file = ProjectContentFile(projectPath);
    const std::string text = SerialiseProjectContent(content);
    // A save replaces the file whole or not at all. One that does not finish in time on a
    // share that stopped answering may still finish when it answers again, whole.
    using Outcome = std::pair<bool, std::string>;
    const std::optional<Outcome> outcome = files::Bounded<Outcome>(
        file,
        [file, text] {
            std::string why;
            const bool replaced = ReplaceFile(file, text, why);
            return Outcome(replaced, why);
        },
        files::kLongAccess);
    if (!outcome) {
        error = "The project \"" + projectPath.string() +
                "\" could not be saved: the production's folder does not answer. Your changes "
                "are kept in the open project.";
        return false;
    }
    const std::string& reason = outcome->second;
    if (!outcome->first) {
        error = "The project \"" + projectPath.string() + "\" could not be saved (" + reason +
                "). The file on disk is unchanged.";
        return false;
    }
    return true;
}

FileStamp StampOf(const fs::path& file) {
    return files::Bounded<FileStamp>(file,
                                     [file] {
                                         struct stat status {};
                                         if (::stat(file.c_str(), &status) != 0) {
                                             return FileStamp{};
                                         }
                                         return StampOfStatus(status);
                                     })
        .value_or(FileStamp{});
}

} // namespace host
