#include "directoryview/FolderOpener.h"

#include "directoryview/TandrelDirectoryView.h"

namespace HandlerTandrel {

void FolderOpener::OpenAllFoldersInDirectory(const host::WideString& directory,
                                             const std::vector<host::WideString>& folders,
                                             std::function<void()> completion) {
    mQueue.assign(folders.begin(), folders.end());
    mOutstanding.clear();
    mOutstanding.insert(directory);
    mOutstandingCount = 1;
    mCompletion = std::move(completion);
    mState = kStarted;
}

void FolderOpener::DirectoryRequested(const host::WideString& directory) {
    if (IsRunning() && mOutstanding.insert(directory).second) {
        ++mOutstandingCount;
    }
}

void FolderOpener::DirectoryDelivered(const host::WideString& directory) {
    if (!IsRunning()) {
        return;
    }
    if (mOutstanding.erase(directory) > 0 && mOutstandingCount > 0) {
        --mOutstandingCount;
    }
    Continue();
}

void FolderOpener::Continue() {
    while (mOutstandingCount == 0) {
        if (mQueue.empty()) {
            mState = kFinishing;
            auto completion = std::move(mCompletion);
            mCompletion = nullptr;
            mState = kIdle;
            if (completion) {
                completion();
            }
            return;
        }
        mState = kExpanding;
        RequestNextExpansion();
    }
}

void FolderOpener::RequestNextExpansion() {
    const host::WideString folder = mQueue.front();
    mQueue.pop_front();
    // Opening the row makes the view request its content, unless it was read already (then
    // there is nothing to wait for) or the folder is not there any more (it is skipped).
    mView.OpenFolderForOpener(folder);
}

} // namespace HandlerTandrel
