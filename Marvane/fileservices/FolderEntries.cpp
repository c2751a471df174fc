#include "Marvane/fileservices/FolderEntries.h"

#include <cerrno>
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
    for (;;) {
        // A listing cut short (a share that failed half-way) is a folder not read, never a
        // folder with fewer entries.
        errno = 0;
        const dirent* item = ::readdir(directory);
        if (item == nullptr) {
            const int error = errno;
            ::closedir(directory);
            errno = error;
            return error == 0;
        }
        const std::string name = item->d_name;
        if (name == "." || name == "..") {
            continue;
        }
        visit(name, prefix + "/" + name, item->d_type);
    }
}

} // namespace host
