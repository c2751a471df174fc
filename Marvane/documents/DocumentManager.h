#pragma once
// The projects the host has open. Opening takes the project's lock when it can (read-write)
// and opens it read-only otherwise; closing asks to save changes and removes our lock.
// Every change is announced on kProjectActivationStation. Main thread only.
#include "Marvane/documents/OpenProject.h"
#include "host/Messaging.h"

#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace host {

using OpenProjectPtr = std::shared_ptr<OpenProject>;

// Sent on kProjectActivationStation when a project that was open already is opened again: it
// becomes the active project, and the window shows it.
struct ProjectActivatedMessage : Message {
    HOST_DECLARE_MESSAGE_TYPE(ProjectActivatedMessage)
};

enum class OpenMode {
    Normal,  // read-write when the lock can be had (or locking is off), else read-only
    ReadOnly // read-only, without touching the lock
};

struct OpenResult {
    OpenProjectPtr project;
    std::string error;      // for the user, when project is empty
    bool nameTaken = false; // a new project's name was taken: nothing was made
};

// An opening under way: the project's lock taken (when it is to be), its content not read yet.
struct OpenStart {
    std::filesystem::path path;
    OpenMode mode = OpenMode::Normal;
    OpenProjectPtr existing; // the project was open already: it is now the active one
    std::string error;       // the project cannot be opened at all
    bool locking = true;
    ProjectLockFilePtr lock;
    std::string lockFailure; // why it will be read-only although nobody holds it
    // Becomes the active project once read. Not so for one read in the background after the
    // user asked for another project meanwhile: the project asked for last stays in front.
    bool activate = true;
};

struct BackgroundOpening;

// A project whose lock another editor took over or broke while we held it.
struct LockLoss {
    OpenProjectPtr project;
    std::string newHolder;              // who holds it now; empty when nobody does
    std::filesystem::path recoveryCopy; // our unsaved changes, when there were any
    std::string recoveryError;          // why they could not be kept, if so
};

struct ReadOnlyResult {
    bool changed = false;
    bool needsReload = false; // the file changed on disk while the project was read-only
    std::string error;
};

class DocumentManager {
public:
    static DocumentManager& Instance();

    // Opens the project, reading it on this thread.
    OpenResult Open(const std::filesystem::path& projectPath, OpenMode mode = OpenMode::Normal);
    // The steps of an opening whose content is read elsewhere: the start takes the lock (or
    // finds the project open already, or says why it cannot be opened); the finish makes the
    // project from what was read, or gives the lock back when the reading failed. A start not
    // finished is abandoned (its lock given back).
    OpenStart BeginOpen(const std::filesystem::path& projectPath, OpenMode mode);
    OpenResult FinishOpen(OpenStart start, bool loaded, ProjectContent content, FileStamp stamp,
                          const std::string& error);
    void AbandonOpen(const OpenStart& start);

