#pragma once
// Programs a test starts as its own children (servers, file-system clients): started so that
// they end when the test's process does, found again through /proc, stopped and collected.
#include <chrono>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace testsupport::children {

// The processes whose parent is `parent` (from /proc).
inline std::vector<pid_t> ChildrenOf(pid_t parent) {
    std::vector<pid_t> children;
    std::error_code error;
    for (std::filesystem::directory_iterator it("/proc", error), end; !error && it != end;
         it.increment(error)) {
        const std::string name = it->path().filename().string();
        if (name.empty() || name.find_first_not_of("0123456789") != std::string::npos) {
            continue;
        }
        std::ifstream stat(it->path() / "stat");
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

// The process and every process below it.
inline std::vector<pid_t> TreeOf(pid_t root) {
    std::vector<pid_t> tree{root};
    for (std::size_t next = 0; next < tree.size(); ++next) {
        for (const pid_t child : ChildrenOf(tree[next])) {
            tree.push_back(child);
        }
    }
    return tree;
}

// The command name of a process ("smbd"), empty when it is gone.
inline std::string CommandOf(pid_t process) {
    std::ifstream comm("/proc/" + std::to_string(process) + "/comm");
    std::string name;
    std::getline(comm, name);
    return name;
}

// Starts a program as a child that ends when this process does. Everything the child needs is
// made before the fork: other threads may hold locks the child would wait for.
inline pid_t Spawn(const std::vector<std::string>& arguments) {
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

// Waits for a child to end; its exit status, or -1.
inline int Wait(pid_t child) {
    int status = 0;
    if (child <= 0 || ::waitpid(child, &status, 0) != child) {
        return -1;
    }
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

// Stops a child and collects it.
inline void End(pid_t& child) {
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
template <typename Ready> bool WaitFor(Ready ready, pid_t child) {
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

// Waits for every child; whether each ended by itself with status 0.
inline bool AllEndedCleanly(const std::vector<pid_t>& pids) {
    bool clean = true;
    for (const pid_t child : pids) {
        int status = 0;
        clean = ::waitpid(child, &status, 0) == child && WIFEXITED(status) &&
                WEXITSTATUS(status) == 0 && clean;
    }
    return clean;
}

inline bool Run(const std::string& command) {
    return std::system(command.c_str()) == 0;
}

} // namespace testsupport::children
