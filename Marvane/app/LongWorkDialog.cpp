#include "Marvane/app/LongWorkDialog.h"

#include "host/Formatting.h"
#include "host/Localizer.h"

#include <QCoreApplication>
#include <QEventLoop>
#include <QProgressDialog>
#include <QTimer>
#include <algorithm>

namespace host {

namespace {

constexpr int kBarSteps = 1000;

} // namespace

LongWorkDialog::LongWorkDialog(QWidget* parent) : mParent(parent) {}

LongWorkDialog::~LongWorkDialog() {
    delete mDialog;
}

void LongWorkDialog::Begin(files::LongWork& work) {
    // Work begun inside other work (a folder's items one by one) keeps the first's clock.
    if (mWorks.empty()) {
        mSince.start();
    }
    mWorks.push_back(&work);
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

void LongWorkDialog::End(files::LongWork& work) {
    mWorks.erase(std::remove(mWorks.begin(), mWorks.end(), &work), mWorks.end());
    if (!mWorks.empty()) {
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

void LongWorkDialog::Show(const files::LongWork& work) {
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
    // The work hears of it at once: its next step stops it, and so does the work it is part of
    // (the command that moves item after item). The dialog goes before the last work.
    QObject::connect(mDialog, &QProgressDialog::canceled, mDialog, [this] {
        for (files::LongWork* begun : mWorks) {
            begun->cancelled = true;
        }
    });
    Update(work);
    mDialog->show();
}

void LongWorkDialog::Update(const files::LongWork& work) {
    const std::uint64_t total = work.total.load();
    const std::uint64_t done = std::min(work.done.load(), total);
    mDialog->setValue(total == 0 ? 0 : static_cast<int>(done * kBarSteps / total));
    const std::string howFar = work.countsItems
                                   ? Localize("$$$/Marvane/Host/LongWork/Items=@0 of @1 items",
                                              {std::to_string(done), std::to_string(total)})
                                   : Localize("$$$/Marvane/Host/LongWork/Bytes=@0 of @1",
                                              {NumberToMemoryString(done, 3, false),
                                               NumberToMemoryString(total, 3, false)});
    mDialog->setLabelText(QString::fromStdString(work.title + "\n" + howFar));
}

} // namespace host
