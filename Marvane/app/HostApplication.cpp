#include "Marvane/app/HostApplication.h"

#include "Marvane/app/DemoEditor.h"
#include "Marvane/app/EmergencyStop.h"
#include "Marvane/app/HostCommands.h"
#include "Marvane/app/MainWindow.h"
#include "Marvane/app/ScriptConsole.h"
#include "Marvane/app/TerminationSignals.h"
#include "Marvane/app/WindowState.h"
#include "Marvane/application/DemoProduction.h"
#include "Marvane/application/HostSession.h"
#include "Marvane/application/ProductionSession.h"
#include "Marvane/application/ProductionWatch.h"
#include "Marvane/application/ProjectImport.h"
#include "Marvane/application/TuningStore.h"
#include "Marvane/core/DefaultExecutor.h"
#include "Marvane/core/ProfilerReport.h"
#include "Marvane/core/TraceConfiguration.h"
#include "Marvane/documents/DocumentManager.h"
#include "Marvane/documents/Recovery.h"
#include "Marvane/fileservices/MoveJournal.h"
#include "Marvane/fileservices/TemporaryFiles.h"
#include "Marvane/monitor/DirectoryMonitorImpl.h"
#include "Marvane/panelframework/PluginLoader.h"
#include "Marvane/panelframework/Registries.h"
#include "Marvane/projectbackend/LockFiles.h"
#include "Marvane/projectbackend/ProjectFormats.h"
#include "Marvane/uiframework/CommandRegistry.h"
#include "Marvane/uiframework/DialogResponder.h"
#include "Marvane/uiframework/DockWorkspace.h"
#include "Marvane/uiframework/WindowRegistry.h"
#include "host/DebugTrace.h"
#include "host/Localizer.h"

#include <QApplication>
#include <QTimer>
#include <algorithm>
#include <cstdio>
#include <ostream>

