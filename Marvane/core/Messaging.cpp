// Message stations: named channels that deliver messages to weakly held listeners.
#include "host/Messaging.h"

#include "Marvane/core/MainThread.h"
#include "host/ExceptionLog.h"

#include <algorithm>
#include <atomic>
#include <map>
#include <mutex>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace host {

namespace {

// One listener's place on a station. The flag is cleared when the listener unsubscribes,
// so a delivery already under way skips it even though it works from an earlier copy of
// the list.
struct Subscription {
    const Listener* identity = nullptr;
    std::weak_ptr<Listener> listener;
    std::shared_ptr<std::atomic<bool>> active;
};

class Station final : public MessageStation, public std::enable_shared_from_this<Station> {
public:
    void Subscribe(std::weak_ptr<Listener> listener) override {
        const std::shared_ptr<Listener> strong = listener.lock();
        if (!strong) {
            return;
        }
        std::lock_guard lock(mMutex);
        PruneExpiredLocked();
        const bool alreadySubscribed =
            std::any_of(mSubscriptions.begin(), mSubscriptions.end(),
                        [&](const Subscription& s) { return s.identity == strong.get(); });
        if (alreadySubscribed) {
            return;
        }
        mSubscriptions.push_back(Subscription{strong.get(), std::move(listener),
                                              std::make_shared<std::atomic<bool>>(true)});
    }

    void Unsubscribe(const Listener* listener) override {
        if (listener == nullptr) {
            return;
        }
        std::lock_guard lock(mMutex);
        std::erase_if(mSubscriptions, [listener](const Subscription& s) {
            if (s.identity != listener) {
                return false;
            }
            s.active->store(false);
            return true;
        });
    }

    // Listeners that subscribe during a delivery get the next message, not this one;
    // listeners that unsubscribe or are destroyed before their turn are skipped.
    void Broadcast(const Message& message) override {
        if (!CurrentThreadIsMainThread()) {
            throw std::logic_error("MessageStation::Broadcast called off the main thread");
        }
        std::vector<Subscription> snapshot;
        {
            std::lock_guard lock(mMutex);
            snapshot = mSubscriptions;
        }
        bool sawExpired = false;
        for (const Subscription& subscription : snapshot) {
            if (!subscription.active->load()) {
                continue;
            }
            const std::shared_ptr<Listener> listener = subscription.listener.lock();
            if (!listener) {
                sawExpired = true;
                continue;
            }
            try {
                listener->ReceiveMessage(message);
            } catch (const std::exception& error) {
                LogException("host::MessageStation::Broadcast", error);
            } catch (...) {
                LogUnknownException("host::MessageStation::Broadcast");
            }
        }
        if (sawExpired) {
            std::lock_guard lock(mMutex);
            PruneExpiredLocked();
        }
    }

    void Post(std::shared_ptr<const Message> message) override {
        if (!message) {
            return;
        }
        QueueOnMainThread([station = shared_from_this(), message = std::move(message)] {
            station->Broadcast(*message);
        });
    }

    std::size_t ListenerCount() const override {
        std::lock_guard lock(mMutex);
        return static_cast<std::size_t>(
            std::count_if(mSubscriptions.begin(), mSubscriptions.end(),
                          [](const Subscription& s) { return !s.listener.expired(); }));
    }

private:
    void PruneExpiredLocked() {
        std::erase_if(mSubscriptions, [](const Subscription& s) {
            if (!s.listener.expired()) {
                return false;
            }
            s.active->store(false);
            return true;
        });
    }

    mutable std::mutex mMutex;
    std::vector<Subscription> mSubscriptions;
};

struct StationRegistry {
    std::mutex mutex;
    std::map<std::string, std::shared_ptr<Station>, std::less<>> stations;
};

// Never destroyed: stations live as long as the process, including its shutdown.
StationRegistry& Registry() {
    static StationRegistry& registry = *new StationRegistry;
    return registry;
}

} // namespace

std::shared_ptr<MessageStation> MessageStation::Get(std::string_view stationName) {
    StationRegistry& registry = Registry();
    std::lock_guard lock(registry.mutex);
    auto found = registry.stations.find(stationName);
    if (found == registry.stations.end()) {
        found =
            registry.stations.emplace(std::string(stationName), std::make_shared<Station>()).first;
    }
    return found->second;
}

} // namespace host
