#include "Marvane/application/ProductionWatch.h"
#include "TemporaryFolder.h"
#include "TestSupport.h"
#include "host/PanelFramework.h"

#include <filesystem>
#include <gtest/gtest.h>
#include <memory>
#include <vector>

namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;

class ReachabilityLog : public host::Listener {
public:
    void ReceiveMessage(const host::Message& message) override {
        if (message.GetTypeID() == host::ProductionReachabilityMessage::kTypeID) {
            const auto& change = static_cast<const host::ProductionReachabilityMessage&>(message);
            changes.emplace_back(change.reachable, change.reason);
        }
    }
    std::vector<std::pair<bool, std::string>> changes;
};

TEST(ProductionWatchTest, ALookAtAFolderThatIsGoneSaysWhy) {
    EXPECT_EQ(host::LookAtFolder(fs::temp_directory_path()), "");
    EXPECT_EQ(host::LookAtFolder("/no/such/production"), "No such file or directory");
}

TEST(ProductionWatchTest, AFolderThatGoesAndComesBackIsAnnouncedOnceEachWay) {
    testsupport::TemporaryFolder temporary("watch");
    const fs::path production = temporary.Path() / "Pilot";
    fs::create_directories(production);
    const auto log = std::make_shared<ReachabilityLog>();
    host::MessageStation::Get(host::kPanelFrameworkStation)->Subscribe(log);
    host::ProductionWatch& watch = host::ProductionWatch::Instance();
    watch.Start(production, 20ms, 1000ms);
    host::test::ProcessEventsFor(150ms);
    EXPECT_TRUE(log->changes.empty()); // answering all along: nothing to say
    EXPECT_TRUE(watch.IsReachable());
    fs::rename(production, temporary.Path() / "Elsewhere");
    ASSERT_TRUE(host::test::ProcessEventsUntil([&] { return !log->changes.empty(); }));
    EXPECT_FALSE(log->changes[0].first);
    EXPECT_EQ(log->changes[0].second, "No such file or directory");
    EXPECT_FALSE(watch.IsReachable());
    host::test::ProcessEventsFor(150ms);
    EXPECT_EQ(log->changes.size(), 1u); // said once
    fs::rename(temporary.Path() / "Elsewhere", production);
    ASSERT_TRUE(host::test::ProcessEventsUntil([&] { return log->changes.size() == 2; }));
    EXPECT_TRUE(log->changes[1].first);
    EXPECT_TRUE(watch.IsReachable());
    watch.Stop();
    host::MessageStation::Get(host::kPanelFrameworkStation)->Unsubscribe(log.get());
}

} // namespace
