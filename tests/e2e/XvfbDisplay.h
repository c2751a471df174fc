#pragma once
// A virtual X display of the test's own (Xvfb, from Debian's package), on a display number
// Xvfb chooses itself, and xdotool to move the pointer on it as a person's hand would.
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <poll.h>
#include <string>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

class XvfbDisplay {
public:
    XvfbDisplay() {
        int pipeFds[2];
        if (::pipe(pipeFds) != 0) {
            return;
        }
        mPid = ::fork();
        if (mPid == 0) {
            ::close(pipeFds[0]);
            const int devnull = ::open("/dev/null", O_WRONLY);
            ::dup2(devnull, STDOUT_FILENO);
            ::dup2(devnull, STDERR_FILENO);
            const std::string fd = std::to_string(pipeFds[1]);
            ::execlp("Xvfb", "Xvfb", "-displayfd", fd.c_str(), "-screen", "0", "1600x1000x24",
                     "-nolisten", "tcp", static_cast<char*>(nullptr));
            ::_exit(127);
        }
        ::close(pipeFds[1]);
        // Xvfb writes its display number once it takes connections.
        pollfd ready{pipeFds[0], POLLIN, 0};
        std::string number;
        while (::poll(&ready, 1, 60000) > 0) {
            char c = 0;
            if (::read(pipeFds[0], &c, 1) != 1 || c == '\n') {
                break;
            }
            number += c;
        }
        ::close(pipeFds[0]);
        if (!number.empty()) {
            mDisplay = ":" + number;
        }
    }
    ~XvfbDisplay() {
        if (mPid > 0) {
            ::kill(mPid, SIGTERM);
            int status = 0;
            ::waitpid(mPid, &status, 0);
        }
    }
    XvfbDisplay(const XvfbDisplay&) = delete;
    XvfbDisplay& operator=(const XvfbDisplay&) = delete;

    // ":N", or empty when Xvfb did not start.
    const std::string& Name() const { return mDisplay; }
    // Runs xdotool with the arguments on this display; true when it succeeded.
    bool Xdotool(const std::string& arguments) const {
        const std::string command = "DISPLAY=" + mDisplay + " xdotool " + arguments;
        return std::system(command.c_str()) == 0;
    }

private:
    pid_t mPid = -1;
    std::string mDisplay;
};
