#include "Marvane/app/ProgressPanel.h"

#include "Marvane/application/ProjectImport.h"
#include "host/Formatting.h"
#include "host/Localizer.h"

#include <QDialogButtonBox>
#include <QLabel>
#include <QProgressBar>
#include <QPushButton>
#include <QVBoxLayout>

namespace host {

namespace {

QString Text(std::string_view key, std::initializer_list<ByteString> arguments = {}) {
    return QString::fromStdString(Localize(key, arguments));
}

ByteString Size(std::uint64_t bytes) {
    return NumberToMemoryString(bytes, 3, false);
}

} // namespace

ProgressPanel::ProgressPanel(QWidget* parent) : QDialog(parent) {
    setObjectName(QStringLiteral("ProgressPanel"));
    setWindowTitle(Text("$$$/Marvane/Host/Progress/Title=Progress"));
    setModal(false);
    auto* layout = new QVBoxLayout(this);
    mHeadline = new QLabel(this);
    mHeadline->setObjectName(QStringLiteral("ProgressHeadline"));
    mHeadline->setTextFormat(Qt::PlainText);
    mDetail = new QLabel(this);
    mDetail->setObjectName(QStringLiteral("ProgressDetail"));
    mDetail->setTextFormat(Qt::PlainText);
    mBar = new QProgressBar(this);
    mBar->setRange(0, 1000);
    auto* buttons = new QDialogButtonBox(this);
    mCancel = buttons->addButton(Text("$$$/Marvane/Host/Progress/Cancel=Cancel"),
                                 QDialogButtonBox::RejectRole);
    mCancel->setObjectName(QStringLiteral("ProgressCancel"));
    mClose = buttons->addButton(Text("$$$/Marvane/Host/Progress/Close=Close"),
                                QDialogButtonBox::AcceptRole);
    mClose->setObjectName(QStringLiteral("ProgressClose"));
    layout->addWidget(mHeadline);
    layout->addWidget(mBar);
    layout->addWidget(mDetail);
    layout->addWidget(buttons);
    resize(460, 150);
    connect(mCancel, &QPushButton::clicked, this, [this] {
        ProjectImport::Instance().Cancel();
        Refresh();
    });
    connect(mClose, &QPushButton::clicked, this, [this] {
        ProjectImport::Instance().ClearFinished();
        hide();
    });
    mTimer.setInterval(100);
    connect(&mTimer, &QTimer::timeout, this, [this] { Refresh(); });
}

void ProgressPanel::Present() {
    mPresentedAt.start();
    mTimer.start();
    Refresh();
}

void ProgressPanel::ShowAtFront() {
    if (!isVisible()) {
        show();
    }
    raise();
}

void ProgressPanel::Refresh() {
    const ImportProgress progress = ProjectImport::Instance().Progress();
    const bool running = progress.state == ImportProgress::State::Running;
    const ByteString done = std::to_string(progress.projectsDone);
    const ByteString total = std::to_string(progress.projectsTotal);
    switch (progress.state) {
    case ImportProgress::State::Running:
        mHeadline->setText(
            Text("$$$/Marvane/Host/Progress/Adding=Adding projects to the production: @0 of @1 "
                 "(@2)",
                 {done, total, progress.currentProject}));
        break;
    case ImportProgress::State::Cancelled:
        mHeadline->setText(Text("$$$/Marvane/Host/Progress/Cancelled=Cancelled: @0 of @1 projects "
                                "were added; nothing half-copied was kept.",
                                {done, total}));
        break;
    case ImportProgress::State::Finished:
        mHeadline->setText(Text("$$$/Marvane/Host/Progress/Finished=@0 of @1 projects were added.",
                                {done, total}));
        break;
    case ImportProgress::State::Idle:
        mHeadline->setText(Text("$$$/Marvane/Host/Progress/Idle=Nothing is being copied."));
        break;
    }
    QString detail = Text("$$$/Marvane/Host/Progress/Detail=Files: @0 of @1, @2 of @3",
                          {std::to_string(progress.filesDone), std::to_string(progress.filesTotal),
                           Size(progress.bytesDone), Size(progress.bytesTotal)});
    for (const std::string& failure : progress.failures) {
        detail += QStringLiteral("\n") + QString::fromStdString(failure);
    }
    mDetail->setText(detail);
    const double fraction =
        progress.bytesTotal > 0
            ? static_cast<double>(progress.bytesDone) / static_cast<double>(progress.bytesTotal)
            : (progress.state == ImportProgress::State::Idle ? 0.0 : 1.0);
    mBar->setValue(static_cast<int>(fraction * 1000.0));
    mCancel->setEnabled(running);
    if (running) {
        // Work that ends within a moment never opens the panel.
        if (!isVisible() && mPresentedAt.isValid() && mPresentedAt.elapsed() >= kAppearAfterMs) {
            ShowAtFront();
        }
        return;
    }
    mTimer.stop();
    if (progress.state == ImportProgress::State::Finished && progress.failures.empty()) {
        // Everything arrived: nothing is left to read or to answer.
        ProjectImport::Instance().ClearFinished();
        hide();
        return;
    }
    // What failed and why, or a cancelled copy, stays until the user closes it.
    ShowAtFront();
}

} // namespace host
