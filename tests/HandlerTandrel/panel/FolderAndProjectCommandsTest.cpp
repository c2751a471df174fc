// New Folder, New Project, the read-only toggle, Refresh All and Save All, carried out through
// the command chain as the menus do, in a real main window over a real production.
#include "DeepTrees.h"
#include "FileBytes.h"
#include "Marvane/application/ProjectImport.h"
#include "Marvane/fileservices/AccessDeadline.h"
#include "Marvane/fileservices/FileCopy.h"
#include "Marvane/uitoolkit/TreeView.h"
#include "PanelWindow.h"
#include "TemporaryFolder.h"
#include "host/ApplicationLayer.h"
#include "host/OpenProjects.h"
#include "host/ProjectBackEnd.h"

#include <QTreeView>
#include <algorithm>
#include <atomic>
#include <chrono>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <set>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>

namespace {

namespace fs = std::filesystem;
using namespace HandlerTandrel;

class FolderAndProjectCommandsTest : public ::testing::Test {
protected:
    static fs::path Production(const testsupport::TemporaryFolder& folder) {
        const fs::path pilot = folder.Path() / "Pilot";
        testsupport::WriteProject(pilot / "Scene 4.mvproj");
        testsupport::WriteProject(pilot / "Scene 12.mvproj");
        testsupport::WriteProject(pilot / "Dailies" / "Shot 1.mvproj");
        fs::create_directories(pilot / "Trash");
        return pilot;
    }
    // A chain of folders deeper than a full path may reach, made folder by folder, with a
    // project at its bottom.
    fs::path MakeChainPastThePathLimit() const {
        const fs::path chain = pilot / "Chain";
        testsupport::MakeDeepChain(chain, "Level", kChainDepth, "notes at the bottom");
        int folder = ::open(chain.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
        for (int level = 0; level < kChainDepth && folder >= 0; ++level) {
            const int next = ::openat(folder, "Level", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
            ::close(folder);
            folder = next;
        }
        const int project = ::openat(folder, "Deep.mvproj", O_CREAT | O_WRONLY | O_CLOEXEC, 0644);
        EXPECT_GE(project, 0);
        ::close(project);
        ::close(folder);
        return chain;
    }
    static constexpr int kChainDepth = 900; // 900 x "/Level" is past 4,095 bytes

    host::ScriptedDialogResponder& Responder() const { return *panel.responder; }
    // Whether the item's row is drawn in the tree's viewport.
    bool InView(const fs::path& path) const {
        const QTreeView& view = *panel.Tree().GetImpl()->view;
        const host::TreeRowPtr row = panel.Row(path);
        return row != nullptr && view.viewport()->rect().intersects(
                                     view.visualRect(panel.Tree().GetImpl()->model.IndexOf(row)));
    }
    bool OnlySelected(const fs::path& path) const {
        const std::vector<host::WideString> selected = panel.View().GetSelectedPaths();
        return selected.size() == 1 && host::ToUTF8(selected[0]) == path.string();
    }
    // Enough projects at the top that the list scrolls.
    void AddTakes(const fs::path& folder) const {
        for (int take = 1; take <= 80; ++take) {
            testsupport::WriteProject(folder / ("Take " + std::to_string(100 + take) + ".mvproj"));
        }
    }
    std::string Folders(const fs::path& folder) const {
        std::vector<std::string> names;
        for (const auto& entry : fs::directory_iterator(folder)) {
            if (entry.is_directory()) {
                names.push_back(entry.path().filename().string());
            }
        }
        std::sort(names.begin(), names.end());
        std::string text;
        for (const std::string& name : names) {
            text += (text.empty() ? "" : "|") + name;
        }
        return text;
    }

    const testsupport::TemporaryFolder temporary{"panel-commands"};
    const fs::path pilot = Production(temporary);
    testsupport::PanelWindow panel{pilot, temporary.Path() / "profile", 4};
};

TEST_F(FolderAndProjectCommandsTest, NewFolderWithNothingSelectedMakesItAtTheTopAndShowsIt) {
    Responder().AddText("Music");
    ASSERT_TRUE(panel.Obey(kCmdNewFolder));
    EXPECT_TRUE(fs::is_directory(pilot / "Music"));
    ASSERT_EQ(Responder().GetTextRequests().size(), 1u);
    EXPECT_EQ(Responder().GetTextRequests()[0].title, "New Folder");
    EXPECT_EQ(Responder().GetTextRequests()[0].label, "Name");
    EXPECT_EQ(Responder().GetTextRequests()[0].initialText, "Untitled");
    EXPECT_TRUE(WaitUntil([&] { return panel.Row(pilot / "Music") != nullptr; }));
}

TEST_F(FolderAndProjectCommandsTest, NewFolderWithAProjectSelectedMakesItBesideTheProject) {
    panel.Tree().OpenRow(panel.Row(pilot / "Dailies"), true);
    ASSERT_TRUE(
        WaitUntil([&] { return panel.Row(pilot / "Dailies" / "Shot 1.mvproj") != nullptr; }));
    panel.Select({pilot / "Dailies" / "Shot 1.mvproj"});
    Responder().AddText("Day 2");
    ASSERT_TRUE(panel.Obey(kCmdNewFolder));
    EXPECT_TRUE(fs::is_directory(pilot / "Dailies" / "Day 2"));
    EXPECT_FALSE(fs::exists(pilot / "Dailies" / "Shot 1.mvproj" / "Day 2"));
}

TEST_F(FolderAndProjectCommandsTest, NewFolderWithAFolderSelectedMakesItInside) {
    panel.Select({pilot / "Dailies"});
    Responder().AddText("Day 9");
    ASSERT_TRUE(panel.Obey(kCmdNewFolder));
    EXPECT_TRUE(fs::is_directory(pilot / "Dailies" / "Day 9"));
}

TEST_F(FolderAndProjectCommandsTest, AnExistingNameSaysSoAndAsksAgainWithThatName) {
    Responder().AddText("Dailies");
    Responder().AddText("Dailies 2");
    ASSERT_TRUE(panel.Obey(kCmdNewFolder));
    ASSERT_EQ(Responder().GetRequests().size(), 1u);
    EXPECT_EQ(Responder().GetRequests()[0].title, "Directory Exists");
    EXPECT_EQ(Responder().GetRequests()[0].text, "Directory already exists");
    ASSERT_EQ(Responder().GetTextRequests().size(), 2u);
    EXPECT_EQ(Responder().GetTextRequests()[1].initialText, "Dailies");
    EXPECT_TRUE(fs::is_directory(pilot / "Dailies 2"));
}

TEST_F(FolderAndProjectCommandsTest, CancelAfterAnExistingNameMakesNothing) {
    const std::string before = Folders(pilot);
    Responder().AddText("Dailies"); // then no text left: the box is cancelled
    ASSERT_TRUE(panel.Obey(kCmdNewFolder));
    EXPECT_EQ(Folders(pilot), before);
}

TEST_F(FolderAndProjectCommandsTest, AnInvalidNameIsRefusedWithTheCharactersAndAskedAgain) {
    const std::string before = Folders(pilot);
    Responder().AddText("a/b");
    Responder().AddText("");
    Responder().AddText(std::string(256, 'x'));
    ASSERT_TRUE(panel.Obey(kCmdNewFolder));
    ASSERT_EQ(Responder().GetRequests().size(), 3u);
    EXPECT_EQ(Responder().GetRequests()[0].title, "Invalid Name");
    EXPECT_EQ(Responder().GetRequests()[0].text,
              "A valid name cannot be empty and cannot contain any of the following "
              "characters:\n/");
    EXPECT_EQ(Responder().GetTextRequests().size(), 4u); // asked again each time, then cancelled
    EXPECT_EQ(Folders(pilot), before);
}

TEST_F(FolderAndProjectCommandsTest, NewProjectOffersUntitledProjectInTheSelectedFolderAndOpensIt) {
    panel.Select({pilot / "Dailies"});
    Responder().AddText("Untitled Project");
    ASSERT_TRUE(panel.Obey(kCmdNewProject));
    ASSERT_EQ(Responder().GetTextRequests().size(), 1u);
    EXPECT_EQ(Responder().GetTextRequests()[0].title, "New Project");
    EXPECT_EQ(Responder().GetTextRequests()[0].label, "Name of the new project:");
    EXPECT_EQ(Responder().GetTextRequests()[0].initialText, "Untitled Project");
    const fs::path made = pilot / "Dailies" / "Untitled Project.mvproj";
    EXPECT_TRUE(fs::exists(made));
    EXPECT_NE(host::FindOpenProject(made.string()), nullptr);
}

TEST_F(FolderAndProjectCommandsTest, NewProjectOffersTheNextNumberWhenUntitledProjectIsTaken) {
    testsupport::WriteProject(pilot / "Untitled Project.mvproj");
    // A lock left without its project still takes the name.
    std::ofstream(pilot / "Untitled Project 2.mvproj.lock") << "Ben Okafor\n";
    Responder().AddText("Untitled Project 3");
    ASSERT_TRUE(panel.Obey(kCmdNewProject));
    ASSERT_EQ(Responder().GetTextRequests().size(), 1u);
    EXPECT_EQ(Responder().GetTextRequests()[0].initialText, "Untitled Project 3");
    EXPECT_TRUE(fs::exists(pilot / "Untitled Project 3.mvproj"));
}

TEST_F(FolderAndProjectCommandsTest, NewProjectCancelledMakesNothingAndSaysNothing) {
    const auto names = [&] {
        std::set<std::string> all;
        for (const auto& entry : fs::directory_iterator(pilot)) {
            all.insert(entry.path().filename().string());
        }
        return all;
    };
    const std::set<std::string> before = names();
    ASSERT_TRUE(panel.Obey(kCmdNewProject));
    EXPECT_EQ(Responder().GetTextRequests().size(), 1u);
    EXPECT_TRUE(Responder().GetRequests().empty());
    EXPECT_EQ(names(), before);
    EXPECT_EQ(host::OpenProjectCount(), 0u);
}

TEST_F(FolderAndProjectCommandsTest, NewProjectUnderATakenNameSaysSoReplacesNothingAndAsksAgain) {
    const std::string scene = testsupport::ReadBytes(pilot / "Scene 4.mvproj");
    Responder().AddText("Scene 4");
    ASSERT_TRUE(panel.Obey(kCmdNewProject)); // then cancelled
    ASSERT_TRUE(panel.Said("Name Taken"));
    EXPECT_NE(Responder().GetRequests()[0].text.find("\"Scene 4.mvproj\" already exists"),
              std::string::npos)
        << Responder().GetRequests()[0].text;
    ASSERT_EQ(Responder().GetTextRequests().size(), 2u);
    EXPECT_EQ(Responder().GetTextRequests()[1].initialText, "Scene 4");
    EXPECT_EQ(testsupport::ReadBytes(pilot / "Scene 4.mvproj"), scene);
    EXPECT_EQ(host::FindOpenProject((pilot / "Scene 4.mvproj").string()), nullptr);
}

TEST_F(FolderAndProjectCommandsTest, NewProjectRefusesAnInvalidNameAndTakesATypedExtensionOnce) {
    Responder().AddText("Reel/1");
    Responder().AddText("Reel 1.MVPROJ");
    ASSERT_TRUE(panel.Obey(kCmdNewProject));
    EXPECT_TRUE(panel.Said("Invalid Name"));
    EXPECT_FALSE(fs::exists(pilot / "Reel"));
    EXPECT_TRUE(fs::exists(pilot / "Reel 1.mvproj"));
    EXPECT_FALSE(fs::exists(pilot / "Reel 1.MVPROJ.mvproj"));
}

TEST_F(FolderAndProjectCommandsTest, NewFolderAndNewProjectAreOffInTheTrash) {
    panel.Select({pilot / "Trash"});
    EXPECT_FALSE(panel.IsEnabled(kCmdNewFolder));
    EXPECT_FALSE(panel.IsEnabled(kCmdNewProject));
}

TEST_F(FolderAndProjectCommandsTest, TheToggleSwitchesOpenProjectsBetweenReadOnlyAndReadWrite) {
    testsupport::OpenProject(pilot / "Scene 4.mvproj");
    panel.Select({pilot / "Scene 4.mvproj"});
    ASSERT_TRUE(panel.Obey(kCmdToggleLock));
    const host::ProjectPtr project = host::FindOpenProject((pilot / "Scene 4.mvproj").string());
    ASSERT_NE(project, nullptr);
    EXPECT_TRUE(project->IsReadOnly());
    EXPECT_EQ(host::CommandDispatcher::Instance().FindStatus(kCmdToggleLock).label,
              "Read-Write Mode");
    ASSERT_TRUE(panel.Obey(kCmdToggleLock));
    EXPECT_FALSE(project->IsReadOnly());
}

TEST_F(FolderAndProjectCommandsTest, RefreshAllReloadsOutOfDateProjectsAndKeepsTheActiveOne) {
    const fs::path scene12 = pilot / "Scene 12.mvproj";
    const auto readOnly = testsupport::OpenProject(scene12, host::OpenMode::ReadOnly);
    const auto active = testsupport::OpenProject(pilot / "Scene 4.mvproj");
    host::SetActiveProject(active);
    testsupport::WriteProject(scene12, {"Sequence 1", "Ben's cut"});
    ASSERT_TRUE(readOnly->IsOutOfDate());
    ASSERT_TRUE(panel.Obey(kCmdRefreshAllProjects));
    EXPECT_FALSE(readOnly->IsOutOfDate());
    EXPECT_EQ(readOnly->Content().sequences.back(), "Ben's cut");
    EXPECT_EQ(host::GetActiveProject(), active);
}

TEST_F(FolderAndProjectCommandsTest, SaveAllSavesTheProductionsWritableProjectsOnly) {
    const fs::path outside = temporary.Path() / "Elsewhere" / "Promo.mvproj";
    testsupport::WriteProject(outside);
    const auto inside = testsupport::OpenProject(pilot / "Scene 4.mvproj");
    const auto other = testsupport::OpenProject(outside);
    for (const auto& project : {inside, other}) {
        host::ProjectContent content = project->Content();
        content.sequences.push_back("Unsaved");
        project->EditContent(content);
    }
    ASSERT_TRUE(panel.Obey(kCmdSaveAllProjects));
    EXPECT_FALSE(inside->IsModified());
    EXPECT_TRUE(other->IsModified());
}

} // namespace

namespace {

TEST_F(FolderAndProjectCommandsTest, MakeACopyOfTwoProjectsCopiesEachBesideItselfUnderItsOwnName) {
    panel.Select({pilot / "Scene 4.mvproj", pilot / "Scene 12.mvproj"});
    ASSERT_TRUE(panel.Obey(kCmdMakeACopy));
    ASSERT_TRUE(host::ProjectImport::Instance().Wait(30000));
    EXPECT_TRUE(fs::exists(pilot / "Scene 4_1.mvproj"));
    EXPECT_TRUE(fs::exists(pilot / "Scene 12_1.mvproj"));
    EXPECT_EQ(testsupport::ReadBytes(pilot / "Scene 4_1.mvproj"),
              testsupport::ReadBytes(pilot / "Scene 4.mvproj"));
    testsupport::StopProjectImport();
}

TEST_F(FolderAndProjectCommandsTest, TheCopyMadeIsSelectedAndScrolledIntoView) {
    // Enough rows that the top of the list is out of view once scrolled to the end.
    AddTakes(pilot);
    const fs::path first = pilot / "Scene 12.mvproj";
    ASSERT_TRUE(WaitUntil([&] { return panel.Tree().GetTopLevelRowCount() == 84; }));
    panel.Select({first});
    panel.Tree().GetImpl()->view->scrollToBottom();
    ASSERT_TRUE(WaitUntil([&] { return !InView(first); })) << "the list is too short to scroll";
    ASSERT_TRUE(panel.Obey(kCmdMakeACopy));
    ASSERT_TRUE(host::ProjectImport::Instance().Wait(30000));
    const fs::path copy = pilot / "Scene 12_1.mvproj";
    ASSERT_TRUE(fs::exists(copy));
    EXPECT_TRUE(WaitUntil([&] { return OnlySelected(copy); })) << "the copy was not selected";
    EXPECT_TRUE(WaitUntil([&] { return InView(copy); })) << "the copy is out of view";
    testsupport::StopProjectImport();
}

TEST_F(FolderAndProjectCommandsTest, ANewFolderInAClosedFolderOpensItAndIsSelectedInView) {
    AddTakes(pilot / "Dailies");
    panel.Select({pilot / "Dailies"});
    ASSERT_FALSE(panel.Tree().IsRowOpen(panel.Row(pilot / "Dailies")));
    Responder().AddText("Wrap Day"); // after every take: below the view's end once listed
    ASSERT_TRUE(panel.Obey(kCmdNewFolder));
    const fs::path made = pilot / "Dailies" / "Wrap Day";
    ASSERT_TRUE(fs::is_directory(made));
    EXPECT_TRUE(WaitUntil([&] { return OnlySelected(made); })) << "the folder was not selected";
    EXPECT_TRUE(panel.Tree().IsRowOpen(panel.Row(pilot / "Dailies")));
    EXPECT_TRUE(WaitUntil([&] { return InView(made); })) << "the folder is out of view";
    EXPECT_FALSE(InView(pilot / "Dailies" / "Take 101.mvproj")) << "the list did not scroll";
}

TEST_F(FolderAndProjectCommandsTest, ANewProjectIsSelectedAndScrolledIntoView) {
    AddTakes(pilot);
    ASSERT_TRUE(WaitUntil([&] { return panel.Tree().GetTopLevelRowCount() == 84; }));
    panel.Tree().DeselectAllRows();
    panel.Tree().GetImpl()->view->scrollToTop();
    Responder().AddText("Wrap Party");
    ASSERT_TRUE(panel.Obey(kCmdNewProject));
    const fs::path made = pilot / "Wrap Party.mvproj";
    ASSERT_TRUE(fs::exists(made));
    EXPECT_TRUE(WaitUntil([&] { return OnlySelected(made); })) << "the project was not selected";
    EXPECT_TRUE(WaitUntil([&] { return InView(made); })) << "the project is out of view";
    EXPECT_FALSE(InView(pilot / "Dailies")) << "the list did not scroll";
}

TEST_F(FolderAndProjectCommandsTest, ASelectionMadeBeforeTheCopyArrivesStays) {
    panel.Select({pilot / "Scene 4.mvproj"});
    ASSERT_TRUE(panel.Obey(kCmdMakeACopy));
    panel.Select({pilot / "Dailies"}); // the person goes on before the copy is there
    ASSERT_TRUE(host::ProjectImport::Instance().Wait(30000));
    ASSERT_TRUE(WaitUntil([&] { return panel.Row(pilot / "Scene 4_1.mvproj") != nullptr; }));
    SettleEvents(100);
    const std::vector<host::WideString> selected = panel.View().GetSelectedPaths();
    ASSERT_EQ(selected.size(), 1u);
    EXPECT_EQ(host::ToUTF8(selected[0]), (pilot / "Dailies").string());
    testsupport::StopProjectImport();
}

TEST_F(FolderAndProjectCommandsTest, CopiesMadeByOneCommandAreOneRoundOfProgress) {
    // Small projects copy fast: one may be done before the next is given to the worker. The
    // last one waits until the command is over: a round finished before the progress panel
    // first looks is cleared by it at once (nothing is left to show), and nothing would be
    // left to read here.
    std::atomic<bool> commandOver{false};
    host::ProjectImport& import = host::ProjectImport::Instance();
    import.SetCopyHookForTesting([&commandOver, &import] {
        while (!commandOver.load() && import.Progress().currentProject == "Shot 1.mvproj") {
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
}
} // namespace
);
panel.Select({pilot / "Scene 4.mvproj", pilot / "Scene 12.mvproj", pilot / "Dailies"});
ASSERT_TRUE(panel.Obey(kCmdMakeACopy));
commandOver = true;
ASSERT_TRUE(import.Wait(30000));
import.SetCopyHookForTesting({});
const host::ImportProgress progress = import.Progress();
EXPECT_EQ(progress.projectsTotal, 3u);
EXPECT_EQ(progress.projectsDone, 3u);
EXPECT_EQ(progress.added.size(), 3u);
testsupport::StopProjectImport();
}

TEST_F(FolderAndProjectCommandsTest, MakeACopyOfAFolderCopiesItsFoldersAndItsProjects) {
    fs::create_directories(pilot / "Dailies" / "Day 2" / "Morning");
    testsupport::WriteProject(pilot / "Dailies" / "Day 2" / "Shot 7.mvproj");
    std::ofstream(pilot / "Dailies" / "camera-report.csv") << "not a project";
    panel.Select({pilot / "Dailies"});
    ASSERT_TRUE(panel.Obey(kCmdMakeACopy));
    ASSERT_TRUE(host::ProjectImport::Instance().Wait(30000));
    const fs::path copy = pilot / "Dailies_1";
    EXPECT_TRUE(fs::is_directory(copy / "Day 2" / "Morning"));
    EXPECT_TRUE(fs::exists(copy / "Shot 1.mvproj"));
    EXPECT_TRUE(fs::exists(copy / "Day 2" / "Shot 7.mvproj"));
    EXPECT_FALSE(fs::exists(copy / "camera-report.csv")); // only projects are copied
    EXPECT_TRUE(fs::exists(pilot / "Dailies" / "Shot 1.mvproj"));
    testsupport::StopProjectImport();
}

TEST_F(FolderAndProjectCommandsTest, AFolderNestedTooDeepToCopyWholeIsRefusedBeforeAnythingIsMade) {
    const fs::path chain = MakeChainPastThePathLimit();
    ASSERT_TRUE(WaitUntil([&] { return panel.Row(chain) != nullptr; }));
    panel.Select({chain});
    ASSERT_TRUE(panel.Obey(kCmdMakeACopy));
    ASSERT_EQ(Responder().GetRequests().size(), 1u);
    EXPECT_EQ(Responder().GetRequests()[0].title, "Cannot Make a Copy");
    const std::string& text = Responder().GetRequests()[0].text;
    EXPECT_EQ(text.rfind("\"Chain\" was not copied: it holds items nested so deep", 0), 0u) << text;
    EXPECT_NE(text.find("longer than the 4095 this system takes. Nothing was copied."),
              std::string::npos)
        << text;
    EXPECT_FALSE(fs::exists(pilot / "Chain_1"));
    EXPECT_EQ(host::ProjectImport::Instance().Progress().projectsTotal, 0u);
}

TEST_F(FolderAndProjectCommandsTest, AFolderNestedPastThePathLimitGoesToTheTrashWhole) {
    const fs::path chain = MakeChainPastThePathLimit();
    ASSERT_TRUE(WaitUntil([&] { return panel.Row(chain) != nullptr; }));
    panel.Select({chain});
    ASSERT_TRUE(panel.Obey(kCmdMoveToTrash));
    ASSERT_TRUE(WaitUntil([&] { return !fs::exists(chain); }));
    EXPECT_TRUE(Responder().GetRequests().empty());
    EXPECT_EQ(testsupport::DeepChainLevels(pilot / "Trash" / "Chain", "Level"), kChainDepth);
    EXPECT_EQ(testsupport::ReadDeepChain(pilot / "Trash" / "Chain", "Level", kChainDepth),
              "notes at the bottom");
    host::RemoveTree(pilot / "Trash" / "Chain");
}

TEST_F(FolderAndProjectCommandsTest, CopiesChosenInOneCommandNeverShareAPath) {
    const host::WideString scene = host::ToUTF16((pilot / "Scene 4.mvproj").string());
    const host::WideString first = host::GetMvProductionItemCopyPath(scene, {});
    const host::WideString second = host::GetMvProductionItemCopyPath(scene, {first});
    EXPECT_NE(first, second);
    EXPECT_EQ(host::ToUTF8(second), (pilot / "Scene 4_2.mvproj").string());
}

TEST_F(FolderAndProjectCommandsTest, ACopyPathAmongHundredsChosenWaitsOnTheDiskAFewTimesOnly) {
    const host::WideString scene = host::ToUTF16((pilot / "Scene 4.mvproj").string());
    std::vector<host::WideString> chosen;
    for (int number = 0; number < 300; ++number) {
        chosen.push_back(
            host::ToUTF16((pilot / ("Take " + std::to_string(number) + "_1.mvproj")).string()));
    }
    // Another spelling of the first number's path is still taken.
    chosen.push_back(host::ToUTF16((pilot / "Dailies" / ".." / "Scene 4_1.mvproj").string()));
    const std::uint64_t before = host::files::BoundedAccessCount();
    const host::WideString copy = host::GetMvProductionItemCopyPath(scene, chosen);
    EXPECT_EQ(host::ToUTF8(copy), (pilot / "Scene 4_2.mvproj").string());
    // Before, each chosen path was normalised by itself: over 300 waits for one copy.
    EXPECT_LE(host::files::BoundedAccessCount() - before, 10u);
}

} // namespace

namespace {

TEST_F(FolderAndProjectCommandsTest, AddProjectCopiesThePickedProjectsIntoTheSelectedFolder) {
    const fs::path outside =
        testsupport::WriteProject(temporary.Path() / "Elsewhere" / "Promo.mvproj");
    Responder().AddFileChoice({outside.string()});
    Responder().AddAnswer(0); // Copy
    panel.Select({pilot / "Dailies"});
    ASSERT_TRUE(panel.Obey(kCmdAddProject));
    ASSERT_TRUE(host::ProjectImport::Instance().Wait(30000));
    EXPECT_EQ(Responder().GetFileDialogTitles(), std::vector<std::string>{"Add Project"});
    ASSERT_EQ(Responder().GetRequests().size(), 1u);
    EXPECT_EQ(Responder().GetRequests()[0].title, "Add Projects to Production");
    EXPECT_TRUE(fs::exists(pilot / "Dailies" / "Promo.mvproj"));
    EXPECT_TRUE(fs::exists(outside));
    testsupport::StopProjectImport();
}

TEST_F(FolderAndProjectCommandsTest, CancellingThePickerAddsNothingAndAsksNothingMore) {
    ASSERT_TRUE(panel.Obey(kCmdAddProject)); // no files chosen
    EXPECT_TRUE(Responder().GetRequests().empty());
    EXPECT_EQ(Responder().GetFileDialogTitles().size(), 1u);
}

} // namespace
