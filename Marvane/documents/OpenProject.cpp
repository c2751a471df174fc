#include "Marvane/documents/OpenProject.h"

#include "Marvane/fileservices/AccessDeadline.h"
#include "Marvane/fileservices/FolderMount.h"
#include "Marvane/projectbackend/LockFiles.h"
#include "Marvane/projectbackend/LockStates.h"
#include "Marvane/projectbackend/LockingIdentity.h"

namespace host {

OpenProject::OpenProject(std::filesystem::path path, ProjectContent content, FileStamp stamp)
    : mPath(std::move(path)), mContent(std::make_shared<const ProjectContent>(std::move(content))),
      mLoadedStamp(stamp) {}

OpenProject::~OpenProject() {
    ReleaseLock();
}

std::string OpenProject::DisplayName() const {
    return mPath.stem().string();
}

ByteString OpenProject::GetPath() const {
    return mPath.string();
}

bool OpenProject::IsOutOfDate() const {
    const FileStamp now = StampOf(ProjectContentFile(mPath));
    return now.size >= 0 && !(now == mLoadedStamp);
}

void OpenProject::SetPath(const ByteString& newPath) {
    // A lock left at the old path names a project that is not there any more.
    ReleaseLock();
    mPath = std::filesystem::path(newPath).lexically_normal();
    // A move across file systems gives the file a new identity; its content is the one read.
    if (const FileStamp moved = StampOf(ProjectContentFile(mPath)); moved.size >= 0) {
        mLoadedStamp = moved;
    }
    // The lock at the old path is not this project's any more; until a lock is attached at
    // the new path, a writable project must not be saved.
    mLostLock = !mReadOnly && CurrentLockingIdentity().enabled;
    mHoldsLock = false;
}

void OpenProject::AttachLockFile(ProjectLockFilePtr lock) {
    if (!lock || !lock->IsOwnedByCaller()) {
        return;
    }
    // A lock of our identity left by a process that is gone is replaced by one naming this
    // process, so that closing removes it; a lock that may be live is never taken, and of
    // several copies taking over at once only one succeeds.
    if (TakeOverOwnLockFile(mPath) == TakeOverResult::Taken) {
        ForgetCreatedLock(mPath);
        LockFileContent content;
        mLockBytes.clear();
        ReadLockFile(LockFilePathFor(mPath), content, mLockBytes);
        mHoldsLock = true;
        mLostLock = false;
    }
}

bool OpenProject::LockOnDiskIsOurs() const {
    if (!mHoldsLock || mLockBytes.empty()) {
        return false;
    }
    LockFileContent content;
    std::string bytes;
    return ReadLockFile(LockFilePathFor(mPath), content, bytes) == LockFileState::Valid &&
           bytes == mLockBytes;
}

bool OpenProject::LockWasTakenAway() const {
    if (!mHoldsLock || mLockBytes.empty()) {
        return false;
    }
    // Beneath the production's lost mount nothing tells whose the lock is now.
    if (!MountGoneUnder(mPath).empty()) {
        return false;
    }
    LockFileContent content;
    std::string bytes;
    switch (ReadLockFile(LockFilePathFor(mPath), content, bytes)) {
    case LockFileState::Valid:
        return bytes != mLockBytes;
    case LockFileState::Unreadable: {
        // Something else stands at the lock's name; a name that cannot even be looked at (a
        // share that does not answer) tells nothing.
        const std::filesystem::path lockPath = LockFilePathFor(mPath);
        return files::Bounded<bool>(lockPath,
                                    [lockPath] {
                                        std::error_code error;
                                        const auto status =
                                            std::filesystem::symlink_status(lockPath, error);
                                        return !error && std::filesystem::exists(status);
                                    })
            .value_or(false);
    }
    case LockFileState::Missing:
        break;
    }
    std::error_code error;
    return std::filesystem::exists(ProjectContentFile(mPath), error) && !error;
}

bool OpenProject::RefreshLock() const {
    return mHoldsLock && !mLockBytes.empty() && RefreshLockTime(LockFilePathFor(mPath), mLockBytes);
}

void OpenProject::EditContent(const ProjectContent& content) {
    if (mReadOnly || content == *mContent) {
        return;
    }
    mContent = std::make_shared<const ProjectContent>(content);
    mModified = true;
}

std::string OpenProject::CurrentLockHolder() const {
    const LockingIdentity ours = CurrentLockingIdentity();
    const ProjectLockFilePtr lock = ReadProjectLockFile(mPath.string(), ours.name, ours.second);
    return lock ? lock->GetOwnerName() : std::string();
}

void OpenProject::ReplaceContent(ProjectContent content, FileStamp stamp) {
    mContent = std::make_shared<const ProjectContent>(std::move(content));
    mLoadedStamp = stamp;
    mModified = false;
}

void OpenProject::MarkSaved(FileStamp stamp) {
    mLoadedStamp = stamp;
    mModified = false;
}

void OpenProject::ReleaseLock() {
    if (mHoldsLock) {
        // Removes only a lock this process wrote: one taken over is its new holder's. One
        // that could not go now (a share refusing while colleagues read it) is tried again,
        // at the latest when the host stops.
        if (ReleaseOwnLockFile(mPath) == LockRelease::Failed) {
            KeepReleasing(mPath);
        }
        mHoldsLock = false;
    }
}

} // namespace host
