// The panel's commands as records: one each, complete, and reading the selection only when the
// rule can use it.
#include "panel/PanelCommands.h"

#include "base/ProductionCommands.h"
#include "host/ApplicationLayer.h"

#include <gtest/gtest.h>
#include <set>

namespace {

using namespace HandlerTandrel;

TEST(PanelCommandsTest, EachCommandHasOneRecordWithARuleAndAnAction) {
    std::set<host::CommandID> seen;
    for (const PanelCommand& command : PanelCommands()) {
        EXPECT_TRUE(seen.insert(command.id).second) << "twice: " << command.id;
        EXPECT_NE(command.rule, nullptr) << command.id;
        EXPECT_NE(command.action, nullptr) << command.id;
        EXPECT_EQ(FindPanelCommand(command.id), &command) << command.id;
    }
    EXPECT_EQ(seen.size(), 24u);
}

TEST(PanelCommandsTest, EveryDeclaredCommandButShowPathAndRenameProductionIsThePanels) {
    for (const ProductionCommand& declared : ProductionCommandTable()) {
        const bool hosts = declared.id == kCmdToggleShowPath || declared.id == kCmdRenameProduction;
        EXPECT_EQ(FindPanelCommand(declared.id) == nullptr, hosts) << declared.name;
    }
    // The host's own Close, Select All and Deselect All are answered while the panel has focus.
    for (const host::CommandID id : {static_cast<host::CommandID>(kHostCmdCloseProjects),
                                     static_cast<host::CommandID>(kHostCmdSelectAll),
                                     static_cast<host::CommandID>(kHostCmdDeselectAll)}) {
        EXPECT_NE(FindPanelCommand(id), nullptr) << id;
    }
    EXPECT_EQ(FindPanelCommand(1), nullptr);
}

TEST(PanelCommandsTest, ARuleIsGivenTheSelectionOnlyWhenItCanUseItNow) {
    ASSERT_EQ(host::OpenProjectCount(), 0u);
    for (const PanelCommand& command : PanelCommands()) {
        // With no project open, the rules about open projects are off whatever is selected.
        EXPECT_EQ(RuleReadsSelection(command), command.selection == SelectionUse::kAlways)
            << command.id;
    }
    EXPECT_FALSE(RuleReadsSelection(*FindPanelCommand(kCmdZoomIn)));
    EXPECT_FALSE(RuleReadsSelection(*FindPanelCommand(kCmdCloseProject)));
    EXPECT_TRUE(RuleReadsSelection(*FindPanelCommand(kCmdOpenProject)));
}

TEST(PanelCommandsTest, OnlyNewFolderTrashAndSelectingWaitForThePanelToBeMade) {
    std::set<host::CommandID> waiting;
    for (const PanelCommand& command : PanelCommands()) {
        if (command.before == Before::kHostRules) {
            waiting.insert(command.id);
        }
    }
    EXPECT_EQ(waiting, (std::set<host::CommandID>{kCmdNewFolder, kCmdMoveToTrash, kHostCmdSelectAll,
                                                  kHostCmdDeselectAll}));
}

} // namespace