namespace host {

namespace {

std::filesystem::path PluginFolder(const CommandLineOptions& options) {
    if (options.plugins) {
        return *options.plugins;
    }
    return std::filesystem::path(QCoreApplication::applicationDirPath().toStdString()) / "plugins";
}

void SetUpSession(const CommandLineOptions& options) {
    HostSession& session = HostSession::Instance();
    if (options.profile) {
        session.profileDirectory = std::filesystem::absolute(*options.profile);
        session.dataDirectory = session.profileDirectory / "data";
    } else {
        session.profileDirectory = DefaultProfileDirectory();
        session.dataDirectory = DefaultDataDirectory();
    }
    session.preferences = LoadPreferences(session.profileDirectory);
    LoadTuningStore(session.profileDirectory);
    session.userOverride = options.user;
    if (!session.preferences.trace.empty() && std::getenv("MARVANE_TRACE") == nullptr) {
        ConfigureTrace(session.preferences.trace);
    }
    SetFolderProjectFormatEnabled(session.preferences.folderProjectFormat);
    DocumentManager::Instance().SetDataDirectory(session.dataDirectory);
    // Copies and moves that an earlier run was stopped in the middle of are tidied up.
    SetMoveJournalFolder(session.dataDirectory / "Moves");
    if (const std::size_t cleaned = FinishInterruptedMoves(); cleaned != 0) {
        Trace("Host", 2, "Tidied up " + std::to_string(cleaned) + " interrupted move(s)");
    }
    // And the hidden files of saves, locks and added projects that such a run left behind.
    SetTemporaryFilesFolder(session.dataDirectory / "Temporary");
    StartRemovingTemporaryFilesOfGoneProcesses();
    // And the locks such a run made for a move and did not live to remove.
    SetLockNotesFolder(session.dataDirectory / "Locks");
    StartReleasingLocksOfGoneRuns();
}

void LoadModules(PluginLoader& loader, const CommandLineOptions& options, std::ostream& err) {
    for (const PluginLoadResult& result : loader.LoadFolder(PluginFolder(options))) {
        if (result.loaded) {
            Trace("Host", 3, "Loaded module " + result.file.string());
        } else {
            err << "marvane: " << result.error << "\n";
            Trace("Host", 1, result.error);
        }
    }
    DeclareRegisteredCommandContexts();
    PanelFrameworkRegistry::Instance().CreateRegisteredHandlers();
}

// Opens the production the user asked for, else the last one, else the demo production.
// A last production that is missing now (a share not mounted yet) is reported and stays the
// last production for the next start.
void OpenStartProduction(const CommandLineOptions& options, MainWindow& window, std::ostream& err) {
    HostSession& session = HostSession::Instance();
    std::filesystem::path folder;
    bool remember = true;
    const std::filesystem::path& last = session.preferences.lastProduction;
    // The last production may be on a share that hangs: the window must come up all the same,
    // saying so, and the production stays the last one for the next start.
    std::optional<std::string> lastLook;
    if (!options.production && !last.empty()) {
        lastLook = LookAtFolderWithin(last, ProductionSession::kOpenDeadline);
        if (!lastLook) {
            const std::string error = ProductionSession::NotAnsweringMessage(last);
            err << "marvane: " << error << " Starting without a production.\n";
            window.SetProductionError(error);
            return;
        }
    }
    if (options.production) {
        folder = *options.production;
    } else if (std::error_code ignored; lastLook && std::filesystem::is_directory(last, ignored)) {
        folder = last; // it answered a moment ago
    } else {
        if (!last.empty()) {
            err << "marvane: the last production \"" << last.string()
                << "\" is not there now; opening the demo production.\n";
            remember = false;
        }
        std::string error;
        folder = EnsureDemoProduction(session.dataDirectory, error);
        if (folder.empty()) {
            err << "marvane: " << error << "\n";
            return;
        }
    }
    const std::string error = ProductionSession::Instance().Open(folder);
    if (!error.empty()) {
        err << "marvane: " << error << " Starting without a production.\n";
        window.SetProductionError(error);
        return;
    }
    if (remember) {
        RememberProduction(session.preferences, ProductionSession::Instance().GetFolder());
        SavePreferences(session.profileDirectory, session.preferences);
    }
}

// Opens the projects named on the command line; a refusal is reported and the rest open.
void OpenStartProjects(const CommandLineOptions& options, MainWindow& window, std::ostream& err) {
    for (const std::filesystem::path& project : options.projects) {
        const OpenResult result = DocumentManager::Instance().Open(project);
        if (!result.project) {
            err << "marvane: " << result.error << "\n";
        }
    }
    window.SyncProjectTabs();
}

// Offers the copies of unsaved changes that an earlier stop kept.
void OfferRecoveredCopies(MainWindow& window) {
    const std::vector<RecoveredCopy> copies =
        FindRecoveredCopies(HostSession::Instance().dataDirectory);
    if (copies.empty()) {
        return;
    }
    const int answer = ShowMessageBox(
        Localize("$$$/Marvane/Host/Recovery/Title=Recovered Changes"),
        Localize("$$$/Marvane/Host/Recovery/Message=When Marvane was last stopped, @0 project(s) "
                 "had changes that were not saved. Copies were kept in @1. Open them now?",
                 {std::to_string(copies.size()),
                  (HostSession::Instance().dataDirectory / "Recovery").string()}),
        {Localize("$$$/Marvane/Host/Recovery/Open=Open Copies"),
         Localize("$$$/Marvane/Host/Recovery/Later=Later")},
        4, 0);
    if (answer != 0) {
        return;
    }
    for (const RecoveredCopy& copy : copies) {
        if (window.OpenProjectFile(copy.copy)) {
            MarkRecoveredCopyOffered(copy);
        }
    }
}

// Stops without asking anyone: changes not saved go to recovery copies, never over the
// projects, and every lock this host holds is removed. A project whose copy could not be
// written is not closed, so its lock stays and tells others it was in use.
void CloseProjectsKeepingChanges(std::ostream& err) {
    KeepChangesBeforeStopping(HostSession::Instance().dataDirectory, err);
    DocumentManager::Instance().CloseAllWithoutAsking();
    ReleaseCreatedLocks();
    // A lock the share kept refusing to remove stays: the editor hears of it, and colleagues
    // can take it over once this process is gone.
    for (const std::string& project : LocksLeftBehind()) {
        const std::string said =
            Localize("$$$/Marvane/Host/Lock/LeftBehind=The lock of \"@0\" could not be removed: "
                     "the share kept refusing. Colleagues can take it over now that you quit.",
                     {project});
        err << "marvane: " << said << "\n";
        Trace("Host", 1, said);
    }
}

void ShutDown(PluginLoader& loader) {
    // Projects still being added are cancelled (nothing half-copied stays) and background
    // work ends before the services it uses go away.
    ProjectImport::Instance().Cancel();
    ProjectImport::Instance().Wait(60000);
    WaitForDefaultExecutor(60000);
    DirectoryMonitor::Instance().Reset();
    ProductionSession::Instance().Close();
    PanelFrameworkRegistry::Instance().ReleaseHandlers();
    loader.ReleaseModules();
    StopRemovingTemporaryFilesOfGoneProcesses(std::chrono::seconds(3));
    CloseTemporaryFilesRecord();
    StopReleasingLocksOfGoneRuns(std::chrono::seconds(3));
    CloseLockNotes();
}

// Runs that nobody watches (a screenshot) never wait for an answer.
void AnswerDialogsWhenNobodyWatches(const CommandLineOptions& options) {
    if (options.screenshot) {
        SetDialogResponder(std::make_shared<ScriptedDialogResponder>());
    }
}

// With --script, commands come from standard input; its end quits, keeping unsaved changes.
std::unique_ptr<ScriptConsole> StartScriptConsole(const CommandLineOptions& options,
                                                  MainWindow& window, std::ostream& err) {
    if (!options.script) {
        return nullptr;
    }
    return std::make_unique<ScriptConsole>(window, [&err] {
        if (!DocumentManager::Instance().CloseAll()) {
            CloseProjectsKeepingChanges(err);
        }
        QCoreApplication::exit(0);
    });
}

// A termination signal leaves the event loop (TerminationSignalReceived then names it).
void StopOnTerminationSignals() {
    InstallTerminationHandler([](int) { QCoreApplication::exit(0); });
}

// The panels that modules registered open in the default layout.
void OpenDefaultLayout(MainWindow& window) {
    for (const RegisteredWindow& registered : GetRegisteredWindows()) {
        window.GetWorkspace().OpenTab(registered.handlerID);
    }
}

// Refreshes the locks we hold and tells the user of every project another editor took over
// (or whose lock they broke): such a project is never written again.
void StartLockHeartbeat(MainWindow& window) {
    auto* heartbeat = new QTimer(&window);
    heartbeat->setObjectName(QStringLiteral("LockHeartbeat"));
    heartbeat->setInterval(HostSession::Instance().preferences.heartbeatSeconds * 1000);
    QObject::connect(heartbeat, &QTimer::timeout, &window, [&window] {
        static bool telling = false; // a message box is open: its losses are handled
        if (telling) {
            return;
        }
        const std::vector<LockLoss> losses = DocumentManager::Instance().Heartbeat();
        if (losses.empty()) {
            return;
        }
        window.SyncProjectTabs();
        telling = true;
        for (const LockLoss& loss : losses) {
            ShowMessageBox(Localize("$$$/Marvane/Host/Lock/LostTitle=Project Taken Over"),
                           DescribeLockLoss(loss), {}, kWarningIcon, 0);
        }
        telling = false;
    });
    heartbeat->start();
}

// With --demo-editor on the demo production, a second editor holds one of its projects while
// this run lasts.
void StartDemoEditorOnTheDemo(const CommandLineOptions& options, DemoEditor& editor,
                              std::ostream& err) {
    const HostSession& session = HostSession::Instance();
    const std::filesystem::path demo = session.dataDirectory / kDemoProductionName;
    std::error_code ignored;
    if (!options.demoEditor || ProductionSession::Instance().GetFolder().empty() ||
        !std::filesystem::equivalent(ProductionSession::Instance().GetFolder(), demo, ignored)) {
        return;
    }
    std::string error;
    if (!editor.Start(demo, session.dataDirectory / "Demo Editor", error)) {
        err << "marvane: the demo's second editor did not start: " << error << "\n";
        return;
    }
    // A picture taken at once shows the project held; a window shows it when it is.
    constexpr int kHoldingMs = 10000;
    if (options.screenshot && !editor.WaitUntilHolding(kHoldingMs)) {
        err << "marvane: the demo's second editor did not open its project in time\n";
    }
}

// Tells a script driver that commands are taken from now on.
void TellScriptReady(const CommandLineOptions& options) {
    if (options.script) {
        std::fputs("ready\n", stdout);
        std::fflush(stdout);
    }
}

// Shows the window, renders it to file a moment later and ends the run; exitCode becomes 1
// when the file cannot be written.
void TakeScreenshotSoon(MainWindow& window, const std::filesystem::path& file, int& exitCode,
                        std::ostream& err) {
    window.show();
    QTimer::singleShot(400, &window, [&window, &exitCode, &err, file] {
        for (const ByteString& title : window.GetWorkspace().ShownPanelTitles()) {
            Trace("Host", 3, "Panel shown: \"" + title + "\"");
        }
        const QPixmap picture = window.grab();
        if (!picture.save(QString::fromStdString(file.string()), "PNG")) {
            err << "marvane: could not write the screenshot " << file << "\n";
            exitCode = 1;
        }
        QCoreApplication::exit(exitCode);
    });
}

// Runs until quit; a signal during start-up (while the recovery offer waited, say) stops
// before the loop.
int RunEventLoop() {
    return TerminationSignalReceived() == 0 ? QApplication::exec() : 0;
}

// After the loop: a run that ended without the window closing (a screenshot, a signal) still
// leaves no lock behind and loses nothing; then panels drop their UI while their handlers and
// the window are still there, and the modules are released.
void StopKeepingChanges(MainWindow& window, PluginLoader& loader, std::ostream& err) {
    if (const int stopSignal = TerminationSignalReceived(); stopSignal != 0) {
        Trace("Host", 2, "Stopping on signal " + std::to_string(stopSignal));
    }
    CloseProjectsKeepingChanges(err);
    SetDialogResponder(nullptr);
    window.GetWorkspace().Shutdown();
    ShutDown(loader);
}

// The main window's run: start-up steps, the event loop, and the orderly stop.
int RunMainWindow(const CommandLineOptions& options, PluginLoader& loader, std::ostream& err) {
    int exitCode = 0;
    MainWindow window;
    DemoEditor demoEditor;
    // From here until the orderly stop is over, an uncaught exception keeps unsaved changes
    // and removes our locks before the run aborts.
    const EmergencyStop emergencyStop(err);
    AnswerDialogsWhenNobodyWatches(options);
    const std::unique_ptr<ScriptConsole> console = StartScriptConsole(options, window, err);
    StopOnTerminationSignals();
    if (!options.screenshot) {
        window.show();
    }
    OpenDefaultLayout(window);
    // A screenshot shows the default layout, the same on every machine.
    if (!options.screenshot) {
        RestoreWindowState(window, HostSession::Instance().profileDirectory);
    }
    OpenStartProduction(options, window, err);
    OpenStartProjects(options, window, err);
    OfferRecoveredCopies(window);
    StartLockHeartbeat(window);
    StartDemoEditorOnTheDemo(options, demoEditor, err);
    TellScriptReady(options);
    if (options.screenshot) {
        TakeScreenshotSoon(window, *options.screenshot, exitCode, err);
    }
    const int loopResult = RunEventLoop();
    if (exitCode == 0) {
        exitCode = loopResult;
    }
    if (!options.screenshot) {
        SaveWindowState(window, HostSession::Instance().profileDirectory);
    }
    demoEditor.Stop();
    StopKeepingChanges(window, loader, err);
    return exitCode;
}

void ReportProfile(std::ostream& err) {
    if (ProfilerReportRequested()) {
        err << ProfilerReport();
    }
}

} // namespace

void PrintCommandContexts(std::ostream& out) {
    const ShortcutManager& manager = ShortcutManager::Instance();
    for (const CommandContext* context : manager.GetContexts()) {
        out << "context " << context->GetName() << " \"" << context->GetDisplayName() << "\"\n";
        for (const CommandDeclaration& command : context->GetCommands()) {
            out << "  " << command.name << "\t" << command.id << "\t" << command.kind << "\t\""
                << (command.label.empty() ? std::string() : Localize(command.label)) << "\"\n";
        }
        for (const WindowMenuRegistration& menu : manager.GetWindowMenus()) {
            if (menu.contextName == context->GetName()) {
                out << "  window menu " << menu.menuID << " \"" << menu.title << "\"\n";
            }
        }
    }
}

int RunHost(const CommandLineOptions& options, std::ostream& out, std::ostream& err) {
    SetUpSession(options);
    DeclareHostCommands(ShortcutManager::Instance());
    PluginLoader loader;
    LoadModules(loader, options, err);
    if (options.listCommands) {
        PrintCommandContexts(out);
        ShutDown(loader);
        return 0;
    }
    const int exitCode = RunMainWindow(options, loader, err);
    ReportProfile(err);
    return exitCode;
}

} // namespace host
