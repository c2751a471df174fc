#pragma once
// A real window manager (Debian's openbox) on a virtual X display: it frames, places and
// focuses marvane's windows as on an editor's desktop, and the pointer and keys then reach
// the application through it.
#include <array>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <fcntl.h>
#include <string>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

class WindowManager {
public:
    explicit WindowManager(const std::string& display) : mDisplay(display) {
        mPid = ::fork();
        if (mPid == 0) {
            const int devnull = ::open("/dev/null", O_WRONLY);
            ::dup2(devnull, STDOUT_FILENO);
            ::dup2(devnull, STDERR_FILENO);
            ::setenv("DISPLAY", display.c_str(), 1);
            ::execlp("openbox", "openbox", "--sm-disable", static_cast<char*>(nullptr));
            ::_exit(127);
        }
        // A window manager that runs names itself on the root window. Its first start on a
        // machine busy with other tests may take several seconds: up to a minute is waited.
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(60);
        while (Name().empty() && std::chrono::steady_clock::now() < deadline) {
            std::this_thread::sleep_for(std::chrono::milliseconds(100));
        }
    }
    ~WindowManager() {
        if (mPid > 0) {
            ::kill(mPid, SIGTERM);
            int status = 0;
            ::waitpid(mPid, &status, 0);
        }
    }
    WindowManager(const WindowManager&) = delete;
    WindowManager& operator=(const WindowManager&) = delete;

    // The name the running window manager gives itself ("Openbox"); empty while none runs.
    std::string Name() const {
        const std::string check = Run("xprop -root _NET_SUPPORTING_WM_CHECK");
        const std::size_t id = check.find("# 0x");
        if (id == std::string::npos) {
            return {};
        }
        const std::string window =
            check.substr(id + 2, check.find_first_of(" \n", id + 2) - id - 2);
        const std::string name = Run("xprop -id " + window + " _NET_WM_NAME");
        const std::size_t open = name.find('"');
        const std::size_t close = name.rfind('"');
        return open == std::string::npos || close <= open ? std::string()
                                                          : name.substr(open + 1, close - open - 1);
    }

private:
    std::string Run(const std::string& command) const {
        const std::string line = "DISPLAY=" + mDisplay + " " + command + " 2>/dev/null";
        std::string output;
        if (FILE* pipe = ::popen(line.c_str(), "r")) {
            std::array<char, 256> buffer{};
            while (std::fgets(buffer.data(), static_cast<int>(buffer.size()), pipe) != nullptr) {
                output += buffer.data();
            }
            ::pclose(pipe);
        }
        return output;
    }

    std::string mDisplay;
    pid_t mPid = -1;
};
