#pragma once
// A network share made on this machine, as another editor's machine would serve it: an SSH
// server of our own on 127.0.0.1 (with keys made for it in a temporary folder) exporting a
// folder, mounted with sshfs. Changes made in the export directly are what another machine's
// changes look like through the mount: the kernel never notifies them.
//
// Both programs run in the foreground as children of this process, so their process ids are
// ours to stop, and they are told to end if this process dies first.
#include "ChildProcesses.h"
#include "NetworkShare.h"

#include <arpa/inet.h>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <netinet/in.h>
#include <pwd.h>
#include <sstream>
#include <string>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/vfs.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace testsupport {

class SshShare final : public NetworkShare {
public:
    SshShare() = default;
    SshShare(const SshShare&) = delete;
    SshShare& operator=(const SshShare&) = delete;
    ~SshShare() override { Stop(); }

    std::string Start(const std::filesystem::path& exported,
                      const std::filesystem::path& workFolder) override {
        return Start(exported, workFolder / "mount", workFolder / "ssh");
    }
    std::filesystem::path Path() const override { return mMount; }
    std::string Kind() const override { return kSshfs; }
    void KillClient() override {
        if (mMountPid > 0) {
            ::kill(mMountPid, SIGKILL);
            ::waitpid(mMountPid, nullptr, 0);
            mMountPid = -1;
            mClientKilled = true;
        }
    }

    // Serves `exported` and mounts it at `mountPoint`; an empty answer on success, otherwise
    // what went wrong (with everything started so far stopped again).
    std::string Start(const std::filesystem::path& exported,
                      const std::filesystem::path& mountPoint,
                      const std::filesystem::path& workFolder) {
        mWork = workFolder;
        mMount = mountPoint;
        std::filesystem::create_directories(mWork);
        std::filesystem::create_directories(mMount);
        const std::string failed = StartServerAndMount(exported);
        if (!failed.empty()) {
            Stop();
        }
        return failed;
    }

    // The server stops answering at once: it and every connection it serves are killed, as
    // when the machine that exports the share goes down. The mount stays, failing.
    void KillServer() override {
        if (mServerPid <= 0) {
            return;
        }
        for (const pid_t child : children::ChildrenOf(mServerPid)) {
            ::kill(child, SIGKILL);
        }
        ::kill(mServerPid, SIGKILL);
        ::waitpid(mServerPid, nullptr, 0);
        mServerPid = -1;
    }

    // The server stops answering without going away, as a file server that hangs does: it and
    // every connection it serves are stopped with SIGSTOP. Every file access through the mount
    // then waits until ThawServer.
    void FreezeServer() override { SignalServerTree(SIGSTOP); }
    void ThawServer() override { SignalServerTree(SIGCONT); }

    // Unmounts and stops both programs. Safe to call twice.
    void Stop() override {
        if (mMountPid > 0 || mClientKilled) {
            if (!children::Run("fusermount3 -u '" + mMount.string() + "' 2>/dev/null")) {
                children::Run("umount -l '" + mMount.string() + "' 2>/dev/null");
            }
            children::End(mMountPid);
            mClientKilled = false;
        }
        children::End(mServerPid);
    }

private:
    static constexpr unsigned long kFuseMagic = 0x65735546ul;

