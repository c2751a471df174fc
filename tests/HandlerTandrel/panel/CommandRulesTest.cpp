// When each of the panel's commands is enabled, over a real production folder with real lock
// files and real open projects.
#include "panel/CommandRules.h"

#include "Marvane/application/HostSession.h"
#include "Marvane/application/ProductionSession.h"
#include "Marvane/core/DefaultExecutor.h"
#include "TemporaryFolder.h"
#include "TestProjects.h"
#include "base/ProductionCommands.h"
#include "host/FileServices.h"
#include "host/OpenProjects.h"
#include "host/ProjectBackEnd.h"
#include "panel/MoveToTrashTest.h"

#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <map>

namespace {

namespace fs = std::filesystem;
using namespace HandlerTandrel;

class CommandRulesTest : public ::testing::Test {
protected:
    void SetUp() override {
        auto& session = host::HostSession::Instance();
        session.preferences.locking = {"Ana Ruiz", "suite-1", true};
        session.userOverride.reset();
        scene4 = testsupport::WriteProject(pilot / "Scene 4.mvproj");
        scene12 = testsupport::WriteProject(pilot / "Scene 12.mvproj");
        shot = testsupport::WriteProject(pilot / "Dailies" / "Shot 1.mvproj");
        old = testsupport::WriteProject(pilot / "Trash" / "Old Cut.mvproj");
        outside = testsupport::WriteProject(temporary.Path() / "Elsewhere" / "Promo.mvproj");
        fs::create_directories(pilot / "Empty");
        ASSERT_EQ(host::ProductionSession::Instance().Open(pilot), "");
    }
    void TearDown() override {
        testsupport::CloseAllProjects();
        host::ProductionSession::Instance().Close();
    }
    static host::WideString W(const fs::path& path) { return host::ToUTF16(path.string()); }
    // The status of a command for a selection of the created panel in the open production.
    host::CommandStatus Status(host::CommandID id, const std::vector<fs::path>& selection,
                               bool created = true) const {
        CommandFacts facts;
        facts.created = created;
        facts.production = W(pilot);
        for (const fs::path& path : selection) {
            facts.selected.push_back(W(path));
        }
        host::CommandStatus status;
        status.checked = true; // the rules must clear it
        decided = DecideCommandStatus(id, facts, status);
        return status;
    }
    bool Enabled(host::CommandID id, const std::vector<fs::path>& selection) const {
        const host::CommandStatus status = Status(id, selection);
        EXPECT_TRUE(decided) << id;
        EXPECT_FALSE(status.checked) << id;
        return status.enabled;
    }
    static void LockAs(const fs::path& project, const std::string& name) {
        testsupport::LockAsAnotherEditor(project, name);
    }

