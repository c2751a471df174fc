#include "Marvane/core/ThisMachine.h"

#include <atomic>
#include <cerrno>
#include <fcntl.h>
#include <string>
#include <unistd.h>

namespace host {

namespace {

// The first line of a small system file, read without ever blocking on it.
std::string FirstLineOf(const char* path) {
    const int file = ::open(path, O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
    if (file < 0) {
        return {};
    }
    char buffer[1024] = {};
    ssize_t got = 0;
    do {
        got = ::read(file, buffer, sizeof(buffer) - 1);
    } while (got < 0 && errno == EINTR);
    ::close(file);
    if (got <= 0) {
        return {};
    }
    std::string text(buffer, static_cast<std::size_t>(got));
    const std::size_t end = text.find('\n');
    return end == std::string::npos ? text : text.substr(0, end);
}

} // namespace

std::string ThisHostName() {
    char name[256] = {};
    return ::gethostname(name, sizeof(name) - 1) == 0 ? std::string(name) : std::string();
}

std::string ThisBootId() {
    return FirstLineOf("/proc/sys/kernel/random/boot_id");
}

std::string ThisMachineId() {
    const std::string id = FirstLineOf("/etc/machine-id");
    return id.empty() ? FirstLineOf("/var/lib/dbus/machine-id") : id;
}

long long ProcessStartTicks(long long processId) {
    if (processId <= 0) {
        return 0;
    }
    const std::string path = "/proc/" + std::to_string(processId) + "/stat";
    const std::string stat = FirstLineOf(path.c_str());
    // "pid (command) state ppid ...": the command may hold spaces and parentheses, so the
    // fields are counted from the last ")". The start time is field 22; field 3 follows ")".
    const std::size_t close = stat.rfind(')');
    if (close == std::string::npos) {
        return 0;
    }
    std::size_t position = close + 1;
    for (int field = 3; field <= 22; ++field) {
        while (position < stat.size() && stat[position] == ' ') {
            ++position;
        }
        const std::size_t end = stat.find(' ', position);
        if (field == 22) {
            const std::string ticks = stat.substr(position, end - position);
            try {
                return std::stoll(ticks);
            } catch (...) {
                return 0;
            }
        }
        if (end == std::string::npos) {
            return 0;
        }
        position = end;
    }
    return 0;
}

long long ThisProcessStartTicks() {
    static std::atomic<long long> cachedPid{0};
    static std::atomic<long long> cachedTicks{0};
    const long long pid = ::getpid();
    if (cachedPid.load() != pid) {
        cachedTicks.store(ProcessStartTicks(pid));
        cachedPid.store(pid);
    }
    return cachedTicks.load();
}

bool RecordedProcessIsGone(const std::string& hostName, const std::string& bootId,
                           long long processId, long long startTicks) {
    if (hostName != ThisHostName()) {
        return false;
    }
    if (bootId != ThisBootId()) {
        return true;
    }
    const long long ticks = ProcessStartTicks(processId);
    return ticks == 0 || ticks != startTicks;
}

} // namespace host
