// The command chain starts at the focused panel, goes on to its handler and ends at the host.
#include "Marvane/app/HostCommands.h"
#include "Marvane/app/MainWindow.h"
#include "Marvane/panelframework/Registries.h"
#include "Marvane/uiframework/CommandDispatch.h"
#include "Marvane/uiframework/DialogResponder.h"
#include "Marvane/uiframework/DockWorkspace.h"
#include "Marvane/uiframework/TabViewImpl.h"

#include <QApplication>
#include <QDockWidget>
#include <QLineEdit>
#include <QMessageBox>
#include <QPushButton>
#include <QTimer>
#include <gtest/gtest.h>

#include "ViewTestSupport.h"

namespace {

constexpr host::HandlerID kTestHandlerID = host::FourCharCode("TsPn");
constexpr host::CommandID kPanelCommand = 88001;
constexpr host::CommandID kHandlerCommand = 88002;

class TestTabView : public host::TabView {
public:
    void FinishCreateSelf() override {
        auto* content = GetImpl()->content.data();
        field = new QLineEdit(content);
    }
    bool FindCommandStatus(const host::Command& command, host::CommandStatus& status) override {
        if (command.id != kPanelCommand) {
            return false;
        }
        status.enabled = true;
        return true;
    }
    bool ObeyCommand(const host::Command& command) override {
        if (command.id != kPanelCommand) {
            return false;
        }
        ++obeyed;
        return true;
    }
    QLineEdit* field = nullptr;
    int obeyed = 0;
};

class TestHandler : public host::Handler {
public:
    TestHandler() : host::Handler(kTestHandlerID) {}
    std::shared_ptr<host::TabView> CreateTabView(host::Window* parent) override {
        auto tabView = std::make_shared<TestTabView>();
        tabView->Create(kTestHandlerID, "Test Panel", parent, 1);
        return tabView;
    }
    bool FindCommandStatus(const host::Command& command, host::CommandStatus& status) override {
        if (command.id != kHandlerCommand) {
            return false;
        }
        status.enabled = true;
        return true;
    }
    bool ObeyCommand(const host::Command& command) override {
        if (command.id != kHandlerCommand) {
            return false;
        }
        ++obeyed;
        return true;
    }
    int obeyed = 0;
};

class CommandChainTest : public ::testing::Test {
protected:
    static void SetUpTestSuite() {
        host::DeclareHostCommands(host::ShortcutManager::Instance());
        host::Handler::RegisterFactory(kTestHandlerID, [](const host::HandlerCreationContext&) {
            return std::shared_ptr<host::Handler>(std::make_shared<TestHandler>());
        });
        host::PanelFrameworkRegistry::Instance().CreateRegisteredHandlers();
        auto* context = host::ShortcutManager::Instance().AddContext("test.chain", "Chain");
        context->DeclareCommand("cmd.test.panel", kPanelCommand, host::kCommandKindMenuText, "", "",
                                false);
        context->DeclareCommand("cmd.test.handler", kHandlerCommand, host::kCommandKindMenuText, "",
                                "", false);
    }
    void SetUp() override {
        window = std::make_unique<host::MainWindow>();
        window->show();
        window->activateWindow();
        SettleEvents();
    }
    void TearDown() override { window.reset(); }

