#include "Marvane/app/OpeningPage.h"
#include "Marvane/documents/BackgroundOpening.h"
#include "host/Localizer.h"

#include <QVBoxLayout>

namespace host {

namespace {

// How often the page looks at the reading: often enough to move smoothly, seldom enough to
// cost nothing.
constexpr int kLookIntervalMs = 100;

} // namespace

OpeningPage::OpeningPage(std::filesystem::path project, QWidget* parent)
    : QWidget(parent), mProject(std::move(project)) {
    setObjectName(QStringLiteral("OpeningPage"));
    auto* layout = new QVBoxLayout(this);
    layout->addStretch(1);
    mText = new QLabel(this);
    mText->setObjectName(QStringLiteral("OpeningText"));
    mText->setAlignment(Qt::AlignCenter);
    mText->setWordWrap(true);
    mText->setTextFormat(Qt::PlainText);
    mText->setText(QString::fromStdString(
        Localize("$$$/Marvane/Host/Opening/Text=Opening \"@0\"…", {mProject.stem().string()})));
    layout->addWidget(mText);
    mProgress = new QProgressBar(this);
    mProgress->setObjectName(QStringLiteral("OpeningProgress"));
    mProgress->setRange(0, 1000);
    mProgress->setTextVisible(false);
    mProgress->setMaximumWidth(480);
    layout->addWidget(mProgress, 0, Qt::AlignHCenter);
    mCancel = new QPushButton(
        QString::fromStdString(Localize("$$$/Marvane/Host/Opening/Cancel=Stop Opening")), this);
    mCancel->setObjectName(QStringLiteral("OpeningCancel"));
    connect(mCancel, &QPushButton::clicked, this, [this] { Cancel(); });
    layout->addWidget(mCancel, 0, Qt::AlignHCenter);
    layout->addStretch(2);
    setFocusProxy(mCancel);
    connect(&mTimer, &QTimer::timeout, this, [this] { ShowProgress(); });
    mTimer.start(kLookIntervalMs);
    ShowProgress();
}

void OpeningPage::Cancel() {
    mCancel->setEnabled(false);
    mText->setText(QString::fromStdString(
        Localize("$$$/Marvane/Host/Opening/Stopping=Stopping the opening of \"@0\"…",
                 {mProject.stem().string()})));
    DocumentManager::Instance().CancelOpening(mProject);
}

void OpeningPage::ShowProgress() {
    for (const auto& opening : DocumentManager::Instance().GetOpenings()) {
        if (opening->Path() == mProject) {
            mProgress->setValue(opening->Permille());
        }
    }
}

} // namespace host
