#include "Marvane/app/HostApplication.h"

#include "Marvane/app/HostCommands.h"
#include "Marvane/app/MainWindow.h"
#include "Marvane/application/DemoProduction.h"
#include "Marvane/application/HostSession.h"
#include "Marvane/application/ProductionSession.h"
#include "Marvane/core/ProfilerReport.h"
#include "Marvane/core/TraceConfiguration.h"
#include "Marvane/panelframework/PluginLoader.h"
#include "Marvane/panelframework/Registries.h"
#include "Marvane/projectbackend/ProjectFormats.h"
#include "Marvane/uiframework/CommandRegistry.h"
#include "Marvane/uiframework/DockWorkspace.h"
#include "Marvane/uiframework/WindowRegistry.h"
#include "host/DebugTrace.h"
#include "host/Localizer.h"

#include <QApplication>
#include <QTimer>
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
    session.userOverride = options.user;
    if (!session.preferences.trace.empty() && std::getenv("MARVANE_TRACE") == nullptr) {
        ConfigureTrace(session.preferences.trace);
    }
    SetFolderProjectFormatEnabled(session.preferences.folderProjectFormat);
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
void OpenStartProduction(const CommandLineOptions& options, std::ostream& err) {
    HostSession& session = HostSession::Instance();
    std::filesystem::path folder;
    bool remember = true;
    const std::filesystem::path& last = session.preferences.lastProduction;
    if (options.production) {
        folder = *options.production;
    } else if (std::error_code ignored;
               !last.empty() && std::filesystem::is_directory(last, ignored)) {
        folder = last;
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
        return;
    }
    if (remember) {
        session.preferences.lastProduction = ProductionSession::Instance().GetFolder();
        SavePreferences(session.profileDirectory, session.preferences);
    }
}

void ShutDown(PluginLoader& loader) {
    ProductionSession::Instance().Close();
    PanelFrameworkRegistry::Instance().ReleaseHandlers();
    loader.ReleaseModules();
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

    int exitCode = 0;
    {
        MainWindow window;
        if (!options.screenshot) {
            window.show();
        }
        // The panels that modules registered open in the default layout.
        for (const RegisteredWindow& registered : GetRegisteredWindows()) {
            window.GetWorkspace().OpenTab(registered.handlerID);
        }
        OpenStartProduction(options, err);

        if (options.screenshot) {
            const std::filesystem::path file = *options.screenshot;
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
        const int loopResult = QApplication::exec();
        if (exitCode == 0) {
            exitCode = loopResult;
        }
        // Panels drop their UI while their handlers and the window are still there.
        window.GetWorkspace().Shutdown();
        ShutDown(loader);
    }
    if (ProfilerReportRequested()) {
        err << ProfilerReport();
    }
    return exitCode;
}

} // namespace host
