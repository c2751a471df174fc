// The production on real network shares: our own SSH server (mounted with sshfs) and our own
// Samba server (mounted with smbnetfs) on 127.0.0.1 export the folder that holds the
// production, the panel opens it through the mount, and the export is changed directly, as
// another editor's machine would change it.
#include "FileBytes.h"
#include "Marvane/application/ProductionWatch.h"
#include "Marvane/fileservices/FileWriting.h"
#include "Marvane/uitoolkit/TextEdit.h"
#include "Marvane/uitoolkit/TreeView.h"
#include "Shares.h"
#include "TandrelDirectoryViewFixture.h"
#include "TestSupport.h"
#include "host/DirectoryMonitor.h"

#include <QLineEdit>
#include <QTest>
#include <QTreeView>

#include <array>
#include <fstream>
#include <iterator>
#include <memory>
#include <poll.h>
#include <sys/inotify.h>
#include <sys/stat.h>

namespace {

namespace fs = std::filesystem;

class NetworkShareTest : public testsupport::TandrelDirectoryViewTest,
                         public ::testing::WithParamInterface<std::string> {
protected:
    void SetUp() override {
        TandrelDirectoryViewTest::SetUp();
        if (const std::string why = testsupport::NetworkShare::WhyUnavailable(); !why.empty()) {
            GTEST_SKIP() << why;
        }
        // The share holds the production folder, as a server's share holds many: when sshfs
        // loses its server it ends and the mount goes, and the production then is not there
        // (rather than an empty folder standing where the mount was).
        host::ProductionSession::Instance().Close();
        const fs::path shareRoot = root / "Export";
        fs::create_directories(shareRoot);
        exported = shareRoot / production.filename();
        fs::rename(production, exported);
        ASSERT_EQ(share->Start(shareRoot, root / "work"), "");
        production = share->Path() / exported.filename();
        ASSERT_EQ(host::ProductionSession::Instance().Open(production), "");
    }
    void TearDown() override {
        panel.reset();
        host::WaitForDefaultExecutor(10000);
        host::DirectoryMonitor::Instance().Reset();
        host::ProductionSession::Instance().Close();
        share->Stop(); // before the fixture removes the folders
        TandrelDirectoryViewTest::TearDown();
    }
    static void Run(const std::string& command) {
        ASSERT_EQ(std::system(command.c_str()), 0) << command;
    }
    static std::string Quoted(const fs::path& path) { return "'" + path.string() + "'"; }

    const std::unique_ptr<testsupport::NetworkShare> share = testsupport::MakeShare(GetParam());
    fs::path exported;
};

// Whether inotify reports anything for `folder` while `change` runs, within a second.
bool NotifiedOf(const fs::path& folder, const std::function<void()>& change) {
    const int handle = ::inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
    if (handle < 0) {
        return false;
    }
    ::inotify_add_watch(handle, folder.c_str(), IN_CREATE | IN_DELETE | IN_MOVE | IN_MODIFY);
    change();
    pollfd ready{handle, POLLIN, 0};
    const bool notified = ::poll(&ready, 1, 1000) > 0;
    ::close(handle);
    return notified;
}

TEST_P(NetworkShareTest, TheKernelNotifiesChangesThroughTheMountButNotThoseMadeBesideIt) {
    EXPECT_FALSE(
        NotifiedOf(production, [&] { Write(exported / "beside.mvproj", "another machine"); }));
    EXPECT_TRUE(NotifiedOf(production, [&] { Write(production / "through.mvproj", "this one"); }));
}

TEST_P(NetworkShareTest, AProductionOnTheShareIsPolledWithoutAnyPreference) {
    ASSERT_FALSE(host::HostSession::Instance().preferences.forcePolling);
    EXPECT_TRUE(host::DoesPathRequirePolling(W(production)));
    EXPECT_TRUE(host::DoesPathRequirePolling(W(production / "Edit")));
    EXPECT_FALSE(host::DoesPathRequirePolling(W(exported)));
    OpenPanel(5);
    OpenFolder(production / "Edit", 2);
    auto& monitor = host::DirectoryMonitor::Instance();
    EXPECT_EQ(monitor.KindOf(production.string()), host::WatchKind::Polled);
    EXPECT_EQ(monitor.KindOf((production / "Edit").string()), host::WatchKind::Polled);
}

TEST_P(NetworkShareTest, ChangesMadeOnAnotherMachineAppearInTheTree) {
    OpenPanel(5);
    ASSERT_NE(RowOf(production / "Promo.mvproj"), nullptr);
    const int wait = 20000; // a few polling rounds
    Run("cp " + Quoted(exported / "Promo.mvproj") + " " + Quoted(exported / "Trailer.mvproj"));
    EXPECT_TRUE(WaitUntil([&] { return RowOf(production / "Trailer.mvproj") != nullptr; }, wait));
    Run("mv " + Quoted(exported / "Promo.mvproj") + " " + Quoted(exported / "Teaser.mvproj"));
    EXPECT_TRUE(WaitUntil(
        [&] { return RowOf(production / "Teaser.mvproj") && !RowOf(production / "Promo.mvproj"); },
        wait));
    Run("mkdir " + Quoted(exported / "Dailies"));
    EXPECT_TRUE(WaitUntil([&] { return RowOf(production / "Dailies") != nullptr; }, wait));
    Run("rm " + Quoted(exported / "Scene 12.mvproj"));
    EXPECT_TRUE(WaitUntil([&] { return RowOf(production / "Scene 12.mvproj") == nullptr; }, wait));
}

TEST_P(NetworkShareTest, AProjectAddedOnAnotherMachineInAnOpenFolderAppears) {
    OpenPanel(5);
    OpenFolder(production / "Edit", 2);
    testsupport::WriteProject(exported / "Edit" / "Reel 3.mvproj");
    EXPECT_TRUE(
        WaitUntil([&] { return RowOf(production / "Edit" / "Reel 3.mvproj") != nullptr; }, 20000));
    EXPECT_EQ(RowOf(production / "Edit")->GetChildCount(), 3);
}

TEST_P(NetworkShareTest, AFolderThatCannotBeReadAgainKeepsItsRowsAndSaysWhy) {
    OpenPanel(5);
    const fs::path edit = production / "Edit";
    OpenFolder(edit, 2);
    const host::TreeRowPtr folder = RowOf(edit);
    const std::uint64_t reads = View().GetDirectoryReadCount();
    // The server goes down and the folder is read again: the read fails, and its projects are
    // still shown, with the folder saying why they may be old.
    share->KillServer();
    View().OnDirectoryChanged(edit.string());
    ASSERT_TRUE(WaitUntil([&] { return !View().GetReadFailure(W(edit)).empty(); }, 20000));
    EXPECT_GT(View().GetDirectoryReadCount(), reads);
    EXPECT_EQ(folder->GetChildCount(), 2);
    EXPECT_NE(RowOf(edit / "Reel 1.mvproj"), nullptr);
    QTreeView* treeView = View().GetTree().GetImpl()->view;
    const QModelIndex index = View().GetTree().GetImpl()->model.IndexOf(folder);
    const std::string tip =
        treeView->model()->data(index, Qt::ToolTipRole).toString().toStdString();
    EXPECT_NE(tip.find("cannot be read now"), std::string::npos) << tip;
    EXPECT_NE(tip.find("what it held when it was last read is shown"), std::string::npos) << tip;
}

// Editors often open the very folder the share is mounted on. When sshfs loses its server it
// ends and takes its mount along: the empty folder beneath is not the production.
TEST_P(NetworkShareTest, AProductionThatIsTheMountItselfIsNotTakenForTheFolderBeneath) {
    if (GetParam() != testsupport::kSshfs) {
        GTEST_SKIP() << "only sshfs ends with its server: smbnetfs keeps its mount, which "
                        "holds a folder per server, so no production is the mount itself";
    }
    const fs::path mount = production.parent_path();
    host::ProductionSession::Instance().Close();
    ASSERT_EQ(host::ProductionSession::Instance().Open(mount), "");
    OpenPanel(1);
    ASSERT_NE(RowOf(production), nullptr);
    const auto mounted = [&] {
        struct stat own {};
        struct stat parent {};
        return ::stat(mount.c_str(), &own) == 0 && ::stat(root.c_str(), &parent) == 0 &&
               own.st_dev != parent.st_dev;
    };
    ASSERT_TRUE(mounted());
    share->KillServer();
    ASSERT_TRUE(WaitUntil([&] { return !mounted(); }, 20000)) << "sshfs kept its mount";
    View().OnDirectoryChanged(mount.string());
    host::WaitForDefaultExecutor(10000);
    host::test::ProcessEventsFor(std::chrono::milliseconds(300));
    EXPECT_EQ(View().GetTree().GetTopLevelRowCount(), 1);
    EXPECT_NE(RowOf(production), nullptr);
    const std::string why = host::LookAtFolder(mount);
    EXPECT_NE(why.find("mounted on the folder is gone"), std::string::npos) << why;
    std::string error;
    EXPECT_EQ(host::PlaceNewFile(mount / "Scene 2.mvproj", "new", error),
              host::PlaceResult::Failed);
    EXPECT_TRUE(fs::is_empty(mount));
}

TEST_P(NetworkShareTest, AFolderRenamedWhileAnotherMachineChangesItShowsTheNewNameAndTheChange) {
    OpenPanel(5);
    OpenFolder(production / "Edit", 2);
    host::UI_MultiColumnTree& tree = View().GetTree();
    tree.SelectRow(RowOf(production / "Edit"), host::RowSelection::kOnlyRow,
                   host::SelectionNotice::kTell);
    View().InstallNameEditText(RowOf(production / "Edit"));
    ASSERT_EQ(tree.GetEditFields().size(), 1u);
    host::UI_TextEdit* edit = tree.GetEditFields().front();
    // While the name is being typed, another machine adds a project to the folder and
    // rewrites one that is there.
    testsupport::WriteProject(exported / "Edit" / "Reel 3.mvproj");
    testsupport::WriteProject(exported / "Edit" / "Reel 1.mvproj", {"Recut"});
    edit->Impl().line->selectAll();
    QTest::keyClicks(edit->Impl().line, "Cut");
    QTest::keyClick(edit->Impl().line, Qt::Key_Return);
    const int wait = 20000;
    EXPECT_TRUE(WaitUntil(
        [&] {
            const host::TreeRowPtr cut = RowOf(production / "Cut");
            return cut && tree.IsRowOpen(cut) && RowOf(production / "Cut" / "Reel 3.mvproj") &&
                   !RowOf(production / "Edit");
        },
        wait));
    EXPECT_TRUE(fs::exists(exported / "Cut" / "Reel 3.mvproj"));
    EXPECT_FALSE(fs::exists(exported / "Edit"));
    EXPECT_EQ(RowOf(production / "Cut")->GetChildCount(), 3);
    EXPECT_NE(testsupport::ReadBytes(exported / "Cut" / "Reel 1.mvproj").find("Recut"),
              std::string::npos);
    EXPECT_EQ(View().GetSelectedPaths(), std::vector<std::u16string>{W(production / "Cut")});
}

INSTANTIATE_TEST_SUITE_P(Shares, NetworkShareTest, ::testing::ValuesIn(testsupport::ShareKinds()),
                         testsupport::ShareParamName());

} // namespace
