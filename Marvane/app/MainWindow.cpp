#include "Marvane/app/MainWindow.h"

#include "Marvane/app/CommandLine.h"
#include "Marvane/app/HostCommands.h"
#include "Marvane/app/LongWorkDialog.h"
#include "Marvane/app/OpeningPage.h"
#include "Marvane/app/ProductionOutage.h"
#include "Marvane/app/ProjectWindow.h"
#include "Marvane/app/WindowTitle.h"
#include "Marvane/application/HostSession.h"
#include "Marvane/application/ProductionSession.h"
#include "Marvane/application/ProductionWatch.h"
#include "Marvane/documents/BackgroundOpening.h"
#include "Marvane/documents/DocumentManager.h"
#include "Marvane/projectbackend/ProjectFormats.h"
#include "Marvane/uiframework/CommandDispatch.h"
#include "Marvane/uiframework/DockWorkspace.h"
#include "Marvane/uiframework/FailureMessages.h"
#include "Marvane/uitoolkit/PlainToolTip.h"
#include "host/Localizer.h"
#include "host/OpenProjects.h"
#include "host/PanelFramework.h"
#include "host/ProjectBackEnd.h"

#include "Marvane/app/ProgressPanel.h"
#include "host/ApplicationLayer.h"
#include <QApplication>
#include <QGuiApplication>
#include <QScreen>

#include <QCloseEvent>
#include <QFileDialog>
#include <QStatusBar>
#include <algorithm>

