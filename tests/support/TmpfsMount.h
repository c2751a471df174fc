#pragma once
// A disk of its own mounted on a folder, as a share or a removable disk is mounted on the
// folder an editor opens: a tmpfs (root only). It can be taken away, as a share's client that
// ends takes its mount with it, and mounted again. Without a store, each mount is a fresh
// disk, another device. With one, the tmpfs lives at the store and the folder is bound to it,
// so that what it holds (lock files too) is there again at the next mount, as on a share.
// Whatever is still mounted goes when the object goes.
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <string>
#include <sys/mount.h>
#include <utility>

namespace testsupport {

class TmpfsMount {
public:
    explicit TmpfsMount(std::filesystem::path folder, std::filesystem::path store = {},
                        std::string size = "16m")
        : mFolder(std::move(folder)), mStore(std::move(store)),
          mOptions("size=" + std::move(size) + ",mode=0755") {}
    ~TmpfsMount() {
        while (mMounts > 0) {
            Unmount();
        }
        if (mStoreMounted) {
            ::umount2(mStore.c_str(), MNT_DETACH);
        }
    }
    TmpfsMount(const TmpfsMount&) = delete;
    TmpfsMount& operator=(const TmpfsMount&) = delete;

    // Empty when mounted, else why not (not root, no right to mount here).
    std::string Mount() {
        if (!mStore.empty() && !mStoreMounted) {
            std::filesystem::create_directories(mStore);
            if (::mount("tmpfs", mStore.c_str(), "tmpfs", 0, mOptions.c_str()) != 0) {
                return std::string("tmpfs cannot be mounted here: ") + std::strerror(errno);
            }
            mStoreMounted = true;
        }
        const int result =
            mStore.empty() ? ::mount("tmpfs", mFolder.c_str(), "tmpfs", 0, mOptions.c_str())
                           : ::mount(mStore.c_str(), mFolder.c_str(), nullptr, MS_BIND, nullptr);
        if (result != 0) {
            return std::string("tmpfs cannot be mounted here: ") + std::strerror(errno);
        }
        ++mMounts;
        return "";
    }
    // Takes the mount away at once, even while something still has a file open in it.
    bool Unmount() {
        if (mMounts == 0 || ::umount2(mFolder.c_str(), MNT_DETACH) != 0) {
            return false;
        }
        --mMounts;
        return true;
    }

private:
    std::filesystem::path mFolder;
    std::filesystem::path mStore;
    std::string mOptions;
    int mMounts = 0;
    bool mStoreMounted = false;
};

} // namespace testsupport
