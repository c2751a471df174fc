#pragma once
// The process id of a process that ran and is gone: what a lock or a record names after its
// writer was killed.
#include <stdexcept>
#include <sys/types.h>
#include <sys/wait.h>
#include <unistd.h>

namespace testsupport {

inline pid_t PidOfAGoneProcess() {
    const pid_t child = ::fork();
    if (child == 0) {
        ::_exit(0);
    }
    if (child < 0 || ::waitpid(child, nullptr, 0) != child) {
        throw std::runtime_error("no process could be started and ended");
    }
    return child;
}

} // namespace testsupport
