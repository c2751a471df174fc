#pragma once
// Helpers shared by the host core tests.
#include <QCoreApplication>
#include <QEventLoop>

#include <chrono>
#include <cstdlib>
#include <functional>
#include <optional>
#include <string>
#include <thread>

namespace host::test {

// Runs the main thread's event loop until done() holds or the timeout has passed; returns
// whether done() held.
inline bool ProcessEventsUntil(const std::function<bool()>& done,
                               std::chrono::milliseconds timeout = std::chrono::seconds(10)) {
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    while (!done()) {
        if (std::chrono::steady_clock::now() >= deadline) {
            return false;
        }
        QCoreApplication::processEvents(QEventLoop::AllEvents);
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

// Runs the main thread's event loop for the given time.
inline void ProcessEventsFor(std::chrono::milliseconds duration) {
    const auto deadline = std::chrono::steady_clock::now() + duration;
    ProcessEventsUntil([deadline] { return std::chrono::steady_clock::now() >= deadline; },
                       duration + std::chrono::seconds(1));
}

// Sets or removes an environment variable for the life of the guard, then restores it.
class EnvironmentVariable {
public:
    EnvironmentVariable(std::string name, const char* value) : mName(std::move(name)) {
        if (const char* previous = std::getenv(mName.c_str())) {
            mPrevious = previous;
        }
        Apply(value);
    }
    ~EnvironmentVariable() { Apply(mPrevious ? mPrevious->c_str() : nullptr); }
    EnvironmentVariable(const EnvironmentVariable&) = delete;
    EnvironmentVariable& operator=(const EnvironmentVariable&) = delete;

private:
    void Apply(const char* value) {
        if (value != nullptr) {
            setenv(mName.c_str(), value, 1);
        } else {
            unsetenv(mName.c_str());
        }
    }

    std::string mName;
    std::optional<std::string> mPrevious;
};

} // namespace host::test
