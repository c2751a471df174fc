#include "Marvane/fileservices/FolderEntries.h"

#include <array>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <fcntl.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace host {

namespace {

// An entry as the kernel hands it over (getdents64).
struct KernelEntry {
    std::uint64_t inode;
    std::int64_t offset;
    unsigned short length;
    unsigned char type;
    char name[1];
};

} // namespace

bool ForEachFolderEntry(const std::string& folder,
                        const std::function<void(const std::string& name, const std::string& path,
                                                 unsigned char type)>& visit) {
    // The folder is read as the kernel gives it, with no status asked first (the C library's
    // opendir asks one): on a share, one round trip less for every listing.
    const int descriptor = ::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC | O_NONBLOCK);
    if (descriptor < 0) {
        return false;
    }
    const std::string prefix = folder == "/" ? std::string() : folder;
    std::array<char, 32 * 1024> buffer;
    for (;;) {
        // A listing cut short (a share that failed half-way) is a folder not read, never a
        // folder with fewer entries.
        const long filled = ::syscall(SYS_getdents64, descriptor, buffer.data(), buffer.size());
        if (filled <= 0) {
            const int error = filled < 0 ? errno : 0;
            ::close(descriptor);
            errno = error;
            return error == 0;
        }
        for (long at = 0; at < filled;) {
            KernelEntry item{};
            const auto header = static_cast<long>(offsetof(KernelEntry, name));
            if (filled - at <= header) {
                break; // never: the kernel hands over whole entries
            }
            std::memcpy(&item, buffer.data() + at, offsetof(KernelEntry, name));
            if (item.length <= header || item.length > filled - at) {
                ::close(descriptor);
                errno = EIO; // a malformed answer: the folder is not read
                return false;
            }
            const char* name = buffer.data() + at + offsetof(KernelEntry, name);
            at += item.length;
            // An entry without an inode is one that was removed (as the C library skips it).
            if (item.inode == 0 || std::strcmp(name, ".") == 0 || std::strcmp(name, "..") == 0) {
                continue;
            }
            visit(name, prefix + "/" + name, item.type);
        }
    }
}

} // namespace host
