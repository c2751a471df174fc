#include "host/Messaging.h"
#include "Marvane/core/ExceptionLogAccess.h"
#include "TestSupport.h"

#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace {

using host::test::ProcessEventsUntil;

struct PingMessage : host::Message {
    HOST_DECLARE_MESSAGE_TYPE(PingMessage)
};

struct PongMessage : host::Message {
    HOST_DECLARE_MESSAGE_TYPE(PongMessage)
};

struct NumberMessage : host::Message {
    static constexpr host::MessageTypeID kTypeID = host::HashMessageTypeName("NumberMessage");
    explicit NumberMessage(int number) : host::Message(kTypeID), value(number) {}
    int value;
};

// Records what it receives and runs an optional action on each message.
class RecordingListener : public host::Listener {
public:
    void ReceiveMessage(const host::Message& message) override {
        received.push_back(message.GetTypeID());
        onMainThread.push_back(host::CurrentThreadIsMainThread());
        if (const auto* number = dynamic_cast<const NumberMessage*>(&message)) {
            numbers.push_back(number->value);
        }
        if (action) {
            action(message);
        }
    }

    std::vector<host::MessageTypeID> received;
    std::vector<bool> onMainThread;
    std::vector<int> numbers;
    std::function<void(const host::Message&)> action;
};

// Each test uses its own station so that tests run in one process do not meet.
std::shared_ptr<host::MessageStation> TestStation() {
    const auto* info = testing::UnitTest::GetInstance()->current_test_info();
    return host::MessageStation::Get(std::string("test.") + info->test_suite_name() + "." +
                                     info->name());
}

TEST(MessagingTest, MessageTypeIdIsFnv1aHashOfTypeName) {
    // Known FNV-1a 64-bit values: the offset basis for "", and published test vectors.
    EXPECT_EQ(host::HashMessageTypeName(""), 14695981039346656037ull);
    EXPECT_EQ(host::HashMessageTypeName("a"), 0xaf63dc4c8601ec8cull);
    EXPECT_EQ(host::HashMessageTypeName("foobar"), 0x85944171f73967e8ull);
    EXPECT_EQ(PingMessage::kTypeID, host::HashMessageTypeName("PingMessage"));
    EXPECT_EQ(PingMessage().GetTypeID(), PingMessage::kTypeID);
    EXPECT_NE(PingMessage::kTypeID, PongMessage::kTypeID);
    EXPECT_NE(host::HashMessageTypeName("ab"), host::HashMessageTypeName("ba"));
}

TEST(MessagingTest, GetReturnsTheSameStationForTheSameName) {
    const auto first = host::MessageStation::Get("test.same.name");
    const auto second = host::MessageStation::Get(std::string("test.same.") + "name");
    const auto other = host::MessageStation::Get("test.other.name");
    ASSERT_NE(first, nullptr);
    EXPECT_EQ(first, second);
    EXPECT_NE(first, other);
}

TEST(MessagingTest, GetFromManyThreadsAgreesOnOneStation) {
    constexpr int kThreads = 8;
    std::vector<std::shared_ptr<host::MessageStation>> found(kThreads);
    std::vector<std::thread> workers;
    for (int t = 0; t < kThreads; ++t) {
        workers.emplace_back([&found, t] {
            found[static_cast<std::size_t>(t)] = host::MessageStation::Get("test.threads.shared");
        });
    }
    for (std::thread& worker : workers) {
        worker.join();
    }
    for (const auto& station : found) {
        ASSERT_NE(station, nullptr);
        EXPECT_EQ(station, found.front());
    }
}

TEST(MessagingTest, BroadcastDeliversToEverySubscribedListener) {
    const auto station = TestStation();
    auto first = std::make_shared<RecordingListener>();
    auto second = std::make_shared<RecordingListener>();
    station->Subscribe(first);
    station->Subscribe(second);
    EXPECT_EQ(station->ListenerCount(), 2u);

    station->Broadcast(PingMessage());
    station->Broadcast(NumberMessage(7));

    const std::vector<host::MessageTypeID> expected{PingMessage::kTypeID, NumberMessage::kTypeID};
    EXPECT_EQ(first->received, expected);
    EXPECT_EQ(second->received, expected);
    EXPECT_EQ(first->numbers, std::vector<int>{7});
}

TEST(MessagingTest, BroadcastSkipsListenersThatWereReleased) {
    const auto station = TestStation();
    auto kept = std::make_shared<RecordingListener>();
    auto released = std::make_shared<RecordingListener>();
    std::weak_ptr<RecordingListener> watch = released;
    station->Subscribe(kept);
    station->Subscribe(released);
    ASSERT_EQ(station->ListenerCount(), 2u);

    released.reset();
    ASSERT_TRUE(watch.expired());
    EXPECT_EQ(station->ListenerCount(), 1u);

    station->Broadcast(PingMessage());
    EXPECT_EQ(kept->received.size(), 1u);
    EXPECT_EQ(station->ListenerCount(), 1u);
}

