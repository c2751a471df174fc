#pragma once
// A network share made on this machine, as another editor's machine would serve it: an SSH
// server of our own on 127.0.0.1 (with keys made for it in a temporary folder) exporting a
// folder, mounted with sshfs. Changes made in the export directly are what another machine's
// changes look like through the mount: the kernel never notifies them.
#include <arpa/inet.h>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <netinet/in.h>
#include <string>
#include <sys/socket.h>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>

namespace testsupport {

class SshShare {
public:
    // Why a share cannot be made on this machine at all, or empty when it can.
    static std::string WhyUnavailable() {
        if (::access("/dev/fuse", F_OK) != 0) {
            return "FUSE is missing on this machine (no /dev/fuse)";
        }
        return "";
    }

    SshShare() = default;
    SshShare(const SshShare&) = delete;
    SshShare& operator=(const SshShare&) = delete;
    ~SshShare() { Stop(); }

    // Serves `exported` and mounts it at `mountPoint`; an empty answer on success, otherwise
    // what went wrong.
    std::string Start(const std::filesystem::path& exported,
                      const std::filesystem::path& mountPoint,
                      const std::filesystem::path& workFolder) {
        mWork = workFolder;
        mMount = mountPoint;
        std::filesystem::create_directories(mWork);
        std::filesystem::create_directories(mMount);
        for (const char* tool : {"/usr/sbin/sshd", "/usr/bin/sshfs", "/usr/bin/ssh-keygen"}) {
            if (::access(tool, X_OK) != 0) {
                return std::string(tool) + " is not installed: run scripts/ensure-deps";
            }
        }
        // sshd insists on its privilege-separation folder.
        ::mkdir("/run/sshd", 0755);
        const std::string work = mWork.string();
        if (!Run("ssh-keygen -q -t ed25519 -N '' -f '" + work + "/host_key'") ||
            !Run("ssh-keygen -q -t ed25519 -N '' -f '" + work + "/user_key'")) {
            return "ssh-keygen could not make the keys";
        }
        std::filesystem::copy_file(mWork / "user_key.pub", mWork / "authorized_keys");
        const int port = FreePort();
        if (port <= 0) {
            return "no free port on 127.0.0.1";
        }
        std::ofstream(mWork / "sshd_config")
            << "ListenAddress 127.0.0.1\n"
            << "Port " << port << "\n"
            << "HostKey " << work << "/host_key\n"
            << "AuthorizedKeysFile " << work << "/authorized_keys\n"
            << "PidFile " << work << "/sshd.pid\n"
            << "PasswordAuthentication no\n"
            << "KbdInteractiveAuthentication no\n"
            << "UsePAM no\n"
            << "PermitRootLogin prohibit-password\n"
            << "StrictModes no\n"
            << "Subsystem sftp internal-sftp\n";
        if (!Run("/usr/sbin/sshd -f '" + work + "/sshd_config' -E '" + work + "/sshd.log'")) {
            return "sshd did not start (see " + work + "/sshd.log)";
        }
        mServerPid = ReadPid();
        if (mServerPid <= 0) {
            return "sshd wrote no process id (see " + work + "/sshd.log)";
        }
        // No directory cache, so that a listing through the mount is as fresh as the export;
        // sshfs otherwise serves listings from its cache for up to 20 seconds.
        const std::string mount =
            "sshfs -p " + std::to_string(port) + " -o IdentityFile='" + work +
            "/user_key' -o StrictHostKeyChecking=no -o UserKnownHostsFile=/dev/null" +
            " -o BatchMode=yes -o dir_cache=no 'root@127.0.0.1:" + exported.string() + "' '" +
            mMount.string() + "'";
        if (!Run(mount)) {
            return "sshfs could not mount the export";
        }
        mMounted = true;
        return "";
    }

    // Unmounts and stops the server (by its process id). Safe to call twice.
    void Stop() {
        if (mMounted) {
            if (!Run("fusermount3 -u '" + mMount.string() + "' 2>/dev/null")) {
                Run("umount -l '" + mMount.string() + "'");
            }
            mMounted = false;
        }
        if (mServerPid > 0) {
            ::kill(mServerPid, SIGTERM);
            for (int wait = 0; wait < 100 && ::kill(mServerPid, 0) == 0; ++wait) {
                std::this_thread::sleep_for(std::chrono::milliseconds(20));
            }
            mServerPid = -1;
        }
    }

    bool IsMounted() const { return mMounted; }

private:
    static bool Run(const std::string& command) { return std::system(command.c_str()) == 0; }

    static int FreePort() {
        const int handle = ::socket(AF_INET, SOCK_STREAM, 0);
        if (handle < 0) {
            return -1;
        }
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t length = sizeof(address);
        int port = -1;
        if (::bind(handle, reinterpret_cast<sockaddr*>(&address), sizeof(address)) == 0 &&
            ::getsockname(handle, reinterpret_cast<sockaddr*>(&address), &length) == 0) {
            port = ntohs(address.sin_port);
        }
        ::close(handle);
        return port;
    }

    pid_t ReadPid() const {
        pid_t pid = -1;
        for (int wait = 0; wait < 100 && pid <= 0; ++wait) {
            std::ifstream(mWork / "sshd.pid") >> pid;
            if (pid <= 0) {
                std::this_thread::sleep_for(std::chrono::milliseconds(20));
            }
        }
        return pid;
    }

    std::filesystem::path mWork;
    std::filesystem::path mMount;
    pid_t mServerPid = -1;
    bool mMounted = false;
};

} // namespace testsupport
