#pragma once
// A project the host has open: its content, its mode and the lock it holds.
#include "Marvane/documents/ProjectContent.h"
#include "host/OpenProjects.h"
#include "host/ProjectBackEnd.h"

#include <filesystem>
#include <memory>
#include <string>

namespace host {

class OpenProject final : public IProject {
public:
    OpenProject(std::filesystem::path path, ProjectContent content, FileStamp stamp);
    ~OpenProject() override;

    ByteString GetPath() const override;
    bool IsReadOnly() const override { return mReadOnly; }
    // The file on disk is not the version this project was loaded or last saved as: another
    // editor saved it after we read it (read-only), or a version we never read landed after we
    // took the lock (the last save of the editor whose lock was forced away).
    bool IsOutOfDate() const override;
    void SetPath(const ByteString& newPath) override;
    void AttachLockFile(ProjectLockFilePtr lock) override;

    const std::filesystem::path& Path() const { return mPath; }
    // The name everything the user sees calls the project by: its file's name without the
    // project extension ("Trailer B final"), whatever name the content keeps inside.
    std::string DisplayName() const;
    const ProjectContent& Content() const { return *mContent; }
    // The content as it is now, never changed afterwards: a change gives the project a new
    // one, so a view can keep showing this one without copying it.
    std::shared_ptr<const ProjectContent> ContentSnapshot() const { return mContent; }
    // Changes the content (read-write projects only); the project is then modified.
    void EditContent(const ProjectContent& content);
    bool IsModified() const { return mModified; }
    bool HoldsLock() const { return mHoldsLock; }
    // The project moved and has not been given a lock at its new place: it may not be saved
    // until it has one again.
    bool LostItsLock() const { return mLostLock; }
    // Who holds the project's lock file now, read from disk; empty when nobody does.
    std::string CurrentLockHolder() const;

    // Why a project that was to be opened for writing is read-only although nobody holds its
    // lock (the lock could not be written); empty otherwise.
    const std::string& ReadOnlyReason() const { return mReadOnlyReason; }
    void SetReadOnlyReason(std::string reason) { mReadOnlyReason = std::move(reason); }

    // Used by the document manager.
    void SetReadOnly(bool readOnly) {
        mReadOnly = readOnly;
        if (!readOnly) {
            mReadOnlyReason.clear();
        }
    }
    void ReplaceContent(ProjectContent content, FileStamp stamp);
    void MarkSaved(FileStamp stamp);
    // Removes the lock file if this project holds it.
    void ReleaseLock();
    // Leaves the lock file in place and stops holding it (changes that could not be kept).
    void AbandonLock() { mHoldsLock = false; }
    // Whether the lock on disk is still, byte for byte, the one this project holds.
    bool LockOnDiskIsOurs() const;
    // Whether the lock was positively taken from us: another lock stands in its place, or
    // it is gone while the project is still there. A lock that cannot be read at all (the
    // project's folder is gone, a share does not answer) is not known to be lost.
    bool LockWasTakenAway() const;
    // The heartbeat: our lock's time is refreshed, its content untouched. False when the
    // lock on disk is not ours any more.
    bool RefreshLock() const;

private:
    std::filesystem::path mPath;
    std::shared_ptr<const ProjectContent> mContent;
    FileStamp mLoadedStamp;
    bool mReadOnly = true;
    bool mModified = false;
    bool mHoldsLock = false;
    bool mLostLock = false;
    std::string mLockBytes; // the lock held, as written
    std::string mReadOnlyReason;
};

} // namespace host
