#include "Marvane/fileservices/FolderEntries.h"

#include "Marvane/fileservices/FolderMount.h"

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

// The folder's descriptor, closed however the listing ends; the listing's error survives it.
class OpenFolder {
public:
    explicit OpenFolder(const std::string& folder) {
        do {
            mDescriptor = ::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC | O_NONBLOCK);
        } while (mDescriptor < 0 && errno == EINTR);
    }
    ~OpenFolder() {
        if (mDescriptor >= 0) {
            const int error = errno;
            ::close(mDescriptor);
            errno = error;
        }
    }
    OpenFolder(const OpenFolder&) = delete;
    OpenFolder& operator=(const OpenFolder&) = delete;
    int Descriptor() const { return mDescriptor; }

private:
    int mDescriptor = -1;
};

} // namespace

bool ForEachEntryIn(int folder,
                    const std::function<void(std::string_view name, unsigned char type)>& visit) {
    constexpr auto kHeader = static_cast<long>(offsetof(KernelEntry, name));
    std::array<char, 64 * 1024> buffer; // a folder of a thousand entries in one or two reads
    for (;;) {
        // A listing cut short (a share that failed half-way) is a folder not read, never a
        // folder with fewer entries. An interrupted read did not move on: it is read again.
        long filled = 0;
        do {
            filled = ::syscall(SYS_getdents64, folder, buffer.data(), buffer.size());
        } while (filled < 0 && errno == EINTR);
        if (filled <= 0) {
            const int error = filled < 0 ? errno : 0;
            errno = error;
            return error == 0;
        }
        for (long at = 0; at < filled;) {
            KernelEntry item{};
            // The kernel hands over whole entries: anything else is a malformed answer, and the
            // folder is not read.
            if (filled - at <= kHeader) {
                errno = EIO;
                return false;
            }
            std::memcpy(&item, buffer.data() + at, offsetof(KernelEntry, name));
            if (item.length <= kHeader || item.length > filled - at) {
                errno = EIO;
                return false;
            }
            const char* name = buffer.data() + at + kHeader;
            const std::size_t room = static_cast<std::size_t>(item.length - kHeader);
            const std::size_t size = ::strnlen(name, room);
            at += item.length;
            if (size == room) {
                errno = EIO; // a name without its end
                return false;
            }
            const std::string_view entry(name, size);
            if (entry == "." || entry == "..") {
                continue;
            }
            visit(entry, item.type);
        }
    }
}

bool ForEachFolderEntry(const std::string& folder,
                        const std::function<void(const std::string& name, const std::string& path,
                                                 unsigned char type)>& visit) {
    // The folder is read as the kernel gives it, with no status asked first (the C library's
    // opendir asks one): on a share, one round trip less for every listing.
    // The production's folders after its share's mount went away: the folder beneath is not
    // the production, and what it holds is not the production's.
    if (!MountGoneUnder(folder).empty()) {
        errno = ENOTCONN;
        return false;
    }
    const OpenFolder opened(folder);
    if (opened.Descriptor() < 0) {
        return false;
    }
    const std::string prefix = folder == "/" ? std::string() : folder;
    return ForEachEntryIn(opened.Descriptor(), [&](std::string_view name, unsigned char type) {
        const std::string entry(name);
        visit(entry, prefix + "/" + entry, type);
    });
}

} // namespace host
