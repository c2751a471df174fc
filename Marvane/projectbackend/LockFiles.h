#pragma once
// Lock files: "<project file name>.lock" beside the project, UTF-8 JSON naming the holder.
// Host-internal API; modules use ReadProjectLockFile / CreateProjectLockFile.
#include "host/ProjectBackEnd.h"

#include <filesystem>
#include <string>

namespace host {

struct LockFileContent {
    std::string lockingName;
    std::string secondLockingString;
    std::string hostName;
    long long processId = 0;
    std::string bootId;
    std::string createdUtc;
};

enum class LockFileState { Missing, Valid, Unreadable };

std::filesystem::path LockFilePathFor(const std::filesystem::path& projectPath);
// Reads a lock file. Anything that exists but is not a complete lock (empty, truncated, not
// JSON, a folder, unreadable) is Unreadable.
LockFileState ReadLockFile(const std::filesystem::path& lockPath, LockFileContent& content);
// Removes the project's lock file when, and only when, it is held by this identity.
bool RemoveOwnLockFile(const std::filesystem::path& projectPath, const std::string& name,
                       const std::string& second);
// The content this process writes for an identity: its host name, process id, boot id, now.
LockFileContent MakeLockFileContent(const std::string& name, const std::string& second);
std::string ThisMachinesBootId();
// The lock file's text for its content.
std::string SerialiseLockFile(const LockFileContent& content);

} // namespace host