TEST(MessagingTest, StationHoldsListenersWeakly) {
    const auto station = TestStation();
    auto listener = std::make_shared<RecordingListener>();
    station->Subscribe(listener);
    EXPECT_EQ(listener.use_count(), 1);
}

TEST(MessagingTest, ListenerSubscribedTwiceReceivesEachMessageOnce) {
    const auto station = TestStation();
    auto listener = std::make_shared<RecordingListener>();
    station->Subscribe(listener);
    station->Subscribe(listener);
    EXPECT_EQ(station->ListenerCount(), 1u);
    station->Broadcast(PingMessage());
    EXPECT_EQ(listener->received.size(), 1u);
}

TEST(MessagingTest, SubscribingReleasedListenerAddsNothing) {
    const auto station = TestStation();
    std::weak_ptr<RecordingListener> gone;
    {
        auto listener = std::make_shared<RecordingListener>();
        gone = listener;
    }
    station->Subscribe(gone);
    EXPECT_EQ(station->ListenerCount(), 0u);
}

TEST(MessagingTest, UnsubscribedListenerReceivesNothing) {
    const auto station = TestStation();
    auto stays = std::make_shared<RecordingListener>();
    auto leaves = std::make_shared<RecordingListener>();
    station->Subscribe(stays);
    station->Subscribe(leaves);
    station->Unsubscribe(leaves.get());
    EXPECT_EQ(station->ListenerCount(), 1u);
    station->Broadcast(PingMessage());
    EXPECT_EQ(stays->received.size(), 1u);
    EXPECT_TRUE(leaves->received.empty());
}

TEST(MessagingTest, ListenerSubscribedDuringBroadcastGetsOnlyLaterMessages) {
    const auto station = TestStation();
    auto newcomer = std::make_shared<RecordingListener>();
    auto subscriber = std::make_shared<RecordingListener>();
    subscriber->action = [&](const host::Message&) { station->Subscribe(newcomer); };
    station->Subscribe(subscriber);

    station->Broadcast(NumberMessage(1));
    EXPECT_TRUE(newcomer->received.empty());
    EXPECT_EQ(station->ListenerCount(), 2u);

    station->Broadcast(NumberMessage(2));
    EXPECT_EQ(newcomer->numbers, std::vector<int>{2});
    EXPECT_EQ(subscriber->numbers, (std::vector<int>{1, 2}));
}

TEST(MessagingTest, ListenerMayUnsubscribeItselfDuringBroadcast) {
    const auto station = TestStation();
    auto before = std::make_shared<RecordingListener>();
    auto leaving = std::make_shared<RecordingListener>();
    auto after = std::make_shared<RecordingListener>();
    leaving->action = [&](const host::Message&) { station->Unsubscribe(leaving.get()); };
    station->Subscribe(before);
    station->Subscribe(leaving);
    station->Subscribe(after);

    station->Broadcast(NumberMessage(1));
    station->Broadcast(NumberMessage(2));

    EXPECT_EQ(before->numbers, (std::vector<int>{1, 2}));
    EXPECT_EQ(leaving->numbers, std::vector<int>{1});
    EXPECT_EQ(after->numbers, (std::vector<int>{1, 2}));
    EXPECT_EQ(station->ListenerCount(), 2u);
}

TEST(MessagingTest, ListenerUnsubscribedByEarlierListenerIsSkipped) {
    const auto station = TestStation();
    auto remover = std::make_shared<RecordingListener>();
    auto removed = std::make_shared<RecordingListener>();
    remover->action = [&](const host::Message&) { station->Unsubscribe(removed.get()); };
    station->Subscribe(remover);
    station->Subscribe(removed);

    station->Broadcast(PingMessage());
    EXPECT_EQ(remover->received.size(), 1u);
    EXPECT_TRUE(removed->received.empty());
}

TEST(MessagingTest, ListenerReleasedByEarlierListenerIsSkipped) {
    const auto station = TestStation();
    auto releaser = std::make_shared<RecordingListener>();
    auto released = std::make_shared<RecordingListener>();
    std::weak_ptr<RecordingListener> watch = released;
    releaser->action = [&](const host::Message&) { released.reset(); };
    station->Subscribe(releaser);
    station->Subscribe(released);

    station->Broadcast(PingMessage());
    EXPECT_TRUE(watch.expired());
    EXPECT_EQ(releaser->received.size(), 1u);
    EXPECT_EQ(station->ListenerCount(), 1u);
}

