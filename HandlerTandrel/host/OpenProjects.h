#pragma once
// The projects the host has open: finding them, opening, saving, closing and reloading them,
// the one the user works in, and the messages that tell of each change. Main thread only.
#include "host/CoreTypes.h"
#include "host/DataTransfer.h"
#include "host/Messaging.h"
#include "host/ProjectBackEnd.h"

#include <cstdint>
#include <memory>
#include <string_view>
#include <utility>
#include <vector>

namespace host {

// A project the host has open.
class IProject {
public:
    virtual ~IProject() = default;
    virtual ByteString GetPath() const = 0;
    virtual bool IsReadOnly() const = 0;
    // Read-only and the file on disk changed since it was loaded.
    virtual bool IsOutOfDate() const = 0;
    // The project now lives at a new path (it was moved with its folder).
    virtual void SetPath(const ByteString& newPath) = 0;
    // The project holds this lock from now on, and removes it when it closes.
    virtual void AttachLockFile(ProjectLockFilePtr lock) = 0;
};
using ProjectPtr = std::shared_ptr<IProject>;

ProjectPtr FindOpenProject(const ByteString& projectPath);
std::vector<ProjectPtr> GetOpenProjectList();
// Closes the projects, asking to save each modified one unless saveWithoutAsking; with
// offerApplyToAll the question for a batch offers to apply the answer to all. False when the
// user cancelled: the projects not closed yet stay open.
bool CloseProjects(const std::vector<ProjectPtr>& projects, bool saveWithoutAsking,
                   bool offerApplyToAll);
bool GetIsReadOnly(const ProjectPtr& project);

// Opening a project from a panel: the plain mode opens it read-write when its lock can be
// had (else read-only, naming the holder); the alternative mode opens it read-only without
// touching the lock.
inline constexpr int kOpenModePlain = 5;
inline constexpr int kOpenModeAlternative = 11;
// Opens the project and shows it; a project that cannot be opened is reported to the user.
// False when it did not open.
bool OpenProjectInHost(const ByteString& projectPath, int mode);
// Whether the host's document manager is there to open, reload and close projects.
bool HasDocumentManager();
// Reads an open project again from its file; with reportFailure a project that cannot be read
// is reported to the user. False when it was not reloaded.
bool ReloadOpenProject(const ProjectPtr& project, bool reportFailure);
// Closes every open project, asking to save each modified one; false when the user cancelled.
bool CloseAllOpenProjects();
// Saves an open project; a failure is reported to the user. False when it was not saved.
bool SaveOpenProject(const ProjectPtr& project);
// Switches an open project to read-only or read-write (taking or releasing its lock); a refusal
// is reported to the user. needsReload: the file changed on disk while the project was
// read-only, so it must be read again. False when the mode did not change.
bool SetOpenProjectReadOnly(const ProjectPtr& project, bool readOnly, bool& needsReload);
// Makes a new project in the folder in the host's default format ("Untitled Project", or the
// next free number) and opens it; a failure is reported to the user. Its path, or empty.
ByteString CreateNewProjectIn(const ByteString& folderPath);
// The project the user works in, or null; making another one the active project.
ProjectPtr GetActiveProject();
void SetActiveProject(const ProjectPtr& project);
bool IsProjectOutOfDate(const ProjectPtr& project);

// Bins and sequences dragged from a project's window (host/DataTransfer.h) onto a project.
// Whether the open project takes them: it is writable and not the project they come from.
bool CanAddProjectItems(const DraggedProjectItems& items, const ProjectPtr& target);
// Whether items put into a project also leave their own.
enum class ItemsLeaveTheirProject : std::uint8_t {
    kNo,  // they are copied
    kYes, // they are moved: they leave their own project when that one is open and writable
};
// Puts them into the open project, as an edit the user saves; a name it holds already gets
// the next number ("Reel A 2"). False when nothing was added.
bool CopySelection(const DraggedProjectItems& items, const ProjectPtr& target,
                   ItemsLeaveTheirProject leave);

// Sent on kProjectActivationStation after a project was opened, closed, or switched between
// read-only and read-write.
struct ProjectOpenedMessage : Message {
    HOST_DECLARE_MESSAGE_TYPE(ProjectOpenedMessage)
    explicit ProjectOpenedMessage(ByteString path) : ProjectOpenedMessage() {
        projectPath = std::move(path);
    }
    ByteString projectPath; // the project's file (or folder)
};
struct ProjectClosedMessage : Message {
    HOST_DECLARE_MESSAGE_TYPE(ProjectClosedMessage)
    explicit ProjectClosedMessage(ByteString path) : ProjectClosedMessage() {
        projectPath = std::move(path);
    }
    ByteString projectPath; // the project's file (or folder)
};
struct ProjectReadOnlyChangedMessage : Message {
    HOST_DECLARE_MESSAGE_TYPE(ProjectReadOnlyChangedMessage)
    explicit ProjectReadOnlyChangedMessage(ByteString path) : ProjectReadOnlyChangedMessage() {
        projectPath = std::move(path);
    }
    ByteString projectPath; // the project's file (or folder)
};
inline constexpr std::string_view kProjectActivationStation = "zkr.projectactivation";

} // namespace host