    std::unique_ptr<host::MainWindow> window;
};

TEST_F(CommandChainTest, AFocusedPanelDecidesFirstAndItsHandlerNext) {
    window->GetWorkspace().OpenTab(kTestHandlerID);
    SettleEvents();
    auto tabView =
        std::dynamic_pointer_cast<TestTabView>(window->GetWorkspace().GetTabView(kTestHandlerID));
    ASSERT_NE(tabView, nullptr);
    auto handler =
        std::dynamic_pointer_cast<TestHandler>(host::Handler::FindHandler(kTestHandlerID));
    ASSERT_NE(handler, nullptr);
    auto& dispatcher = host::CommandDispatcher::Instance();
    // Nothing is focused in the panel yet: only the host decides.
    host::CommandDispatcher::Instance().SetFocusedTabView(nullptr);
    EXPECT_FALSE(dispatcher.FindStatus(kPanelCommand).enabled);

    tabView->field->setFocus(Qt::OtherFocusReason);
    SettleEvents();
    ASSERT_EQ(dispatcher.GetFocusedTabView(), tabView);
    EXPECT_TRUE(dispatcher.FindStatus(kPanelCommand).enabled);
    EXPECT_TRUE(dispatcher.FindStatus(kHandlerCommand).enabled);
    EXPECT_TRUE(dispatcher.Obey(kPanelCommand));
    EXPECT_TRUE(dispatcher.Obey(kHandlerCommand));
    EXPECT_EQ(tabView->obeyed, 1);
    EXPECT_EQ(handler->obeyed, 1);
}

TEST_F(CommandChainTest, TheHostDecidesItsOwnCommandsWithoutAPanel) {
    host::CommandDispatcher::Instance().SetFocusedTabView(nullptr);
    auto& dispatcher = host::CommandDispatcher::Instance();
    const auto* quit = host::ShortcutManager::Instance().FindCommand("cmd.file.quit");
    const auto* close = host::ShortcutManager::Instance().FindCommand("cmd.file.closeproduction");
    const auto* cut = host::ShortcutManager::Instance().FindCommand("cmd.edit.cut");
    ASSERT_NE(quit, nullptr);
    ASSERT_NE(close, nullptr);
    ASSERT_NE(cut, nullptr);
    EXPECT_TRUE(dispatcher.FindStatus(quit->id).enabled);
    EXPECT_FALSE(dispatcher.FindStatus(close->id).enabled); // no production is open
    EXPECT_FALSE(dispatcher.FindStatus(cut->id).enabled);   // nobody can cut here
}

TEST_F(CommandChainTest, AScriptedResponderAnswersMessageBoxesAndRecordsThem) {
    auto responder = std::make_shared<host::ScriptedDialogResponder>(std::vector<int>{1});
    const auto previous = host::SetDialogResponder(responder);
    EXPECT_EQ(host::ShowMessageBox("Title", "Text", {"Copy", "Cancel"}, 4, 0), 1);
    EXPECT_EQ(host::ShowMessageBox("Second", "Unscripted", {}, 0, 0), -1);
    host::SetDialogResponder(previous);
    ASSERT_EQ(responder->GetRequests().size(), 2u);
    EXPECT_EQ(responder->GetRequests()[0].title, "Title");
    EXPECT_EQ(responder->GetRequests()[0].buttons, (std::vector<std::string>{"Copy", "Cancel"}));
    EXPECT_EQ(responder->GetRequests()[0].iconKind, 4);
    EXPECT_EQ(responder->GetRequests()[1].buttons, std::vector<std::string>{"OK"});
}

TEST_F(CommandChainTest, ARealMessageBoxIsModalOverTheMainWindowAndReportsTheButton) {
    QWidget* parentSeen = nullptr;
    QString textSeen;
    // Looks for the box until it is up; gives up after a few seconds by closing whatever
    // modal window there is, so the test fails instead of hanging.
    QTimer poll;
    int attempts = 0;
    QObject::connect(&poll, &QTimer::timeout, [&] {
        auto* box = qobject_cast<QMessageBox*>(QApplication::activeModalWidget());
        if (box == nullptr) {
            if (++attempts > 100 && QApplication::activeModalWidget() != nullptr) {
                QApplication::activeModalWidget()->close();
            }
            return;
        }
        poll.stop();
        parentSeen = box->parentWidget();
        textSeen = box->text();
        for (QAbstractButton* button : box->buttons()) {
            if (button->text() == QStringLiteral("Second")) {
                button->click();
            }
        }
    });
    poll.start(50);
    const int answer = host::ShowMessageBox("Real", "A real box", {"First", "Second"}, 2, 0);
    EXPECT_EQ(answer, 1);
    EXPECT_EQ(parentSeen, window.get());
    EXPECT_EQ(textSeen, QStringLiteral("A real box"));
}

} // namespace
