#include "utils/AddProjects.h"

#include "Marvane/application/ProjectImport.h"
#include "ProductionFixture.h"
#include "host/ApplicationLayer.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <thread>

namespace {

namespace fs = std::filesystem;
using namespace HandlerTandrel::Utils;

// Counts the notices that open the progress panel.
class ProgressNotices : public host::Listener {
public:
    void ReceiveMessage(const host::Message& message) override {
        if (message.GetTypeID() == host::ShowProgressPanelMessage::kTypeID) {
            ++count;
        }
    }
    int count = 0;
};

class AddProjectsTest : public testsupport::ProductionFixture {
protected:
    void SetUp() override {
        ProductionFixture::SetUp();
        outside = testsupport::WriteProject(root / "Elsewhere" / "Promo.mvproj");
        inside = testsupport::WriteProject(production / "Edit" / "Scene 12.mvproj");
        destination = production / "Incoming";
        fs::create_directories(destination);
        notices = std::make_shared<ProgressNotices>();
        host::MessageStation::Get(host::kProgressStation)->Subscribe(notices);
    }
    void TearDown() override {
        host::MessageStation::Get(host::kProgressStation)->Unsubscribe(notices.get());
        EXPECT_TRUE(host::ProjectImport::Instance().Wait(30000));
        host::ProjectImport::Instance().ClearFinished();
        ProductionFixture::TearDown();
    }
    fs::path outside;
    fs::path inside;
    fs::path destination;
    std::shared_ptr<ProgressNotices> notices;
};

TEST_F(AddProjectsTest, AnEmptyListDoesNothing) {
    AddProjectsToProduction({}, W(destination));
    EXPECT_EQ(responder->GetRequests().size(), 0u);
    EXPECT_EQ(notices->count, 0);
}

TEST_F(AddProjectsTest, AProjectAlreadyInTheProductionIsRefusedInTheSingular) {
    AddProjectsToProduction(Ws({inside}), W(destination));
    ASSERT_EQ(responder->GetRequests().size(), 1u);
    const auto& box = responder->GetRequests()[0];
    EXPECT_EQ(box.title, "Already in Production Folder");
    EXPECT_EQ(box.text, "The selected project is already part of this production.");
    EXPECT_EQ(box.iconKind, 6);
    EXPECT_EQ(box.buttons, std::vector<std::string>{"OK"}); // no buttons of its own
    EXPECT_TRUE(fs::is_empty(destination));
}

TEST_F(AddProjectsTest, TwoProjectsWhoseFirstIsInsideAreRefusedInThePluralAndNothingIsCopied) {
    AddProjectsToProduction(Ws({inside, outside}), W(destination));
    ASSERT_EQ(responder->GetRequests().size(), 1u);
    EXPECT_EQ(responder->GetRequests()[0].text,
              "The selected projects are already part of this production.");
    EXPECT_TRUE(host::ProjectImport::Instance().Wait(10000));
    EXPECT_TRUE(fs::is_empty(destination));
    EXPECT_EQ(notices->count, 0);
}

TEST_F(AddProjectsTest, TwoProjectsWhoseSecondIsInsideAreConfirmedThenBothCopied) {
    responder->AddAnswer(0); // Copy
    AddProjectsToProduction(Ws({outside, inside}), W(destination));
    ASSERT_EQ(responder->GetRequests().size(), 1u);
    const auto& box = responder->GetRequests()[0];
    EXPECT_EQ(box.title, "Add Projects to Production");
    EXPECT_EQ(box.text, "A new copy of the chosen projects will be added to the selected folder "
                        "inside the Production. Would you like to continue?");
    EXPECT_EQ(box.buttons, (std::vector<std::string>{"Copy", "Cancel"}));
    EXPECT_EQ(box.iconKind, 4);
    EXPECT_EQ(box.defaultButton, 0);
    ASSERT_TRUE(host::ProjectImport::Instance().Wait(30000));
    EXPECT_EQ(testsupport::ReadBytes(destination / "Promo.mvproj"),
              testsupport::ReadBytes(outside));
    EXPECT_EQ(testsupport::ReadBytes(destination / "Scene 12.mvproj"),
              testsupport::ReadBytes(inside));
    EXPECT_TRUE(fs::exists(outside)); // copies: the originals stay
    EXPECT_EQ(notices->count, 1);
}

TEST_F(AddProjectsTest, CancelInTheConfirmationCopiesNothingAndSendsNoNotice) {
    responder->AddAnswer(1); // Cancel
    AddProjectsToProduction(Ws({outside}), W(destination));
    EXPECT_EQ(responder->GetRequests().size(), 1u);
    EXPECT_TRUE(host::ProjectImport::Instance().Wait(10000));
    EXPECT_TRUE(fs::is_empty(destination));
    EXPECT_EQ(notices->count, 0);
}

TEST_F(AddProjectsTest, ClosingTheConfirmationAnyOtherWayIsACancel) {
    AddProjectsToProduction(Ws({outside}), W(destination)); // no answer scripted: closed
    EXPECT_EQ(responder->GetRequests().size(), 1u);
    EXPECT_TRUE(fs::is_empty(destination));
}

TEST_F(AddProjectsTest, WithoutAWorkspaceNobodyIsAskedAndNothingIsAdded) {
    host::SetCurrentWorkspace(nullptr);
    EXPECT_FALSE(ConfirmAddProjects());
    AddProjectsToProduction(Ws({outside}), W(destination));
    EXPECT_TRUE(responder->GetRequests().empty());
    EXPECT_TRUE(fs::is_empty(destination));
}

TEST_F(AddProjectsTest, ANameTakenInTheFolderGetsAFreshOne) {
    Write(destination / "Promo.mvproj", "someone else's promo");
    responder->AddAnswer(0);
    AddProjectsToProduction(Ws({outside}), W(destination));
    ASSERT_TRUE(host::ProjectImport::Instance().Wait(30000));
    EXPECT_EQ(testsupport::ReadBytes(destination / "Promo.mvproj"), "someone else's promo");
    EXPECT_EQ(testsupport::ReadBytes(destination / "Promo_1.mvproj"),
              testsupport::ReadBytes(outside));
}

TEST_F(AddProjectsTest, TheNoticeFromAnotherThreadIsDeliveredOnTheMainThread) {
    std::thread worker([] { NotifyProgressPanel(); });
    worker.join();
    EXPECT_EQ(notices->count, 0); // queued, not yet delivered
    QElapsedTimer timer;
    timer.start();
    while (notices->count == 0 && timer.elapsed() < 10000) {
        QCoreApplication::processEvents(QEventLoop::AllEvents, 50);
    }
    EXPECT_EQ(notices->count, 1);
}

TEST_F(AddProjectsTest, TheNoticeOnTheMainThreadIsDeliveredAtOnce) {
    NotifyProgressPanel();
    EXPECT_EQ(notices->count, 1);
}

} // namespace
