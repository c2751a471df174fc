#include "Marvane/fileservices/FolderEntries.h"

#include <dirent.h>

namespace host {

bool ForEachFolderEntry(const std::string& folder,
                        const std::function<void(const std::string& name, const std::string& path,
                                                 unsigned char type)>& visit) {
    DIR* directory = ::opendir(folder.c_str());
    if (directory == nullptr) {
        return false;
    }
    const std::string prefix = folder == "/" ? std::string() : folder;
    while (const dirent* item = ::readdir(directory)) {
        const std::string name = item->d_name;
        if (name == "." || name == "..") {
            continue;
        }
        visit(name, prefix + "/" + name, item->d_type);
    }
    ::closedir(directory);
    return true;
}

} // namespace host
