#include "handler/TandrelHandler.h"
#include "Marvane/application/ProductionSession.h"
#include "Marvane/uiframework/DockWorkspace.h"
#include "Marvane/uiframework/WindowRegistry.h"
#include "TemporaryFolder.h"
#include "TestProjects.h"
#include "base/TandrelIDs.h"
#include "host/DataTransfer.h"
#include "host/ProjectBackEnd.h"

#include <filesystem>
#include <gtest/gtest.h>

namespace {

namespace fs = std::filesystem;
using HandlerTandrel::kMvProductionFolderHandlerID;
using HandlerTandrel::TandrelHandler;

// Records what the handler asks of the workspace; shows whatever the test says is shown.
class RecordingWorkspace : public host::Workspace {
public:
    bool TabIsShown(host::HandlerID id) const override {
        ++const_cast<RecordingWorkspace*>(this)->shownQueries;
        return shown && id == kMvProductionFolderHandlerID;
    }
    void OpenTab(host::HandlerID id) override { opened.push_back(id); }
    host::Window* GetMainWindow() const override { return nullptr; }

    bool shown = false;
    int shownQueries = 0;
    std::vector<host::HandlerID> opened;
};

class TandrelHandlerTest : public ::testing::Test {
protected:
    void SetUp() override {
        fs::create_directories(folder / "Pilot");
        host::SetCurrentWorkspace(&workspace);
        handler = std::make_shared<TandrelHandler>();
        handler->PostSharedPtrInit();
    }
    void TearDown() override {
        testsupport::CloseAllProjects();
        host::ProductionSession::Instance().Close();
        host::SetCurrentWorkspace(nullptr);
        handler.reset();
    }
    void OpenProduction() {
        ASSERT_EQ(host::ProductionSession::Instance().Open(folder / "Pilot"), "");
    }
    void CloseProject(const char* name) {
        ASSERT_TRUE(testsupport::CloseProject(folder / "Pilot" / name));
    }

    const testsupport::TemporaryFolder temporary{"handler"};
    const fs::path folder = temporary.Path();
    RecordingWorkspace workspace;
    std::shared_ptr<TandrelHandler> handler;
};

TEST_F(TandrelHandlerTest, ConstructionRegistersDragTypeWindowAndPanelMenu) {
    EXPECT_TRUE(host::IsCustomDataTypeRegistered("Marvane/TandrelPanel/RowDragType"));
    const auto& windows = host::GetRegisteredWindows();
    const auto window = std::find_if(windows.begin(), windows.end(), [](const auto& w) {
        return w.windowTypeID == HandlerTandrel::kMvProductionFolderWindowTypeID;
    });
    ASSERT_NE(window, windows.end());
    EXPECT_EQ(window->handlerID, kMvProductionFolderHandlerID);
    EXPECT_EQ(window->classType, 1);
    EXPECT_EQ(window->title, "Production");
    EXPECT_EQ(window->windowID, host::kDefaultWindowID);
    const auto& menus = host::ShortcutManager::Instance().GetWindowMenus();
    const auto menu = std::find_if(menus.begin(), menus.end(), [](const auto& m) {
        return m.menuID == "HandlerTandrel_Wing_Menu";
    });
    ASSERT_NE(menu, menus.end());
    EXPECT_EQ(menu->contextName, "mvproduction");
    EXPECT_EQ(menu->title, "Panel Menu");
}

TEST_F(TandrelHandlerTest, TheHandlerLeavesCommandsToThePanelAndFloats) {
    host::CommandStatus status;
    EXPECT_FALSE(handler->FindCommandStatus({30325, "cmd.mvproductionfolder.movetotrash"}, status));
    EXPECT_FALSE(status.enabled);
    EXPECT_FALSE(handler->ObeyCommand({30325, "cmd.mvproductionfolder.movetotrash"}));
    EXPECT_TRUE(handler->CanFloat());
    EXPECT_TRUE(handler->ShouldHideWhenClosed());
    EXPECT_TRUE(handler->ShouldSaveStateWhenDestroyed());
}

TEST_F(TandrelHandlerTest, OpeningAProductionOpensThePanelWhenItIsNotShown) {
    OpenProduction();
    EXPECT_EQ(workspace.opened, std::vector<host::HandlerID>{kMvProductionFolderHandlerID});
}

TEST_F(TandrelHandlerTest, WhenNoTabViewExistsAndTheTabIsShownNothingHappens) {
    workspace.shown = true;
    OpenProduction();
    EXPECT_EQ(workspace.shownQueries, 1);
    EXPECT_TRUE(workspace.opened.empty());
    EXPECT_EQ(handler->GetTabView(), nullptr);
}

TEST_F(TandrelHandlerTest, OpeningAProductionEmptiesTheSettingsStoreBeforeReadingIt) {
    handler->GetSettingsStore().StoreProductionState(u"/elsewhere", {});
    ASSERT_EQ(handler->GetSettingsStore().GetStates().size(), 1u);
    OpenProduction();
    EXPECT_TRUE(handler->GetSettingsStore().GetStates().empty());
}

TEST_F(TandrelHandlerTest, AProjectClosedWhileNoProductionIsOpenChangesNothing) {
    testsupport::OpenProject(testsupport::WriteProject(folder / "Pilot" / "A.mvproj"));
    CloseProject("A.mvproj");
    EXPECT_EQ(workspace.shownQueries, 0);
    EXPECT_TRUE(workspace.opened.empty());
}

TEST_F(TandrelHandlerTest, ClosingTheLastProjectBringsThePanelForwardButNotBefore) {
    OpenProduction();
    workspace.opened.clear();
    testsupport::OpenProject(testsupport::WriteProject(folder / "Pilot" / "A.mvproj"));
    testsupport::OpenProject(testsupport::WriteProject(folder / "Pilot" / "B.mvproj"));
    CloseProject("A.mvproj");
    EXPECT_TRUE(workspace.opened.empty());
    CloseProject("B.mvproj");
    EXPECT_EQ(workspace.opened, std::vector<host::HandlerID>{kMvProductionFolderHandlerID});
}

struct UnrelatedMessage : host::Message {
    HOST_DECLARE_MESSAGE_TYPE(UnrelatedMessage)
};

TEST_F(TandrelHandlerTest, OtherMessagesAreIgnored) {
    handler->ReceiveMessage(UnrelatedMessage());
    EXPECT_EQ(workspace.shownQueries, 0);
    EXPECT_TRUE(workspace.opened.empty());
}

TEST_F(TandrelHandlerTest, WithoutAWorkspaceShowingThePanelDoesNothing) {
    host::SetCurrentWorkspace(nullptr);
    OpenProduction();
    EXPECT_EQ(workspace.shownQueries, 0);
    EXPECT_TRUE(workspace.opened.empty());
}

TEST_F(TandrelHandlerTest, FindTandrelHandlerIsEmptyWithoutALiveHandler) {
    // This test program never asks the host to create its handlers.
    EXPECT_EQ(HandlerTandrel::FindTandrelHandler(), nullptr);
}

} // namespace
