#pragma once
// An SMB share made on this machine, as most teams' file servers serve their productions:
// Debian's Samba server exporting a folder to guests on 127.0.0.1, and smbnetfs, a FUSE client
// built on the same client library as the desktop's SMB support, mounting it. The server
// takes the standard port 445, so both run in a network of their own (`unshare --net`, with
// only the loopback device up): shares of several tests never meet, and a real server on
// this machine is never disturbed. The mount is made in the shared mount table, so every
// process of the test sees it.
//
// Seen through it: hard links fail (EPERM), renames never replacing (RENAME_NOREPLACE) fail
// (EINVAL), a plain rename replaces, renaming or removing a file another client has open
// fails (EBUSY), O_APPEND opens fail (EIO), O_CREAT|O_EXCL holds.
#include "ChildProcesses.h"
#include "NetworkShare.h"

#include <cerrno>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <string>
#include <sys/stat.h>
#include <sys/vfs.h>
#include <sys/wait.h>
#include <unistd.h>

namespace testsupport {

class SmbShare final : public NetworkShare {
public:
    SmbShare() = default;
    SmbShare(const SmbShare&) = delete;
    SmbShare& operator=(const SmbShare&) = delete;
    ~SmbShare() override { Stop(); }

    std::string Start(const std::filesystem::path& exported,
                      const std::filesystem::path& workFolder) override {
        mWork = workFolder;
        mMount = mWork / "mount";
        const std::string failed = StartServerAndClient(exported);
        if (!failed.empty()) {
            Stop();
        }
        return failed;
    }
    std::filesystem::path Path() const override { return mMount / "127.0.0.1" / "prod"; }
    std::string Kind() const override { return kSmb; }

    void KillServer() override { Signal("smbd", SIGKILL); }
    void FreezeServer() override { Signal("smbd", SIGSTOP); }
    void ThawServer() override { Signal("smbd", SIGCONT); }
    void KillClient() override { Signal("smbnetfs", SIGKILL); }

    void Stop() override {
        if (mNetworkPid <= 0) {
            return;
        }
        Signal("smbd", SIGCONT);
        if (!children::Run("fusermount3 -u '" + mMount.string() + "' 2>/dev/null")) {
            children::Run("umount -l '" + mMount.string() + "' 2>/dev/null");
        }
        for (const pid_t process : children::TreeOf(mNetworkPid)) {
            if (process != mNetworkPid) {
                ::kill(process, SIGKILL);
            }
        }
        children::End(mNetworkPid);
    }

private:
    static constexpr unsigned long kFuseMagic = 0x65735546ul;

    std::string StartServerAndClient(const std::filesystem::path& exported) {
        for (const char* tool :
             {"/usr/sbin/smbd", "/usr/bin/smbnetfs", "/usr/bin/unshare", "/usr/bin/fusermount3"}) {
            if (::access(tool, X_OK) != 0) {
                return std::string(tool) + " is not installed: run scripts/ensure-deps";
            }
        }
        const std::string ip = ::access("/usr/sbin/ip", X_OK) == 0 ? "/usr/sbin/ip" : "/sbin/ip";
        if (::access(ip.c_str(), X_OK) != 0) {
            return "ip (iproute2) is not installed: run scripts/ensure-deps";
        }
        const std::string work = mWork.string();
        for (const char* folder : {"run", "lock", "state", "cache", "private", "home/.smb"}) {
            std::filesystem::create_directories(mWork / folder);
        }
        std::filesystem::create_directories(mMount);
        std::ofstream(mWork / "smb.conf") << "[global]\n"
                                          << "server role = standalone server\n"
                                          << "smb ports = 445\n"
                                          << "interfaces = 127.0.0.1\n"
                                          << "bind interfaces only = yes\n"
                                          << "disable netbios = yes\n"
                                          << "server min protocol = SMB2\n"
                                          << "map to guest = Bad User\n"
                                          << "guest account = root\n"
                                          << "pid directory = " << work << "/run\n"
                                          << "lock directory = " << work << "/lock\n"
                                          << "state directory = " << work << "/state\n"
                                          << "cache directory = " << work << "/cache\n"
                                          << "private dir = " << work << "/private\n"
                                          << "ncalrpc dir = " << work << "/run/ncalrpc\n"
                                          << "log file = " << work << "/smbd.log\n"
                                          << "[prod]\n"
                                          << "path = " << exported.string() << "\n"
                                          << "read only = no\n"
                                          << "guest ok = yes\n"
                                          << "force user = root\n";
        std::ofstream(mWork / "home" / ".smb" / "smb.conf")
            << "[global]\nclient min protocol = SMB2\nsmb ports = 445\n";
        const std::filesystem::path clientConfig = mWork / "home" / ".smb" / "smbnetfs.conf";
        std::ofstream(clientConfig) << "auth \"guest\" \"\"\n"
                                    << "show_$_shares \"true\"\n"
                                    << "smb_query_browsers \"false\"\n"
                                    << "host 127.0.0.1 visible=true\n";
        std::filesystem::permissions(clientConfig, std::filesystem::perms::owner_read |
                                                       std::filesystem::perms::owner_write);
        // The network of their own lives as long as this script, which waits for both.
        std::ofstream(mWork / "network.sh")
            << ip << " link set lo up || exit 1\n"
            << "/usr/sbin/smbd --foreground --no-process-group -s '" << work << "/smb.conf' >'"
            << work << "/smbd.out' 2>&1 &\n"
            << "for i in $(seq 100); do (echo >/dev/tcp/127.0.0.1/445) 2>/dev/null && break; "
            << "sleep 0.1; done\n"
            << "HOME='" << work << "/home' /usr/bin/smbnetfs '" << mMount.string()
            << "' -f -o allow_other >'" << work << "/smbnetfs.out' 2>&1 &\n"
            << "wait\n";
        mNetworkPid =
            children::Spawn({"/usr/bin/unshare", "--net", "/bin/bash", work + "/network.sh"});
        if (!children::WaitFor([&] { return Answers(); }, mNetworkPid)) {
            return "the SMB share did not come up (see " + work + "/smbd.log and " + work +
                   "/smbnetfs.out)";
        }
        return "";
    }

    // Whether the share's folder can be seen through the mount.
    bool Answers() const {
        struct statfs info {};
        struct stat status {};
        return ::statfs(mMount.c_str(), &info) == 0 &&
               (static_cast<unsigned long>(info.f_type) & 0xFFFFFFFFul) == kFuseMagic &&
               ::stat(Path().c_str(), &status) == 0 && S_ISDIR(status.st_mode);
    }

    // Sends the signal to every process of the share's network named `command`.
    void Signal(const std::string& command, int signalNumber) const {
        if (mNetworkPid <= 0) {
            return;
        }
        for (const pid_t process : children::TreeOf(mNetworkPid)) {
            if (children::CommandOf(process).rfind(command, 0) == 0) {
                ::kill(process, signalNumber);
            }
        }
    }

    std::filesystem::path mWork;
    std::filesystem::path mMount;
    pid_t mNetworkPid = -1;
};

} // namespace testsupport
