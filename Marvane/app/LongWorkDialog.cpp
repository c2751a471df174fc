#include "Marvane/app/LongWorkDialog.h"

#include "host/Formatting.h"
#include "host/Localizer.h"

#include <QCoreApplication>
#include <QEventLoop>
#include <QProgressDialog>
#include <QTimer>

namespace host {

namespace {

constexpr int kBarSteps = 1000;

} // namespace

LongWorkDialog::LongWorkDialog(QWidget* parent) : mParent(parent) {}

LongWorkDialog::~LongWorkDialog() {
    delete mDialog;
}

void LongWorkDialog::Begin(files::LongWork&) {
    // Work begun inside other work (a folder's items one by one) keeps the first's clock.
    if (mDepth++ == 0) {
        mSince.start();
    }
}

void LongWorkDialog::Turn(files::LongWork& work, std::chrono::milliseconds slice) {
    if (mDialog == nullptr && mSince.elapsed() >= kAppearAfterMs) {
        Show(work);
    }
    if (mDialog != nullptr) {
        Update(work);
    }
    // Only the dialog takes input (it is modal); before it shows, input waits in the queue.
    // Watches of folders (socket notifiers) wait until the work is over, so that the tree
    // does not change under the command that runs it.
    QEventLoop::ProcessEventsFlags flags = QEventLoop::ExcludeSocketNotifiers;
    if (mDialog == nullptr) {
        flags |= QEventLoop::ExcludeUserInputEvents;
    }
    QEventLoop loop;
    QTimer::singleShot(static_cast<int>(slice.count()), &loop, &QEventLoop::quit);
    loop.exec(flags);
}

void LongWorkDialog::End(files::LongWork&) {
    if (--mDepth > 0) {
        return;
    }
    if (mDialog != nullptr) {
        // The work it tells may be gone before the dialog is: it tells nothing more.
        QObject::disconnect(mDialog, &QProgressDialog::canceled, nullptr, nullptr);
        mDialog->hide();
        mDialog->deleteLater();
        mDialog = nullptr;
    }
}

void LongWorkDialog::Show(files::LongWork& work) {
    mDialog = new QProgressDialog(mParent);
    mDialog->setObjectName(QStringLiteral("LongWorkDialog"));
    mDialog->setWindowTitle(
        QString::fromStdString(Localize("$$$/Marvane/Host/LongWork/Title=Working")));
    mDialog->setCancelButtonText(
        QString::fromStdString(Localize("$$$/Marvane/Host/LongWork/Cancel=Cancel")));
    mDialog->setRange(0, kBarSteps);
    mDialog->setAutoClose(false);
    mDialog->setAutoReset(false);
    mDialog->setMinimumDuration(0);
    mDialog->setWindowModality(Qt::ApplicationModal);
    // The work hears of it at once: its next step stops it. The dialog goes before the work.
    QObject::connect(mDialog, &QProgressDialog::canceled, mDialog,
                     [&work] { work.cancelled = true; });
    Update(work);
    mDialog->show();
}

void LongWorkDialog::Update(const files::LongWork& work) {
    const std::uint64_t total = work.total.load();
    const std::uint64_t done = std::min(work.done.load(), total);
    mDialog->setValue(total == 0 ? 0 : static_cast<int>(done * kBarSteps / total));
    mDialog->setLabelText(QString::fromStdString(
        work.title + "\n" +
        Localize("$$$/Marvane/Host/LongWork/Bytes=@0 of @1",
                 {NumberToMemoryString(done, 3, false), NumberToMemoryString(total, 3, false)})));
}

} // namespace host