namespace host {

class MainWindow::ProductionListener final : public Listener {
public:
    explicit ProductionListener(MainWindow* window) : mWindow(window) {}
    void ReceiveMessage(const Message& message) override {
        const MessageTypeID type = message.GetTypeID();
        if (type == MvProductionFolderOpenedMessage::kTypeID ||
            type == MvProductionFolderClosedMessage::kTypeID) {
            ProductionChangedDuringOutage(*mWindow);
            mWindow->UpdateProductionDisplay();
        } else if (type == ProductionReachabilityMessage::kTypeID) {
            const auto& reachability = static_cast<const ProductionReachabilityMessage&>(message);
            ProductionReachabilityChanged(*mWindow, reachability.reachable, reachability.reason);
        } else if (type == ShowProgressPanelMessage::kTypeID) {
            mWindow->ShowProgressPanel();
        } else if (type == ProjectOpeningMessage::kTypeID) {
            const auto& opening = static_cast<const ProjectOpeningMessage&>(message);
            mWindow->SyncProjectTabs();
            if (!opening.hasEnded) {
                mWindow->BringOpeningToFront(opening.projectPath);
            }
        } else if (type == ProjectOpenedMessage::kTypeID || type == ProjectClosedMessage::kTypeID ||
                   type == ProjectReadOnlyChangedMessage::kTypeID ||
                   type == ProjectActivatedMessage::kTypeID) {
            mWindow->SyncProjectTabs();
        }
    }

private:
    MainWindow* mWindow;
};

MainWindow::MainWindow() {
    setObjectName(QStringLiteral("MarvaneMainWindow"));
    // Room for the panel's five columns beside the project area, within the screen (an
    // offscreen run has no real screen to fit).
    QSize size(1600, 900);
    const QScreen* screen = QGuiApplication::primaryScreen();
    if (screen != nullptr && QGuiApplication::platformName() != QStringLiteral("offscreen")) {
        size = size.boundedTo(screen->availableSize());
    }
    resize(size);
    mWorkspace = new DockWorkspace(this);
    SetCurrentWorkspace(mWorkspace);
    ShowFileFailuresInTheWindow(true);
    mLongWork = std::make_unique<LongWorkDialog>(this);
    files::SetLongWorkView(mLongWork.get());

    mCentreStack = new QStackedWidget(this);
    mCentre = new QLabel(mCentreStack);
    mCentre->setObjectName(QStringLiteral("CentreText"));
    mCentre->setAlignment(Qt::AlignCenter);
    mCentre->setWordWrap(true);
    mCentre->setTextFormat(Qt::PlainText);
    mCentre->setMargin(24);
    mProjectTabs = new QTabWidget(mCentreStack);
    mProjectTabs->setObjectName(QStringLiteral("ProjectTabs"));
    mProjectTabs->setTabsClosable(true);
    mProjectTabs->setDocumentMode(true);
    // Long names are cut in the middle; the tab's tooltip has the whole name and the path.
    mProjectTabs->setElideMode(Qt::ElideMiddle);
    mProjectTabs->setUsesScrollButtons(true);
    connect(mProjectTabs, &QTabWidget::tabCloseRequested, this, [this](int index) {
        if (auto* page = dynamic_cast<ProjectWindow*>(mProjectTabs->widget(index))) {
            DocumentManager::Instance().Close({page->GetProject()});
        } else if (auto* opening = dynamic_cast<OpeningPage*>(mProjectTabs->widget(index))) {
            opening->Cancel();
        }
    });
    connect(mProjectTabs, &QTabWidget::currentChanged, this, [this](int index) {
        if (mSyncingTabs) {
            return; // tabs added or removed: the active project stays the one it was
        }
        if (auto* page = dynamic_cast<ProjectWindow*>(mProjectTabs->widget(index))) {
            DocumentManager::Instance().SetActive(page->GetProject());
        }
    });
    mCentreStack->addWidget(mCentre);
    mCentreStack->addWidget(mProjectTabs);
    setCentralWidget(mCentreStack);

    mCommandHandler = std::make_unique<HostCommandHandler>(HostCommandHandler::Actions{
        [this] { OpenProductionFromUser(); }, [] { ProductionSession::Instance().Close(); },
        [this] { close(); }, [this] { ShowAbout(); }, [this] { OpenProjectFromUser(); },
        [] {
            const OpenProjectPtr active = DocumentManager::Instance().GetActive();
            std::string error;
            if (active && !DocumentManager::Instance().Save(active, error)) {
                ShowMessageBox(Localize("$$$/Marvane/Host/SaveFailed=Cannot Save Project"), error,
                               {}, kWarningIcon, 0);
            }
        },
        [] {
            if (const OpenProjectPtr active = DocumentManager::Instance().GetActive()) {
                DocumentManager::Instance().Close({active});
            }
        }});
    CommandDispatcher::Instance().SetApplicationHandler(mCommandHandler.get());

    mListener = std::make_shared<ProductionListener>(this);
    MessageStation::Get(kPanelFrameworkStation)->Subscribe(mListener);
    MessageStation::Get(kProjectActivationStation)->Subscribe(mListener);
    MessageStation::Get(kProgressStation)->Subscribe(mListener);

    BuildMenus();
    // Shortcuts only fire on enabled actions, so statuses are kept fresh between menu opens.
    mStatusTimer.setInterval(250);
    connect(&mStatusTimer, &QTimer::timeout, this, [this] { RefreshCommandStatus(); });
    mStatusTimer.start();
    UpdateProductionDisplay();
}

MainWindow::~MainWindow() {
    ShowFileFailuresInTheWindow(false);
    files::SetLongWorkView(nullptr);
    MessageStation::Get(kPanelFrameworkStation)->Unsubscribe(mListener.get());
    MessageStation::Get(kProjectActivationStation)->Unsubscribe(mListener.get());
    MessageStation::Get(kProgressStation)->Unsubscribe(mListener.get());
    CommandDispatcher::Instance().SetApplicationHandler(nullptr);
    mWorkspace->Shutdown();
    SetCurrentWorkspace(nullptr);
}

void MainWindow::OpenProductionFromUser() {
    const QString folder = QFileDialog::getExistingDirectory(
        this,
        QString::fromStdString(Localize("$$$/Marvane/Host/OpenProductionTitle=Open Production")));
    if (!folder.isEmpty()) {
        OpenProductionFolder(folder.toStdString());
    }
}

bool MainWindow::OpenProductionFolder(const std::filesystem::path& folder) {
    const std::string error = ProductionSession::Instance().Open(folder);
    if (!error.empty()) {
        ShowMessageBox(Localize("$$$/Marvane/Host/OpenProductionFailed=Cannot Open Production"),
                       error, {}, kWarningIcon, 0);
        return false;
    }
    HostSession& session = HostSession::Instance();
    RememberProduction(session.preferences, ProductionSession::Instance().GetFolder());
    SavePreferences(session.profileDirectory, session.preferences);
    UpdateProductionDisplay();
    return true;
}

void MainWindow::ShowProgressPanel() {
    if (mProgressPanel == nullptr) {
        mProgressPanel = new ProgressPanel(this);
    }
    mProgressPanel->Present();
}

void MainWindow::UpdateProductionDisplay() {
    const ProductionSession& production = ProductionSession::Instance();
    std::string text;
    if (production.IsOpen()) {
        mProductionError.clear();
        const std::string name = production.GetFolder().filename().string();
        setWindowTitle(QString::fromStdString(MainWindowTitle(name, HostSession::Instance())));
        text = Localize("$$$/Marvane/Host/ProductionOpen=The production \"@0\" is open (@1).",
                        {name, production.GetFolder().string()}) +
               "\n" +
               Localize("$$$/Marvane/Host/ProductionLiesOn=It lies on: @0.",
                        {ShareKindDisplayName(production.GetShareKind())}) +
               "\n\n" +
               Localize("$$$/Marvane/Host/HowToBegin=Double-click a project in the Production "
                        "panel to open it here, or choose File > Open Production… to open "
                        "another folder of projects.");
    } else {
        setWindowTitle(QString::fromStdString(MainWindowTitle({}, HostSession::Instance())));
        text = Localize(
            "$$$/Marvane/Host/NoProduction=No production is open. Choose File > Open Production… "
            "to open a folder of projects.");
        if (!mProductionError.empty()) {
            text = mProductionError + "\n\n" + text;
        }
    }
    const auto& recent = HostSession::Instance().preferences.recentProductions;
    if (!recent.empty()) {
        text += "\n\n" + Localize("$$$/Marvane/Host/RecentProductions=Recent productions "
                                  "(File > Open Recent):");
        for (const std::filesystem::path& folder : recent) {
            text += "\n" + folder.string();
        }
    }
    mCentre->setText(QString::fromStdString(text));
}

void MainWindow::closeEvent(QCloseEvent* event) {
    // Every project closes first, each asking to save its changes; a cancel keeps the window.
    if (!DocumentManager::Instance().CloseAll()) {
        event->ignore();
        return;
    }
    mStatusTimer.stop();
    event->accept();
}

bool MainWindow::OpenProjectFile(const std::filesystem::path& project) {
    const bool started = OpenInBackgroundOrReport(
        project, OpenMode::Normal,
        Localize("$$$/Marvane/Host/OpenProjectFailed=Cannot Open Project"), Telling::kWarning);
    SyncProjectTabs();
    return started;
}

void MainWindow::OpenProjectFromUser() {
    QString start;
    if (ProductionSession::Instance().IsOpen()) {
        start = QString::fromStdString(ProductionSession::Instance().GetFolder().string());
    }
    const QString file = QFileDialog::getOpenFileName(
        this, QString::fromStdString(Localize("$$$/Marvane/Host/OpenProjectTitle=Open Project")),
        start,
        QString::fromStdString(
            Localize("$$$/Marvane/Host/ProjectFilter=Projects (*.mvproj project.json)")));
    if (file.isEmpty()) {
        return;
    }
    std::filesystem::path path = file.toStdString();
    // A folder project is chosen by its project.json.
    if (path.filename() == kProjectFolderContentName &&
        path.parent_path().extension() == kProjectFolderExtension) {
        path = path.parent_path();
    }
    OpenProjectFile(path);
}

void MainWindow::SyncProjectTabs() {
    mSyncingTabs = true;
    DocumentManager& documents = DocumentManager::Instance();
    const auto& open = documents.GetAll();
    for (int i = mProjectTabs->count() - 1; i >= 0; --i) {
        auto* page = dynamic_cast<ProjectWindow*>(mProjectTabs->widget(i));
        const bool opening = dynamic_cast<OpeningPage*>(mProjectTabs->widget(i)) != nullptr;
        if (!opening && (page == nullptr ||
                         std::find(open.begin(), open.end(), page->GetProject()) == open.end())) {
            RemoveProjectTab(i);
        }
    }
    for (const OpenProjectPtr& project : open) {
        bool shown = false;
        for (int i = 0; i < mProjectTabs->count(); ++i) {
            auto* page = dynamic_cast<ProjectWindow*>(mProjectTabs->widget(i));
            if (page != nullptr && page->GetProject() == project) {
                page->Refresh();
                shown = true;
            }
        }
        if (!shown) {
            // A project that was being opened takes the place of its opening page.
            AddProjectTab(new ProjectWindow(project, mProjectTabs),
                          FindOpeningPage(project->Path()), project->DisplayName(),
                          project->Path());
        }
    }
    for (int i = mProjectTabs->count() - 1; i >= 0; --i) {
        auto* page = dynamic_cast<OpeningPage*>(mProjectTabs->widget(i));
        if (page != nullptr && !documents.IsOpening(page->GetProjectPath())) {
            RemoveProjectTab(i);
        }
    }
    for (const auto& opening : documents.GetOpenings()) {
        if (FindOpeningPage(opening->Path()) < 0) {
            AddProjectTab(new OpeningPage(opening->Path(), mProjectTabs), -1,
                          opening->Path().stem().string(), opening->Path());
        }
    }
    // The project the user works in is the one in view: a project just opened comes to the
    // front. A project being opened that is in view stays there until it is read.
    const bool openingInView = dynamic_cast<OpeningPage*>(mProjectTabs->currentWidget()) != nullptr;
    if (const OpenProjectPtr active = documents.GetActive(); active && !openingInView) {
        for (int i = 0; i < mProjectTabs->count(); ++i) {
            auto* page = dynamic_cast<ProjectWindow*>(mProjectTabs->widget(i));
            if (page != nullptr && page->GetProject() == active) {
                mProjectTabs->setCurrentIndex(i);
            }
        }
    }
    mSyncingTabs = false;
    // The active project was closed: the one left in view is the one worked in now.
    if (!documents.GetActive()) {
        if (auto* page = dynamic_cast<ProjectWindow*>(mProjectTabs->currentWidget())) {
            documents.SetActive(page->GetProject());
        }
    }
    mCentreStack->setCurrentWidget(mProjectTabs->count() == 0 ? static_cast<QWidget*>(mCentre)
                                                              : mProjectTabs);
}

int MainWindow::FindOpeningPage(const std::filesystem::path& project) const {
    for (int i = 0; i < mProjectTabs->count(); ++i) {
        auto* page = dynamic_cast<OpeningPage*>(mProjectTabs->widget(i));
        if (page != nullptr && page->GetProjectPath() == project) {
            return i;
        }
    }
    return -1;
}

void MainWindow::BringOpeningToFront(const std::filesystem::path& project) {
    if (const int index = FindOpeningPage(project); index >= 0) {
        mProjectTabs->setCurrentIndex(index);
    }
}

void MainWindow::AddProjectTab(QWidget* page, int before, const std::string& name,
                               const std::filesystem::path& project) {
    const QString text = QString::fromStdString(name);
    const int index =
        before < 0 ? mProjectTabs->addTab(page, text) : mProjectTabs->insertTab(before, page, text);
    mProjectTabs->setTabToolTip(
        index, PlainToolTip(QString::fromStdString(name + "\n" + project.string())));
}

void MainWindow::RemoveProjectTab(int index) {
    QWidget* widget = mProjectTabs->widget(index);
    mProjectTabs->removeTab(index);
    // A page may be inside one of its own calls (a dialog it opened): delete it later.
    widget->hide();
    widget->deleteLater();
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
                            "Production panel.#{Shown in Help > About}") +
                       "\n\n" + VersionText(),
                   {}, kInformationIcon, 0);
}

void MainWindow::SetProductionError(const std::string& error) {
    mProductionError = error;
    UpdateProductionDisplay();
}

QString MainWindow::CentreText() const {
    return mCentre->text();
}

void MainWindow::SetProductionBanner(const QString& text) {
    if (mProductionBanner == nullptr) {
        mProductionBanner = new QLabel(this);
        mProductionBanner->setObjectName(QStringLiteral("ProductionBanner"));
        mProductionBanner->setWordWrap(true);
        mProductionBanner->setTextFormat(Qt::PlainText);
        mProductionBanner->setStyleSheet(
            QStringLiteral("#ProductionBanner { background: #fff3c4; color: #3a2c00; "
                           "padding: 4px 8px; }"));
        statusBar()->addPermanentWidget(mProductionBanner, 1);
    }
    mProductionBanner->setText(text);
    mProductionBanner->setVisible(!text.isEmpty());
}

QString MainWindow::ProductionBanner() const {
    return mProductionBanner != nullptr && !mProductionBanner->isHidden()
               ? mProductionBanner->text()
               : QString();
}

} // namespace host
