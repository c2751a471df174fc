#pragma once
// The Production panel over a small production (projects at the top and in a folder, a folder
// project, plain files, a hidden file), shown on the offscreen platform, with helpers to wait
// for its tree and find rows by path.
#include "Marvane/projectbackend/ProjectFormats.h"
#include "Marvane/uiframework/TabViewImpl.h"
#include "ProductionFixture.h"
#include "ViewTestSupport.h"
#include "directoryview/TandrelDirectoryView.h"
#include "host/ApplicationLayer.h"
#include "host/FileServices.h"
#include "panel/TandrelTabView.h"

#include <QElapsedTimer>
#include <functional>

namespace testsupport {

namespace fs = std::filesystem;
using HandlerTandrel::TandrelDirectoryView;
using HandlerTandrel::TandrelTabView;
using host::TreeRowPtr;

// Counts the selection notices of the directory view.
class SelectionNotices : public host::Listener {
public:
    void ReceiveMessage(const host::Message& message) override {
        count +=
            message.GetTypeID() == HandlerTandrel::DirectoryViewSelectionChangedMessage::kTypeID
                ? 1
                : 0;
    }
    int count = 0;
};

class TandrelDirectoryViewTest : public testsupport::ProductionFixture {
protected:
    void SetUp() override {
        ProductionFixture::SetUp();
        host::SetFolderProjectFormatEnabled(true);
        testsupport::WriteProject(production / "Scene 12.mvproj");
        testsupport::WriteProject(production / "Promo.mvproj");
        testsupport::WriteProject(production / "Edit" / "Reel 1.mvproj");
        testsupport::WriteProject(production / "Edit" / "Reel 2.mvproj");
        testsupport::WriteProject(production / "Titles.mvprojd");
        Write(production / "notes.txt", "notes");
        Write(production / "Scene 12.mvproj.lock", "not a lock, but present");
        Write(production / "cut.mvproj.bak", "a backup");
        Write(production / "Hidden" / ".cache", "x");
    }
    void TearDown() override {
        panel.reset();
        host::WaitForDefaultExecutor(10000);
        SettleEvents(20);
        ProductionFixture::TearDown();
    }
    // Makes the panel (which makes the tree for the open production) and waits for the top.
    void OpenPanel(std::size_t expectedTopRows) {
        panel = std::make_shared<TandrelTabView>();
        panel->PostSharedPtrInit();
        panel->Create(1, "Production", nullptr, 0);
        panel->GetImpl()->content->resize(600, 300);
        panel->GetImpl()->content->show();
        ASSERT_TRUE(WaitUntil([&] {
            return static_cast<std::size_t>(View().GetTree().GetTopLevelRowCount()) ==
                   expectedTopRows;
        })) << "top rows: "
            << View().GetTree().GetTopLevelRowCount();
    }
    TandrelDirectoryView& View() const { return *panel->GetDirectoryView(); }
    static bool WaitUntil(const std::function<bool()>& condition, int timeoutMs = 10000) {
        return ::WaitUntil(condition, timeoutMs);
    }
    TreeRowPtr RowOf(const fs::path& path) const { return View().GetRowForPath(W(path)); }
    std::vector<std::string> TopNames() const {
        std::vector<std::string> names;
        for (int index = 0; index < View().GetTree().GetTopLevelRowCount(); ++index) {
            names.push_back(host::ToUTF8(
                host::GetPathFileName(View().GetRowPath(View().GetTree().GetTopLevelRow(index)))));
        }
        return names;
    }
    void OpenFolder(const fs::path& folder, int expectedChildren) {
        const TreeRowPtr row = RowOf(folder);
        ASSERT_NE(row, nullptr) << folder;
        View().GetTree().OpenRow(row, true);
        ASSERT_TRUE(WaitUntil([&] {
            return expectedChildren == 0 ? View().GetTree().RowHasCustomChild(row)
                                         : row->GetChildCount() == expectedChildren;
        }));
    }

    std::shared_ptr<TandrelTabView> panel;
};

} // namespace testsupport
