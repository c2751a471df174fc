#pragma once
// A network share made on this machine, as another editor's machine would serve it: an SSH
// server of our own on 127.0.0.1 (with keys made for it in a temporary folder) exporting a
// folder, mounted with sshfs. Changes made in the export directly are what another machine's
// changes look like through the mount: the kernel never notifies them.
//
// Both programs run in the foreground as children of this process, so their process ids are
// ours to stop, and they are told to end if this process dies first.
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
    void KillServer() {
        if (mServerPid <= 0) {
            return;
        }
        for (const pid_t child : ChildrenOf(mServerPid)) {
            ::kill(child, SIGKILL);
        }
        ::kill(mServerPid, SIGKILL);
        ::waitpid(mServerPid, nullptr, 0);
        mServerPid = -1;
    }

    // The server stops answering without going away, as a file server that hangs does: it and
    // every connection it serves are stopped with SIGSTOP. Every file access through the mount
    // then waits until ThawServer.
    void FreezeServer() { SignalServerTree(SIGSTOP); }
    void ThawServer() { SignalServerTree(SIGCONT); }

    // Unmounts and stops both programs. Safe to call twice.
    void Stop() {
        if (mMountPid > 0) {
            if (!Run("fusermount3 -u '" + mMount.string() + "' 2>/dev/null")) {
                Run("umount -l '" + mMount.string() + "' 2>/dev/null");
            }
            End(mMountPid);
        }
        End(mServerPid);
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
            if (Wait(Spawn({"/usr/bin/ssh-keygen", "-q", "-t", "ed25519", "-N", "", "-f",
                            work + "/" + key})) != 0) {
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
        mServerPid =
            Spawn({"/usr/sbin/sshd", "-D", "-f", work + "/sshd_config", "-E", work + "/sshd.log"});
        if (!WaitFor([&] { return Listening(port); }, mServerPid)) {
            return "sshd did not start (see " + work + "/sshd.log)";
        }
        // No directory cache, so that a listing through the mount is as fresh as the export;
        // sshfs otherwise serves listings from its cache for up to 20 seconds.
        mMountPid =
            Spawn({"/usr/bin/sshfs", "-f", "-p", std::to_string(port), "-o",
                   "IdentityFile=" + work + "/user_key", "-o", "StrictHostKeyChecking=no", "-o",
                   "UserKnownHostsFile=/dev/null", "-o", "BatchMode=yes", "-o", "dir_cache=no",
                   user + "@127.0.0.1:" + exported.string(), mMount.string()});
        if (!WaitFor([&] { return Mounted(); }, mMountPid)) {
            return "sshfs could not mount the export";
        }
        return "";
    }

    static bool Run(const std::string& command) { return std::system(command.c_str()) == 0; }

    void SignalServerTree(int signalNumber) {
        if (mServerPid <= 0) {
            return;
        }
        std::vector<pid_t> tree{mServerPid};
        for (std::size_t next = 0; next < tree.size(); ++next) {
            for (const pid_t child : ChildrenOf(tree[next])) {
                tree.push_back(child);
            }
        }
        for (const pid_t process : tree) {
            ::kill(process, signalNumber);
        }
    }

    // The processes whose parent is `parent` (from /proc).
    static std::vector<pid_t> ChildrenOf(pid_t parent) {
        std::vector<pid_t> children;
        for (const auto& entry : std::filesystem::directory_iterator("/proc")) {
            const std::string name = entry.path().filename().string();
            if (name.empty() || name.find_first_not_of("0123456789") != std::string::npos) {
                continue;
            }
            std::ifstream stat(entry.path() / "stat");
            std::string line;
            std::getline(stat, line);
            // "pid (comm) state ppid ...": the command may hold spaces, so read after ')'.
            const std::size_t close = line.rfind(')');
            if (close == std::string::npos) {
                continue;
            }
            std::istringstream rest(line.substr(close + 1));
            std::string state;
            pid_t ppid = 0;
            if (rest >> state >> ppid && ppid == parent) {
                children.push_back(static_cast<pid_t>(std::stoi(name)));
            }
        }
        return children;
    }

    // Starts a program as a child that ends when this process does. Everything the child
    // needs is made before the fork: other threads may hold locks the child would wait for.
    static pid_t Spawn(const std::vector<std::string>& arguments) {
        std::vector<char*> argv;
        for (const std::string& argument : arguments) {
            argv.push_back(const_cast<char*>(argument.c_str()));
        }
        argv.push_back(nullptr);
        const pid_t parent = ::getpid();
        const pid_t child = ::fork();
        if (child != 0) {
            return child;
        }
        ::prctl(PR_SET_PDEATHSIG, SIGTERM);
        if (::getppid() != parent) {
            ::_exit(127);
        }
        ::execv(argv[0], argv.data());
        ::_exit(127);
    }

    static int Wait(pid_t child) {
        int status = 0;
        if (child <= 0 || ::waitpid(child, &status, 0) != child) {
            return -1;
        }
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }

    // Stops a child and collects it.
    static void End(pid_t& child) {
        if (child <= 0) {
            return;
        }
        ::kill(child, SIGTERM);
        for (int wait = 0; wait < 100; ++wait) {
            if (::waitpid(child, nullptr, WNOHANG) == child) {
                child = -1;
                return;
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
        }
        ::kill(child, SIGKILL);
        ::waitpid(child, nullptr, 0);
        child = -1;
    }

    // Waits up to ten seconds for `ready`, giving up early when the child has ended.
    template <typename Ready> static bool WaitFor(Ready ready, pid_t child) {
        for (int wait = 0; wait < 500; ++wait) {
            if (ready()) {
                return true;
            }
            if (::waitpid(child, nullptr, WNOHANG) == child) {
                return false;
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
        }
        return false;
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
};

} // namespace testsupport
