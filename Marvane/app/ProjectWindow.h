#pragma once
// A project in the main window: its name and path, its mode and who holds its lock, its bins
// and sequences. The user can add and rename sequences, save, reload a read-only copy that
// changed on disk, and switch between read-only and read-write.
#include "Marvane/documents/DocumentManager.h"

#include <QLabel>
#include <QListView>
#include <QPushButton>
#include <QTimer>
#include <QWidget>
#include <filesystem>
#include <optional>

namespace host {

class ProjectContentListModel;
class ElidedLabel;

class ProjectWindow final : public QWidget {
public:
    explicit ProjectWindow(OpenProjectPtr project, QWidget* parent = nullptr);

    const OpenProjectPtr& GetProject() const { return mProject; }
    // Reads the project's state again: mode, holder, out of date, content.
    void Refresh();

    void AddSequence();
    void RenameSequence();
    void Save();
    void Reload();
    void ToggleReadOnly();
    // A holder who is gone: Take Over replaces their abandoned lock; Break Lock, after a
    // confirmation, replaces a silent one. Both are offered only when they apply.
    void TakeOver();
    void BreakLock();
    void RestoreIntoOriginal();
    bool TakeOverOffered() const { return !mTakeOver->isHidden(); }
    bool BreakLockOffered() const { return !mBreakLock->isHidden(); }

    QString ModeText() const { return mMode->text(); }
    QString NameText() const;
    bool OutOfDateShown() const { return !mOutOfDate->isHidden(); }
    QString OutOfDateMessage() const;
    // The lists as the user sees them; their models hold one row per bin or sequence.
    QListView* BinList() const { return mBins; }
    QListView* SequenceList() const { return mSequences; }

private:
    void Report(const std::string& title, const std::string& error);
    // Tells the user that a take-over went ahead without its line in the lock record.
    void ReportUnrecorded(const std::string& recordError);

    OpenProjectPtr mProject;
    ElidedLabel* mName = nullptr;
    ElidedLabel* mPath = nullptr;
    QLabel* mMode = nullptr;
    QLabel* mOutOfDateText = nullptr;
    QWidget* mOutOfDate = nullptr;
    ProjectContentListModel* mBinRows = nullptr;
    ProjectContentListModel* mSequenceRows = nullptr;
    QListView* mBins = nullptr;
    QListView* mSequences = nullptr;
    QPushButton* mAdd = nullptr;
    QPushButton* mRename = nullptr;
    QPushButton* mSave = nullptr;
    QPushButton* mReadOnly = nullptr;
    QPushButton* mTakeOver = nullptr;
    QPushButton* mBreakLock = nullptr;
    QPushButton* mRestore = nullptr;
    std::optional<std::filesystem::path> mRecoveredFrom; // when this is a recovery copy
    QTimer mPoll;
    bool mHeldByAnother = false; // seen locked by someone else since it was last writable
};

} // namespace host
