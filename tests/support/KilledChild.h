#pragma once
// Work cut short as by a crash: the steps run in a child process that is then killed with
// SIGKILL, so no destructor runs and nothing is given back.
#include <csignal>
#include <functional>
#include <gtest/gtest.h>
#include <sys/types.h>
#include <sys/wait.h>
#include <unistd.h>

namespace testsupport {

inline ::testing::AssertionResult KilledAfter(const std::function<void()>& steps) {
    const pid_t child = ::fork();
    if (child == 0) {
        steps();
        ::raise(SIGKILL);
        ::_exit(1);
    }
    int status = 0;
    if (child < 0 || ::waitpid(child, &status, 0) != child) {
        return ::testing::AssertionFailure() << "no child process could be run";
    }
    if (!WIFSIGNALED(status)) {
        return ::testing::AssertionFailure() << "the child ended before it was killed";
    }
    return ::testing::AssertionSuccess();
}

} // namespace testsupport
