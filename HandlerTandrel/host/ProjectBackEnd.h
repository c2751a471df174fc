#pragma once
// The host project back end: project files and lock files (the open projects are in
// host/OpenProjects.h). Main thread only, except where a function says otherwise.
#include "host/CoreTypes.h"

#include <memory>
#include <string_view>
#include <vector>

namespace host {

// The project extensions: the project file's, and the project folder's (the second format,
// which counts only while IsFolderProjectFormatEnabled()).
inline constexpr std::u16string_view kProjectFileExtension16 = u".mvproj";
inline constexpr std::u16string_view kProjectFolderExtension16 = u".mvprojd";

// Whether a path names a project by its extension: a project file ".mvproj" or a project
// folder ".mvprojd" (when the host's folder format is switched on).
bool IsMarvaneProjectFile(const ByteString& utf8Path);

// The second project format: a project stored as a folder (".mvprojd"). Whether the host has
// it switched on, and whether a path names a project of that format.
bool IsFolderProjectFormatEnabled();
bool IsFolderFormatProject(const ByteString& utf8Path);

// A project's lock file as read or created for one locking identity (name and second).
class IProjectLockFile {
public:
    virtual ~IProjectLockFile() = default;
    // True when the lock is held by the identity it was read or created for: both locking
    // strings match. A lock that could not be written, or that is unreadable, answers false.
    virtual bool IsOwnedByCaller() const = 0;
    // The holder's locking name. An unreadable lock file names kUnreadableLockHolder.
    virtual ByteString GetOwnerName() const = 0;
};
using ProjectLockFilePtr = std::shared_ptr<IProjectLockFile>;

// The holder shown for a lock file that exists but cannot be read as a lock: it counts as
// held by someone else, so a damaged lock never unlocks a project.
inline constexpr std::string_view kUnreadableLockHolder = "Unknown (unreadable lock file)";

// The project's lock file, or empty when it has none. Safe on any thread.
ProjectLockFilePtr ReadProjectLockFile(const ByteString& projectPath, const ByteString& name,
                                       const ByteString& second);
// Creates the project's lock file for the identity, atomically even on network shares.
// Over a lock of the same identity it succeeds; over anyone else's it returns that lock
// (not owned). Empty when nothing could be written. Safe on any thread.
ProjectLockFilePtr CreateProjectLockFile(const ByteString& projectPath, const ByteString& name,
                                         const ByteString& second);
// Why the last CreateProjectLockFile on this thread wrote nothing, for the person: the lock
// file's path and the system's reason ("...: Read-only file system"). Empty when it made a
// lock, found another editor's, or was given no name.
ByteString GetLastProjectLockError();
// Whether the folder holds a locked project. recursive: look into sub-folders too (symbolic
// links are never followed). othersOnly: count only locks not owned by the current locking
// identity; false counts every lock.
bool DoesDirectoryContainLockedProjects(const ByteString& folderPath, bool recursive,
                                        bool othersOnly);

// The file dialog filter for every kind of project file the host opens.
ByteString GetAllMvProjectFilterForFileDialog();

} // namespace host
