// The main window's menu bar: File, Edit, View, Window and Help.
#include "Marvane/app/HostCommands.h"
#include "Marvane/app/MainWindow.h"
#include "Marvane/application/HostSession.h"
#include "Marvane/application/Preferences.h"
#include "Marvane/uiframework/DockWorkspace.h"
#include "Marvane/uiframework/MenuResources.h"
#include "Marvane/uiframework/WindowRegistry.h"
#include "host/Localizer.h"

#include <QKeySequence>
#include <QMenuBar>

namespace host {

namespace {
QString Text(std::string_view key) {
    return QString::fromStdString(Localize(key));
}
} // namespace

void MainWindow::BuildMenus() {
    const auto add = [this](QMenu* menu, const char* command, QKeySequence shortcut) {
        if (QAction* action = AddCommandAction(menu, command, {})) {
            action->setShortcut(shortcut);
            mCommandActions.push_back(action);
        }
    };
    QMenu* file = menuBar()->addMenu(Text("$$$/Marvane/Host/Menus/File=&File"));
    add(file, "cmd.file.openproject", QKeySequence::Open);
    add(file, "cmd.file.saveproject", QKeySequence::Save);
    add(file, "cmd.file.closeproject", QKeySequence::Close);
    add(file, "cmd.file.closeselectedprojects", QKeySequence());
    file->addSeparator();
    add(file, "cmd.file.openproduction", QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_O));
    QMenu* recent = file->addMenu(Text("$$$/Marvane/Host/Menus/OpenRecent=Open &Recent"));
    recent->setObjectName(QStringLiteral("OpenRecentMenu"));
    FillRecentMenu(*recent);
    connect(recent, &QMenu::aboutToShow, this, [this, recent] { FillRecentMenu(*recent); });
    add(file, "cmd.file.closeproduction", QKeySequence());
    file->addSeparator();
    add(file, "cmd.file.quit", QKeySequence::Quit);

    QMenu* edit = menuBar()->addMenu(Text("$$$/Marvane/Host/Menus/Edit=&Edit"));
    edit->setObjectName(QStringLiteral("EditMenu"));
    add(edit, "cmd.edit.undo", QKeySequence::Undo);
    add(edit, "cmd.edit.redo", QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_Z));
    edit->addSeparator();
    add(edit, "cmd.edit.cut", QKeySequence::Cut);
    add(edit, "cmd.edit.copy", QKeySequence::Copy);
    add(edit, "cmd.edit.paste", QKeySequence::Paste);
    edit->addSeparator();
    add(edit, "cmd.edit.restorefromtrash", QKeySequence());
    add(edit, "cmd.edit.emptytrash", QKeySequence());
    edit->addSeparator();
    add(edit, "cmd.edit.selectall", QKeySequence::SelectAll);
    add(edit, "cmd.edit.deselectall", QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_A));

    // The focused panel's zoom; the commands are the panel's own, so they reach it through the
    // command chain.
    QMenu* view = menuBar()->addMenu(Text("$$$/Marvane/Host/Menus/View=&View"));
    add(view, "cmd.mvproductionfolder.zoomin", QKeySequence::ZoomIn);
    add(view, "cmd.mvproductionfolder.zoomout", QKeySequence::ZoomOut);

    QMenu* window = menuBar()->addMenu(Text("$$$/Marvane/Host/Menus/Window=&Window"));
    connect(window, &QMenu::aboutToShow, this, [this, window] { BuildWindowMenu(window); });
    BuildWindowMenu(window);

    QMenu* help = menuBar()->addMenu(Text("$$$/Marvane/Host/Menus/Help=&Help"));
    add(help, "cmd.help.about", QKeySequence());
}

void MainWindow::BuildWindowMenu(QMenu* menu) {
    menu->clear();
    for (const RegisteredWindow& registered : GetRegisteredWindows()) {
        QAction* action = menu->addAction(QString::fromStdString(registered.title));
        const HandlerID handlerID = registered.handlerID;
        connect(action, &QAction::triggered, this,
                [this, handlerID] { mWorkspace->OpenTab(handlerID); });
    }
    if (menu->isEmpty()) {
        menu->addAction(Text("$$$/Marvane/Host/Menus/NoPanels=No Panels"))->setEnabled(false);
    }
}

void MainWindow::FillRecentMenu(QMenu& menu) {
    menu.clear();
    const auto& recent = HostSession::Instance().preferences.recentProductions;
    int number = 1;
    for (const std::filesystem::path& folder : recent) {
        // "&1 Pilot  (/shows/Pilot)": a number to reach it from the keyboard, then the name.
        const QString title = QStringLiteral("&%1 %2  (%3)")
                                  .arg(number++)
                                  .arg(QString::fromStdString(folder.filename().string()),
                                       QString::fromStdString(folder.string()));
        connect(menu.addAction(title), &QAction::triggered, this,
                [this, folder] { OpenProductionFolder(folder); });
    }
    if (recent.empty()) {
        menu.addAction(Text("$$$/Marvane/Host/Menus/NoRecent=No Recent Productions"))
            ->setEnabled(false);
        return;
    }
    menu.addSeparator();
    connect(menu.addAction(Text("$$$/Marvane/Host/Menus/ClearRecent=Clear Menu")),
            &QAction::triggered, this, [this] {
                HostSession& session = HostSession::Instance();
                session.preferences.recentProductions.clear();
                SavePreferences(session.profileDirectory, session.preferences);
                UpdateProductionDisplay();
            });
}

} // namespace host
