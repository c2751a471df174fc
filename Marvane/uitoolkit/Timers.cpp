// Timers for the toolkit's views: Qt single-shot timers by id.
#include "host/UITimers.h"

#include <QTimer>
#include <atomic>
#include <map>
#include <memory>

namespace host {

UI_TimerID UI_NodeManager::GetUniqueTimerID() {
    static std::atomic<UI_TimerID> next{1};
    return next++;
}

struct UI_TimerOwner::Impl {
    Notify notify;
    std::map<UI_TimerID, std::unique_ptr<QTimer>> timers;
};

UI_TimerOwner::UI_TimerOwner(Notify notify) : mImpl(new Impl{std::move(notify), {}}) {}

UI_TimerOwner::~UI_TimerOwner() {
    delete mImpl;
}

void UI_TimerOwner::UI_InstallTimer(double seconds, UI_TimerID id) {
    auto& timer = mImpl->timers[id];
    if (!timer) {
        timer = std::make_unique<QTimer>();
        timer->setSingleShot(true);
        Impl* impl = mImpl;
        QObject::connect(timer.get(), &QTimer::timeout, [impl, id] {
            if (impl->notify) {
                impl->notify(id);
            }
        });
    }
    timer->start(static_cast<int>(seconds * 1000.0));
}

void UI_TimerOwner::UI_RemoveTimer(UI_TimerID id) {
    const auto found = mImpl->timers.find(id);
    if (found != mImpl->timers.end()) {
        found->second->stop();
    }
}

bool UI_TimerOwner::IsTimerInstalled(UI_TimerID id) const {
    const auto found = mImpl->timers.find(id);
    return found != mImpl->timers.end() && found->second->isActive();
}

} // namespace host
