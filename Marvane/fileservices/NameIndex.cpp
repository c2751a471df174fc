#include "Marvane/fileservices/NameIndex.h"

#include "Marvane/fileservices/TreeWalk.h"
#include "host/DebugTrace.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <limits>
#include <mutex>
#include <optional>
#include <unordered_set>

namespace host {

namespace fs = std::filesystem;

// Folders as one walk met them, [0] being the folder walked; a folder only named (met but not
// gone into, in a listing of its parent alone) holds nothing and says so.
struct NameIndex::Found {
    struct Folder {
        std::uint32_t parent = kNone;
        std::string name;
        bool listed = true;
        std::vector<std::pair<std::string, std::size_t>> projects; // name, length of its stem
    };
    std::vector<Folder> folders;
};

namespace {

// Collects what a walk meets by the project rule; with `shallow`, the folders inside the
// folder walked are named, not gone into.
class Collector : public ProjectWalkVisitor {
public:
    Collector(const ProjectNames& rules, bool shallow, NameIndex::Found& found)
        : ProjectWalkVisitor(rules), mShallow(shallow), mFound(found) {}

    WalkStep Root(const TreeWalkEntry& /*entry*/) override {
        mFound.folders.push_back({});
        mStack.assign(1, 0);
        return WalkStep::kContinue;
    }

    void Project(const TreeWalkEntry& entry, std::string_view name,
                 std::size_t stemLength) override {
        mFound.folders[mStack[entry.depth - 1]].projects.emplace_back(std::string(name),
                                                                      stemLength);
    }

    WalkStep Folder(const TreeWalkEntry& entry, std::string_view name) override {
        const auto index = static_cast<std::uint32_t>(mFound.folders.size());
        mFound.folders.push_back({mStack[entry.depth - 1], std::string(name), !mShallow, {}});
        if (mShallow) {
            return WalkStep::kSkip;
        }
        mStack.resize(entry.depth + 1);
        mStack[entry.depth] = index;
        return WalkStep::kContinue;
    }

    WalkStep Failed(const TreeWalkEntry& entry, int error) override {
        if (entry.depth == 0) {
            mRootError = error;
            return WalkStep::kStop;
        }
        // Left out, as the walking search leaves it out.
        Trace("Host", 3,
              "The name index left out " + entry.FullPath().string() + ": " + std::strerror(error));
        return WalkStep::kContinue;
    }

