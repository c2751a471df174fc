#pragma once
// Changes on disk that arrive while a rename is under way, or while the host paused
// notifications, wait in a set; each folder is applied once when both are over. A rename
// that ends while notifications are still paused applies nothing yet.
#include "host/CoreTypes.h"

#include <functional>
#include <set>
#include <utility>

namespace HandlerTandrel {

class ChangeDeferral {
public:
    using Apply = std::function<void(const host::ByteString& folderPath)>;

    // apply: shows a change of a folder (UTF-8 path), once nothing holds it back.
    explicit ChangeDeferral(Apply apply) : mApply(std::move(apply)) {}

    // A folder changed on disk: applied now, or kept until nothing holds changes back.
    void FolderChanged(const host::ByteString& folderPath);

    void SetRenameInProgress(bool inProgress);
    void SetNotifyPaused(bool paused);
    bool IsHoldingBack() const { return mRenameInProgress || mNotifyPaused; }
    const std::set<host::WideString>& GetPending() const { return mPending; }

private:
    void ApplyPending();

    Apply mApply;
    bool mRenameInProgress = false;
    bool mNotifyPaused = false;
    std::set<host::WideString> mPending;
};

} // namespace HandlerTandrel
