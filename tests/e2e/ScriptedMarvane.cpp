#include "ScriptedMarvane.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <fstream>
#include <poll.h>
#include <sstream>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

ScriptedMarvane::ScriptedMarvane(const std::vector<std::string>& arguments,
                                 const std::vector<std::string>& environment,
                                 const std::vector<std::string>& launcher) {
    int toChild[2];
    int fromChild[2];
    if (::pipe2(toChild, O_CLOEXEC) != 0 || ::pipe2(fromChild, O_CLOEXEC) != 0) {
        return;
    }
    mPid = ::fork();
    if (mPid == 0) {
        ::dup2(toChild[0], STDIN_FILENO);
        ::dup2(fromChild[1], STDOUT_FILENO);
        const int errorFile = ::open(mErrorFile.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
        ::dup2(errorFile, STDERR_FILENO);
        ::unsetenv("DISPLAY");
        ::unsetenv("WAYLAND_DISPLAY");
        ::unsetenv("QT_QPA_PLATFORM");
        for (const std::string& variable : environment) {
            const auto equals = variable.find('=');
            ::setenv(variable.substr(0, equals).c_str(), variable.substr(equals + 1).c_str(), 1);
        }
        std::vector<std::string> copies = launcher;
        copies.push_back(MARVANE_EXECUTABLE);
        copies.push_back("--script");
        copies.insert(copies.end(), arguments.begin(), arguments.end());
        std::vector<char*> argv;
        for (std::string& argument : copies) {
            argv.push_back(argument.data());
        }
        argv.push_back(nullptr);
        ::execvp(argv.front(), argv.data());
        ::_exit(127);
    }
    ::close(toChild[0]);
    ::close(fromChild[1]);
    mInput = toChild[1];
    mOutput = fromChild[0];
}

ScriptedMarvane::~ScriptedMarvane() {
    if (mPid > 0 && !mExited) {
        ::kill(mPid, SIGKILL);
        ::waitpid(mPid, nullptr, 0);
    }
    if (mInput >= 0) {
        ::close(mInput);
    }
    if (mOutput >= 0) {
        ::close(mOutput);
    }
}

std::string ScriptedMarvane::SendUntil(const std::vector<std::string>& fields,
                                       const std::string& expected) {
    std::string answer;
    for (int attempt = 0; attempt < 200 && answer != expected; ++attempt) {
        if (attempt > 0) {
            std::this_thread::sleep_for(std::chrono::milliseconds(50));
        }
        answer = Send(fields);
    }
    return answer;
}

std::string ScriptedMarvane::SendUntilHolding(const std::vector<std::string>& fields,
                                              const std::string& part) {
    std::string answer;
    for (int attempt = 0; attempt < 200; ++attempt) {
        answer = Send(fields);
        if (answer.find(part) != std::string::npos) {
            break;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
    }
    return answer;
}

bool ScriptedMarvane::Post(const std::vector<std::string>& fields) {
    std::string line;
    for (const std::string& field : fields) {
        line += (line.empty() ? "" : "\t") + field;
    }
    line += "\n";
    return ::write(mInput, line.data(), line.size()) == static_cast<ssize_t>(line.size());
}

std::string ScriptedMarvane::Send(const std::vector<std::string>& fields) {
    return Post(fields) ? ReadLine() : "<write failed>";
}

std::string ScriptedMarvane::ReadLine(std::chrono::seconds timeout) {
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    while (true) {
        const auto end = mBuffered.find('\n');
        if (end != std::string::npos) {
            std::string line = mBuffered.substr(0, end);
            mBuffered.erase(0, end + 1);
            return line;
        }
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
            deadline - std::chrono::steady_clock::now());
        if (left.count() <= 0) {
            return "<timeout>";
        }
        pollfd ready{mOutput, POLLIN, 0};
        if (::poll(&ready, 1, static_cast<int>(left.count())) <= 0) {
            continue;
        }
        char buffer[4096];
        const ssize_t count = ::read(mOutput, buffer, sizeof(buffer));
        if (count <= 0) {
            return "<closed>";
        }
        mBuffered.append(buffer, static_cast<std::size_t>(count));
    }
}

void ScriptedMarvane::Signal(int signalNumber) {
    ::kill(mPid, signalNumber);
}

int ScriptedMarvane::Finish(std::chrono::seconds timeout) {
    if (mInput >= 0) {
        ::close(mInput);
        mInput = -1;
    }
    return WaitForExit(timeout);
}

int ScriptedMarvane::WaitForExit(std::chrono::seconds timeout) {
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    while (!mExited && std::chrono::steady_clock::now() < deadline) {
        int status = 0;
        const pid_t done = ::waitpid(mPid, &status, WNOHANG);
        if (done == mPid) {
            mExited = true;
            mExitCode = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
            break;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    return mExited ? mExitCode : -1;
}

std::string ScriptedMarvane::ErrorOutput() const {
    std::ifstream in(mErrorFile);
    std::stringstream text;
    text << in.rdbuf();
    return text.str();
}

std::unique_ptr<ScriptedMarvane> StartEditorOn(const std::filesystem::path& production,
                                               const std::filesystem::path& profiles,
                                               const std::string& name) {
    auto editor = std::make_unique<ScriptedMarvane>(
        std::vector<std::string>{"--production", production.string(), "--profile",
                                 (profiles / name).string(), "--user", name});
    EXPECT_EQ(editor->ReadLine(), "ready") << editor->ErrorOutput();
    return editor;
}
