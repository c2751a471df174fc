// Listing what a folder holds, without following symbolic links.
#include "Marvane/fileservices/AccessDeadline.h"
#include "Marvane/fileservices/FolderEntries.h"
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
    ForEachFolderEntry(
        folder, [&entries](const std::string& name, const std::string& path, unsigned char type) {
            bool isFolder = type == DT_DIR;
            if (type == DT_UNKNOWN) {
                struct stat status {};
                isFolder = ::lstat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
            }
            entries.push_back({name, isFolder});
        });
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
    std::vector<WideString> found;
    const WideString start = StripTrailingSlash(folder);
    if (!start.empty()) {
        Collect(ToUTF8(start), recursive, filter, found);
    }
    return found;
}

} // namespace host
