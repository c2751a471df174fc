// Listing what a folder holds, without following symbolic links.
#include "Marvane/fileservices/AccessDeadline.h"
#include "Marvane/fileservices/FolderMount.h"
#include "Marvane/fileservices/TreeWalk.h"
#include "host/FileServices.h"

#include <string>
#include <sys/stat.h>
#include <vector>

namespace host {

namespace {

// What a listing of a folder, or of its whole tree, finds: the entries the filter takes, each
// folder's in name order, a folder before what it holds.
class Listing : public TreeVisitor {
public:
    Listing(std::string root, bool recursive, FindFilter filter)
        : mRoot(std::move(root)), mRecursive(recursive),
          mFiles((static_cast<int>(filter) & static_cast<int>(FindFilter::Files)) != 0),
          mFolders((static_cast<int>(filter) & static_cast<int>(FindFilter::Directories)) != 0) {}

    std::vector<WideString> found;

    WalkStep Enter(const TreeWalkEntry& entry) override {
        if (entry.depth == 0) {
            return WalkStep::kContinue;
        }
        if (entry.IsFolder() ? mFolders : mFiles) {
            found.push_back(
                ToUTF16((mRoot == "/" ? std::string() : mRoot) + "/" + entry.PathBelowRoot()));
        }
        return mRecursive ? WalkStep::kContinue : WalkStep::kSkip;
    }

    // What cannot be read is left out, and the rest listed.
    WalkStep Failed(const TreeWalkEntry& entry, int) override {
        return entry.depth == 0 ? WalkStep::kStop : WalkStep::kContinue;
    }

private:
    const std::string mRoot;
    const bool mRecursive;
    const bool mFiles;
    const bool mFolders;
};

} // namespace

bool IsSymbolicLink(const WideString& path) {
    const std::string utf8 = ToUTF8(StripTrailingSlash(path));
    return files::Bounded<bool>(utf8,
                                [utf8] {
                                    struct stat status {};
                                    return ::lstat(utf8.c_str(), &status) == 0 &&
                                           S_ISLNK(status.st_mode);
                                })
        .value_or(false);
}

std::vector<WideString> FindFilesOrDirectories(const WideString& folder, bool recursive,
                                               FindFilter filter) {
    const std::string start = ToUTF8(StripTrailingSlash(folder));
    // The production's folders after its share's mount went away: the folder beneath is not
    // the production, and what it holds is not the production's.
    if (start.empty() || !MountGoneUnder(start).empty()) {
        return {};
    }
    Listing listing(start, recursive, filter);
    TreeWalkOptions options;
    options.statEveryEntry = false;
    options.sortedNames = true;
    options.followRootLink = true;
    WalkTree(start, listing, options);
    return std::move(listing.found);
}

} // namespace host
