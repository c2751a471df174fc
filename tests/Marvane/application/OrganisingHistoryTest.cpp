// Undo and Redo of organising steps over a real folder, with the world changed between a step
// and its undoing.
#include "Marvane/application/OrganisingHistory.h"
#include "FileBytes.h"
#include "Marvane/application/ProjectImport.h"
#include "Marvane/fileservices/AccessDeadline.h"
#include "Marvane/projectbackend/LockingIdentity.h"
#include "SshShare.h"
#include "TemporaryFolder.h"
#include "TestProjects.h"
#include "host/FileServices.h"

#include <atomic>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <thread>

namespace {

namespace fs = std::filesystem;

class OrganisingHistoryTest : public ::testing::Test {
protected:
    OrganisingHistoryTest() {
        fs::create_directories(production / "Dailies");
        fs::create_directories(production / "Selects");
        fs::create_directories(production / "Trash");
        for (const char* name : {"Shot 1.mvproj", "Shot 2.mvproj", "Shot 3.mvproj"}) {
            std::ofstream(production / "Dailies" / name) << name << "\n";
        }
    }

    static host::WideString W(const fs::path& path) { return host::ToUTF16(path.string()); }
    // Moves the items as the panel would, and tells the history of the step.
    void MoveAndRecord(host::OrganisingStepKind kind,
                       const std::vector<std::pair<fs::path, fs::path>>& items) {
        host::OrganisingStep step;
        step.kind = kind;
        for (const auto& [from, to] : items) {
            ASSERT_EQ(host::Move(W(from), W(to)), 0);
            step.moved.emplace_back(W(from), W(to));
        }
        history.Record(step, production);
    }
    void MoveThreeShotsToSelects() {
        MoveAndRecord(host::OrganisingStepKind::kMove,
                      {{shot(1), selects(1)}, {shot(2), selects(2)}, {shot(3), selects(3)}});
    }
    fs::path shot(int n) const {
        return production / "Dailies" / ("Shot " + std::to_string(n) + ".mvproj");
    }
    fs::path selects(int n) const {
        return production / "Selects" / ("Shot " + std::to_string(n) + ".mvproj");
    }

