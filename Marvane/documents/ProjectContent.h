#pragma once
// What a project holds, as far as this host is concerned: bins and sequences by name.
// A ".mvproj" file is UTF-8 JSON; a ".mvprojd" folder holds the same JSON in "project.json".
#include "Marvane/documents/NameList.h"
#include "Marvane/projectbackend/ProjectFormats.h"

#include <atomic>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace host {

struct ProjectContent {
    int formatVersion = 1;
    std::string name;
    NameList bins;
    NameList sequences;
    // Members of the file that this host does not know, kept as they were (a JSON object).
    std::string otherMembers = "{}";

    bool operator==(const ProjectContent&) const = default;
};

struct FileStamp;

// A read of a big project followed from another thread: the file's size, the bytes read from
// it and the bytes of its text parsed so far, and a way to stop the read (it then fails).
struct ProjectReadWatch {
    std::atomic<std::uint64_t> totalBytes{0};
    std::atomic<std::uint64_t> readBytes{0};
    std::atomic<std::uint64_t> parsedBytes{0};
    std::atomic<bool> stop{false};
};

// Reads a project, and the identity of the version read. On failure returns false with a
// message for the user; the file is never touched. The watch, when given, follows the read.
bool LoadProjectContent(const std::filesystem::path& projectPath, ProjectContent& content,
                        std::string& error, FileStamp* stamp = nullptr,
                        ProjectReadWatch* watch = nullptr);
// Lets a test hear each piece of a project read (on the thread that reads it), to make the
// read slow; empty to stop.
void SetProjectReadHookForTesting(std::function<void(std::size_t bytesSoFar)> hook);
// Reads a project's text (no file is involved: projectPath names the project in the message
// and gives the name of a project whose text has none). On failure returns false with a
// message for the user: text that is not JSON, nests too deeply, has members of the wrong
// kind or is of a newer format.
bool ParseProjectContent(std::string_view text, const std::filesystem::path& projectPath,
                         ProjectContent& content, std::string& error,
                         ProjectReadWatch* watch = nullptr);
// The project file's text for its content: compact UTF-8 JSON and a line break, the members
// this host does not know kept as they were read.
std::string SerialiseProjectContent(const ProjectContent& content);
// Writes a project beside the old file and renames it over, so a failure never leaves a
// half-written project. Returns false with a message on failure.
bool SaveProjectContent(const std::filesystem::path& projectPath, const ProjectContent& content,
                        std::string& error);

// What identifies one version of a project's file on disk: a save replaces the file (a new
// inode) and changes its time and usually its size.
struct FileStamp {
    unsigned long long inode = 0;
    long long modifiedNanoseconds = 0;
    long long size = -1;
    bool operator==(const FileStamp&) const = default;
};
FileStamp StampOf(const std::filesystem::path& file);

} // namespace host