    const testsupport::TemporaryFolder temporary{"command-rules"};
    const fs::path pilot = temporary.Path() / "Pilot";
    fs::path scene4, scene12, shot, old, outside;
    mutable bool decided = false;
};

TEST_F(CommandRulesTest, NothingSelectedInAnOpenProductionEnablesTheCommandsThatMakeItems) {
    for (const host::CommandID id : {kCmdNewFolder, kCmdNewProject, kCmdAddProject}) {
        EXPECT_TRUE(Enabled(id, {})) << id;
    }
}

TEST_F(CommandRulesTest, NothingSelectedWithoutAProductionDisablesThem) {
    for (const host::CommandID id : {kCmdNewFolder, kCmdNewProject, kCmdAddProject}) {
        CommandFacts facts;
        facts.created = true;
        host::CommandStatus status;
        EXPECT_TRUE(DecideCommandStatus(id, facts, status));
        EXPECT_FALSE(status.enabled) << id;
    }
    CommandFacts facts{true, {}, {}};
    host::CommandStatus status;
    EXPECT_TRUE(DecideCommandStatus(kCmdRevealRootInSystem, facts, status));
    EXPECT_FALSE(status.enabled);
}

TEST_F(CommandRulesTest, TwoSelectedRowsDisableTheCommandsThatMakeItemsEvenOutsideTheTrash) {
    for (const host::CommandID id : {kCmdNewFolder, kCmdNewProject, kCmdAddProject}) {
        EXPECT_TRUE(Enabled(id, {pilot / "Dailies"})) << id;
        EXPECT_FALSE(Enabled(id, {scene4, scene12})) << id;
        EXPECT_FALSE(Enabled(id, {old})) << id;
        EXPECT_FALSE(Enabled(id, {pilot / "Trash"})) << id;
    }
}

TEST_F(CommandRulesTest, OpenProjectIsOffWhenEverySelectedProjectIsOpenAndCloseWhenNoneIs) {
    EXPECT_TRUE(Enabled(kCmdOpenProject, {scene4}));
    EXPECT_FALSE(Enabled(kCmdCloseProject, {scene4}));
    EXPECT_FALSE(Enabled(kCmdOpenProject, {pilot / "Dailies"})); // a folder is never opened
    testsupport::OpenProject(scene4);
    EXPECT_FALSE(Enabled(kCmdOpenProject, {scene4}));
    EXPECT_TRUE(Enabled(kCmdCloseProject, {scene4}));
    EXPECT_TRUE(Enabled(kCmdOpenProject, {scene4, scene12}));
    EXPECT_TRUE(Enabled(kCmdCloseProject, {scene12, scene4}));
    EXPECT_FALSE(Enabled(kCmdOpenProject, {}));
}

TEST_F(CommandRulesTest, TheHostsCloseStaysOffWhileOnlyOneProjectIsOpen) {
    testsupport::OpenProject(scene4);
    EXPECT_FALSE(Enabled(kHostCmdCloseProjects, {scene4}));
    testsupport::OpenProject(scene12);
    EXPECT_TRUE(Enabled(kHostCmdCloseProjects, {scene4}));
    EXPECT_FALSE(Enabled(kHostCmdCloseProjects, {shot}));
}

TEST_F(CommandRulesTest, CloseFindsAnOpenProjectAmongThousandsHoweverItsPathIsSpelled) {
    testsupport::OpenProject(scene4);
    testsupport::OpenProject(scene12);
    std::vector<fs::path> selection;
    for (int number = 0; number < 2000; ++number) {
        selection.push_back(pilot / ("Take " + std::to_string(number) + ".mvproj"));
    }
    selection.push_back(pilot / "Dailies" / "Scene 4.mvproj"); // the name, not the project
    EXPECT_FALSE(Enabled(kCmdCloseProject, selection));
    EXPECT_FALSE(Enabled(kHostCmdCloseProjects, selection));
    selection.push_back(pilot / "Dailies" / ".." / "Scene 4.mvproj");
    EXPECT_TRUE(Enabled(kCmdCloseProject, selection));
    EXPECT_TRUE(Enabled(kHostCmdCloseProjects, selection));
    EXPECT_TRUE(Enabled(kCmdCloseProject, {W(scene12) + u"/"}));
    EXPECT_TRUE(Enabled(kCmdCloseProject, {pilot / "." / "Scene 12.mvproj"}));
    EXPECT_TRUE(Enabled(kCmdCloseProject, {pilot / "Scene 12.mvproj" / "."}));
}

TEST_F(CommandRulesTest, MoveToTrashIsOffForAnythingInTheTrashAnotherEditorsProjectOrTheirFolder) {
    EXPECT_TRUE(Enabled(kCmdMoveToTrash, {scene4, pilot / "Dailies"}));
    EXPECT_FALSE(Enabled(kCmdMoveToTrash, {}));
    EXPECT_FALSE(Enabled(kCmdMoveToTrash, {scene4, old}));
    EXPECT_FALSE(Enabled(kCmdMoveToTrash, {pilot / "Trash"}));
    LockAs(shot, "Ben Okafor");
    EXPECT_FALSE(Enabled(kCmdMoveToTrash, {shot}));
    EXPECT_FALSE(Enabled(kCmdMoveToTrash, {scene4, pilot / "Dailies"}));
    EXPECT_TRUE(Enabled(kCmdMoveToTrash, {scene4}));
}

TEST_F(CommandRulesTest, TheLockToggleWantsOpenProjectsAllInOneModeAndOffersTheOther) {
    EXPECT_FALSE(Enabled(kCmdToggleLock, {scene4})); // not open
    testsupport::OpenProject(scene4);
    host::CommandStatus status = Status(kCmdToggleLock, {scene4});
    EXPECT_TRUE(status.enabled);
    EXPECT_EQ(status.label, "Read-Only Mode");
    testsupport::OpenProject(scene12, host::OpenMode::ReadOnly);
    EXPECT_FALSE(Enabled(kCmdToggleLock, {scene4, scene12})); // mixed modes
    EXPECT_FALSE(Enabled(kCmdToggleLock, {scene12, shot}));   // one is not open
    status = Status(kCmdToggleLock, {scene12});
    EXPECT_TRUE(status.enabled);
    EXPECT_EQ(status.label, "Read-Write Mode");
}

TEST_F(CommandRulesTest, TheLockToggleIsOffOverReadOnlyProjectsAnotherEditorHolds) {
    LockAs(scene12, "Ben Okafor");
    testsupport::OpenProject(scene12); // opens read-only: Ben holds it
    EXPECT_FALSE(Enabled(kCmdToggleLock, {scene12}));
}

TEST_F(CommandRulesTest, RefreshWantsAReadOnlyProjectChangedOnDisk) {
    testsupport::OpenProject(scene12, host::OpenMode::ReadOnly);
    EXPECT_FALSE(Enabled(kCmdRefreshProject, {scene12}));
    EXPECT_FALSE(Enabled(kCmdRefreshAllProjects, {}));
    testsupport::WriteProject(scene12, {"Sequence 1", "Sequence 2 from Ben"});
    EXPECT_TRUE(Enabled(kCmdRefreshProject, {scene4, scene12}));
    EXPECT_TRUE(Enabled(kCmdRefreshAllProjects, {}));
}

TEST_F(CommandRulesTest, RenameWantsExactlyOneItemThatNobodyElseHolds) {
    EXPECT_TRUE(Enabled(kCmdRenameItem, {scene4}));
    EXPECT_TRUE(Enabled(kCmdRenameItem, {pilot / "Dailies"}));
    EXPECT_FALSE(Enabled(kCmdRenameItem, {}));
    EXPECT_FALSE(Enabled(kCmdRenameItem, {scene4, scene12}));
    LockAs(shot, "Ben Okafor");
    EXPECT_FALSE(Enabled(kCmdRenameItem, {shot}));
    EXPECT_FALSE(Enabled(kCmdRenameItem, {pilot / "Dailies"}));
}

TEST_F(CommandRulesTest, SaveCloseAndRefreshAllCountOnlyTheProductionsOpenProjects) {
    testsupport::OpenProject(outside);
    EXPECT_FALSE(Enabled(kCmdSaveAllProjects, {}));
    EXPECT_FALSE(Enabled(kCmdCloseAllProjects, {}));
    testsupport::OpenProject(scene4, host::OpenMode::ReadOnly);
    EXPECT_FALSE(Enabled(kCmdSaveAllProjects, {})); // read-only: nothing to save
    EXPECT_TRUE(Enabled(kCmdCloseAllProjects, {}));
    testsupport::OpenProject(scene12);
    EXPECT_TRUE(Enabled(kCmdSaveAllProjects, {}));
}

TEST_F(CommandRulesTest, RefreshAllIgnoresAnOutOfDateProjectOutsideTheProduction) {
    testsupport::OpenProject(outside, host::OpenMode::ReadOnly);
    testsupport::WriteProject(outside, {"Sequence 1", "Changed by Ben"});
    EXPECT_FALSE(Enabled(kCmdRefreshAllProjects, {}));
    testsupport::OpenProject(scene12, host::OpenMode::ReadOnly);
    testsupport::WriteProject(scene12, {"Sequence 1", "Changed by Ben"});
    EXPECT_TRUE(Enabled(kCmdRefreshAllProjects, {}));
}

TEST_F(CommandRulesTest, TheLockToggleIsOffForAFolderEvenWithAnOpenProject) {
    testsupport::OpenProject(scene4);
    EXPECT_TRUE(Enabled(kCmdToggleLock, {scene4}));
    EXPECT_FALSE(Enabled(kCmdToggleLock, {pilot / "Dailies"}));
    EXPECT_FALSE(Enabled(kCmdToggleLock, {scene4, pilot / "Dailies"}));
}

TEST_F(CommandRulesTest, MovingZoomingRevealingAndCopyingFollowOnlyTheSelectionOrNothing) {
    for (const host::CommandID id : {kCmdMoveHome, kCmdMoveEnd, kCmdMovePageDown, kCmdMovePageUp,
                                     kCmdZoomIn, kCmdZoomOut, kCmdRevealRootInSystem}) {
        EXPECT_TRUE(Enabled(id, {})) << id;
    }
    EXPECT_FALSE(Enabled(kCmdRevealItemInSystem, {}));
    EXPECT_FALSE(Enabled(kCmdMakeACopy, {}));
    EXPECT_TRUE(Enabled(kCmdRevealItemInSystem, {old}));
    EXPECT_TRUE(Enabled(kCmdMakeACopy, {scene4, scene12}));
    EXPECT_TRUE(Enabled(kHostCmdSelectAll, {}));
    EXPECT_TRUE(Enabled(kHostCmdDeselectAll, {scene4}));
}

// A selection as a tree gives it: its items visited in order, each path made when asked for,
// and the items in no other selected item given apart. Counts what it is asked.
class CountedSelection final : public SelectedItems::Source {
public:
    CountedSelection(std::vector<host::WideString> all, std::vector<host::WideString> outermost)
        : mAll(std::move(all)), mOutermost(std::move(outermost)) {}
    std::size_t Count() const override { return mAll.size(); }
    bool AnyOf(const SelectedItems::NameTest& mayMatch,
               const SelectedItems::PathTest& test) const override {
        for (const host::WideString& path : mAll) {
            ++visited;
            if (mayMatch && !mayMatch(host::GetPathFileName(path))) {
                continue;
            }
            ++made;
            if (test(path)) {
                return true;
            }
        }
        return false;
    }
    std::vector<host::WideString> Outermost() const override {
        ++outermostAsked;
        return mOutermost;
    }
    std::vector<host::WideString> All() const override {
        ADD_FAILURE() << "a rule asked for every path";
        return mAll;
    }
    mutable int visited = 0;
    mutable int made = 0;
    mutable int outermostAsked = 0;

private:
    std::vector<host::WideString> mAll;
    std::vector<host::WideString> mOutermost;
};

// A thousand takes in "Dailies", selected with the folder, and the two scenes.
std::shared_ptr<CountedSelection> EveryTakeSelected(const fs::path& pilot, const fs::path& first,
                                                    const fs::path& last) {
    std::vector<host::WideString> all{host::ToUTF16(first.string()),
                                      host::ToUTF16((pilot / "Dailies").string())};
    for (int take = 0; take < 1000; ++take) {
        all.push_back(host::ToUTF16(
            (pilot / "Dailies" / ("Take " + std::to_string(take) + ".mvproj")).string()));
    }
    all.push_back(host::ToUTF16(last.string()));
    return std::make_shared<CountedSelection>(
        all, std::vector<host::WideString>{all[0], all[1], all.back()});
}

TEST_F(CommandRulesTest, RulesAboutOpenProjectsMakeOnlyPathsNamedAsOneAndOncePerSelection) {
    const auto counted = EveryTakeSelected(pilot, scene12, scene4);
    const SelectedItems selected{std::shared_ptr<const SelectedItems::Source>(counted)};
    testsupport::OpenProject(scene4);
    CommandFacts facts{true, {}, W(pilot)};
    host::CommandStatus status;
    ASSERT_TRUE(DecideCommandStatus(kCmdCloseProject, facts, selected, status));
    EXPECT_TRUE(status.enabled);
    // Every item was visited by name; only the one named as the open project had a path.
    EXPECT_EQ(counted->visited, 1003);
    EXPECT_EQ(counted->made, 1);
    // Asked again, and by the other rules about open projects, nothing is visited again.
    ASSERT_TRUE(DecideCommandStatus(kCmdCloseProject, facts, selected, status));
    ASSERT_TRUE(DecideCommandStatus(kCmdRefreshProject, facts, selected, status));
    EXPECT_FALSE(status.enabled);
    EXPECT_EQ(counted->visited, 1003);
    // Another project opened is another question.
    testsupport::OpenProject(shot);
    ASSERT_TRUE(DecideCommandStatus(kHostCmdCloseProjects, facts, selected, status));
    EXPECT_TRUE(status.enabled);
    EXPECT_EQ(counted->visited, 2006);
}

TEST_F(CommandRulesTest, RulesOverABigSelectionStopAtTheFirstItemThatAnswers) {
    testsupport::OpenProject(scene12);
    const auto counted = EveryTakeSelected(pilot, scene12, scene4);
    const SelectedItems selected{std::shared_ptr<const SelectedItems::Source>(counted)};
    CommandFacts facts{true, {}, W(pilot)};
    host::CommandStatus status;
    // The first item is open, the folder after it is no project: the toggle is off there.
    ASSERT_TRUE(DecideCommandStatus(kCmdToggleLock, facts, selected, status));
    EXPECT_FALSE(status.enabled);
    EXPECT_EQ(counted->made, 2);
    // The first take is a closed project: Open is on there.
    counted->made = 0;
    ASSERT_TRUE(DecideCommandStatus(kCmdOpenProject, facts, selected, status));
    EXPECT_TRUE(status.enabled);
    EXPECT_EQ(counted->made, 3);
    // Counting needs no path at all.
    counted->made = 0;
    for (const host::CommandID id : {kCmdNewFolder, kCmdRenameItem, kCmdRevealItemInSystem}) {
        ASSERT_TRUE(DecideCommandStatus(id, facts, selected, status));
    }
    EXPECT_EQ(counted->made, 0);
}

TEST_F(CommandRulesTest, MoveToTrashOfABigSelectionLooksThroughItsOutermostFoldersOnly) {
    const auto counted = EveryTakeSelected(pilot, scene12, scene4);
    const SelectedItems selected{std::shared_ptr<const SelectedItems::Source>(counted)};
    CommandFacts facts{true, {}, W(pilot)};
    host::CommandStatus status;
    ASSERT_TRUE(DecideCommandStatus(kCmdMoveToTrash, facts, selected, status));
    EXPECT_TRUE(status.enabled);
    // A project another editor holds inside the selected folder keeps it all out of the trash.
    LockAs(shot, "Ben Ode");
    const SelectedItems again{std::shared_ptr<const SelectedItems::Source>(counted)};
    ASSERT_TRUE(DecideCommandStatus(kCmdMoveToTrash, facts, again, status));
    EXPECT_FALSE(status.enabled);
    EXPECT_EQ(counted->made, 0);
    EXPECT_EQ(counted->outermostAsked, 2);
}

TEST_F(CommandRulesTest, AFewFoldersStandingForManySelectedItemsAreTestedOnAWorker) {
    {
        MoveToTrashTest test([] {});
        const auto dailies =
            std::make_shared<const std::vector<host::WideString>>(1, W(pilot / "Dailies"));
        // One folder selected alone is tested at once.
        EXPECT_EQ(test.Answer(dailies, 1), std::optional<bool>(true));
        EXPECT_FALSE(test.IsTesting());
        // The same folder standing for the thousands of rows selected in it is not: looking
        // through it may take a while, and the window keeps turning meanwhile.
        EXPECT_EQ(test.Answer(dailies, 5000), std::nullopt);
        EXPECT_TRUE(test.IsTesting());
    }
    EXPECT_TRUE(host::WaitForDefaultExecutor(10000));
}

TEST_F(CommandRulesTest, SomeCommandsAreTheHostsWhileThePanelIsNotCreated) {
    for (const host::CommandID id : std::vector<host::CommandID>{
             kCmdNewFolder, kCmdMoveToTrash, kHostCmdSelectAll, kHostCmdDeselectAll}) {
        Status(id, {scene4}, false);
        EXPECT_FALSE(decided) << id;
    }
    Status(kCmdNewProject, {}, false); // this one has no such exception
    EXPECT_TRUE(decided);
}

TEST_F(CommandRulesTest, ShowPathRenameProductionAndUnknownCommandsAreLeftToTheHost) {
    for (const host::CommandID id :
         {static_cast<host::CommandID>(kCmdToggleShowPath),
          static_cast<host::CommandID>(kCmdRenameProduction), 1, 99999}) {
        Status(id, {scene4});
        EXPECT_FALSE(decided) << id;
    }
}

} // namespace
