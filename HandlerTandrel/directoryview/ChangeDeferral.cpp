#include "directoryview/ChangeDeferral.h"

namespace HandlerTandrel {

void ChangeDeferral::FolderChanged(const host::ByteString& folderPath) {
    if (!IsHoldingBack()) {
        mApply(folderPath);
        return;
    }
    mPending.insert(host::ToUTF16(folderPath));
}

void ChangeDeferral::ApplyPending() {
    std::set<host::WideString> pending;
    pending.swap(mPending);
    for (const host::WideString& path : pending) {
        FolderChanged(host::ToUTF8(path));
    }
}

void ChangeDeferral::SetRenameInProgress(bool inProgress) {
    if (mRenameInProgress == inProgress) {
        return;
    }
    mRenameInProgress = inProgress;
    if (!inProgress) {
        ApplyPending();
    }
}

void ChangeDeferral::SetNotifyPaused(bool paused) {
    if (mNotifyPaused == paused) {
        return;
    }
    mNotifyPaused = paused;
    if (!paused) {
        ApplyPending();
    }
}

} // namespace HandlerTandrel
