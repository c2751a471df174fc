#pragma once
// What the production's search counts as a project and how a project's name matches the text
// typed: the one rule for the search that walks the disk and for the name index.
#include "Marvane/fileservices/TreeWalk.h"
#include "host/CoreTypes.h"

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace host {

// ASCII letters in lower case, every other byte as it is.
char FoldAscii(char c);
std::string FoldedAscii(std::string_view text);
// Whether text, folded, holds foldedNeedle as one run (an empty needle is in every text).
bool ContainsFolded(std::string_view text, std::string_view foldedNeedle);

class ProjectNames {
public:
    // The extensions of projects (".mvproj"), ASCII letters in either case; one that ends in
    // "d" names a project kept as a folder.
    explicit ProjectNames(const std::vector<WideString>& extensions);

    enum class Kind {
        kProject, // a project: a file (or link) with a project extension, or a project folder
        kFolder,  // a folder to look into
        kOther,   // neither: never listed, never looked into
    };
    // What an entry below the searched folder is, by its name and whether it is a folder;
    // for a project, the length of its name without the extension. Names that begin with a
    // dot are hidden: neither.
    Kind KindOf(std::string_view name, bool isFolder, std::size_t& stemLength) const;

private:
    const std::string* ExtensionOf(std::string_view name) const;

    std::vector<std::string> mExtensions; // folded UTF-8, with their dot
};

// A walk that meets what a production holds by that rule: each project is handed to Project (a
// project kept as a folder is never gone into), each folder to Folder, which says whether to go
// into it; everything else is passed over. The walk's root is handed to Root.
class ProjectWalkVisitor : public TreeVisitor {
public:
    explicit ProjectWalkVisitor(const ProjectNames& names) : mNames(names) {}
    WalkStep Enter(const TreeWalkEntry& entry) final;

protected:
    virtual WalkStep Root(const TreeWalkEntry& entry);
    virtual void Project(const TreeWalkEntry& entry, std::string_view name,
                         std::size_t stemLength) = 0;
    virtual WalkStep Folder(const TreeWalkEntry& entry, std::string_view name) = 0;

private:
    const ProjectNames& mNames;
};

} // namespace host
