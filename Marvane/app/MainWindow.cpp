#include "Marvane/app/MainWindow.h"

#include "Marvane/app/HostCommands.h"
#include "Marvane/application/HostSession.h"
#include "Marvane/application/ProductionSession.h"
#include "Marvane/uiframework/CommandDispatch.h"
#include "Marvane/uiframework/DockWorkspace.h"
#include "host/Localizer.h"
#include "host/PanelFramework.h"

#include <QApplication>
#include <QCloseEvent>
#include <QFileDialog>

namespace host {

class MainWindow::ProductionListener final : public Listener {
public:
    explicit ProductionListener(MainWindow* window) : mWindow(window) {}
    void ReceiveMessage(const Message& message) override {
        if (message.GetTypeID() == MvProductionFolderOpenedMessage::kTypeID ||
            message.GetTypeID() == MvProductionFolderClosedMessage::kTypeID) {
            mWindow->UpdateProductionDisplay();
        }
    }

private:
    MainWindow* mWindow;
};

MainWindow::MainWindow() {
    setObjectName(QStringLiteral("MarvaneMainWindow"));
    resize(1100, 700);
    mWorkspace = new DockWorkspace(this);
    SetCurrentWorkspace(mWorkspace);

    mCentre = new QLabel(this);
    mCentre->setAlignment(Qt::AlignCenter);
    mCentre->setWordWrap(true);
    mCentre->setMargin(24);
    setCentralWidget(mCentre);

    mCommandHandler = std::make_unique<HostCommandHandler>(HostCommandHandler::Actions{
        [this] { OpenProductionFromUser(); }, [] { ProductionSession::Instance().Close(); },
        [this] { close(); }, [this] { ShowAbout(); }});
    CommandDispatcher::Instance().SetApplicationHandler(mCommandHandler.get());

    mListener = std::make_shared<ProductionListener>(this);
    MessageStation::Get(kPanelFrameworkStation)->Subscribe(mListener);

    BuildMenus();
    // Shortcuts only fire on enabled actions, so statuses are kept fresh between menu opens.
    mStatusTimer.setInterval(250);
    connect(&mStatusTimer, &QTimer::timeout, this, [this] { RefreshCommandStatus(); });
    mStatusTimer.start();
    UpdateProductionDisplay();
}

MainWindow::~MainWindow() {
    MessageStation::Get(kPanelFrameworkStation)->Unsubscribe(mListener.get());
    CommandDispatcher::Instance().SetApplicationHandler(nullptr);
    mWorkspace->Shutdown();
    SetCurrentWorkspace(nullptr);
}

void MainWindow::OpenProductionFromUser() {
    const QString folder = QFileDialog::getExistingDirectory(
        this,
        QString::fromStdString(Localize("$$$/Marvane/Host/OpenProductionTitle=Open Production")));
    if (folder.isEmpty()) {
        return;
    }
    const std::string error = ProductionSession::Instance().Open(folder.toStdString());
    if (!error.empty()) {
        ShowMessageBox(Localize("$$$/Marvane/Host/OpenProductionFailed=Cannot Open Production"),
                       error, {}, 2, 0);
        return;
    }
    HostSession& session = HostSession::Instance();
    session.preferences.lastProduction = ProductionSession::Instance().GetFolder();
    SavePreferences(session.profileDirectory, session.preferences);
}

void MainWindow::UpdateProductionDisplay() {
    const ProductionSession& production = ProductionSession::Instance();
    if (production.IsOpen()) {
        const QString folder = QString::fromStdString(production.GetFolder().string());
        setWindowTitle(
            QStringLiteral("Marvane — %1")
                .arg(QString::fromStdString(production.GetFolder().filename().string())));
        mCentre->setText(QString::fromStdString(Localize(
            "$$$/Marvane/Host/ProductionOpen=Production folder: @0", {folder.toStdString()})));
    } else {
        setWindowTitle(QStringLiteral("Marvane"));
        mCentre->setText(QString::fromStdString(Localize(
            "$$$/Marvane/Host/NoProduction=No production is open. Choose File > Open Production… "
            "to open a folder of projects.")));
    }
}

void MainWindow::closeEvent(QCloseEvent* event) {
    mStatusTimer.stop();
    event->accept();
}

void MainWindow::RefreshCommandStatus() {
    for (QAction* action : mCommandActions) {
        const CommandStatus status =
            CommandDispatcher::Instance().FindStatus(action->data().toInt());
        action->setEnabled(status.enabled);
    }
}

void MainWindow::ShowAbout() {
    ShowMessageBox(Localize("$$$/Marvane/Host/AboutTitle=About Marvane"),
                   Localize("$$$/Marvane/Host/AboutText=Marvane, the standalone host of the "
                            "Production panel.#{Shown in Help > About}"),
                   {}, 1, 0);
}

} // namespace host
