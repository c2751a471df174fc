// Work the main thread does itself, item by item, because each item touches what only the main
// thread may (open projects, folder watches, message boxes): the window's long-work view turns
// the window between two items whenever it has not turned for a slice, so that it is drawn and
// its timers run, and shows its dialog once the work has run for a moment. Without a view, or
// off the main thread, nothing is shown and nothing stops the work.
#include "Marvane/fileservices/LongWork.h"
#include "host/FileServices.h"
#include "host/Messaging.h"

#include <chrono>

namespace host {

namespace {

// The longest the window goes without turning while items are worked through.
constexpr std::chrono::milliseconds kTurnEvery{25};

} // namespace

struct ItemByItemWork::Impl {
    files::LongWorkView* view = nullptr;
    std::shared_ptr<files::LongWork> work = std::make_shared<files::LongWork>();
    std::chrono::steady_clock::time_point lastTurn = std::chrono::steady_clock::now();
};

ItemByItemWork::ItemByItemWork(const ByteString& title, std::size_t items)
    : mImpl(std::make_unique<Impl>()) {
    mImpl->work->title = title;
    mImpl->work->total = items;
    mImpl->work->countsItems = true;
    if (CurrentThreadIsMainThread()) {
        mImpl->view = files::CurrentLongWorkView();
    }
    if (mImpl->view != nullptr) {
        files::NoteLongWorkBegun();
        mImpl->view->Begin(*mImpl->work);
    }
}

ItemByItemWork::~ItemByItemWork() {
    if (mImpl->view != nullptr) {
        mImpl->work->finished = true;
        mImpl->view->End(*mImpl->work);
        files::NoteLongWorkEnded();
    }
}

bool ItemByItemWork::ItemDone() {
    files::LongWork& work = *mImpl->work;
    ++work.done;
    ++work.steps;
    files::RunItemDoneHook();
    if (mImpl->view == nullptr) {
        return true;
    }
    const auto now = std::chrono::steady_clock::now();
    if (now - mImpl->lastTurn >= kTurnEvery) {
        mImpl->view->Turn(work, std::chrono::milliseconds(1));
        mImpl->lastTurn = std::chrono::steady_clock::now();
    }
    return !work.cancelled.load();
}

} // namespace host
