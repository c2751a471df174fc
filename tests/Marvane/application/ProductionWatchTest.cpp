#include "Marvane/application/ProductionWatch.h"
#include "Marvane/fileservices/FolderMount.h"
#include "TemporaryFolder.h"
#include "TestSupport.h"
#include "TmpfsMount.h"
#include "host/PanelFramework.h"

#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <memory>
#include <sys/statfs.h>
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

TEST(ProductionWatchTest, TheLookBeforeOpeningGivesTheFileSystemAndSaysWhyNot) {
    testsupport::TemporaryFolder temporary("look");
    const fs::path production = temporary.Path() / "Pilot";
    fs::create_directories(production);
    struct statfs info {};
    ASSERT_EQ(::statfs(production.c_str(), &info), 0);
    const host::FolderLook look = host::LookAtFolderToOpen(production);
    EXPECT_EQ(look.why, "");
    EXPECT_EQ(look.fileSystemType, static_cast<long>(info.f_type));
    EXPECT_EQ(host::LookAtFolderToOpen(temporary.Path() / "Gone").why, "No such file or directory");
    std::ofstream(temporary.Path() / "Notes.txt") << "not a folder";
    EXPECT_EQ(host::LookAtFolderToOpen(temporary.Path() / "Notes.txt").why, "Not a directory");
    // Within a deadline, the same.
    const std::optional<host::FolderLook> timely =
        host::LookAtFolderToOpenWithin(production, 3000ms);
    ASSERT_TRUE(timely.has_value());
    EXPECT_EQ(timely->why, "");
    EXPECT_EQ(timely->fileSystemType, look.fileSystemType);
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

TEST(ProductionWatchTest, AProductionWhoseMountWentAwayCannotBeReachedUntilItIsBack) {
    testsupport::TemporaryFolder temporary("watch-mount");
    const fs::path production = temporary.Path() / "Pilot";
    fs::create_directories(production);
    testsupport::TmpfsMount share(production, temporary.Path() / "Server");
    if (const std::string why = share.Mount(); !why.empty()) {
        GTEST_SKIP() << why;
    }
    std::ofstream(production / "Scene 1.mvproj") << "on the share";
    host::KeepFolderMount(production);
    EXPECT_EQ(host::LookAtFolder(production), "");
    ASSERT_TRUE(share.Unmount());
    // The folder beneath answers, but it is not the production.
    const std::string why = host::LookAtFolder(production);
    EXPECT_NE(why.find("mounted on the folder is gone"), std::string::npos) << why;
    ASSERT_EQ(share.Mount(), "");
    EXPECT_EQ(host::LookAtFolder(production), "");
    host::KeepFolderMount({});
}

} // namespace
