#include "Marvane/application/ProductionSession.h"
#include "Marvane/documents/DocumentManager.h"
#include "TemporaryFolder.h"
#include "TestProjects.h"
#include "host/ApplicationLayer.h"
#include "host/OpenProjects.h"
#include "host/PanelFramework.h"
#include "host/ProjectBackEnd.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <sys/stat.h>

namespace {

namespace fs = std::filesystem;

class CountingListener : public host::Listener {
public:
    void ReceiveMessage(const host::Message& message) override {
        types.push_back(message.GetTypeID());
    }
    std::vector<host::MessageTypeID> types;
};

class ProductionSessionTest : public ::testing::Test {
protected:
    void SetUp() override {
        fs::create_directories(root / "Pilot");
        listener = std::make_shared<CountingListener>();
        host::MessageStation::Get(host::kPanelFrameworkStation)->Subscribe(listener);
        host::MessageStation::Get(host::kProjectActivationStation)->Subscribe(listener);
    }
    void TearDown() override { host::ProductionSession::Instance().Close(); }
    const testsupport::TemporaryFolder temporary{"session"};
    const fs::path root = temporary.Path();
    std::shared_ptr<CountingListener> listener;
};

TEST_F(ProductionSessionTest, OpeningAFolderMakesItTheProductionAndTellsThePanels) {
    const std::string error = host::ProductionSession::Instance().Open(root / "Pilot/");
    EXPECT_EQ(error, "");
    EXPECT_TRUE(host::IsTandrelManagerActive());
    EXPECT_EQ(host::ToUTF8(host::GetTandrelManagerFolderPath()), (root / "Pilot").string());
    ASSERT_EQ(listener->types.size(), 1u);
    EXPECT_EQ(listener->types[0], host::MvProductionFolderOpenedMessage::kTypeID);
}

TEST_F(ProductionSessionTest, AMissingFolderIsRefusedAndNothingIsCreated) {
    const fs::path missing = root / "Missing" / "Production";
    const std::string error = host::ProductionSession::Instance().Open(missing);
    EXPECT_NE(error.find("does not exist"), std::string::npos) << error;
    EXPECT_NE(error.find(missing.string()), std::string::npos) << error;
    EXPECT_FALSE(host::IsTandrelManagerActive());
    EXPECT_TRUE(host::GetTandrelManagerFolderPath().empty());
    EXPECT_FALSE(fs::exists(root / "Missing"));
    EXPECT_TRUE(listener->types.empty());
}

TEST_F(ProductionSessionTest, AFileIsRefusedAsProduction) {
    std::ofstream(root / "file.txt") << "x";
    const std::string error = host::ProductionSession::Instance().Open(root / "file.txt");
    EXPECT_NE(error.find("is not a folder"), std::string::npos) << error;
    EXPECT_FALSE(host::IsTandrelManagerActive());
}

// Nobody writes into a pipe here: looking at it must neither wait for a writer nor take it for
// a production.
TEST_F(ProductionSessionTest, APipeInPlaceOfTheProductionIsRefusedWithoutWaiting) {
    const fs::path pipe = root / "Pipe";
    ASSERT_EQ(::mkfifo(pipe.c_str(), 0600), 0);
    const std::string error = host::ProductionSession::Instance().Open(pipe);
    EXPECT_NE(error.find("is not a folder"), std::string::npos) << error;
    EXPECT_FALSE(host::IsTandrelManagerActive());
    EXPECT_TRUE(listener->types.empty());
}

TEST_F(ProductionSessionTest, TheTopOfTheFileSystemASystemFolderOrTheHomeFolderIsRefused) {
    auto& session = host::ProductionSession::Instance();
    ASSERT_EQ(session.Open(root / "Pilot"), "");
    const std::string top = session.Open("/");
    EXPECT_NE(top.find("top of the computer's file system"), std::string::npos) << top;
    EXPECT_NE(session.Open("/usr/").find("is a system folder"), std::string::npos);
    EXPECT_NE(session.Open("/etc/../usr").find("is a system folder"), std::string::npos);
    const char* home = std::getenv("HOME");
    ASSERT_NE(home, nullptr);
    EXPECT_NE(session.Open(home).find("is your home folder"), std::string::npos);
    // A refusal leaves the production that was open as it was.
    EXPECT_EQ(fs::path(host::ToUTF8(host::GetTandrelManagerFolderPath())), root / "Pilot");
    // A folder inside any of them is a production like any other.
    EXPECT_EQ(session.Open(root), "");
    EXPECT_EQ(session.Open(root / "Pilot"), "");
}

TEST_F(ProductionSessionTest, ClosingTellsThePanelsOnce) {
    ASSERT_EQ(host::ProductionSession::Instance().Open(root / "Pilot"), "");
    host::ProductionSession::Instance().Close();
    host::ProductionSession::Instance().Close();
    ASSERT_EQ(listener->types.size(), 2u);
    EXPECT_EQ(listener->types[1], host::MvProductionFolderClosedMessage::kTypeID);
    EXPECT_FALSE(host::IsTandrelManagerActive());
}

TEST_F(ProductionSessionTest, ClosingAnOpenProjectSendsProjectClosed) {
    const auto scene = testsupport::WriteProject(root / "Pilot" / "Scene 1.mvproj");
    const auto first = testsupport::OpenProject(scene);
    EXPECT_EQ(testsupport::OpenProject(scene), first); // opening again finds the open one
    EXPECT_EQ(host::OpenProjectCount(), 1u);
    EXPECT_FALSE(testsupport::CloseProject(root / "Pilot" / "Other.mvproj"));
    ASSERT_EQ(listener->types.size(), 2u);
    EXPECT_EQ(listener->types[0], host::ProjectOpenedMessage::kTypeID);
    // Opened again: not a second project, but the one to show.
    EXPECT_EQ(listener->types[1], host::ProjectActivatedMessage::kTypeID);
    EXPECT_TRUE(testsupport::CloseProject(scene));
    EXPECT_EQ(host::OpenProjectCount(), 0u);
    ASSERT_EQ(listener->types.size(), 3u);
    EXPECT_EQ(listener->types[2], host::ProjectClosedMessage::kTypeID);
}

} // namespace
