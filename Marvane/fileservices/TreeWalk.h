#pragma once
// The one walk of a file, link or folder tree, for every walk the host makes (copies and
// their checks, removals, the search, the listings of a whole tree, the search for locks).
// Each entry is reached from its folder's descriptor by its name alone, so a tree deeper than
// the longest path the system takes is walked whole, and each step costs one lookup however
// deep it is. Links are never followed. Folders are walked one after another with a stack,
// never by recursion, each read with the one loop over a folder's entries (FolderEntries.h).
#include <atomic>
#include <cstddef>
#include <filesystem>
#include <string>
#include <sys/stat.h>
#include <vector>

namespace host {

// What the visitor wants next.
enum class WalkStep {
    kContinue, // go on (into a folder, when answering for one as it is entered)
    kSkip,     // do not go into this folder
    kStop,     // end the walk now
};

class TreeWalk;

// An entry as the walk meets it.
struct TreeWalkEntry {
    int folder = -1;       // descriptor of the folder that holds it
    const char* name = ""; // its name in that folder
    // What it is (a link is a link, never what it leads to). Without statEveryEntry, only
    // the kind of file is filled in where the folder's listing tells it (statusRead false).
    struct stat status {};
    bool statusRead = false;
    std::size_t depth = 0; // 0 for the walk's root
    const TreeWalk* walk = nullptr;

    bool IsFolder() const { return S_ISDIR(status.st_mode); }
    bool IsLink() const { return S_ISLNK(status.st_mode); }
    // Its path below the root ("" for the root itself), for messages and keys: built only
    // when asked, and possibly longer than any call that takes a path accepts.
    std::string PathBelowRoot() const;
    // The root's path joined with PathBelowRoot().
    std::filesystem::path FullPath() const;
};

class TreeVisitor {
public:
    virtual ~TreeVisitor() = default;
    // Every entry, a folder before what it holds. For a folder, kContinue goes into it.
    virtual WalkStep Enter(const TreeWalkEntry& entry) = 0;
    // A folder that was gone into, once everything in it was visited; `opened` is its own
    // descriptor, still open.
    virtual WalkStep Leave(const TreeWalkEntry& entry, int opened);
    // An entry that could not be looked at, a folder that could not be opened or listed:
    // errno's number. Stops the walk unless answered otherwise. A folder entered but not gone
    // into this way is not left.
    virtual WalkStep Failed(const TreeWalkEntry& entry, int error);
};

struct TreeWalkOptions {
    bool dotNames = true;           // names that begin with a dot are visited too
    bool intoProjectFolders = true; // else a project stored as a folder is met, not gone into
    bool statEveryEntry = true;     // else an entry is looked at only where its listing is silent
    bool sortedNames = false;       // each folder's names in byte order, else as listed
    bool followRootLink = false;    // a root that is a link to a folder is walked as that folder
    const std::atomic<bool>* cancelled = nullptr; // the walk ends (false) once it is set
};

class TreeWalk {
public:
    TreeWalk(std::filesystem::path root, TreeWalkOptions options = {});
    // Walks the tree; false when the visitor stopped it or it was cancelled. Exceptions from
    // the visitor pass through, every descriptor closed.
    bool Run(TreeVisitor& visitor);

    const std::filesystem::path& Root() const { return mRoot; }
    std::string PathBelowRoot(const TreeWalkEntry& entry) const;

private:
    struct Level;
    bool GoInto(const TreeWalkEntry& folder, bool follow, TreeVisitor& visitor);
    bool Cancelled() const;

    std::filesystem::path mRoot;
    TreeWalkOptions mOptions;
    std::vector<Level>* mLevels = nullptr; // while running
};

// Walks the tree at root with the visitor; false when stopped.
bool WalkTree(const std::filesystem::path& root, TreeVisitor& visitor,
              const TreeWalkOptions& options = {});

} // namespace host