TEST(MessagingTest, ListenerExceptionIsLoggedAndOthersStillReceive) {
    host::ClearRecentExceptions();
    const auto station = TestStation();
    auto throwing = std::make_shared<RecordingListener>();
    auto throwingUnknown = std::make_shared<RecordingListener>();
    auto after = std::make_shared<RecordingListener>();
    throwing->action = [](const host::Message&) { throw std::runtime_error("listener failed"); };
    throwingUnknown->action = [](const host::Message&) { throw 7; };
    station->Subscribe(throwing);
    station->Subscribe(throwingUnknown);
    station->Subscribe(after);

    EXPECT_NO_THROW(station->Broadcast(PingMessage()));
    EXPECT_EQ(after->received.size(), 1u);
    const std::vector<host::ExceptionLogEntry> entries = host::RecentExceptions();
    ASSERT_EQ(entries.size(), 2u);
    EXPECT_EQ(entries[0].place, "host::MessageStation::Broadcast");
    EXPECT_EQ(entries[0].message, "listener failed");
    EXPECT_EQ(entries[1].place, "host::MessageStation::Broadcast");
    EXPECT_EQ(entries[1].message, "Unknown exception");
}

TEST(MessagingTest, BroadcastOffTheMainThreadThrowsLogicError) {
    const auto station = TestStation();
    auto listener = std::make_shared<RecordingListener>();
    station->Subscribe(listener);
    std::string error;
    bool threw = false;
    std::thread worker([&] {
        try {
            station->Broadcast(PingMessage());
        } catch (const std::logic_error& e) {
            threw = true;
            error = e.what();
        }
    });
    worker.join();
    EXPECT_TRUE(threw);
    EXPECT_EQ(error, "MessageStation::Broadcast called off the main thread");
    EXPECT_TRUE(listener->received.empty());
}

TEST(MessagingTest, PostDeliversLaterNotInline) {
    const auto station = TestStation();
    auto listener = std::make_shared<RecordingListener>();
    station->Subscribe(listener);
    station->Post(std::make_shared<NumberMessage>(5));
    EXPECT_TRUE(listener->received.empty());
    ASSERT_TRUE(ProcessEventsUntil([&] { return !listener->received.empty(); }));
    EXPECT_EQ(listener->numbers, std::vector<int>{5});
}

TEST(MessagingTest, PostFromWorkerThreadDeliversOnTheMainThread) {
    const auto station = TestStation();
    auto listener = std::make_shared<RecordingListener>();
    station->Subscribe(listener);
    std::thread worker([&station] {
        for (int i = 0; i < 3; ++i) {
            station->Post(std::make_shared<NumberMessage>(i));
        }
    });
    worker.join();
    ASSERT_TRUE(ProcessEventsUntil([&] { return listener->numbers.size() == 3; }));
    EXPECT_EQ(listener->numbers, (std::vector<int>{0, 1, 2}));
    EXPECT_EQ(listener->onMainThread, (std::vector<bool>{true, true, true}));
}

TEST(MessagingTest, PostedMessageSkipsListenerReleasedBeforeDelivery) {
    const auto station = TestStation();
    auto kept = std::make_shared<RecordingListener>();
    int releasedCalls = 0;
    auto released = std::make_shared<RecordingListener>();
    released->action = [&releasedCalls](const host::Message&) { ++releasedCalls; };
    station->Subscribe(kept);
    station->Subscribe(released);

    station->Post(std::make_shared<PingMessage>());
    released.reset();
    ASSERT_TRUE(ProcessEventsUntil([&] { return !kept->received.empty(); }));
    EXPECT_EQ(releasedCalls, 0);
    EXPECT_EQ(station->ListenerCount(), 1u);
}

TEST(MessagingTest, SubscribeAndUnsubscribeFromWorkersWhileBroadcasting) {
    const auto station = TestStation();
    auto steady = std::make_shared<RecordingListener>();
    station->Subscribe(steady);
    std::atomic<bool> stop{false};
    std::vector<std::thread> workers;
    for (int t = 0; t < 2; ++t) {
        workers.emplace_back([&] {
            while (!stop) {
                auto transient = std::make_shared<RecordingListener>();
                station->Subscribe(transient);
                station->Unsubscribe(transient.get());
            }
        });
    }
    for (int i = 0; i < 200; ++i) {
        station->Broadcast(PingMessage());
    }
    stop = true;
    for (std::thread& worker : workers) {
        worker.join();
    }
    EXPECT_EQ(steady->received.size(), 200u);
    EXPECT_EQ(station->ListenerCount(), 1u);
}

} // namespace
