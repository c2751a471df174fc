// The production's search for projects by name. Speed matters here: a production of 100,000
// projects is about 131,000 entries. The tree is walked by folder descriptors; the kind each
// entry's listing reports saves a stat per entry (a stat is made only where the file system
// does not say); names are matched in place, without making a string for each entry.
#include "Marvane/core/ThisMachine.h"
#include "Marvane/fileservices/NameIndex.h"
#include "Marvane/fileservices/ProjectNames.h"
#include "Marvane/fileservices/SearchHooks.h"
#include "Marvane/fileservices/TreeWalk.h"
#include "host/AsyncCalls.h"
#include "host/DebugTrace.h"
#include "host/FileServices.h"

#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace host {

namespace {

constexpr std::chrono::milliseconds kProgressEvery{100};
// How many results of the index are told before they are put in order: a screenful and more.
constexpr std::size_t kFirstToTell = 500;

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

// Projects are found by their extension: a file, or a folder whose extension ends in "d",
// which is one item and never looked into. Names that begin with a dot are hidden, and so
// never searched.
class Search : public ProjectWalkVisitor {
public:
    explicit Search(const ProjectNames& names) : ProjectWalkVisitor(names) {}

    std::string filter; // folded UTF-8
    std::string root;   // the folder searched, as given
    std::vector<WideString> found;
    // Told what was found since it was last told, at most every kProgressEvery.
    std::function<void(std::vector<WideString>)> progress;

    void Project(const TreeWalkEntry& entry, std::string_view name,
                 std::size_t stemLength) override {
        if (ContainsFolded(name.substr(0, stemLength), filter)) {
            Found(entry);
        }
    }

    WalkStep Folder(const TreeWalkEntry& /*entry*/, std::string_view /*name*/) override {
        RunFolderHook();
        return WalkStep::kContinue;
    }

    WalkStep Failed(const TreeWalkEntry& entry, int error) override {
        if (entry.depth == 0) {
            Trace("Host", 2, "The search could not read " + root + ": " + std::strerror(error));
            return WalkStep::kStop;
        }
        Trace("Host", 2,
              "The search left out " + entry.FullPath().string() + ": " + std::strerror(error));
        return WalkStep::kContinue;
    }

private:
    void Found(const TreeWalkEntry& entry) {
        const std::string below = entry.PathBelowRoot();
        std::string full;
        full.reserve(root.size() + 1 + below.size());
        full.append(root).append(root == "/" ? "" : "/").append(below);
        found.push_back(ToUTF16(full));
        if (progress) {
            const auto now = std::chrono::steady_clock::now();
            if (now - mLastProgress >= kProgressEvery) {
                mLastProgress = now;
                progress(std::vector<WideString>(found.begin() + static_cast<std::ptrdiff_t>(mTold),
                                                 found.end()));
                mTold = found.size();
            }
        }
    }

    std::size_t mTold = 0;
    std::chrono::steady_clock::time_point mLastProgress = std::chrono::steady_clock::now();
};

std::vector<WideString> RunSearch(const WideString& folder,
                                  const std::vector<WideString>& extensions,
                                  const WideString& nameFilter, const std::atomic<bool>* cancelled,
                                  std::function<void(std::vector<WideString>)> progress = {}) {
    const ProjectNames names(extensions);
    Search search(names);
    search.progress = std::move(progress);
    search.filter = FoldedAscii(ToUTF8(nameFilter));
    search.root = ToUTF8(StripTrailingSlash(folder));
    TreeWalkOptions options;
    options.dotNames = false;
    options.statEveryEntry = false;
    options.followRootLink = true; // a production may be reached through a link
    options.cancelled = cancelled;
    WalkTree(search.root, search, options);
    return std::move(search.found);
}

std::vector<WideString> Wide(const std::vector<std::string>& paths) {
    std::vector<WideString> wide;
    wide.reserve(paths.size());
    for (const std::string& path : paths) {
        wide.push_back(ToUTF16(path));
    }
    return wide;
}

// The production's name index answers from memory, once it holds the whole tree and every
// change known when the search started; nothing when it cannot answer.
std::optional<std::vector<WideString>>
AnswerFromIndex(const std::shared_ptr<SearchIndexSource>& source, std::uint64_t ticket,
                const WideString& folder, const std::vector<WideString>& extensions,
                const WideString& nameFilter, const std::atomic<bool>* cancelled,
                const std::function<void(std::vector<WideString>)>& tellFirst) {
    const std::shared_ptr<const NameIndex> index =
        source ? source->IndexFor(ticket, ToUTF8(StripTrailingSlash(folder)), extensions, cancelled)
               : nullptr;
    if (index == nullptr) {
        return std::nullopt;
    }
    // Many results take a while to make and put in order: the first of them show meanwhile,
    // told as soon as the index found them all.
    std::function<void(const std::vector<std::string>&)> first;
    if (tellFirst) {
        first = [&tellFirst](const std::vector<std::string>& found) { tellFirst(Wide(found)); };
    }
    return Wide(index->Find(FoldedAscii(ToUTF8(nameFilter)), cancelled, kFirstToTell, first));
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
        std::shared_ptr<SearchIndexSource> source = GetSearchIndexSource();
        const std::uint64_t ticket = source ? source->CatchUp() : 0;
        RunOnDefaultExecutor([cancelled, delivered, source, ticket, folder = std::move(folder),
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
            std::optional<std::vector<WideString>> indexed =
                AnswerFromIndex(source, ticket, folder, extensions, nameFilter, cancelled.get(),
                                arrange ? tell : nullptr);
            auto paths = std::make_shared<std::vector<WideString>>(
                indexed
                    ? std::move(*indexed)
                    : RunSearch(folder, extensions, nameFilter, cancelled.get(), std::move(tell)));
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
