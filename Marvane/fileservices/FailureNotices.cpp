#include "Marvane/fileservices/FailureNotices.h"

#include "host/DebugTrace.h"

#include <mutex>

namespace host::files {

namespace {

constexpr std::size_t kMostKept = 200;

struct Notices {
    std::mutex mutex;
    std::vector<std::string> waiting;
    std::function<void()> listener;
};

Notices& State() {
    static Notices notices;
    return notices;
}

} // namespace

void NoteFailure(const std::string& sentence) {
    Trace("Host", 2, "Not done: " + sentence);
    std::function<void()> listener;
    {
        Notices& notices = State();
        const std::lock_guard guard(notices.mutex);
        if (notices.waiting.size() >= kMostKept) {
            notices.waiting.erase(notices.waiting.begin());
        }
        notices.waiting.push_back(sentence);
        if (notices.waiting.size() == 1) {
            listener = notices.listener;
        }
    }
    if (listener) {
        listener();
    }
}

std::vector<std::string> TakeFailures() {
    Notices& notices = State();
    const std::lock_guard guard(notices.mutex);
    std::vector<std::string> taken;
    taken.swap(notices.waiting);
    return taken;
}

std::function<void()> SetFailureListener(std::function<void()> listener) {
    Notices& notices = State();
    const std::lock_guard guard(notices.mutex);
    std::swap(notices.listener, listener);
    return listener;
}

} // namespace host::files
