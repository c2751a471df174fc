// The production's search for projects by name. Speed matters here: a production of 100,000
// projects is about 131,000 entries. Folders are read with getdents64 relative to their
// parent's descriptor; the kind each entry reports saves a stat per entry (a stat is made only
// where the file system does not say); names are matched in place, without making a string
// for each entry.
#include "Marvane/core/ThisMachine.h"
#include "Marvane/fileservices/SearchHooks.h"
#include "host/AsyncCalls.h"
#include "host/DebugTrace.h"
#include "host/FileServices.h"

#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>
#include <vector>

namespace host {

namespace {

// Where getdents64 puts the fields of each entry it writes: an 8-byte inode and an 8-byte
// offset, then the entry's length (2 bytes), its kind (1 byte) and its name, ending in a zero.
constexpr std::size_t kEntryLengthAt = 16;
constexpr std::size_t kEntryTypeAt = 18;
constexpr std::size_t kEntryNameAt = 19;
constexpr std::chrono::milliseconds kProgressEvery{100};

std::mutex gHookMutex;
std::function<void()> gFolderHook;

void RunFolderHook() {
    std::function<void()> hook;
    {
        const std::lock_guard guard(gHookMutex);
        hook = gFolderHook;
    }
    if (hook) {
        hook();
    }
}

char FoldAscii(char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

bool EndsWithFolded(std::string_view text, std::string_view foldedSuffix) {
    if (text.size() < foldedSuffix.size()) {
        return false;
    }
    const std::size_t start = text.size() - foldedSuffix.size();
    for (std::size_t i = 0; i < foldedSuffix.size(); ++i) {
        if (FoldAscii(text[start + i]) != foldedSuffix[i]) {
            return false;
        }
    }
    return true;
}

bool ContainsFolded(std::string_view text, std::string_view foldedNeedle) {
    if (foldedNeedle.empty()) {
        return true;
    }
    if (text.size() < foldedNeedle.size()) {
        return false;
    }
    const char first = foldedNeedle.front();
    for (std::size_t start = 0; start + foldedNeedle.size() <= text.size(); ++start) {
        if (FoldAscii(text[start]) != first) {
            continue;
        }
        std::size_t i = 1;
        while (i < foldedNeedle.size() && FoldAscii(text[start + i]) == foldedNeedle[i]) {
            ++i;
        }
        if (i == foldedNeedle.size()) {
            return true;
        }
    }
    return false;
}

std::string Folded(const WideString& text) {
    std::string folded = ToUTF8(text);
    for (char& c : folded) {
        c = FoldAscii(c);
    }
    return folded;
}

struct Search {
    std::vector<std::string> extensions; // folded UTF-8, with their dot
    std::string filter;                  // folded UTF-8
    const std::atomic<bool>* cancelled = nullptr;
    std::vector<WideString> found;
    // Told what was found since it was last told, at most every kProgressEvery.
    std::function<void(std::vector<WideString>)> progress;
    std::size_t told = 0;
    std::chrono::steady_clock::time_point lastProgress = std::chrono::steady_clock::now();

    // The extension the name ends with, or null.
    const std::string* ExtensionOf(std::string_view name) const {
        for (const std::string& extension : extensions) {
            if (name.size() > extension.size() && EndsWithFolded(name, extension)) {
                return &extension;
            }
        }
        return nullptr;
    }

    bool Matches(std::string_view name, const std::string& extension) const {
        return ContainsFolded(name.substr(0, name.size() - extension.size()), filter);
    }

    void Walk(int folder, std::string& path) {
        constexpr std::size_t kBufferBytes = 64 * 1024;
        std::unique_ptr<char[]> buffer(new char[kBufferBytes]);
        while (cancelled == nullptr || !cancelled->load(std::memory_order_relaxed)) {
            const long read = ::syscall(SYS_getdents64, folder, buffer.get(), kBufferBytes);
            if (read < 0) {
                Trace("Host", 2,
                      "The search could not read all of " + path + ": " + std::strerror(errno));
                return;
            }
            if (read == 0) {
                return;
            }
            for (long offset = 0; offset < read;) {
                const char* entry = buffer.get() + offset;
                unsigned short length = 0;
                std::memcpy(&length, entry + kEntryLengthAt, sizeof(length));
                if (length == 0) {
                    return; // never the case; a broken reply must not loop for ever
                }
                const auto type = static_cast<unsigned char>(entry[kEntryTypeAt]);
                Visit(folder, path, entry + kEntryNameAt, type);
                offset += length;
            }
        }
    }

    void Visit(int folder, std::string& path, const char* rawName, unsigned char type) {
        const std::string_view name(rawName);
        // Dot names: ".", "..", and everything hidden, which no production shows.
        if (name.empty() || name.front() == '.') {
            return;
        }
        if (type == DT_UNKNOWN) {
            struct stat status {};
            if (::fstatat(folder, rawName, &status, AT_SYMLINK_NOFOLLOW) != 0) {
                return;
            }
            type = S_ISDIR(status.st_mode) ? DT_DIR : S_ISLNK(status.st_mode) ? DT_LNK : DT_REG;
        }
        const std::string* extension = ExtensionOf(name);
        if (type == DT_DIR) {
            if (extension != nullptr && IsProjectFolderExtension(*extension)) {
                // A project stored as a folder: one item, never looked into.
                if (Matches(name, *extension)) {
                    Found(path, name);
                }
                return;
            }
            Descend(folder, path, rawName);
            return;
        }
        if (extension != nullptr && !IsProjectFolderExtension(*extension) &&
            Matches(name, *extension)) {
            Found(path, name);
        }
    }

    static bool IsProjectFolderExtension(const std::string& extension) {
        return extension.size() > 1 && extension.back() == 'd';
    }

    void Found(const std::string& path, std::string_view name) {
        std::string full;
        full.reserve(path.size() + 1 + name.size());
        full.append(path).append(path == "/" ? "" : "/").append(name);
        found.push_back(ToUTF16(full));
        if (progress) {
            const auto now = std::chrono::steady_clock::now();
            if (now - lastProgress >= kProgressEvery) {
                lastProgress = now;
                progress(std::vector<WideString>(found.begin() + static_cast<std::ptrdiff_t>(told),
                                                 found.end()));
                told = found.size();
            }
        }
    }

    void Descend(int folder, std::string& path, const char* name) {
        RunFolderHook();
        const int child =
            ::openat(folder, name, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC);
        const std::size_t length = path.size();
        path.append(path == "/" ? "" : "/").append(name);
        if (child < 0) {
            Trace("Host", 2, "The search left out " + path + ": " + std::strerror(errno));
        } else {
            Walk(child, path);
            ::close(child);
        }
        path.resize(length);
    }
};

std::vector<WideString> RunSearch(const WideString& folder,
                                  const std::vector<WideString>& extensions,
                                  const WideString& nameFilter, const std::atomic<bool>* cancelled,
                                  std::function<void(std::vector<WideString>)> progress = {}) {
    Search search;
    search.progress = std::move(progress);
    for (const WideString& extension : extensions) {
        if (!extension.empty()) {
            search.extensions.push_back(Folded(extension));
        }
    }
    search.filter = Folded(nameFilter);
    search.cancelled = cancelled;
    std::string path = ToUTF8(StripTrailingSlash(folder));
    const int root = ::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_NONBLOCK | O_CLOEXEC);
    if (root < 0) {
        Trace("Host", 2, "The search could not read " + path + ": " + std::strerror(errno));
        return {};
    }
    search.Walk(root, path);
    ::close(root);
    return std::move(search.found);
}

class BackgroundSearch final : public FileSearch,
                               public std::enable_shared_from_this<BackgroundSearch> {
public:
    void Cancel() override { mCancelled->store(true); }
    bool IsRunning() const override { return !mCancelled->load() && !mDelivered->load(); }

    void Start(WideString folder, std::vector<WideString> extensions, WideString nameFilter,
               std::function<void(std::vector<WideString>)> done,
               std::function<void(std::vector<WideString>&)> arrange,
               std::function<void(std::vector<WideString>)> progress) {
        // The worker holds the flags, never the handle: releasing the handle cancels.
        auto cancelled = mCancelled;
        auto delivered = mDelivered;
        RunOnDefaultExecutor([cancelled, delivered, folder = std::move(folder),
                              extensions = std::move(extensions),
                              nameFilter = std::move(nameFilter), done = std::move(done),
                              arrange = std::move(arrange), progress = std::move(progress)] {
            std::function<void(std::vector<WideString>)> tell;
            if (progress) {
                tell = [cancelled, delivered, progress](std::vector<WideString> found) {
                    auto batch = std::make_shared<std::vector<WideString>>(std::move(found));
                    CallAsyncOnMainThread([cancelled, delivered, progress, batch] {
                        if (!cancelled->load() && !delivered->load()) {
                            progress(std::move(*batch));
                        }
                    });
                };
            }
            auto paths = std::make_shared<std::vector<WideString>>(
                RunSearch(folder, extensions, nameFilter, cancelled.get(), std::move(tell)));
            if (arrange && !cancelled->load()) {
                arrange(*paths);
            }
            CallAsyncOnMainThread([cancelled, delivered, paths, done] {
                if (!cancelled->load()) {
                    delivered->store(true);
                    done(std::move(*paths));
                }
            });
        });
    }
    ~BackgroundSearch() override { mCancelled->store(true); }

private:
    std::shared_ptr<std::atomic<bool>> mCancelled = std::make_shared<std::atomic<bool>>(false);
    std::shared_ptr<std::atomic<bool>> mDelivered = std::make_shared<std::atomic<bool>>(false);
};

} // namespace

namespace files {

void SetSearchFolderHookForTesting(std::function<void()> hook) {
    const std::lock_guard guard(gHookMutex);
    gFolderHook = std::move(hook);
}

} // namespace files

std::vector<WideString> FindFilesOrDirectories(const WideString& folder,
                                               const std::vector<WideString>& extensions,
                                               const WideString& nameFilter) {
    return RunSearch(folder, extensions, nameFilter, nullptr);
}

FileSearchPtr StartFileSearch(const WideString& folder, const std::vector<WideString>& extensions,
                              const WideString& nameFilter,
                              std::function<void(std::vector<WideString> paths)> done,
                              std::function<void(std::vector<WideString>& paths)> arrange,
                              std::function<void(std::vector<WideString> foundSince)> progress) {
    auto search = std::make_shared<BackgroundSearch>();
    search->Start(folder, extensions, nameFilter, std::move(done), std::move(arrange),
                  std::move(progress));
    return search;
}

} // namespace host
