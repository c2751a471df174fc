#pragma once
// Opens a list of folders of the tree one after another, each once its parent's content has
// arrived (used when saved open folders are restored), then calls back.
#include "host/CoreTypes.h"

#include <cstddef>
#include <deque>
#include <functional>
#include <set>

namespace HandlerTandrel {

class TandrelDirectoryView;

class FolderOpener {
public:
    enum State { kIdle = 0, kStarted = 1, kExpanding = 2, kFinishing = 3 };

    explicit FolderOpener(TandrelDirectoryView& view) : mView(view) {}

    // Starts from a directory whose content was requested, and the folders to open, in order.
    void OpenAllFoldersInDirectory(const host::WideString& directory,
                                   const std::vector<host::WideString>& folders,
                                   std::function<void()> completion);
    // The content of a directory arrived (called by the view for every delivery).
    void DirectoryDelivered(const host::WideString& directory);
    // A folder's content was requested (the view opened it).
    void DirectoryRequested(const host::WideString& directory);
    State GetState() const { return mState; }
    bool IsRunning() const { return mState != kIdle; }

private:
    void RequestNextExpansion();
    void Continue();

    TandrelDirectoryView& mView;
    std::deque<host::WideString> mQueue;
    std::set<host::WideString> mOutstanding;
    std::size_t mOutstandingCount = 0;
    State mState = kIdle;
    std::function<void()> mCompletion;
};

} // namespace HandlerTandrel
