#include "panel/TrashScriptingHook.h"

#include "Marvane/application/ScriptingHooks.h"
#include "ProductionFixture.h"
#include "panel/TandrelTabView.h"

namespace {

namespace fs = std::filesystem;
using HandlerTandrel::TandrelTabView;

class TrashScriptingHookTest : public testsupport::ProductionFixture {
protected:
    void SetUp() override {
        ProductionFixture::SetUp();
        scene = testsupport::WriteProject(production / "Edit" / "Scene 12.mvproj");
    }
    fs::path scene;
};

TEST_F(TrashScriptingHookTest, ThePanelRegistersTheHookAndClearsItAtTeardown) {
    const auto panel = std::make_shared<TandrelTabView>();
    panel->PostSharedPtrInit();
    const host::TryToMoveToTrashFn hook = host::GetTryToMoveToTandrelTrashFn();
    ASSERT_TRUE(hook);
    EXPECT_TRUE(hook(Ws({scene}), false, true));
    EXPECT_TRUE(fs::exists(Trash() / "Scene 12.mvproj"));
    host::SetTandrelNotifyPauseFn([](bool) {});
    panel->RemoveUI();
    EXPECT_FALSE(host::GetTryToMoveToTandrelTrashFn());
    EXPECT_FALSE(host::GetTandrelNotifyPauseFn());
}

TEST_F(TrashScriptingHookTest, AGonePanelAnswersFalseAndMovesNothing) {
    std::weak_ptr<host::TabView> gone;
    {
        const auto panel = std::make_shared<TandrelTabView>();
        gone = panel;
    }
    EXPECT_FALSE(HandlerTandrel::TryToMoveToTrash(gone, Ws({scene}), false, true));
    EXPECT_TRUE(fs::exists(scene));
}

TEST_F(TrashScriptingHookTest, AMoveThatMayNotHappenAnswersFalse) {
    const auto panel = std::make_shared<TandrelTabView>();
    LockAs(scene, "Ben Okafor");
    EXPECT_FALSE(HandlerTandrel::TryToMoveToTrash(panel, Ws({scene}), false, true));
    EXPECT_FALSE(HandlerTandrel::TryToMoveToTrash(panel, {}, false, true));
    EXPECT_TRUE(fs::exists(scene));
}

TEST_F(TrashScriptingHookTest, AnAllowedMoveAnswersTrueEvenWhenTheUserCancelsClosing) {
    const auto panel = std::make_shared<TandrelTabView>();
    const auto project = testsupport::OpenProject(scene);
    auto content = project->Content();
    content.sequences.push_back("Unsaved cut");
    project->EditContent(content);
    responder->AddAnswer(2); // Cancel in the save question
    EXPECT_TRUE(HandlerTandrel::TryToMoveToTrash(panel, Ws({scene}), false, true));
    EXPECT_TRUE(fs::exists(scene));
    EXPECT_FALSE(fs::exists(Trash() / "Scene 12.mvproj"));
}

} // namespace
