// Listing what a folder holds, without following symbolic links.
#include "host/FileServices.h"

#include <algorithm>
#include <dirent.h>
#include <string>
#include <sys/stat.h>
#include <vector>

namespace host {

namespace {

struct Entry {
    std::string name;
    bool isFolder = false;
};

std::vector<Entry> ReadFolder(const std::string& folder) {
    std::vector<Entry> entries;
    DIR* directory = ::opendir(folder.c_str());
    if (directory == nullptr) {
        return entries;
    }
    while (const dirent* item = ::readdir(directory)) {
        const std::string name = item->d_name;
        if (name == "." || name == "..") {
            continue;
        }
        bool isFolder = item->d_type == DT_DIR;
        if (item->d_type == DT_UNKNOWN) {
            struct stat status {};
            isFolder =
                ::lstat((folder + "/" + name).c_str(), &status) == 0 && S_ISDIR(status.st_mode);
        }
        entries.push_back({name, isFolder});
    }
    ::closedir(directory);
    std::sort(entries.begin(), entries.end(),
              [](const Entry& a, const Entry& b) { return a.name < b.name; });
    return entries;
}

void Collect(const std::string& folder, bool recursive, FindFilter filter,
             std::vector<WideString>& found) {
    const bool files = (static_cast<int>(filter) & static_cast<int>(FindFilter::Files)) != 0;
    const bool folders =
        (static_cast<int>(filter) & static_cast<int>(FindFilter::Directories)) != 0;
    for (const Entry& entry : ReadFolder(folder)) {
        const std::string path = (folder == "/" ? std::string() : folder) + "/" + entry.name;
        if (entry.isFolder ? folders : files) {
            found.push_back(ToUTF16(path));
        }
        if (entry.isFolder && recursive) {
            Collect(path, recursive, filter, found);
        }
    }
}

} // namespace

bool IsSymbolicLink(const WideString& path) {
    struct stat status {};
    return ::lstat(ToUTF8(StripTrailingSlash(path)).c_str(), &status) == 0 &&
           S_ISLNK(status.st_mode);
}

std::vector<WideString> FindFilesOrDirectories(const WideString& folder, bool recursive,
                                               FindFilter filter) {
    std::vector<WideString> found;
    const WideString start = StripTrailingSlash(folder);
    if (!start.empty()) {
        Collect(ToUTF8(start), recursive, filter, found);
    }
    return found;
}

} // namespace host
