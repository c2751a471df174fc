#pragma once
// A network share the tests start on this machine, as another editor's machine would serve
// it: a server exporting a folder and a client mounting it. Changes made in the exported
// folder directly are what another machine's changes look like through the mount.
#include <filesystem>
#include <memory>
#include <string>
#include <unistd.h>

namespace testsupport {

class NetworkShare {
public:
    virtual ~NetworkShare() = default;

    // Serves `exported` and mounts it, with the server's and the client's files under
    // workFolder; an empty answer on success, otherwise what went wrong (with everything
    // started so far stopped again).
    virtual std::string Start(const std::filesystem::path& exported,
                              const std::filesystem::path& workFolder) = 0;
    // The exported folder as seen through the mount.
    virtual std::filesystem::path Path() const = 0;
    // What kind of share it is, for test names and messages ("sshfs", "SMB").
    virtual std::string Kind() const = 0;

    // The server stops answering at once, as when the machine that exports the share goes
    // down. The mount stays, failing.
    virtual void KillServer() = 0;
    // The server stops answering without going away, as a file server that hangs does; every
    // access through the mount then waits until ThawServer.
    virtual void FreezeServer() = 0;
    virtual void ThawServer() = 0;
    // The client on this machine ends: the mount stays, and every access fails at once.
    virtual void KillClient() = 0;
    // Unmounts and stops everything. Safe to call twice.
    virtual void Stop() = 0;

    // Why no share of any kind can be made on this machine, or empty when one can.
    static std::string WhyUnavailable() {
        if (::access("/dev/fuse", F_OK) != 0) {
            return "FUSE is missing on this machine (no /dev/fuse)";
        }
        return "";
    }
};

// The kinds the tests run their shared-drive checks on.
inline constexpr const char* kSshfs = "sshfs";
inline constexpr const char* kSmb = "SMB";

} // namespace testsupport
