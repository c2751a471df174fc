#include "Marvane/projectbackend/LockFiles.h"

#include "Marvane/projectbackend/ProjectFormats.h"
#include "host/ApplicationLayer.h"

#include <atomic>
#include <cerrno>
#include <chrono>
#include <ctime>
#include <fcntl.h>
#include <fstream>
#include <nlohmann/json.hpp>
#include <random>
#include <sys/stat.h>
#include <unistd.h>

namespace host {

namespace {

namespace fs = std::filesystem;

constexpr std::size_t kMaximumLockFileBytes = 64 * 1024;

class LockFile final : public IProjectLockFile {
public:
    LockFile(bool owned, std::string owner) : mOwned(owned), mOwner(std::move(owner)) {}
    bool IsOwnedByCaller() const override { return mOwned; }
    ByteString GetOwnerName() const override { return mOwner; }

private:
    bool mOwned;
    std::string mOwner;
};

std::string HostName() {
    char name[256] = {};
    if (gethostname(name, sizeof(name) - 1) != 0) {
        return {};
    }
    return name;
}

std::string UtcNow() {
    const std::time_t now = std::time(nullptr);
    std::tm parts{};
    gmtime_r(&now, &parts);
    char text[32] = {};
    std::strftime(text, sizeof(text), "%Y-%m-%dT%H:%M:%SZ", &parts);
    return text;
}

} // namespace

std::string SerialiseLockFile(const LockFileContent& content) {
    const nlohmann::json json = {
        {"lockingName", content.lockingName}, {"secondLockingString", content.secondLockingString},
        {"hostName", content.hostName},       {"processId", content.processId},
        {"bootId", content.bootId},           {"createdUtc", content.createdUtc}};
    return json.dump(2) + "\n";
}

namespace {

bool WriteAll(int descriptor, const std::string& text) {
    std::size_t written = 0;
    while (written < text.size()) {
        const ssize_t result = ::write(descriptor, text.data() + written, text.size() - written);
        if (result < 0) {
            if (errno == EINTR) {
                continue;
            }
            return false;
        }
        written += static_cast<std::size_t>(result);
    }
    return ::fsync(descriptor) == 0;
}

// Writes a complete file under a name nobody else uses, in the lock's own folder.
fs::path WriteUniqueFile(const fs::path& lockPath, const std::string& text) {
    static std::atomic<unsigned> counter{0};
    std::random_device random;
    const fs::path unique =
        lockPath.parent_path() /
        ("." + lockPath.filename().string() + "." + HostName() + "." + std::to_string(::getpid()) +
         "." + std::to_string(counter++) + "." + std::to_string(random()) + ".tmp");
    const int descriptor = ::open(unique.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0644);
    if (descriptor < 0) {
        return {};
    }
    const bool complete = WriteAll(descriptor, text);
    ::close(descriptor);
    if (!complete) {
        ::unlink(unique.c_str());
        return {};
    }
    return unique;
}

enum class CreateOutcome { Won, Taken, Failed };

// Puts the lock in place if nobody has: the unique file is hard-linked to the lock's name,
// which either succeeds for exactly one writer or fails because the name exists. On network
// file systems a link may report failure although it succeeded; the unique file's link count
// tells the truth. Where the file system has no hard links, the lock is created exclusively
// and written in place: a reader may then briefly see it incomplete, which counts as held by
// someone else, never as free.
CreateOutcome PlaceLockFile(const fs::path& lockPath, const std::string& text) {
    const fs::path unique = WriteUniqueFile(lockPath, text);
    if (unique.empty()) {
        return CreateOutcome::Failed;
    }
    CreateOutcome outcome = CreateOutcome::Failed;
    if (::link(unique.c_str(), lockPath.c_str()) == 0) {
        outcome = CreateOutcome::Won;
    } else {
        const int linkError = errno;
        struct stat status {};
        if (::stat(unique.c_str(), &status) == 0 && status.st_nlink == 2) {
            outcome = CreateOutcome::Won;
        } else if (linkError == EEXIST) {
            outcome = CreateOutcome::Taken;
        } else if (linkError == EPERM || linkError == ENOTSUP || linkError == EOPNOTSUPP ||
                   linkError == EMLINK || linkError == ENOSYS) {
            const int descriptor =
                ::open(lockPath.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0644);
            if (descriptor >= 0) {
                outcome = WriteAll(descriptor, text) ? CreateOutcome::Won : CreateOutcome::Failed;
                ::close(descriptor);
            } else {
                outcome = errno == EEXIST ? CreateOutcome::Taken : CreateOutcome::Failed;
            }
        }
    }
    ::unlink(unique.c_str());
    return outcome;
}

ProjectLockFilePtr LockFor(LockFileState state, const LockFileContent& content,
                           const std::string& name, const std::string& second) {
    if (state == LockFileState::Unreadable) {
        return std::make_shared<LockFile>(false, std::string(kUnreadableLockHolder));
    }
    const bool owned = content.lockingName == name && content.secondLockingString == second;
    return std::make_shared<LockFile>(owned, content.lockingName);
}

bool IsLockFileName(const fs::path& file) {
    const std::string name = file.filename().string();
    const std::string suffix(kLockFileSuffix);
    if (name.size() <= suffix.size() ||
        name.compare(name.size() - suffix.size(), suffix.size(), suffix) != 0) {
        return false;
    }
    return IsMarvaneProjectFile(name.substr(0, name.size() - suffix.size()));
}

} // namespace

fs::path LockFilePathFor(const fs::path& projectPath) {
    fs::path project = projectPath;
    if (!project.has_filename()) {
        project = project.parent_path();
    }
    return project.parent_path() / (project.filename().string() + std::string(kLockFileSuffix));
}

LockFileState ReadLockFile(const fs::path& lockPath, LockFileContent& content) {
    struct stat status {};
    if (::lstat(lockPath.c_str(), &status) != 0) {
        return errno == ENOENT || errno == ENOTDIR ? LockFileState::Missing
                                                   : LockFileState::Unreadable;
    }
    if (!S_ISREG(status.st_mode)) {
        return LockFileState::Unreadable;
    }
    std::ifstream in(lockPath, std::ios::binary);
    if (!in) {
        return LockFileState::Unreadable;
    }
    std::string text(kMaximumLockFileBytes + 1, '\0');
    in.read(text.data(), static_cast<std::streamsize>(text.size()));
    text.resize(static_cast<std::size_t>(in.gcount()));
    if (text.empty() || text.size() > kMaximumLockFileBytes) {
        return LockFileState::Unreadable;
    }
    const auto json = nlohmann::json::parse(text, nullptr, false);
    if (!json.is_object()) {
        return LockFileState::Unreadable;
    }
    const auto name = json.find("lockingName");
    const auto second = json.find("secondLockingString");
    if (name == json.end() || !name->is_string() || name->get<std::string>().empty() ||
        second == json.end() || !second->is_string()) {
        return LockFileState::Unreadable;
    }
    content.lockingName = name->get<std::string>();
    content.secondLockingString = second->get<std::string>();
    content.hostName = json.value("hostName", std::string());
    const auto processId = json.find("processId");
    content.processId =
        processId != json.end() && processId->is_number_integer() ? processId->get<long long>() : 0;
    content.bootId = json.value("bootId", std::string());
    content.createdUtc = json.value("createdUtc", std::string());
    return LockFileState::Valid;
}

std::string ThisMachinesBootId() {
    std::ifstream in("/proc/sys/kernel/random/boot_id");
    std::string id;
    std::getline(in, id);
    return id;
}

LockFileContent MakeLockFileContent(const std::string& name, const std::string& second) {
    static const std::string bootId = ThisMachinesBootId();
    return LockFileContent{name,   second,  HostName(), static_cast<long long>(::getpid()),
                           bootId, UtcNow()};
}

bool RemoveOwnLockFile(const fs::path& projectPath, const std::string& name,
                       const std::string& second) {
    const fs::path lockPath = LockFilePathFor(projectPath);
    LockFileContent content;
    if (ReadLockFile(lockPath, content) != LockFileState::Valid || content.lockingName != name ||
        content.secondLockingString != second) {
        return false;
    }
    return ::unlink(lockPath.c_str()) == 0;
}

ProjectLockFilePtr ReadProjectLockFile(const ByteString& projectPath, const ByteString& name,
                                       const ByteString& second) {
    LockFileContent content;
    const LockFileState state = ReadLockFile(LockFilePathFor(projectPath), content);
    if (state == LockFileState::Missing) {
        return nullptr;
    }
    return LockFor(state, content, name, second);
}

ProjectLockFilePtr CreateProjectLockFile(const ByteString& projectPath, const ByteString& name,
                                         const ByteString& second) {
    const fs::path lockPath = LockFilePathFor(projectPath);
    const std::string text = SerialiseLockFile(MakeLockFileContent(name, second));
    // A lock removed between our failed link and our read is tried again, a few times.
    for (int attempt = 0; attempt < 5; ++attempt) {
        LockFileContent content;
        const LockFileState state = ReadLockFile(lockPath, content);
        if (state != LockFileState::Missing) {
            return LockFor(state, content, name, second);
        }
        switch (PlaceLockFile(lockPath, text)) {
        case CreateOutcome::Won:
            return std::make_shared<LockFile>(true, name);
        case CreateOutcome::Failed:
            return nullptr;
        case CreateOutcome::Taken:
            break;
        }
    }
    return nullptr;
}

bool DoesDirectoryContainLockedProjects(const ByteString& folderPath, bool recursive,
                                        bool othersOnly) {
    ByteString name;
    ByteString second;
    GetProjectLockingPrefs(name, second);
    std::error_code error;
    const auto options = fs::directory_options::skip_permission_denied;
    const auto isLocked = [&](const fs::directory_entry& entry) {
        std::error_code statusError;
        if (!entry.is_regular_file(statusError) || entry.is_symlink(statusError) ||
            !IsLockFileName(entry.path())) {
            return false;
        }
        LockFileContent content;
        const LockFileState state = ReadLockFile(entry.path(), content);
        if (state == LockFileState::Missing) {
            return false;
        }
        if (!othersOnly || state == LockFileState::Unreadable) {
            return true;
        }
        return content.lockingName != name || content.secondLockingString != second;
    };
    if (!recursive) {
        for (const auto& entry : fs::directory_iterator(folderPath, options, error)) {
            if (isLocked(entry)) {
                return true;
            }
        }
        return false;
    }
    // The recursive walk never follows symbolic links, and does not look inside project
    // folders, whose content is the project's own.
    fs::recursive_directory_iterator walk(folderPath, options, error);
    for (auto it = walk; !error && it != fs::recursive_directory_iterator(); it.increment(error)) {
        std::error_code statusError;
        if (it->is_directory(statusError) && !it->is_symlink(statusError) &&
            IsMarvaneProjectFile(it->path().string())) {
            it.disable_recursion_pending();
            continue;
        }
        if (isLocked(*it)) {
            return true;
        }
    }
    return false;
}

} // namespace host
