#pragma once
// A real main window with the Production panel over a real production folder, dialogs and
// context menus answered by a scripted responder, the panel focused for commands.
#include "Marvane/app/MainWindow.h"
#include "Marvane/application/HostSession.h"
#include "Marvane/application/ProductionSession.h"
#include "Marvane/core/DefaultExecutor.h"
#include "Marvane/fileservices/FailureNotices.h"
#include "Marvane/panelframework/Registries.h"
#include "Marvane/uiframework/CommandDispatch.h"
#include "Marvane/uiframework/DialogResponder.h"
#include "Marvane/uiframework/DockWorkspace.h"
#include "TestProjects.h"
#include "base/ProductionCommands.h"
#include "base/TandrelIDs.h"
#include "directoryview/TandrelDirectoryView.h"
#include "panel/TandrelTabView.h"

#include <filesystem>
#include <stdexcept>
#include <string_view>

#include "ViewTestSupport.h"

namespace testsupport {

class PanelWindow {
public:
    // Opens the production (its folder must exist) and waits for its top rows.
    PanelWindow(const std::filesystem::path& production, const std::filesystem::path& profile,
                int topRows) {
        host::HostSession::Instance().profileDirectory = profile;
        host::files::TakeFailures(); // what tests before noted without a window is not told
        HandlerTandrel::DeclareProductionCommands(host::ShortcutManager::Instance());
        host::PanelFrameworkRegistry::Instance().CreateRegisteredHandlers();
        window = std::make_unique<host::MainWindow>();
        window->show();
        previous = host::SetDialogResponder(responder);
        if (!host::ProductionSession::Instance().Open(production).empty()) {
            throw std::runtime_error("the production did not open");
        }
        SettleEvents();
        if (!WaitUntil([&] { return Tree().GetTopLevelRowCount() == topRows; })) {
            throw std::runtime_error("the production's top rows never came");
        }
        host::CommandDispatcher::Instance().SetFocusedTabView(Panel());
    }
    ~PanelWindow() {
        host::SetDialogResponder(previous);
        CloseAllProjects();
        window.reset();
        host::WaitForDefaultExecutor(10000);
        host::ProductionSession::Instance().Close();
        host::HostSession::Instance().profileDirectory.clear();
    }
    PanelWindow(const PanelWindow&) = delete;
    PanelWindow& operator=(const PanelWindow&) = delete;

    std::shared_ptr<HandlerTandrel::TandrelTabView> Panel() const {
        return std::dynamic_pointer_cast<HandlerTandrel::TandrelTabView>(
            window->GetWorkspace().GetTabView(HandlerTandrel::kMvProductionFolderHandlerID));
    }
    HandlerTandrel::TandrelDirectoryView& View() const {
        const auto panel = Panel();
        if (!panel || !panel->GetDirectoryView()) {
            throw std::logic_error("the panel or its tree is missing");
        }
        return *panel->GetDirectoryView();
    }
    host::UI_MultiColumnTree& Tree() const { return View().GetTree(); }
    host::TreeRowPtr Row(const std::filesystem::path& path) const {
        return View().GetRowForPath(host::ToUTF16(path.string()));
    }
    // Makes the rows at the paths the selection (each must be shown).
    void Select(const std::vector<std::filesystem::path>& paths) const {
        Tree().DeselectAllRows();
        for (const std::filesystem::path& path : paths) {
            const host::TreeRowPtr row = Row(path);
            if (!row) {
                throw std::logic_error("no row for " + path.string());
            }
            Tree().SelectRow(row, host::RowSelection::kAddRow, host::SelectionNotice::kTell);
        }
    }
    // Carries a command out through the chain, as a menu does; whether somebody did.
    bool Obey(host::CommandID id) const {
        return host::CommandDispatcher::Instance().FindStatus(id).enabled &&
               host::CommandDispatcher::Instance().Obey(id);
    }
    // Whether a message box of that title was shown.
    bool Said(std::string_view title) const {
        for (const host::MessageBoxRequest& request : responder->GetRequests()) {
            if (request.title == title) {
                return true;
            }
        }
        return false;
    }
    bool IsEnabled(host::CommandID id) const {
        return host::CommandDispatcher::Instance().FindStatus(id).enabled;
    }

    std::unique_ptr<host::MainWindow> window;
    std::shared_ptr<host::ScriptedDialogResponder> responder =
        std::make_shared<host::ScriptedDialogResponder>();

private:
    std::shared_ptr<host::DialogResponder> previous;
};

} // namespace testsupport
