#include "Marvane/app/ProjectWindow.h"

#include "Marvane/app/ElidedLabel.h"
#include "Marvane/app/ProjectContentListModel.h"
#include "Marvane/application/LockBreaking.h"
#include "Marvane/documents/RecoveryRestore.h"
#include "Marvane/projectbackend/LockingIdentity.h"
#include "Marvane/uiframework/DialogResponder.h"
#include "host/Localizer.h"
#include "host/UIFramework.h"

#include <QDateTime>
#include <QHBoxLayout>
#include <QLocale>
#include <QVBoxLayout>
#include <algorithm>
#include <chrono>
#include <filesystem>

namespace host {

namespace {

QString Text(std::string_view key, std::initializer_list<ByteString> arguments = {}) {
    return QString::fromStdString(Localize(key, arguments));
}

// Another editor's save is noticed this often; network shares send no notifications.
constexpr int kStatePollMs = 1000;

// Rows laid out in one turn of the event loop: a project of millions of sequences is laid out
// over several turns, so that the window keeps answering while its lists fill.
constexpr int kRowsLaidOutPerTurn = 200000;

// A list of one line per name. Every row has the height of the first, so that a project of a
// million sequences is laid out without measuring each of them.
QListView* NewList(ProjectContentListModel* rows, QWidget* parent) {
    auto* list = new QListView(parent);
    list->setUniformItemSizes(true);
    list->setLayoutMode(QListView::Batched);
    list->setBatchSize(kRowsLaidOutPerTurn);
    list->setEditTriggers(QAbstractItemView::NoEditTriggers);
    list->setModel(rows);
    // Bins and sequences can be dragged onto another project of the production.
    list->setSelectionMode(QAbstractItemView::ExtendedSelection);
    list->setDragEnabled(true);
    list->setDragDropMode(QAbstractItemView::DragOnly);
    list->setDefaultDropAction(Qt::MoveAction);
    return list;
}

// Shows the content's sequences, or its bins, in `list`. When they changed, the row that was
// current stays current, or the last row when the list got shorter.
void ShowNames(QListView* list, ProjectContentListModel* rows,
               const std::shared_ptr<const ProjectContent>& content, bool sequences) {
    const int current = list->currentIndex().row();
    if (!rows->SetContent(content, sequences)) {
        return;
    }
    const int row = std::min(current, rows->rowCount() - 1);
    if (row >= 0) {
        list->setCurrentIndex(rows->index(row));
    }
}

// "Ben Okafor saved this project at 14:02, after you opened it."
QString OutOfDateText(const OpenProject& project, const std::string& holder) {
    std::error_code error;
    const auto written =
        std::filesystem::last_write_time(ProjectContentFile(project.Path()), error);
    QString when;
    if (!error) {
        const auto system = std::chrono::time_point_cast<std::chrono::seconds>(
            std::chrono::file_clock::to_sys(written));
        const QDateTime time = QDateTime::fromSecsSinceEpoch(system.time_since_epoch().count());
        when = time.date() == QDate::currentDate()
                   ? QLocale().toString(time.time(), QLocale::ShortFormat)
                   : QLocale().toString(time, QLocale::ShortFormat);
    }
    const std::string who =
        holder.empty() ? Localize("$$$/Marvane/Host/Project/AnotherEditor=Another editor") : holder;
    return Text("$$$/Marvane/Host/Project/SavedBy=@0 saved this project at @1, after you opened "
                "it.",
                {who, when.toStdString()});
}

} // namespace

ProjectWindow::ProjectWindow(OpenProjectPtr project, QWidget* parent)
    : QWidget(parent), mProject(std::move(project)) {
    setObjectName(QStringLiteral("ProjectWindow"));
    auto* layout = new QVBoxLayout(this);
    mName = new ElidedLabel(this);
    mName->setObjectName(QStringLiteral("ProjectName"));
    QFont title = mName->font();
    title.setPointSizeF(title.pointSizeF() * 1.4);
    title.setBold(true);
    mName->setFont(title);
    mPath = new ElidedLabel(this);
    mPath->setObjectName(QStringLiteral("ProjectPath"));
    mMode = new QLabel(this);
    // The lines below name holders, machines and reasons read from disk: never markup.
    mMode->setTextFormat(Qt::PlainText);
    mMode->setWordWrap(true);
    layout->addWidget(mName);
    layout->addWidget(mPath);
    layout->addWidget(mMode);

    mOutOfDate = new QWidget(this);
    mOutOfDate->setObjectName(QStringLiteral("OutOfDateBanner"));
    mOutOfDate->setStyleSheet(QStringLiteral("#OutOfDateBanner { background: #fff3c4; }"));
    auto* banner = new QHBoxLayout(mOutOfDate);
    mOutOfDateText = new QLabel(mOutOfDate);
    mOutOfDateText->setObjectName(QStringLiteral("OutOfDateText"));
    mOutOfDateText->setWordWrap(true);
    mOutOfDateText->setTextFormat(Qt::PlainText);
    banner->addWidget(mOutOfDateText, 1);
    auto* reload = new QPushButton(Text("$$$/Marvane/Host/Project/Reload=Reload"), mOutOfDate);
    banner->addWidget(reload);
    layout->addWidget(mOutOfDate);

    auto* lists = new QHBoxLayout();
    auto* binsColumn = new QVBoxLayout();
    binsColumn->addWidget(new QLabel(Text("$$$/Marvane/Host/Project/Bins=Bins"), this));
    mBinRows = new ProjectContentListModel(this);
    mBins = NewList(mBinRows, this);
    mBins->setObjectName(QStringLiteral("Bins"));
    const auto projectPath = [this] { return mProject->Path().string(); };
    mBinRows->SetDragSource(projectPath, false);
    binsColumn->addWidget(mBins);
    auto* sequencesColumn = new QVBoxLayout();
    sequencesColumn->addWidget(
        new QLabel(Text("$$$/Marvane/Host/Project/Sequences=Sequences"), this));
    mSequenceRows = new ProjectContentListModel(this);
    mSequences = NewList(mSequenceRows, this);
    mSequences->setObjectName(QStringLiteral("Sequences"));
    mSequenceRows->SetDragSource(projectPath, true);
    sequencesColumn->addWidget(mSequences);
    lists->addLayout(binsColumn);
    lists->addLayout(sequencesColumn);
    layout->addLayout(lists, 1);

    auto* buttons = new QHBoxLayout();
    mAdd = new QPushButton(Text("$$$/Marvane/Host/Project/AddSequence=Add Sequence…"), this);
    mRename =
        new QPushButton(Text("$$$/Marvane/Host/Project/RenameSequence=Rename Sequence…"), this);
    mSave = new QPushButton(Text("$$$/Marvane/Host/Project/Save=Save"), this);
    mReadOnly = new QPushButton(Text("$$$/Marvane/Host/Project/ReadOnly=Read-Only"), this);
    mReadOnly->setCheckable(true);
    mTakeOver = new QPushButton(Text("$$$/Marvane/Host/Project/TakeOver=Take Over"), this);
    mTakeOver->setObjectName(QStringLiteral("TakeOver"));
    mBreakLock = new QPushButton(Text("$$$/Marvane/Host/Project/BreakLock=Break Lock…"), this);
    mBreakLock->setObjectName(QStringLiteral("BreakLock"));
    // A recovery copy offers to put its changes back into the project it came from.
    mRecoveredFrom = RecoveredFrom(mProject->Path());
    mRestore = new QPushButton(this);
    mRestore->setObjectName(QStringLiteral("RestoreRecovered"));
    if (mRecoveredFrom) {
        mRestore->setText(Text("$$$/Marvane/Host/Restore/Button=Restore into @0",
                               {mRecoveredFrom->stem().string()}));
    }
    mRestore->setVisible(mRecoveredFrom.has_value());
    connect(mRestore, &QPushButton::clicked, this, [this] { RestoreIntoOriginal(); });
    for (QPushButton* button : {mAdd, mRename, mSave, mReadOnly, mTakeOver, mBreakLock, mRestore}) {
        buttons->addWidget(button);
    }
    buttons->addStretch();
    layout->addLayout(buttons);

    connect(mAdd, &QPushButton::clicked, this, [this] { AddSequence(); });
    connect(mRename, &QPushButton::clicked, this, [this] { RenameSequence(); });
    connect(mSave, &QPushButton::clicked, this, [this] { Save(); });
    connect(reload, &QPushButton::clicked, this, [this] { Reload(); });
    connect(mReadOnly, &QPushButton::clicked, this, [this] { ToggleReadOnly(); });
    connect(mTakeOver, &QPushButton::clicked, this, [this] { TakeOver(); });
    connect(mBreakLock, &QPushButton::clicked, this, [this] { BreakLock(); });
    connect(mSequences, &QAbstractItemView::doubleClicked, this, [this] { RenameSequence(); });
    mPoll.setInterval(kStatePollMs);
    connect(&mPoll, &QTimer::timeout, this, [this] { Refresh(); });
    mPoll.start();
    Refresh();
}

void ProjectWindow::Refresh() {
    mName->SetFullText(QString::fromStdString(mProject->DisplayName()) +
                       (mProject->IsModified() ? QStringLiteral(" •") : QString()));
    mPath->SetFullText(QString::fromStdString(mProject->Path().string()));
    // The lock file is read only while it tells something: a writable project is ours.
    LockReport lock;
    const bool locked = mProject->IsReadOnly() && InspectProjectLock(*mProject, lock);
    const std::string holder = locked && lock.state != LockState::Unreadable
                                   ? lock.content.lockingName
                                   : (locked ? mProject->CurrentLockHolder() : std::string());
    // Someone else held the lock and nobody does now (its holder closed the project): it can
    // be taken over at once. A project the user switched to read-only is simply read-only.
    if (!mProject->IsReadOnly()) {
        mHeldByAnother = false;
    } else if (locked && lock.state != LockState::Yours) {
        mHeldByAnother = true;
    }
    const bool free =
        mProject->IsReadOnly() && !locked && mHeldByAnother && CurrentLockingIdentity().enabled;
    mTakeOver->setVisible((locked && lock.state == LockState::Abandoned) || free);
    mBreakLock->setVisible(locked && lock.state == LockState::Silent);
    if (!mProject->IsReadOnly()) {
        mMode->setText(Text("$$$/Marvane/Host/Project/ReadWrite=Read-write: you hold the lock."));
    } else if (free) {
        mMode->setText(Text("$$$/Marvane/Host/Project/Free=Read-only: nobody holds the lock now. "
                            "Take it over to edit the project."));
    } else if (locked && (lock.state == LockState::Abandoned || lock.state == LockState::Silent)) {
        mMode->setText(
            Text("$$$/Marvane/Host/Project/ReadOnlyBecause=Read-only: @0", {DescribeLock(lock)}));
    } else if (!holder.empty() && !mProject->HoldsLock()) {
        mMode->setText(
            Text("$$$/Marvane/Host/Project/LockedBy=Read-only: locked by @0.", {holder}));
    } else if (!mProject->ReadOnlyReason().empty()) {
        mMode->setText(Text("$$$/Marvane/Host/Project/ReadOnlyBecause=Read-only: @0",
                            {mProject->ReadOnlyReason()}));
    } else {
        mMode->setText(Text("$$$/Marvane/Host/Project/ReadOnlyMode=Read-only."));
    }
    const bool outOfDate = mProject->IsOutOfDate();
    if (outOfDate) {
        mOutOfDateText->setText(OutOfDateText(*mProject, holder));
    }
    mOutOfDate->setVisible(outOfDate);
    ShowNames(mBins, mBinRows, mProject->ContentSnapshot(), false);
    ShowNames(mSequences, mSequenceRows, mProject->ContentSnapshot(), true);
    const bool writable = !mProject->IsReadOnly();
    mAdd->setEnabled(writable);
    mRename->setEnabled(writable && mSequences->currentIndex().isValid());
    mSave->setEnabled(writable && mProject->IsModified());
    mReadOnly->setChecked(mProject->IsReadOnly());
}

QString ProjectWindow::OutOfDateMessage() const {
    return mOutOfDateText->text();
}

QString ProjectWindow::NameText() const {
    return mName->text();
}

void ProjectWindow::AddSequence() {
    const auto name =
        AskForText(Localize("$$$/Marvane/Host/Project/AddSequenceTitle=Add Sequence"),
                   Localize("$$$/Marvane/Host/Project/SequenceName=Sequence name:"), {});
    if (!name || name->empty()) {
        return;
    }
    ProjectContent content = mProject->Content();
    content.sequences.push_back(*name);
    mProject->EditContent(content);
    Refresh();
}

void ProjectWindow::RenameSequence() {
    const int row = mSequences->currentIndex().row();
    ProjectContent content = mProject->Content();
    if (mProject->IsReadOnly() || row < 0 ||
        static_cast<std::size_t>(row) >= content.sequences.size()) {
        return;
    }
    const auto index = static_cast<std::size_t>(row);
    const auto name = AskForText(
        Localize("$$$/Marvane/Host/Project/RenameSequenceTitle=Rename Sequence"),
        Localize("$$$/Marvane/Host/Project/SequenceName=Sequence name:"), content.sequences[index]);
    if (!name || name->empty()) {
        return;
    }
    content.sequences.Set(index, *name);
    mProject->EditContent(content);
    Refresh();
}

void ProjectWindow::Save() {
    std::string error;
    if (!DocumentManager::Instance().Save(mProject, error)) {
        Report(Localize("$$$/Marvane/Host/SaveFailed=Cannot Save Project"), error);
    }
    Refresh();
}

void ProjectWindow::Reload() {
    std::string error;
    if (!DocumentManager::Instance().Reload(mProject, error)) {
        Report(Localize("$$$/Marvane/Host/Project/ReloadFailed=Cannot Reload Project"), error);
    }
    Refresh();
}

void ProjectWindow::ToggleReadOnly() {
    const ReadOnlyResult result =
        DocumentManager::Instance().SetReadOnly(mProject, !mProject->IsReadOnly());
    if (!result.error.empty()) {
        Report(Localize("$$$/Marvane/Host/Project/ModeFailed=Cannot Change Mode"), result.error);
    } else if (result.needsReload) {
        Reload();
    }
    Refresh();
}

void ProjectWindow::TakeOver() {
    LockReport lock;
    if (!InspectProjectLock(*mProject, lock)) {
        ToggleReadOnly(); // nobody holds it: read-write takes the lock as usual
        return;
    }
    std::string recordError;
    const std::string error = TakeOverProject(mProject, false, &recordError);
    if (!error.empty()) {
        Report(Localize("$$$/Marvane/Host/Project/TakeOverFailed=Cannot Take Over"), error);
    }
    ReportUnrecorded(recordError);
    Refresh();
}

void ProjectWindow::BreakLock() {
    LockReport lock;
    if (!InspectProjectLock(*mProject, lock) || lock.state != LockState::Silent) {
        Refresh();
        return;
    }
    const int answer =
        ShowMessageBox(Localize("$$$/Marvane/Host/Project/BreakLockTitle=Break Lock"),
                       BreakLockQuestion(*mProject, lock),
                       {Localize("$$$/Marvane/Host/Project/BreakLockButton=Break Lock"),
                        Localize("$$$/Marvane/Host/SavePrompt/Cancel=Cancel")},
                       kWarningIcon, 1);
    if (answer == 0) {
        std::string recordError;
        const std::string error = TakeOverProject(mProject, true, &recordError);
        if (!error.empty()) {
            Report(Localize("$$$/Marvane/Host/Project/BreakLockFailed=Cannot Break the Lock"),
                   error);
        }
        ReportUnrecorded(recordError);
    }
    Refresh();
}

void ProjectWindow::RestoreIntoOriginal() {
    if (!mRecoveredFrom) {
        return;
    }
    const std::string original = mRecoveredFrom->stem().string();
    const int answer = ShowMessageBox(
        Localize("$$$/Marvane/Host/Restore/Title=Restore Recovered Changes"),
        Localize("$$$/Marvane/Host/Restore/Question=Replace what \"@0\" holds with these "
                 "recovered changes? \"@0\" is locked for you and saved; what it holds now is "
                 "kept as a copy beside this one.",
                 {original}),
        {Localize("$$$/Marvane/Host/Restore/Confirm=Restore"),
         Localize("$$$/Marvane/Host/SavePrompt/Cancel=Cancel")},
        kWarningIcon, 1);
    if (answer != 0) {
        return;
    }
    const RestoreResult result = RestoreRecoveredCopy(*mProject, *mRecoveredFrom);
    if (!result.restored) {
        Report(Localize("$$$/Marvane/Host/Restore/Failed=Cannot Restore"), result.error);
        return;
    }
    ShowMessageBox(Localize("$$$/Marvane/Host/Restore/Title=Restore Recovered Changes"),
                   Localize("$$$/Marvane/Host/Restore/Done=The recovered changes are now in "
                            "\"@0\". What it held before is kept in \"@1\".",
                            {original, result.backup.string()}),
                   {}, kInformationIcon, 0);
}

void ProjectWindow::Report(const std::string& title, const std::string& error) {
    ShowMessageBox(title, error, {}, kWarningIcon, 0);
}

void ProjectWindow::ReportUnrecorded(const std::string& recordError) {
    if (!recordError.empty()) {
        Report(Localize("$$$/Marvane/Host/Project/NotRecordedTitle=Lock Break Not Recorded"),
               recordError);
    }
}

} // namespace host
