#pragma once
// The page of a project that is being opened: its tab is there at once, with how far the
// reading got and a way to stop it, and gives way to the project's own page when it is read.
#include <QLabel>
#include <QProgressBar>
#include <QPushButton>
#include <QTimer>
#include <QWidget>
#include <filesystem>

namespace host {

class OpeningPage final : public QWidget {
public:
    explicit OpeningPage(std::filesystem::path project, QWidget* parent = nullptr);

    const std::filesystem::path& GetProjectPath() const { return mProject; }
    // How far the reading got, out of 1000, as the page shows it.
    int ShownPermille() const { return mProgress->value(); }
    // Stops the opening; the page goes when the opening has ended.
    void Cancel();

private:
    void ShowProgress();

    std::filesystem::path mProject;
    QLabel* mText = nullptr;
    QProgressBar* mProgress = nullptr;
    QPushButton* mCancel = nullptr;
    QTimer mTimer;
};

} // namespace host
