#pragma once
// A folder of a test's own: made fresh under the system's temporary folder (or a given base
// folder, such as one on a second file system), with a name no other folder has, not even one
// left behind by an earlier run, and removed with everything in it when the object goes.
#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <string_view>
#include <sys/stat.h>
#include <sys/types.h>
#include <system_error>
#include <unistd.h>
#include <vector>

namespace testsupport {

class TemporaryFolder {
public:
    // Makes "marvane-<purpose>-<process id>-<six random characters>" in `base`.
    explicit TemporaryFolder(std::string_view purpose, const std::filesystem::path& base =
                                                           std::filesystem::temp_directory_path())
        : mCreator(::getpid()) {
        std::string name = (base / ("marvane-" + std::string(purpose) + "-" +
                                    std::to_string(mCreator) + "-XXXXXX"))
                               .string();
        if (::mkdtemp(name.data()) == nullptr) {
            throw std::system_error(errno, std::generic_category(), "cannot make " + name);
        }
        mPath = name;
        // mkdtemp keeps the folder to its owner; give it what create_directory gives under the
        // usual umask, as the folders these tests made before had.
        std::filesystem::permissions(
            mPath, std::filesystem::perms::owner_all | std::filesystem::perms::group_read |
                       std::filesystem::perms::group_exec | std::filesystem::perms::others_read |
                       std::filesystem::perms::others_exec);
    }

    // A child forked by a test shares this object but not the folder: only the process that
    // made the folder removes it.
    ~TemporaryFolder() {
        if (::getpid() == mCreator) {
            Remove(mPath);
        }
    }

    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    const std::filesystem::path& Path() const { return mPath; }
    std::filesystem::path operator/(const std::filesystem::path& name) const {
        return mPath / name;
    }

private:
    // Removes a tree that a test may have made read-only, without following symbolic links and
    // without going into a file system mounted inside it (a share left mounted keeps its
    // contents, and its mount point stays).
    static void Remove(const std::filesystem::path& folder) {
        struct stat status {};
        if (::lstat(folder.c_str(), &status) != 0) {
            return;
        }
        RemoveTree(folder, status.st_dev);
        if (::lstat(folder.c_str(), &status) == 0) {
            // Left over: folders nested deeper than a full path may reach, which rm takes away
            // folder by folder (never crossing into another disk mounted below).
            const std::string command =
                "rm -rf --one-file-system -- '" + folder.string() + "' 2>/dev/null";
            [[maybe_unused]] const int ignored = std::system(command.c_str());
        }
    }

    static void RemoveTree(const std::filesystem::path& folder, dev_t device) {
        std::error_code ignored;
        std::filesystem::permissions(folder, std::filesystem::perms::owner_all,
                                     std::filesystem::perm_options::add, ignored);
        std::vector<std::filesystem::path> entries;
        for (std::filesystem::directory_iterator entry(folder, ignored), end;
             !ignored && entry != end; entry.increment(ignored)) {
            entries.push_back(entry->path());
        }
        for (const auto& entry : entries) {
            struct stat status {};
            if (::lstat(entry.c_str(), &status) == 0 && S_ISDIR(status.st_mode) &&
                status.st_dev == device) {
                RemoveTree(entry, device);
            } else {
                std::filesystem::remove(entry, ignored);
            }
        }
        std::filesystem::remove(folder, ignored);
    }

    pid_t mCreator;
    std::filesystem::path mPath;
};

} // namespace testsupport