    // Opens the project without making the window wait: its content is read and parsed on a
    // worker thread while the window shows how far the reading got (ProjectOpeningMessage).
    // `finished` hears the outcome on the main thread: the project, or the error for the user,
    // or neither when the opening was cancelled. A project open already only becomes the
    // active one, and `finished` hears it at once, as it does an opening refused at once.
    void OpenInBackground(const std::filesystem::path& projectPath, OpenMode mode,
                          std::function<void(const OpenResult&)> finished);
    // The openings under way, oldest first.
    const std::vector<std::shared_ptr<BackgroundOpening>>& GetOpenings() const { return mOpenings; }
    bool IsOpening(const std::filesystem::path& projectPath) const;
    // Stops an opening: its lock is given back, and `finished` hears neither project nor error.
    void CancelOpening(const std::filesystem::path& projectPath);
    // Stops every opening and waits for its worker (a share that stopped answering is given up
    // on at its deadline); the locks they took are given back.
    void CancelOpenings();
    // For a stop that cannot wait (an unexpected error): every opening is told to stop and
    // its lock removed at once, without waiting for its worker.
    void ReleaseOpeningLocks();
    ~DocumentManager();
    // Closes projects, asking to save each modified one; with more than one modified project
    // the question offers to apply the answer to all. False when the user cancelled: the
    // projects not closed yet stay open.
    // saveWithoutAsking: modified projects are saved without a question. offerApplyToAll:
    // false keeps the question to one project at a time.
    bool Close(const std::vector<OpenProjectPtr>& projects, bool saveWithoutAsking = false,
               bool offerApplyToAll = true);
    bool CloseAll();
    // Closes without asking; changes not saved are lost (callers save a recovery copy first).
    void CloseAllWithoutAsking();
    bool Save(const OpenProjectPtr& project, std::string& error);
    bool Reload(const OpenProjectPtr& project, std::string& error);
    ReadOnlyResult SetReadOnly(const OpenProjectPtr& project, bool readOnly);
    // Makes "Untitled Project.mvproj" (or the next free number) in the folder and opens it.
    OpenResult CreateNewProject(const std::filesystem::path& folder);
    // Makes "<name>.mvproj" in the folder and opens it. Nothing that is there is replaced: a
    // name a project or a lock file takes gives nameTaken and no project.
    OpenResult CreateNewProject(const std::filesystem::path& folder, const std::string& name);
    // The name a new project in the folder is offered under: "Untitled Project", or the first
    // numbered one that no project or lock file takes.
    static std::string OfferedNewProjectName(const std::filesystem::path& folder);

    // Where copies of unsaved changes go when a lock is lost ("<data folder>/Recovery").
    void SetDataDirectory(std::filesystem::path folder) { mDataDirectory = std::move(folder); }
    // The heartbeat of the locks we hold: each is refreshed. A project whose lock was taken
    // over or broken is never written again: its unsaved changes are kept as a recovery
    // copy, it turns read-only (the lock on disk stays its new holder's), and the loss is
    // returned for the user to be told.
    std::vector<LockLoss> Heartbeat();
    // Runs between a save's last check and its write: tests take the lock away there.
    void SetBeforeWriteHookForTesting(std::function<void()> hook) {
        mBeforeWriteHook = std::move(hook);
    }

    OpenProjectPtr Find(const std::filesystem::path& projectPath) const;
    const std::vector<OpenProjectPtr>& GetAll() const { return mProjects; }
    OpenProjectPtr GetActive() const { return mActive.lock(); }
    // The project the person works in now: chosen, it also counts as asked for last.
    void SetActive(const OpenProjectPtr& project);

private:
    DocumentManager() = default;
    void Remove(const OpenProjectPtr& project);
    // The order in which projects were asked for: asked again, a project moves to the end;
    // one that will not be open (refused, failed, stopped, closed) leaves the order.
    void Asked(const std::filesystem::path& path);
    void NoLongerAsked(const std::filesystem::path& path);
    // Whether a project read in the background comes to the front when it is ready: when it
    // is the one asked for last that may still be open, or when none is.
    bool ComesToTheFront(const std::filesystem::path& path) const;
    // The worker of an opening is done: the project joins the open ones, or the error is told.
    void FinishInBackground(const std::shared_ptr<BackgroundOpening>& opening);
    // Takes an opening from those under way, its worker ended.
    void EndOpening(const std::shared_ptr<BackgroundOpening>& opening);
    LockLoss LoseLock(const OpenProjectPtr& project);
    // Keeps the changes of a project whose file changed since it was read as a recovery copy;
    // what the user is told.
    std::string KeepChangesOfAnOutOfDateProject(const OpenProject& project) const;

    std::vector<OpenProjectPtr> mProjects;
    std::vector<std::shared_ptr<BackgroundOpening>> mOpenings;
    // Projects asked for (opened, brought forward, chosen, or being opened), the latest last.
    std::vector<std::filesystem::path> mAskedFor;
    std::weak_ptr<OpenProject> mActive;
    std::filesystem::path mDataDirectory;
    std::function<void()> mBeforeWriteHook;
};

// "Ben Okafor took over \"Scene 1\" ...": what the user is told of a lost lock.
std::string DescribeLockLoss(const LockLoss& loss);

std::filesystem::path NormalProjectPath(const std::filesystem::path& projectPath);

} // namespace host
