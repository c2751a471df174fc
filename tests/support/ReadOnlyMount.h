#pragma once
// A folder made read-only for a test with a read-only bind mount over itself (root only),
// undone when the object goes. Root writes wherever permissions say no; a read-only mount
// refuses root too, as a share mounted read-only or a locked card does.
#include <cstdlib>
#include <filesystem>
#include <string>

namespace testsupport {

class ReadOnlyMount {
public:
    explicit ReadOnlyMount(const std::filesystem::path& folder) : mFolder(folder) {
        const std::string quoted = "'" + folder.string() + "'";
        mMounted =
            std::system(("mount --bind " + quoted + " " + quoted + " 2>/dev/null").c_str()) == 0;
        if (mMounted &&
            std::system(("mount -o remount,bind,ro " + quoted + " 2>/dev/null").c_str()) != 0) {
            Unmount();
        }
    }
    ~ReadOnlyMount() { Unmount(); }
    ReadOnlyMount(const ReadOnlyMount&) = delete;
    ReadOnlyMount& operator=(const ReadOnlyMount&) = delete;
    bool Mounted() const { return mMounted; }

    void Unmount() {
        if (mMounted) {
            mMounted = std::system(("umount '" + mFolder.string() + "'").c_str()) != 0;
        }
    }

private:
    std::filesystem::path mFolder;
    bool mMounted = false;
};

} // namespace testsupport
