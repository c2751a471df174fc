#include "Marvane/uiframework/CommandDispatch.h"
#include "Marvane/uiframework/CommandRegistry.h"
#include "host/UIFramework.h"

#include <gtest/gtest.h>

namespace {

TEST(ShortcutManager, AddContextReturnsTheExistingContextOfThatName) {
    auto& manager = host::ShortcutManager::Instance();
    host::CommandContext* first = manager.AddContext("test.same", "Same");
    host::CommandContext* second = manager.AddContext("test.same", "Other title");
    EXPECT_EQ(first, second);
    EXPECT_EQ(second->GetDisplayName(), "Same");
    EXPECT_EQ(manager.GetContext("test.same"), first);
    EXPECT_EQ(manager.GetContext("test.absent"), nullptr);
}

TEST(ShortcutManager, RedeclaringACommandReplacesItInPlace) {
    host::CommandContext* context =
        host::ShortcutManager::Instance().AddContext("test.redeclare", "Redeclare");
    context->DeclareCommand("cmd.a", 1, host::kCommandKindMenuText, "", "", false);
    context->DeclareCommand("cmd.b", 2, host::kCommandKindMenuText, "", "", false);
    context->DeclareCommand("cmd.a", 3, host::kCommandKindLabeled, "L", "", false);
    ASSERT_EQ(context->GetCommands().size(), 2u);
    EXPECT_EQ(context->GetCommands()[0].name, "cmd.a");
    EXPECT_EQ(context->GetCommands()[0].id, 3);
    EXPECT_EQ(context->GetCommands()[1].name, "cmd.b");
}

TEST(ShortcutManager, RunsEachRegisteredDeclarerOnce) {
    auto& manager = host::ShortcutManager::Instance();
    int calls = 0;
    manager.RegisterCommandContext([&calls](host::ShortcutManager& m) {
        ++calls;
        m.AddContext("test.declared", "Declared")
            ->DeclareCommand("cmd.declared", 77001, host::kCommandKindMenuText, "", "", false);
    });
    host::DeclareRegisteredCommandContexts();
    host::DeclareRegisteredCommandContexts();
    EXPECT_EQ(calls, 1);
    ASSERT_NE(manager.FindCommand(77001), nullptr);
    EXPECT_EQ(manager.FindCommand(77001)->name, "cmd.declared");
    EXPECT_EQ(manager.FindCommand("cmd.declared")->id, 77001);
}

class RecordingHandler : public host::CommandHandler {
public:
    explicit RecordingHandler(bool decides) : mDecides(decides) {}
    bool FindCommandStatus(const host::Command& command, host::CommandStatus& status) override {
        seen.push_back(command.name);
        if (mDecides) {
            status.enabled = true;
        }
        return mDecides;
    }
    bool ObeyCommand(const host::Command& command) override {
        obeyed.push_back(command.name);
        return mDecides;
    }
    std::vector<std::string> seen;
    std::vector<std::string> obeyed;

private:
    bool mDecides;
};

TEST(CommandDispatcher, TheApplicationEndsTheChainAndUnhandledCommandsAreDisabled) {
    host::ShortcutManager::Instance()
        .AddContext("test.dispatch", "Dispatch")
        ->DeclareCommand("cmd.dispatch", 77100, host::kCommandKindMenuText, "", "", false);
    auto& dispatcher = host::CommandDispatcher::Instance();

    RecordingHandler declining(false);
    dispatcher.SetApplicationHandler(&declining);
    EXPECT_FALSE(dispatcher.FindStatus(77100).enabled);
    EXPECT_FALSE(dispatcher.Obey(77100));
    EXPECT_EQ(declining.seen, std::vector<std::string>{"cmd.dispatch"});

    RecordingHandler deciding(true);
    dispatcher.SetApplicationHandler(&deciding);
    EXPECT_TRUE(dispatcher.FindStatus(77100).enabled);
    EXPECT_TRUE(dispatcher.Obey(77100));
    EXPECT_EQ(deciding.obeyed, std::vector<std::string>{"cmd.dispatch"});
    dispatcher.SetApplicationHandler(nullptr);
}

TEST(CommandDispatcher, AnUndeclaredCommandIsNeitherEnabledNorObeyed) {
    auto& dispatcher = host::CommandDispatcher::Instance();
    RecordingHandler deciding(true);
    dispatcher.SetApplicationHandler(&deciding);
    EXPECT_FALSE(dispatcher.FindStatus(99999).enabled);
    EXPECT_FALSE(dispatcher.Obey(99999));
    EXPECT_TRUE(deciding.seen.empty());
    dispatcher.SetApplicationHandler(nullptr);
}

} // namespace
