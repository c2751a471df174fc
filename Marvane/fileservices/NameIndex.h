#pragma once
// The names of every project of a production, held in memory so that the search answers
// without walking the disk (on a share, a walk is a round trip per folder). Built with one
// walk of the tree, then kept as the disk is by re-reading the folders said to have changed.
// Its answers are the walking search's, exactly: the same projects for the same text, by the
// same rule (ProjectNames). Safe to search from any thread while another builds or refreshes.
//
// The folded names without their extensions lie end to end in one buffer, each followed by a
// NUL, so a search is one scan of that buffer for the text, and a hit is told back to its
// project by a binary search of where each name starts. A project that goes has its folded
// name overwritten with NULs, so it can never match; the buffers are packed again once half
// of them is such gaps.
#include "Marvane/fileservices/ProjectNames.h"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <mutex>
#include <shared_mutex>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace host {

class NameIndex {
public:
    NameIndex(std::filesystem::path root, const std::vector<WideString>& extensions);

    const std::filesystem::path& Root() const { return mRoot; }
    // Whether it holds the projects of these extensions, no more, no fewer.
    bool HoldsExtensions(const std::vector<WideString>& extensions) const;

    // Walks the whole tree and replaces what the index held; false when it was cancelled or
    // the root could not be read (the index is then not complete).
    bool Build(const std::atomic<bool>* cancelled = nullptr);
    // Whether a build finished: only then does the index answer for the whole tree.
    bool IsComplete() const { return mComplete.load(); }

    // Reads one folder again (its own entries: projects come and go, a folder that came is
    // walked whole, one that went takes all it held with it). A folder the index does not
    // hold is read from its nearest folder it does; one outside the root is ignored.
    void Refresh(const std::filesystem::path& folder);

    // The full paths (root joined with the path below it, UTF-8) of the projects whose name
    // without the extension holds the folded text as one run; every project for an empty
    // text. In the order the projects came into the index. When there are more than
    // `firstCount`, `first` is given the first of them as soon as they are made, before the
    // paths of the others.
    std::vector<std::string>
    Find(std::string_view foldedText, const std::atomic<bool>* cancelled = nullptr,
         std::size_t firstCount = 0,
         const std::function<void(const std::vector<std::string>& first)>& first = {}) const;

    std::size_t ProjectCount() const;
    // How many names the last Find looked at: all of them, or only the hits of the text before
    // it when the new text is longer and holds that one, and nothing changed since.
    std::size_t LastExamined() const { return mExamined.load(); }
    // The full paths of every folder it holds below the root (to be watched, say).
    std::vector<std::string> FolderPaths() const;
    // What the index holds in memory, and of that, the bytes of names themselves (original
    // and folded).
    std::size_t MemoryBytes() const;
    std::size_t NameBytes() const;

    // What one walk or listing found, before it goes into the index (defined where used).
    struct Found;

private:
    struct Project {
        std::uint32_t folder = 0;
        std::uint32_t nameAt = 0;   // in mNames
        std::uint32_t foldedAt = 0; // in mFolded
        std::uint16_t nameLength = 0;
        std::uint16_t stemLength = 0;
        bool alive = true;
    };
    struct Folder {
        std::uint32_t parent = 0;
        std::string name;
        bool alive = true;
        std::unordered_map<std::string, std::uint32_t> folders; // by name
        std::vector<std::uint32_t> projects;
    };
    static constexpr std::uint32_t kNone = 0xffffffffu;

    // Callers hold mMutex for writing.
    void Clear();
    std::uint32_t AddFolder(std::uint32_t parent, const std::string& name);
    void AddProject(std::uint32_t folder, std::string_view name, std::size_t stemLength);
    void RemoveProject(std::uint32_t project);
    void RemoveFolder(std::uint32_t folder);
    void Merge(std::uint32_t folder, const Found& found);
    void PackWhenSparse();
    // Callers hold mMutex.
    std::uint32_t FolderAt(const std::vector<std::string>& parts, std::size_t& matched) const;
    std::string PathOf(std::uint32_t folder) const;
    // The projects whose folded name holds the text: every name scanned, or those given.
    std::vector<std::uint32_t> Scan(std::string_view text,
                                    const std::atomic<bool>* cancelled) const;
    std::vector<std::uint32_t> Narrow(const std::vector<std::uint32_t>& candidates,
                                      std::string_view text) const;

    const std::filesystem::path mRoot;
    const std::vector<std::string> mExtensions; // folded, sorted
    const ProjectNames mRules;
    std::atomic<bool> mComplete{false};

    mutable std::shared_mutex mMutex;
    std::vector<Folder> mFolders; // [0] is the root
    std::vector<Project> mProjects;
    std::string mNames;
    std::string mFolded;
    std::size_t mGoneBytes = 0; // of mFolded, names of projects that went
    std::size_t mAlive = 0;
    std::uint64_t mVersion = 0; // changes whenever a project comes, goes or is numbered anew

    // The last text searched and its hits, for a text that narrows it.
    mutable std::mutex mLastMutex;
    mutable std::string mLastText;
    mutable std::vector<std::uint32_t> mLastHits;
    mutable std::uint64_t mLastVersion = 0;
    mutable std::atomic<std::size_t> mExamined{0};
};

// Where the production's search (StartFileSearch) finds a name index to answer from: the open
// production's, kept by a layer above. Installed once; none answers nothing.
class SearchIndexSource {
public:
    virtual ~SearchIndexSource() = default;
    // Main thread, as a search starts: takes in every change to the disk known so far, and
    // returns a ticket for them.
    virtual std::uint64_t CatchUp() = 0;
    // The search's thread: the index of that folder, for those extensions, complete and holding
    // every change of the ticket (waiting for that); null when it cannot answer, and the search
    // walks the disk instead.
    virtual std::shared_ptr<const NameIndex> IndexFor(std::uint64_t ticket,
                                                      const std::string& folder,
                                                      const std::vector<WideString>& extensions,
                                                      const std::atomic<bool>* cancelled) = 0;
};
void SetSearchIndexSource(std::shared_ptr<SearchIndexSource> source);
std::shared_ptr<SearchIndexSource> GetSearchIndexSource();

} // namespace host