    std::string StartServerAndMount(const std::filesystem::path& exported) {
        for (const char* tool : {"/usr/sbin/sshd", "/usr/bin/sshfs", "/usr/bin/ssh-keygen"}) {
            if (::access(tool, X_OK) != 0) {
                return std::string(tool) + " is not installed: run scripts/ensure-deps";
            }
        }
        const std::string user = UserName();
        if (user.empty()) {
            return "this process's user has no name";
        }
        // sshd insists on its privilege-separation folder when it runs as root.
        if (::geteuid() == 0) {
            ::mkdir("/run/sshd", 0755);
        }
        const std::string work = mWork.string();
        for (const char* key : {"host_key", "user_key"}) {
            // Made afresh when the share starts again in the same place.
            std::filesystem::remove(mWork / key);
            std::filesystem::remove(mWork / (std::string(key) + ".pub"));
            std::filesystem::remove(mWork / "authorized_keys");
            if (children::Wait(children::Spawn({"/usr/bin/ssh-keygen", "-q", "-t", "ed25519", "-N",
                                                "", "-f", work + "/" + key})) != 0) {
                return "ssh-keygen could not make the keys";
            }
        }
        std::filesystem::copy_file(mWork / "user_key.pub", mWork / "authorized_keys");
        std::filesystem::permissions(mWork / "authorized_keys",
                                     std::filesystem::perms::owner_read |
                                         std::filesystem::perms::owner_write);
        const int port = FreePort();
        if (port <= 0) {
            return "no free port on 127.0.0.1";
        }
        std::ofstream(mWork / "sshd_config")
            << "ListenAddress 127.0.0.1\n"
            << "Port " << port << "\n"
            << "HostKey " << work << "/host_key\n"
            << "AuthorizedKeysFile " << work << "/authorized_keys\n"
            << "PidFile none\n"
            << "PasswordAuthentication no\n"
            << "KbdInteractiveAuthentication no\n"
            << "UsePAM no\n"
            << "PermitRootLogin prohibit-password\n"
            << "StrictModes no\n"
            << "Subsystem sftp internal-sftp\n";
        mServerPid = children::Spawn(
            {"/usr/sbin/sshd", "-D", "-f", work + "/sshd_config", "-E", work + "/sshd.log"});
        if (!children::WaitFor([&] { return Listening(port); }, mServerPid)) {
            return "sshd did not start (see " + work + "/sshd.log)";
        }
        // No directory cache, so that a listing through the mount is as fresh as the export;
        // sshfs otherwise serves listings from its cache for up to 20 seconds.
        mMountPid = children::Spawn(
            {"/usr/bin/sshfs", "-f", "-p", std::to_string(port), "-o",
             "IdentityFile=" + work + "/user_key", "-o", "StrictHostKeyChecking=no", "-o",
             "UserKnownHostsFile=/dev/null", "-o", "BatchMode=yes", "-o", "dir_cache=no",
             user + "@127.0.0.1:" + exported.string(), mMount.string()});
        if (!children::WaitFor([&] { return Mounted(); }, mMountPid)) {
            return "sshfs could not mount the export";
        }
        return "";
    }

    void SignalServerTree(int signalNumber) {
        if (mServerPid <= 0) {
            return;
        }
        for (const pid_t process : children::TreeOf(mServerPid)) {
            ::kill(process, signalNumber);
        }
    }

    bool Mounted() const {
        struct statfs info {};
        return ::statfs(mMount.c_str(), &info) == 0 &&
               (static_cast<unsigned long>(info.f_type) & 0xFFFFFFFFul) == kFuseMagic;
    }

    static bool Listening(int port) {
        const int handle = ::socket(AF_INET, SOCK_STREAM, 0);
        if (handle < 0) {
            return false;
        }
        sockaddr_in address = LoopbackAt(port);
        const bool connected =
            ::connect(handle, reinterpret_cast<sockaddr*>(&address), sizeof(address)) == 0;
        ::close(handle);
        return connected;
    }

    static sockaddr_in LoopbackAt(int port) {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        address.sin_port = htons(static_cast<std::uint16_t>(port));
        return address;
    }

    static int FreePort() {
        const int handle = ::socket(AF_INET, SOCK_STREAM, 0);
        if (handle < 0) {
            return -1;
        }
        sockaddr_in address = LoopbackAt(0);
        socklen_t length = sizeof(address);
        int port = -1;
        if (::bind(handle, reinterpret_cast<sockaddr*>(&address), sizeof(address)) == 0 &&
            ::getsockname(handle, reinterpret_cast<sockaddr*>(&address), &length) == 0) {
            port = ntohs(address.sin_port);
        }
        ::close(handle);
        return port;
    }

    static std::string UserName() {
        const passwd* entry = ::getpwuid(::geteuid());
        return entry != nullptr && entry->pw_name != nullptr ? entry->pw_name : "";
    }

    std::filesystem::path mWork;
    std::filesystem::path mMount;
    pid_t mServerPid = -1;
    pid_t mMountPid = -1;
    bool mClientKilled = false; // its mount is left to undo
};

} // namespace testsupport
