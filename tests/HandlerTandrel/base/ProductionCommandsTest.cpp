#include "base/ProductionCommands.h"
#include "Marvane/panelframework/Registries.h"
#include "Marvane/uiframework/CommandRegistry.h"
#include "TandrelModule.h"
#include "base/TandrelIDs.h"

#include <gtest/gtest.h>

namespace {

using HandlerTandrel::ProductionCommandTable;

struct ExpectedCommand {
    const char* name;
    int id;
    int kind;
    const char* label;
};

const std::vector<ExpectedCommand> kExpected = {
    {"cmd.mediabrowser.newfolder", 30007, 0, ""},
    {"cmd.mvproductionfolder.newproject", 30303, 0, ""},
    {"cmd.mvproductionfolder.addproject", 30304, 0, ""},
    {"cmd.mvproductionfolder.refreshproject", 30307, 0, ""},
    {"cmd.mvproductionfolder.renameitem", 30308, 0, ""},
    {"cmd.mvproductionfolder.togglelock", 30311, 0, ""},
    {"cmd.mvproductionfolder.revealrootinsystem", 30309, 0, ""},
    {"cmd.mvproductionfolder.revealiteminsystem", 30310, 0, ""},
    {"cmd.mvproductionfolder.toggle.showpath", 30312, 0, ""},
    {"cmd.mvproductionfolder.renameproduction", 30318, 0, ""},
    {"cmd.mvproductionfolder.refreshallprojects", 30320, 0, ""},
    {"cmd.mvproductionfolder.saveallprojects", 30321, 0, ""},
    {"cmd.mvproductionfolder.closeallprojects", 30322, 0, ""},
    {"cmd.mvproductionfolder.move.pagedown", 30315, 2,
     "$$$/Marvane/Handlers/MvProductionFolder/Commands/MoveSelectionPageDown=Move Selection Page "
     "Down"},
    {"cmd.mvproductionfolder.move.pageup", 30316, 2,
     "$$$/Marvane/Handlers/MvProductionFolder/Commands/MoveSelectionPageUp=Move Selection Page Up"},
    {"cmd.mvproductionfolder.move.end", 30314, 2,
     "$$$/Marvane/Handlers/MvProductionFolder/Commands/MoveSelectionEnd=Move Selection End"},
    {"cmd.mvproductionfolder.move.home", 30313, 2,
     "$$$/Marvane/Handlers/MvProductionFolder/Commands/MoveSelectionHome=Move Selection Home"},
    {"cmd.mvproductionfolder.zoomin", 30323, 2,
     "$$$/Marvane/Handlers/MvProductionFolder/Commands/ZoomIn=Zoom In"},
    {"cmd.mvproductionfolder.zoomout", 30324, 2,
     "$$$/Marvane/Handlers/MvProductionFolder/Commands/ZoomOut=Zoom Out"},
    {"cmd.mvproductionfolder.openproject", 30305, 2,
     "$$$/Marvane/Handlers/MvProductionFolder/Commands/OpenProject=Open Project"},
    {"cmd.mvproductionfolder.closeproject", 30306, 2,
     "$$$/Marvane/Handlers/MvProductionFolder/Commands/CloseProject=Close Project"},
    {"cmd.mvproductionfolder.makeacopy", 30319, 2,
     "$$$/Marvane/Handlers/MvProductionFolder/Commands/MakeACopy=Make a Copy"},
    {"cmd.mvproductionfolder.movetotrash", 30325, 2,
     "$$$/Marvane/Handlers/MvProductionFolder/Commands/MoveToTrash=Move To Trash"},
};

void ExpectDeclaredAsTable(const host::CommandContext& context) {
    const auto& commands = context.GetCommands();
    ASSERT_EQ(commands.size(), kExpected.size());
    for (std::size_t i = 0; i < kExpected.size(); ++i) {
        SCOPED_TRACE(kExpected[i].name);
        EXPECT_EQ(commands[i].name, kExpected[i].name);
        EXPECT_EQ(commands[i].id, kExpected[i].id);
        EXPECT_EQ(static_cast<int>(commands[i].kind), kExpected[i].kind);
        EXPECT_EQ(commands[i].label, kExpected[i].label);
        EXPECT_EQ(commands[i].data, "");
        EXPECT_FALSE(commands[i].hidden);
    }
}

TEST(ProductionCommands, TheTableHoldsTwentyThreeCommandsInDeclarationOrder) {
    const auto& table = ProductionCommandTable();
    ASSERT_EQ(table.size(), kExpected.size());
    for (std::size_t i = 0; i < table.size(); ++i) {
        EXPECT_EQ(table[i].name, kExpected[i].name);
        EXPECT_EQ(table[i].id, kExpected[i].id);
        EXPECT_EQ(static_cast<int>(table[i].kind), kExpected[i].kind);
        EXPECT_EQ(table[i].label, kExpected[i].label);
    }
}

TEST(ProductionCommands, PanelIdsRunFrom30303To30325AndLeave30317Unused) {
    std::vector<int> panelIDs;
    for (const auto& command : ProductionCommandTable()) {
        EXPECT_NE(command.id, 30317);
        if (command.id != 30007) {
            panelIDs.push_back(command.id);
        }
    }
    std::sort(panelIDs.begin(), panelIDs.end());
    std::vector<int> expected;
    for (int id = 30303; id <= 30325; ++id) {
        if (id != 30317) {
            expected.push_back(id);
        }
    }
    EXPECT_EQ(panelIDs, expected);
}

TEST(ProductionCommands, LabelledCommandsCarryTheirLabelAndMenuTextCommandsNone) {
    for (const auto& command : ProductionCommandTable()) {
        SCOPED_TRACE(std::string(command.name));
        EXPECT_EQ(command.label.empty(), command.kind == host::kCommandKindMenuText);
    }
}

TEST(ProductionCommands, NamesWithASecondDotAreKeptExactly) {
    auto& manager = host::ShortcutManager::Instance();
    HandlerTandrel::DeclareProductionCommands(manager);
    for (const char* name :
         {"cmd.mvproductionfolder.toggle.showpath", "cmd.mvproductionfolder.move.pagedown",
          "cmd.mvproductionfolder.move.pageup", "cmd.mvproductionfolder.move.end",
          "cmd.mvproductionfolder.move.home"}) {
        ASSERT_NE(manager.FindCommand(name), nullptr) << name;
    }
    EXPECT_EQ(manager.FindCommand("cmd.mvproductionfolder.toggle.showpath")->id, 30312);
    EXPECT_EQ(manager.FindCommand("cmd.mvproductionfolder.toggleshowpath"), nullptr);
    EXPECT_EQ(manager.FindCommand("cmd.mvproductionfolder.movepagedown"), nullptr);
    EXPECT_EQ(manager.FindCommand("cmd.mvproductionfolder.move.Home"), nullptr);
}

TEST(ProductionCommands, NewFolderBelongsToTheMediaBrowsersNamespace) {
    auto& manager = host::ShortcutManager::Instance();
    HandlerTandrel::DeclareProductionCommands(manager);
    ASSERT_NE(manager.FindCommand("cmd.mediabrowser.newfolder"), nullptr);
    EXPECT_EQ(manager.FindCommand("cmd.mediabrowser.newfolder")->id, 30007);
    EXPECT_EQ(manager.FindCommand("cmd.mvproductionfolder.newfolder"), nullptr);
}

TEST(ProductionCommands, DeclaringCreatesTheProductionContextWithItsLocalisedName) {
    auto& manager = host::ShortcutManager::Instance();
    HandlerTandrel::DeclareProductionCommands(manager);
    const host::CommandContext* context = manager.GetContext("mvproduction");
    ASSERT_NE(context, nullptr);
    EXPECT_EQ(context->GetDisplayName(), "Production Panel");
    ExpectDeclaredAsTable(*context);
}

TEST(ProductionCommands, DeclaringTwiceDeclaresTheSameTwentyThreeCommandsAgain) {
    auto& manager = host::ShortcutManager::Instance();
    HandlerTandrel::DeclareProductionCommands(manager);
    const host::CommandContext* first = manager.GetContext("mvproduction");
    HandlerTandrel::DeclareProductionCommands(manager);
    EXPECT_EQ(manager.GetContext("mvproduction"), first);
    ExpectDeclaredAsTable(*first);
}

TEST(ModuleEntry, CreateModuleMakesANamedModuleAndRegistersTheCommandDeclarer) {
    const std::size_t declarers = host::RegisteredCommandDeclarerCount();
    std::unique_ptr<host::Module> module(CreateModule("HandlerTandrel"));
    EXPECT_EQ(host::RegisteredCommandDeclarerCount(), declarers + 1);
    ASSERT_NE(module, nullptr);
    EXPECT_EQ(module->GetName(), "HandlerTandrel");
    EXPECT_NE(dynamic_cast<HandlerTandrel::TandrelModule*>(module.get()), nullptr);
    host::DeclareRegisteredCommandContexts();
    ASSERT_NE(host::ShortcutManager::Instance().GetContext("mvproduction"), nullptr);
    EXPECT_EQ(host::ShortcutManager::Instance().GetContext("mvproduction")->GetCommands().size(),
              23u);
}

TEST(ModuleEntry, LoadingRegistersTheHandlerFactoryThenTheModuleFactory) {
    const auto& log = host::PanelFrameworkRegistry::Instance().GetRegistrationLog();
    const auto handler = std::find_if(log.begin(), log.end(), [](const auto& entry) {
        return entry.kind == host::FactoryKind::Handler &&
               entry.id == HandlerTandrel::kMvProductionFolderHandlerID;
    });
    const auto module = std::find_if(log.begin(), log.end(), [](const auto& entry) {
        return entry.kind == host::FactoryKind::Module &&
               entry.id == HandlerTandrel::kMvProductionFolderModuleID;
    });
    ASSERT_NE(handler, log.end());
    ASSERT_NE(module, log.end());
    EXPECT_LT(handler - log.begin(), module - log.begin());
    EXPECT_EQ(host::Module::FindFactory(HandlerTandrel::kMvProductionFolderModuleID),
              &CreateModule);
}

} // namespace