    // Why the folder walked could not be read (errno's number), or 0.
    int RootError() const { return mRootError; }

private:
    const bool mShallow;
    NameIndex::Found& mFound;
    std::vector<std::uint32_t> mStack; // found folder of each depth being walked
    int mRootError = 0;
};

// Walks a folder of the index's tree; false when it could not be read or was cancelled.
// error: why the folder itself could not be read, when it could not.
bool Walk(const fs::path& folder, const ProjectNames& rules, bool shallow, NameIndex::Found& found,
          const std::atomic<bool>* cancelled, int* error = nullptr) {
    Collector collector(rules, shallow, found);
    TreeWalkOptions options;
    options.dotNames = false;
    options.statEveryEntry = false;
    options.followRootLink = true; // a production may be reached through a link
    options.cancelled = cancelled;
    const bool walked = WalkTree(folder, collector, options);
    if (error != nullptr) {
        *error = collector.RootError();
    }
    return walked && collector.RootError() == 0 && !found.folders.empty();
}

std::vector<std::string> PartsBelow(const fs::path& root, const fs::path& folder, bool& inside) {
    const fs::path relative = folder.lexically_normal().lexically_relative(root.lexically_normal());
    std::vector<std::string> parts;
    inside = !relative.empty() && *relative.begin() != "..";
    if (!inside) {
        return parts;
    }
    for (const fs::path& part : relative) {
        if (!part.empty() && part != ".") {
            parts.push_back(part.string());
        }
    }
    return parts;
}

} // namespace

namespace {

std::vector<std::string> FoldedSorted(const std::vector<WideString>& extensions) {
    std::vector<std::string> folded;
    for (const WideString& extension : extensions) {
        if (!extension.empty()) {
            folded.push_back(FoldedAscii(ToUTF8(extension)));
        }
    }
    std::sort(folded.begin(), folded.end());
    folded.erase(std::unique(folded.begin(), folded.end()), folded.end());
    return folded;
}

std::mutex gSearchIndexMutex;
std::shared_ptr<SearchIndexSource> gSearchIndexSource;

} // namespace

NameIndex::NameIndex(fs::path root, const std::vector<WideString>& extensions)
    : mRoot(std::move(root)), mExtensions(FoldedSorted(extensions)), mRules(extensions) {
    Clear();
}

bool NameIndex::HoldsExtensions(const std::vector<WideString>& extensions) const {
    return FoldedSorted(extensions) == mExtensions;
}

void SetSearchIndexSource(std::shared_ptr<SearchIndexSource> source) {
    const std::lock_guard guard(gSearchIndexMutex);
    gSearchIndexSource = std::move(source);
}

std::shared_ptr<SearchIndexSource> GetSearchIndexSource() {
    const std::lock_guard guard(gSearchIndexMutex);
    return gSearchIndexSource;
}

void NameIndex::Clear() {
    ++mVersion;
    mFolders.clear();
    mFolders.push_back({kNone, {}, true, {}, {}});
    mProjects.clear();
    mNames.clear();
    mFolded.clear();
    mGoneBytes = 0;
    mAlive = 0;
}

std::uint32_t NameIndex::AddFolder(std::uint32_t parent, const std::string& name) {
    const auto id = static_cast<std::uint32_t>(mFolders.size());
    mFolders.push_back({parent, name, true, {}, {}});
    mFolders[parent].folders.emplace(name, id);
    return id;
}

void NameIndex::AddProject(std::uint32_t folder, std::string_view name, std::size_t stemLength) {
    if (name.size() > std::numeric_limits<std::uint16_t>::max()) {
        return; // no file system gives such a name
    }
    Project project;
    project.folder = folder;
    project.nameAt = static_cast<std::uint32_t>(mNames.size());
    project.foldedAt = static_cast<std::uint32_t>(mFolded.size());
    project.nameLength = static_cast<std::uint16_t>(name.size());
    project.stemLength = static_cast<std::uint16_t>(stemLength);
    mNames.append(name);
    for (std::size_t i = 0; i < stemLength; ++i) {
        mFolded.push_back(FoldAscii(name[i]));
    }
    mFolded.push_back('\0');
    mFolders[folder].projects.push_back(static_cast<std::uint32_t>(mProjects.size()));
    mProjects.push_back(project);
    ++mAlive;
    ++mVersion;
}

void NameIndex::RemoveProject(std::uint32_t id) {
    Project& project = mProjects[id];
    if (!project.alive) {
        return;
    }
    project.alive = false;
    ++mVersion;
    std::memset(mFolded.data() + project.foldedAt, 0, project.stemLength);
    mGoneBytes += project.stemLength + 1u + project.nameLength;
    --mAlive;
}

void NameIndex::RemoveFolder(std::uint32_t id) {
    // Without recursion: a tree may be deeper than any stack.
    std::vector<std::uint32_t> pending{id};
    while (!pending.empty()) {
        Folder& folder = mFolders[pending.back()];
        pending.pop_back();
        folder.alive = false;
        for (const std::uint32_t project : folder.projects) {
            RemoveProject(project);
        }
        folder.projects.clear();
        for (const auto& [name, child] : folder.folders) {
            pending.push_back(child);
        }
        folder.folders.clear();
    }
    Folder& removed = mFolders[id];
    if (removed.parent != kNone) {
        mFolders[removed.parent].folders.erase(removed.name);
    }
}

void NameIndex::Merge(std::uint32_t into, const Found& found) {
    if (found.folders.empty()) {
        return;
    }
    std::vector<std::uint32_t> ids{into};
    ids.resize(found.folders.size(), kNone);
    for (std::size_t i = 0; i < found.folders.size(); ++i) {
        const Found::Folder& folder = found.folders[i];
        if (i != 0) {
            const std::uint32_t parent = ids[folder.parent];
            const auto existing = mFolders[parent].folders.find(folder.name);
            ids[i] = existing != mFolders[parent].folders.end() ? existing->second
                                                                : AddFolder(parent, folder.name);
        }
        for (const auto& [name, stem] : folder.projects) {
            AddProject(ids[i], name, stem);
        }
    }
}

bool NameIndex::Build(const std::atomic<bool>* cancelled) {
    Found found;
    const bool walked = Walk(mRoot, mRules, false, found, cancelled);
    std::unique_lock guard(mMutex);
    Clear();
    if (walked) {
        Merge(0, found);
    }
    mComplete = walked;
    return walked;
}

std::uint32_t NameIndex::FolderAt(const std::vector<std::string>& parts,
                                  std::size_t& matched) const {
    std::uint32_t folder = 0;
    matched = 0;
    for (const std::string& part : parts) {
        const auto child = mFolders[folder].folders.find(part);
        if (child == mFolders[folder].folders.end()) {
            break;
        }
        folder = child->second;
        ++matched;
    }
    return folder;
}

void NameIndex::Refresh(const fs::path& changed) {
    bool inside = false;
    std::vector<std::string> parts = PartsBelow(mRoot, changed, inside);
    if (!inside && changed.lexically_normal() != mRoot.lexically_normal()) {
        return;
    }
    std::uint32_t folder = 0;
    {
        std::shared_lock guard(mMutex);
        std::size_t matched = 0;
        folder = FolderAt(parts, matched);
        parts.resize(matched); // read from the nearest folder held
    }
    fs::path path = mRoot;
    for (const std::string& part : parts) {
        path /= part;
    }
    Found listing;
    int error = 0;
    if (!Walk(path, mRules, true, listing, nullptr, &error)) {
        // Gone, or not a folder any more (its parent's listing says so too), or not readable
        // now, as the walk would leave it out. Any other failure (a path longer than the
        // system takes, a share that failed to answer) keeps what is held.
        const bool gone = error == ENOENT || error == ENOTDIR || error == EACCES;
        if (!gone) {
            Trace("Host", 2,
                  "The name index keeps what it held of " + path.string() + ": " +
                      std::strerror(error));
        }
        if (gone && folder != 0) {
            std::unique_lock guard(mMutex);
            if (mFolders[folder].alive) {
                RemoveFolder(folder);
            }
            PackWhenSparse();
        }
        return;
    }
    // Folders that came are walked whole before anything changes in the index.
    std::vector<std::uint32_t> came;
    {
        std::shared_lock guard(mMutex);
        for (std::uint32_t i = 1; i < listing.folders.size(); ++i) {
            if (!mFolders[folder].folders.contains(listing.folders[i].name)) {
                came.push_back(i);
            }
        }
    }
    std::vector<Found> walked(came.size());
    for (std::size_t i = 0; i < came.size(); ++i) {
        Walk(path / listing.folders[came[i]].name, mRules, false, walked[i], nullptr);
    }

    std::unique_lock guard(mMutex);
    Folder& node = mFolders[folder];
    // Projects: those gone go, those new come, in the listing's order.
    std::unordered_set<std::string_view> listed;
    for (const auto& [name, stem] : listing.folders[0].projects) {
        listed.insert(name);
    }
    // Copies: adding a project below may move the buffer of names.
    std::unordered_set<std::string> held;
    std::vector<std::uint32_t> kept;
    for (const std::uint32_t id : node.projects) {
        const Project& project = mProjects[id];
        const std::string_view name(mNames.data() + project.nameAt, project.nameLength);
        if (project.alive && listed.contains(name)) {
            held.emplace(name);
            kept.push_back(id);
        } else {
            RemoveProject(id);
        }
    }
    mFolders[folder].projects = std::move(kept);
    for (const auto& [name, stem] : listing.folders[0].projects) {
        if (!held.contains(name)) {
            AddProject(folder, name, stem);
            held.insert(name); // a name listed twice is one project
        }
    }
    // Folders: those gone go with all they held; those that came join with their trees.
    std::unordered_set<std::string> present;
    for (std::uint32_t i = 1; i < listing.folders.size(); ++i) {
        present.insert(listing.folders[i].name);
    }
    std::vector<std::uint32_t> gone;
    for (const auto& [name, child] : mFolders[folder].folders) {
        if (!present.contains(name)) {
            gone.push_back(child);
        }
    }
    for (const std::uint32_t child : gone) {
        RemoveFolder(child);
    }
    for (std::size_t i = 0; i < came.size(); ++i) {
        const std::string& name = listing.folders[came[i]].name;
        if (mFolders[folder].folders.contains(name)) {
            continue;
        }
        const std::uint32_t child = AddFolder(folder, name);
        if (!walked[i].folders.empty()) {
            Merge(child, walked[i]);
        }
    }
    PackWhenSparse();
}

void NameIndex::PackWhenSparse() {
    if (mGoneBytes < 4096 || mGoneBytes * 2 < mNames.size() + mFolded.size()) {
        return;
    }
    std::string names;
    std::string folded;
    std::vector<Project> projects;
    std::vector<std::uint32_t> renumbered(mProjects.size(), kNone);
    names.reserve(mNames.size() + mFolded.size() - mGoneBytes);
    for (std::size_t id = 0; id < mProjects.size(); ++id) {
        Project project = mProjects[id];
        if (!project.alive) {
            continue;
        }
        renumbered[id] = static_cast<std::uint32_t>(projects.size());
        names.append(mNames, project.nameAt, project.nameLength);
        folded.append(mFolded, project.foldedAt, project.stemLength + 1u);
        project.nameAt = static_cast<std::uint32_t>(names.size() - project.nameLength);
        project.foldedAt = static_cast<std::uint32_t>(folded.size() - project.stemLength - 1u);
        projects.push_back(project);
    }
    for (Folder& folder : mFolders) {
        std::erase_if(folder.projects,
                      [&renumbered](std::uint32_t id) { return renumbered[id] == kNone; });
        for (std::uint32_t& id : folder.projects) {
            id = renumbered[id];
        }
    }
    ++mVersion; // the projects are numbered anew
    mProjects = std::move(projects);
    mNames = std::move(names);
    mFolded = std::move(folded);
    mGoneBytes = 0;
}

std::string NameIndex::PathOf(std::uint32_t folder) const {
    std::vector<std::uint32_t> chain;
    for (std::uint32_t at = folder; at != 0; at = mFolders[at].parent) {
        chain.push_back(at);
    }
    std::string path = mRoot.string();
    for (auto it = chain.rbegin(); it != chain.rend(); ++it) {
        if (path.empty() || path.back() != '/') {
            path.push_back('/');
        }
        path.append(mFolders[*it].name);
    }
    return path;
}

std::vector<std::uint32_t> NameIndex::Scan(std::string_view text,
                                           const std::atomic<bool>* cancelled) const {
    std::vector<std::uint32_t> hits;
    const char* const begin = mFolded.data();
    const char* const end = begin + mFolded.size();
    const char* at = begin;
    std::size_t checked = 0;
    while (at < end) {
        const void* hit =
            ::memmem(at, static_cast<std::size_t>(end - at), text.data(), text.size());
        if (hit == nullptr) {
            break;
        }
        const auto offset = static_cast<std::uint32_t>(static_cast<const char*>(hit) - begin);
        // The project whose folded name holds the hit: the last one starting at or before it.
        const auto project = std::upper_bound(mProjects.begin(), mProjects.end(), offset,
                                              [](std::uint32_t where, const Project& p) {
                                                  return where < p.foldedAt;
                                              }) -
                             1;
        hits.push_back(static_cast<std::uint32_t>(project - mProjects.begin()));
        at = begin + project->foldedAt + project->stemLength + 1;
        if (cancelled != nullptr && (++checked & 0xfffu) == 0 && cancelled->load()) {
            return {};
        }
    }
    mExamined = mAlive;
    return hits;
}

std::vector<std::uint32_t> NameIndex::Narrow(const std::vector<std::uint32_t>& candidates,
                                             std::string_view text) const {
    std::vector<std::uint32_t> hits;
    for (const std::uint32_t id : candidates) {
        const Project& project = mProjects[id];
        if (project.alive && ::memmem(mFolded.data() + project.foldedAt, project.stemLength,
                                      text.data(), text.size()) != nullptr) {
            hits.push_back(id);
        }
    }
    mExamined = candidates.size();
    return hits;
}

std::vector<std::string>
NameIndex::Find(std::string_view text, const std::atomic<bool>* cancelled, std::size_t firstCount,
                const std::function<void(const std::vector<std::string>& first)>& first) const {
    std::shared_lock guard(mMutex);
    std::vector<std::uint32_t> hits;
    if (text.empty()) {
        for (std::uint32_t id = 0; id < mProjects.size(); ++id) {
            if (mProjects[id].alive) {
                hits.push_back(id);
            }
        }
        mExamined = mAlive;
    } else if (text.find('\0') != std::string_view::npos) {
        mExamined = 0; // no name holds one
    } else {
        // A longer text that holds the last one (a keystroke more, say) can only match among
        // the last one's hits, as long as nothing changed since.
        std::optional<std::vector<std::uint32_t>> candidates;
        {
            const std::lock_guard last(mLastMutex);
            if (!mLastText.empty() && mLastVersion == mVersion && text.size() > mLastText.size() &&
                text.find(mLastText) != std::string_view::npos) {
                candidates = mLastHits;
            }
        }
        hits = candidates ? Narrow(*candidates, text) : Scan(text, cancelled);
        if (cancelled != nullptr && cancelled->load()) {
            return {};
        }
        const std::lock_guard last(mLastMutex);
        mLastText = std::string(text);
        mLastHits = hits;
        mLastVersion = mVersion;
    }
    std::vector<std::string> found;
    found.reserve(hits.size());
    // Each folder's path is made once, when a first project of it is found.
    std::unordered_map<std::uint32_t, std::string> folders;
    for (const std::uint32_t id : hits) {
        const Project& project = mProjects[id];
        auto [at, made] = folders.try_emplace(project.folder);
        if (made) {
            at->second = PathOf(project.folder);
            if (at->second.empty() || at->second.back() != '/') {
                at->second.push_back('/');
            }
        }
        std::string path;
        path.reserve(at->second.size() + project.nameLength);
        path.append(at->second).append(mNames, project.nameAt, project.nameLength);
        found.push_back(std::move(path));
        if (first && found.size() == firstCount && hits.size() > firstCount) {
            first(found);
        }
    }
    return found;
}

std::vector<std::string> NameIndex::FolderPaths() const {
    std::shared_lock guard(mMutex);
    std::vector<std::string> paths;
    // Parents come before their folders in the table: each path is its parent's and a name.
    std::vector<std::string> made(mFolders.size());
    made[0] = mRoot.string();
    for (std::uint32_t id = 1; id < mFolders.size(); ++id) {
        const Folder& folder = mFolders[id];
        if (!folder.alive || folder.parent == kNone) {
            continue;
        }
        const std::string& parent = made[folder.parent];
        made[id] = parent + (parent.empty() || parent.back() != '/' ? "/" : "") + folder.name;
        paths.push_back(made[id]);
    }
    return paths;
}

std::size_t NameIndex::ProjectCount() const {
    std::shared_lock guard(mMutex);
    return mAlive;
}

std::size_t NameIndex::NameBytes() const {
    std::shared_lock guard(mMutex);
    return mNames.size() + mFolded.size();
}

std::size_t NameIndex::MemoryBytes() const {
    std::shared_lock guard(mMutex);
    std::size_t bytes = sizeof(*this) + mNames.capacity() + mFolded.capacity() +
                        mProjects.capacity() * sizeof(Project) +
                        mFolders.capacity() * sizeof(Folder);
    for (const Folder& folder : mFolders) {
        bytes += folder.name.capacity() + folder.projects.capacity() * sizeof(std::uint32_t) +
                 folder.folders.bucket_count() * sizeof(void*) +
                 folder.folders.size() * (sizeof(std::string) + sizeof(std::uint32_t) +
                                          2 * sizeof(void*) + sizeof(std::size_t));
    }
    return bytes;
}

} // namespace host
