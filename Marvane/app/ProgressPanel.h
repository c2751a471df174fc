#pragma once
// The host's progress panel: the projects being added to the production, with files and bytes
// copied, and a Cancel button. It follows the work on its own and can be closed at any time.
// It opens only when the work is still running after a moment, closes itself when everything
// arrived, and stays, saying what failed and why, when something did (or the copy was
// cancelled).
#include <QDialog>
#include <QElapsedTimer>
#include <QTimer>

class QLabel;
class QProgressBar;
class QPushButton;

namespace host {

class ProgressPanel final : public QDialog {
public:
    explicit ProgressPanel(QWidget* parent);
    // Starts following the work; the panel shows itself (never modal) as told above.
    void Present();
    // How long work runs before the panel shows.
    static constexpr int kAppearAfterMs = 400;
    // Reads the work's state into the panel; called on a timer while shown.
    void Refresh();

private:
    QLabel* mHeadline = nullptr;
    QLabel* mDetail = nullptr;
    QProgressBar* mBar = nullptr;
    QPushButton* mCancel = nullptr;
    QPushButton* mClose = nullptr;
    QTimer mTimer;
    QElapsedTimer mPresentedAt;

    void ShowAtFront();
};

} // namespace host