    const testsupport::TemporaryFolder temporary{"organising-history"};
    const fs::path production = temporary.Path() / "Pilot";
    host::OrganisingHistory history;
    int moves = 0;
    // The panel's move stands here as the host's own, which never writes over anything.
    const host::HistoryMover mover = [this](const fs::path& from, const fs::path& to) {
        ++moves;
        return host::Move(W(from), W(to)) >= 0;
    };
};

TEST_F(OrganisingHistoryTest, UndoPutsMovedItemsBackAndRedoMovesThemAgain) {
    MoveThreeShotsToSelects();
    EXPECT_EQ(history.UndoLabel(production), "Undo Move of 3 Items");
    EXPECT_FALSE(history.CanRedo(production));

    const host::HistoryOutcome undone = history.Undo(production, mover);
    EXPECT_TRUE(undone.done) << undone.refusal;
    for (int n = 1; n <= 3; ++n) {
        EXPECT_EQ(testsupport::ReadBytes(shot(n)), "Shot " + std::to_string(n) + ".mvproj\n");
        EXPECT_FALSE(fs::exists(selects(n)));
    }
    EXPECT_FALSE(history.CanUndo(production));
    EXPECT_EQ(history.RedoLabel(production), "Redo Move of 3 Items");

    const host::HistoryOutcome redone = history.Redo(production, mover);
    EXPECT_TRUE(redone.done) << redone.refusal;
    for (int n = 1; n <= 3; ++n) {
        EXPECT_TRUE(fs::exists(selects(n)));
        EXPECT_FALSE(fs::exists(shot(n)));
    }
    EXPECT_EQ(history.UndoLabel(production), "Undo Move of 3 Items");
}

TEST_F(OrganisingHistoryTest, UndoOfARenameGivesTheOldNameBack) {
    const fs::path renamed = production / "Dailies" / "Opening.mvproj";
    MoveAndRecord(host::OrganisingStepKind::kRename, {{shot(1), renamed}});
    EXPECT_EQ(history.UndoLabel(production), "Undo Rename of \"Shot 1\"");
    EXPECT_TRUE(history.Undo(production, mover).done);
    EXPECT_EQ(testsupport::ReadBytes(shot(1)), "Shot 1.mvproj\n");
    EXPECT_FALSE(fs::exists(renamed));
}

TEST_F(OrganisingHistoryTest, UndoIsRefusedWhenTheOldNameWasTakenMeanwhileAndNothingMoves) {
    MoveThreeShotsToSelects();
    std::ofstream(shot(2)) << "Ben's new take\n"; // another editor made a new "Shot 2" there

    const host::HistoryOutcome outcome = history.Undo(production, mover);
    EXPECT_FALSE(outcome.done);
    EXPECT_EQ(outcome.refusal, "\"Shot 2\" cannot go back: \"Dailies\" already holds an item named "
                               "\"Shot 2.mvproj\".");
    EXPECT_EQ(moves, 0) << "a step goes back whole or not at all";
    EXPECT_EQ(testsupport::ReadBytes(shot(2)), "Ben's new take\n");
    EXPECT_EQ(testsupport::ReadBytes(selects(2)), "Shot 2.mvproj\n");
    EXPECT_TRUE(fs::exists(selects(1)));
    // The step waits: once the name is free again, it goes back.
    EXPECT_TRUE(history.CanUndo(production));
    fs::remove(shot(2));
    EXPECT_TRUE(history.Undo(production, mover).done);
    EXPECT_EQ(testsupport::ReadBytes(shot(2)), "Shot 2.mvproj\n");
}

TEST_F(OrganisingHistoryTest, UndoIsRefusedWhenAnItemIsGoneOrItsFolderIs) {
    MoveThreeShotsToSelects();
    fs::remove(selects(3));
    fs::remove_all(production / "Dailies");
    const host::HistoryOutcome outcome = history.Undo(production, mover);
    EXPECT_FALSE(outcome.done);
    EXPECT_EQ(outcome.refusal,
              "\"Shot 1\" cannot go back: the folder \"Dailies\" is not there any more.\n"
              "\"Shot 2\" cannot go back: the folder \"Dailies\" is not there any more.\n"
              "\"Shot 3\" is no longer in \"Selects\".");
    EXPECT_EQ(moves, 0);
    EXPECT_TRUE(fs::exists(selects(1)));
}

TEST_F(OrganisingHistoryTest, UndoIsRefusedWhileAnotherEditorHoldsTheProject) {
    MoveThreeShotsToSelects();
    testsupport::LockAsAnotherEditor(selects(1), "Ben Okafor");
    const host::HistoryOutcome outcome = history.Undo(production, mover);
    EXPECT_FALSE(outcome.done);
    EXPECT_EQ(outcome.refusal, "\"Shot 1\" is open by Ben Okafor.");
    EXPECT_EQ(moves, 0);
    EXPECT_TRUE(fs::exists(selects(1)));

    fs::remove(host::LockFilePathFor(selects(1))); // Ben closed it
    EXPECT_TRUE(history.Undo(production, mover).done);
    EXPECT_TRUE(fs::exists(shot(1)));
}

TEST_F(OrganisingHistoryTest, UndoOfAFolderMoveIsRefusedWhileAnotherEditorHoldsAProjectInIt) {
    const fs::path moved = production / "Selects" / "Dailies";
    MoveAndRecord(host::OrganisingStepKind::kMove, {{production / "Dailies", moved}});
    testsupport::LockAsAnotherEditor(moved / "Shot 2.mvproj", "Ben Okafor");
    const host::HistoryOutcome outcome = history.Undo(production, mover);
    EXPECT_EQ(outcome.refusal, "\"Dailies\" holds a project another editor has open.");
    EXPECT_TRUE(fs::exists(moved / "Shot 2.mvproj"));
    EXPECT_FALSE(fs::exists(production / "Dailies"));
}

TEST_F(OrganisingHistoryTest, RedoIntoTheTrashIsRefusedForAProjectOpenHere) {
    const fs::path trashed = production / "Trash" / "Shot 1.mvproj";
    MoveAndRecord(host::OrganisingStepKind::kMoveToTrash, {{shot(1), trashed}});
    EXPECT_EQ(history.UndoLabel(production), "Undo Move to Trash of \"Shot 1\"");
    ASSERT_TRUE(history.Undo(production, mover).done);
    testsupport::LockAsAnotherEditor(shot(1), host::CurrentLockingIdentity().name);
    const host::HistoryOutcome outcome = history.Redo(production, mover);
    EXPECT_EQ(outcome.refusal, "\"Shot 1\" is open here: close it first.");
    EXPECT_TRUE(fs::exists(shot(1)));
    EXPECT_FALSE(fs::exists(trashed));
}

TEST_F(OrganisingHistoryTest, UndoOfANewFolderRemovesItOnlyWhileItIsEmpty) {
    const fs::path folder = production / "Scenes";
    fs::create_directory(folder);
    history.Record({host::OrganisingStepKind::kNewFolder, {}, {W(folder)}}, production);
    EXPECT_EQ(history.UndoLabel(production), "Undo New Folder \"Scenes\"");

    std::ofstream(folder / "Scene 1.mvproj") << "kept\n"; // someone put a project in it
    const host::HistoryOutcome outcome = history.Undo(production, mover);
    EXPECT_EQ(outcome.refusal, "\"Scenes\" is no longer empty: something was put in it.");
    EXPECT_EQ(testsupport::ReadBytes(folder / "Scene 1.mvproj"), "kept\n");

    fs::remove(folder / "Scene 1.mvproj");
    EXPECT_TRUE(history.Undo(production, mover).done);
    EXPECT_FALSE(fs::exists(folder));
    EXPECT_TRUE(history.Redo(production, mover).done);
    EXPECT_TRUE(fs::is_directory(folder));
}

TEST_F(OrganisingHistoryTest, UndoOfACopyPutsTheCopyInTheTrashBesideWhatIsThereAndRedoBringsIt) {
    const fs::path copy = production / "Dailies" / "Shot 1 copy.mvproj";
    fs::copy_file(shot(1), copy);
    std::ofstream(production / "Trash" / "Shot 1 copy.mvproj") << "trashed earlier\n";
    history.Record({host::OrganisingStepKind::kCopy, {}, {W(copy)}}, production);
    EXPECT_EQ(history.UndoLabel(production), "Undo Copy of \"Shot 1 copy\"");

    ASSERT_TRUE(history.Undo(production, mover).done);
    EXPECT_FALSE(fs::exists(copy));
    EXPECT_EQ(testsupport::ReadBytes(production / "Trash" / "Shot 1 copy.mvproj"),
              "trashed earlier\n");
    EXPECT_EQ(testsupport::ReadBytes(production / "Trash" / "Shot 1 copy_1.mvproj"),
              "Shot 1.mvproj\n");

    ASSERT_TRUE(history.Redo(production, mover).done);
    EXPECT_EQ(testsupport::ReadBytes(copy), "Shot 1.mvproj\n");
    EXPECT_FALSE(fs::exists(production / "Trash" / "Shot 1 copy_1.mvproj"));
}

TEST_F(OrganisingHistoryTest, ACopyIsNotUndoneWhileProjectsAreStillBeingCopied) {
    const fs::path copy = production / "Dailies 2";
    fs::create_directory(copy);
    history.Record({host::OrganisingStepKind::kCopy, {}, {W(copy)}}, production);
    // A copy of a project into it is under way, held at its start.
    std::atomic<bool> release{false};
    host::ProjectImport& import = host::ProjectImport::Instance();
    import.SetCopyHookForTesting([&release] {
        while (!release.load()) {
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
}
} // namespace
);
import.Add({shot(1)}, copy);

const host::HistoryOutcome outcome = history.Undo(production, mover);
EXPECT_EQ(outcome.refusal, "\"Dailies 2\" is still being copied: try again once the copies "
                           "are done.");
EXPECT_TRUE(fs::is_directory(copy));
release = true;
ASSERT_TRUE(import.Wait(30000));
import.SetCopyHookForTesting({});
import.ClearFinished();

EXPECT_TRUE(history.Undo(production, mover).done);
EXPECT_EQ(testsupport::ReadBytes(production / "Trash" / "Dailies 2" / "Shot 1.mvproj"),
          "Shot 1.mvproj\n");
}

TEST_F(OrganisingHistoryTest, ANewStepClearsWhatCouldBeRedone) {
    MoveThreeShotsToSelects();
    ASSERT_TRUE(history.Undo(production, mover).done);
    EXPECT_TRUE(history.CanRedo(production));
    MoveAndRecord(host::OrganisingStepKind::kRename,
                  {{shot(1), production / "Dailies" / "Opening.mvproj"}});
    EXPECT_FALSE(history.CanRedo(production));
    EXPECT_EQ(history.RedoLabel(production), "Redo");
}

TEST_F(OrganisingHistoryTest, StepsOfAnotherProductionAreNeitherOfferedNorDone) {
    MoveThreeShotsToSelects();
    const fs::path other = temporary.Path() / "Trailer";
    EXPECT_FALSE(history.CanUndo(other));
    EXPECT_EQ(history.UndoLabel(other), "Undo");
    EXPECT_FALSE(history.Undo(other, mover).done);
    EXPECT_EQ(moves, 0);
    EXPECT_TRUE(fs::exists(selects(1)));
}

TEST_F(OrganisingHistoryTest, MovesMadeWhileAStepIsUndoneAreNotStepsOfTheirOwn) {
    MoveThreeShotsToSelects();
    // The panel's move tells the history of what it did, as it does for any move.
    const host::HistoryMover telling = [this](const fs::path& from, const fs::path& to) {
        const bool moved = host::Move(W(from), W(to)) >= 0;
        history.Record({host::OrganisingStepKind::kMove, {{W(from), W(to)}}, {}}, production);
        return moved;
    };
    ASSERT_TRUE(history.Undo(production, telling).done);
    EXPECT_EQ(history.UndoCount(), 0u);
    EXPECT_TRUE(history.CanRedo(production));
}

TEST_F(OrganisingHistoryTest, AnItemThatFailsToGoBackStaysToBeUndoneAndTheRestCanBeRedone) {
    MoveThreeShotsToSelects();
    const host::HistoryMover failingOnTwo = [this](const fs::path& from, const fs::path& to) {
        return from.filename() != "Shot 2.mvproj" && host::Move(W(from), W(to)) >= 0;
    };
    const host::HistoryOutcome outcome = history.Undo(production, failingOnTwo);
    EXPECT_FALSE(outcome.done);
    EXPECT_EQ(outcome.refusal, "\"Shot 2\" could not be moved.");
    EXPECT_TRUE(fs::exists(shot(1)));
    EXPECT_TRUE(fs::exists(selects(2)));
    EXPECT_TRUE(fs::exists(shot(3)));
    EXPECT_EQ(history.UndoLabel(production), "Undo Move of \"Shot 2\"");
    EXPECT_EQ(history.RedoLabel(production), "Redo Move of 2 Items");
}

TEST_F(OrganisingHistoryTest, NothingIsRecordedWithoutAProduction) {
    history.Record({host::OrganisingStepKind::kNewFolder, {}, {W(production / "X")}}, {});
    EXPECT_EQ(history.UndoCount(), 0u);
}

// On a share whose server stops answering, Undo says so instead of holding the window, and
// moves nothing; once the server answers again, the step goes back.
TEST(OrganisingHistoryOnAShareTest, UndoOnAShareThatStopsAnsweringRefusesAndMovesNothing) {
    if (const std::string why = testsupport::SshShare::WhyUnavailable(); !why.empty()) {
        GTEST_SKIP() << why;
    }
    const testsupport::TemporaryFolder exported("organising-history-export");
    const testsupport::TemporaryFolder work("organising-history-share");
    fs::create_directories(exported.Path() / "Pilot" / "Dailies");
    std::ofstream(exported.Path() / "Pilot" / "Dailies" / "Shot 1.mvproj") << "shot\n";
    testsupport::SshShare share;
    ASSERT_EQ(share.Start(exported.Path(), work.Path() / "mount", work.Path() / "ssh"), "");
    const fs::path production = work.Path() / "mount" / "Pilot";
    const fs::path before = production / "Dailies" / "Shot 1.mvproj";
    const fs::path after = production / "Shot 1.mvproj";
    ASSERT_EQ(host::Move(host::ToUTF16(before.string()), host::ToUTF16(after.string())), 0);
    host::OrganisingHistory history;
    history.Record({host::OrganisingStepKind::kMove,
                    {{host::ToUTF16(before.string()), host::ToUTF16(after.string())}},
                    {}},
                   production);
    int moves = 0;
    const host::HistoryMover mover = [&moves](const fs::path& from, const fs::path& to) {
        ++moves;
        return host::Move(host::ToUTF16(from.string()), host::ToUTF16(to.string())) >= 0;
    };

    // The open production's folder is guarded, as the application guards it.
    host::files::GuardFolder(production, std::chrono::milliseconds(200));
    share.FreezeServer();
    const host::HistoryOutcome outcome = history.Undo(production, mover);
    share.ThawServer();
    host::files::FolderAnswersAgain();
    EXPECT_FALSE(outcome.done);
    EXPECT_EQ(outcome.refusal, "The production's folder did not answer in time: nothing was "
                               "moved. Try again once it answers.");
    EXPECT_EQ(moves, 0);

    EXPECT_TRUE(history.Undo(production, mover).done);
    EXPECT_TRUE(fs::exists(exported.Path() / "Pilot" / "Dailies" / "Shot 1.mvproj"));
    EXPECT_FALSE(fs::exists(exported.Path() / "Pilot" / "Shot 1.mvproj"));
    host::files::GuardFolder({}, std::chrono::milliseconds(200));
    share.Stop();
}

} // namespace
