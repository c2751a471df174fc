#pragma once
// The host's progress panel: the projects being added to the production, with files and bytes
// copied, and a Cancel button. It follows the work on its own and can be closed at any time.
#include <QDialog>
#include <QTimer>

class QLabel;
class QProgressBar;
class QPushButton;

namespace host {

class ProgressPanel final : public QDialog {
public:
    explicit ProgressPanel(QWidget* parent);
    // Shows the panel (without taking it modal) and starts following the work.
    void Present();
    // Reads the work's state into the panel; called on a timer while shown.
    void Refresh();

private:
    QLabel* mHeadline = nullptr;
    QLabel* mDetail = nullptr;
    QProgressBar* mBar = nullptr;
    QPushButton* mCancel = nullptr;
    QPushButton* mClose = nullptr;
    QTimer mTimer;
};

} // namespace host
