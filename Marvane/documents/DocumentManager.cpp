#include "Marvane/documents/DocumentManager.h"
#include "Marvane/documents/BackgroundOpening.h"
#include "Marvane/documents/PersonQuestions.h"
#include "Marvane/documents/ProjectItemsTransfer.h"
#include "Marvane/documents/ProjectSideData.h"
#include "Marvane/documents/Recovery.h"
#include "Marvane/fileservices/AccessDeadline.h"
#include "Marvane/fileservices/FileWriting.h"
#include "Marvane/projectbackend/LockFiles.h"
#include "Marvane/projectbackend/LockingIdentity.h"
#include "Marvane/projectbackend/ProjectFormats.h"
#include "host/DebugTrace.h"
#include "host/Localizer.h"

#include <algorithm>
#include <cerrno>
#include <optional>
#include <string_view>
#include <unistd.h>

namespace host {

namespace fs = std::filesystem;

namespace {

void Announce(const Message& message) {
    MessageStation::Get(kProjectActivationStation)->Broadcast(message);
}

enum class SaveAnswer { Save, DontSave, Cancel };

// Asks whether to save a modified project; "applyToAll" remembers a batch answer.
SaveAnswer AskToSave(const OpenProject& project, bool offerApplyToAll,
                     std::optional<SaveAnswer>& applyToAll) {
    if (applyToAll) {
        return *applyToAll;
    }
    std::vector<ByteString> buttons = {Localize("$$$/Marvane/Host/SavePrompt/Save=Save"),
                                       Localize("$$$/Marvane/Host/SavePrompt/DontSave=Don't Save"),
                                       Localize("$$$/Marvane/Host/SavePrompt/Cancel=Cancel")};
    if (offerApplyToAll) {
        buttons.push_back(Localize("$$$/Marvane/Host/SavePrompt/SaveAll=Save All"));
        buttons.push_back(Localize("$$$/Marvane/Host/SavePrompt/DontSaveAny=Don't Save Any"));
    }
    const int answer = AskPerson(
        Localize("$$$/Marvane/Host/SavePrompt/Title=Save Changes?"),
        Localize("$$$/Marvane/Host/SavePrompt/Message=Do you want to save the changes made to "
                 "the project \"@0\"?",
                 {project.DisplayName()}),
        buttons, Telling::kQuestion, 0);
    switch (answer) {
    case 0:
        return SaveAnswer::Save;
    case 1:
        return SaveAnswer::DontSave;
    case 3:
        applyToAll = SaveAnswer::Save;
        return SaveAnswer::Save;
    case 4:
        applyToAll = SaveAnswer::DontSave;
        return SaveAnswer::DontSave;
    default:
        return SaveAnswer::Cancel;
    }
}

// Another copy of the host of this very locking identity, here or on another machine, may
// have the project open for writing. (Another identity's lock is simply theirs.)
bool HeldByAnotherCopyHere(const fs::path& project) {
    const LockingIdentity ours = CurrentLockingIdentity();
    LockFileContent existing;
    return ReadLockFile(LockFilePathFor(project), existing) == LockFileState::Valid &&
           existing.lockingName == ours.name && existing.secondLockingString == ours.second &&
           MayBeHeldByAnotherProcess(existing);
}

// Why the lock file of a project nobody holds could not be made, in the user's words.
std::string WhyNoLockFile(const fs::path& project) {
    const fs::path folder = project.parent_path();
    const std::string folderName = folder.filename().string();
    const std::optional<int> refused = files::Bounded<int>(
        folder, [folder] { return ::access(folder.c_str(), W_OK) == 0 ? 0 : errno; });
    if (!refused) {
        return Localize("$$$/Marvane/Host/Lock/FolderNotAnswering=the production's folder does "
                        "not answer");
    }
    if (*refused == EROFS) {
        return Localize("$$$/Marvane/Host/Lock/ReadOnlyFileSystem=the folder \"@0\" is on a "
                        "file system that cannot be written",
                        {folderName});
    }
    if (*refused == EACCES || *refused == EPERM) {
        return Localize("$$$/Marvane/Host/Lock/FolderNotWritable=you cannot write in the folder "
                        "\"@0\"",
                        {folderName});
    }
    const std::string why = LockCreationError();
    return why.empty() ? Localize("$$$/Marvane/Host/Lock/UnknownReason=the system gave no reason")
                       : why;
}

// Why no lock could be made for a project that nobody else holds, in the user's words.
std::string WhyNotLocked(const fs::path& project) {
    constexpr std::size_t kLongestName = 255;
    if (LockFilePathFor(project).filename().string().size() > kLongestName) {
        return Localize("$$$/Marvane/Host/Lock/NameTooLong=The name of \"@0\" is too long for "
                        "a lock file beside it, so nobody can lock it. Rename the project with a "
                        "shorter name.",
                        {project.filename().string()});
    }
    return Localize("$$$/Marvane/Host/Lock/NotCreated=\"@0\" stays read-only: its lock file "
                    "could not be created because @1.",
                    {project.stem().string(), WhyNoLockFile(project)});
}

} // namespace

fs::path NormalProjectPath(const fs::path& projectPath) {
    std::error_code error;
    fs::path normal = fs::absolute(projectPath, error).lexically_normal();
    if (!normal.has_filename() && normal.has_relative_path()) {
        normal = normal.parent_path();
    }
    return normal;
}

DocumentManager& DocumentManager::Instance() {
    static DocumentManager manager;
    return manager;
}

OpenResult DocumentManager::Open(const fs::path& projectPath, OpenMode mode) {
    OpenStart start = BeginOpen(projectPath, mode);
    if (start.existing || !start.error.empty()) {
        return {start.existing, start.error};
    }
    ProjectContent content;
    FileStamp stamp;
    std::string error;
    const bool loaded = LoadProjectContent(start.path, content, error, &stamp);
    if (!loaded) {
        NoLongerAsked(start.path);
    }
    return FinishOpen(std::move(start), loaded, std::move(content), stamp, error);
}

OpenStart DocumentManager::BeginOpen(const fs::path& projectPath, OpenMode mode) {
    OpenStart start;
    start.path = NormalProjectPath(projectPath);
    start.mode = mode;
    const fs::path& path = start.path;
    Asked(path);
    if (OpenProjectPtr existing = Find(path)) {
        SetActive(existing);
        Announce(ProjectActivatedMessage());
        start.existing = existing;
        return start;
    }
    if (!IsMarvaneProjectFile(path.string())) {
        start.error = "\"" + path.string() + "\" is not a project of this application.";
        NoLongerAsked(path);
        return start;
    }
    if (IsOpening(path)) {
        start.error = "\"" + path.string() + "\" is being opened already.";
        return start;
    }
    // The lock comes first and the content after it, so that nobody can save a newer version
    // between our read and our lock.
    const LockingIdentity ours = CurrentLockingIdentity();
    start.locking = ours.enabled;
    if (mode == OpenMode::Normal && start.locking && !HeldByAnotherCopyHere(path)) {
        start.lock = CreateProjectLockFile(path.string(), ours.name, ours.second);
        if (!start.lock) {
            start.lockFailure = WhyNotLocked(path);
        } else if (start.lock->IsOwnedByCaller()) {
            // The opening holds it from now on, across turns of the event loop, and gives it
            // back if it does not end with the project open.
            ForgetCreatedLock(path);
        }
    }
    return start;
}

void DocumentManager::AbandonOpen(const OpenStart& start) {
    if (start.lock && start.lock->IsOwnedByCaller()) {
        // A read that stopped moving for a moment need not mean the folder is gone.
        files::LookAgainIfNotAnswering();
        RemoveOwnLockFile(start.path);
    }
}

OpenResult DocumentManager::FinishOpen(OpenStart start, bool loaded, ProjectContent content,
                                       FileStamp stamp, const std::string& error) {
    if (!loaded) {
        AbandonOpen(start);
        return {nullptr, error};
    }
    const fs::path& path = start.path;
    auto project = std::make_shared<OpenProject>(path, std::move(content), stamp);
    if (start.mode == OpenMode::Normal) {
        if (!start.locking) {
            project->SetReadOnly(false);
        } else if (start.lock && start.lock->IsOwnedByCaller()) {
            project->AttachLockFile(start.lock);
            project->SetReadOnly(!project->HoldsLock());
        }
    }
    if (project->IsReadOnly() && !start.lockFailure.empty()) {
        project->SetReadOnlyReason(start.lockFailure);
        Trace("Host", 2, "Opened read-only: " + start.lockFailure);
    }
    const OpenProjectPtr active = GetActive();
    const bool noneActive =
        !active || std::find(mProjects.begin(), mProjects.end(), active) == mProjects.end();
    mProjects.push_back(project);
    if (start.activate || noneActive) {
        mActive = project; // asked for already, or taken for want of any other
    }
    Announce(ProjectOpenedMessage(project->Path().string()));
    return {project, {}};
}

bool DocumentManager::Close(const std::vector<OpenProjectPtr>& projects, bool saveWithoutAsking,
                            bool offerApplyToAll) {
    const auto modified = std::count_if(projects.begin(), projects.end(), [](const auto& p) {
        return p && p->IsModified() && !p->IsReadOnly();
    });
    std::optional<SaveAnswer> applyToAll;
    for (const OpenProjectPtr& project : projects) {
        if (!project || !Find(project->Path())) {
            continue;
        }
        if (project->IsModified() && !project->IsReadOnly()) {
            const SaveAnswer answer =
                saveWithoutAsking
                    ? SaveAnswer::Save
                    : AskToSave(*project, offerApplyToAll && modified > 1, applyToAll);
            if (answer == SaveAnswer::Cancel) {
                return false;
            }
            std::string error;
            if (answer == SaveAnswer::Save && !Save(project, error)) {
                AskPerson(Localize("$$$/Marvane/Host/SaveFailed=Cannot Save Project"), error, {},
                          Telling::kFailure, 0);
                return false;
            }
        }
        Remove(project);
    }
    return true;
}

bool DocumentManager::CloseAll() {
    CancelOpenings();
    // A folder taken for not answering (a slow moment, a server back since) is asked once
    // more, so that the locks of the projects closed now are given back when it answers.
    if (!mProjects.empty()) {
        files::LookAgainIfNotAnswering();
    }
    const std::vector<OpenProjectPtr> all = mProjects;
    return Close(all);
}

void DocumentManager::CloseAllWithoutAsking() {
    CancelOpenings();
    if (!mProjects.empty()) {
        files::LookAgainIfNotAnswering();
    }
    while (!mProjects.empty()) {
        Remove(mProjects.back());
    }
}

void DocumentManager::SetActive(const OpenProjectPtr& project) {
    mActive = project;
    if (project) {
        Asked(project->Path());
    }
}

void DocumentManager::Asked(const fs::path& path) {
    NoLongerAsked(path);
    mAskedFor.push_back(path);
}

void DocumentManager::NoLongerAsked(const fs::path& path) {
    mAskedFor.erase(std::remove(mAskedFor.begin(), mAskedFor.end(), path), mAskedFor.end());
}

bool DocumentManager::ComesToTheFront(const fs::path& path) const {
    return mAskedFor.empty() || mAskedFor.back() == path;
}

void DocumentManager::Remove(const OpenProjectPtr& project) {
    const auto found = std::find(mProjects.begin(), mProjects.end(), project);
    if (found == mProjects.end()) {
        return;
    }
    // The caller's reference may be the very element erased here.
    const std::string path = project->Path().string();
    NoLongerAsked(project->Path());
    project->ReleaseLock();
    mProjects.erase(found);
    Announce(ProjectClosedMessage(path));
}

bool DocumentManager::Save(const OpenProjectPtr& project, std::string& error) {
    if (Find(project->Path()) != project) {
        error = "The project \"" + project->Path().string() + "\" is not open any more.";
        return false;
    }
    if (project->IsReadOnly()) {
        error = "The project \"" + project->Path().string() + "\" is open read-only.";
        return false;
    }
    if (project->LostItsLock()) {
        error = "The project \"" + project->Path().string() +
                "\" moved and is not locked at its new place. Switch it to read-only and back "
                "to lock it again before saving.";
        return false;
    }
    // Just before writing: the lock on disk must still be ours. Another editor who took the
    // project over (or broke our lock) may be writing it now.
    if (project->HoldsLock() && project->LockWasTakenAway()) {
        const LockLoss loss = LoseLock(project);
        Announce(ProjectReadOnlyChangedMessage(project->Path().string()));
        error = DescribeLockLoss(loss);
        return false;
    }
    // Our lock guards the file from the moment we took it only. The last save of an editor
    // whose lock was forced away may land after we read the project: that version is never
    // written over unasked.
    if (project->IsOutOfDate()) {
        error = KeepChangesOfAnOutOfDateProject(*project);
        return false;
    }
    if (mBeforeWriteHook) {
        mBeforeWriteHook();
    }
    if (!SaveProjectContent(project->Path(), project->Content(), error)) {
        return false;
    }
    // And just after: were our lock forced away while the file was written, the new holder
    // may have read the project before our version landed and may write over it. That save
    // is not called done: the changes are kept apart and the user is told.
    if (project->HoldsLock() && project->LockWasTakenAway()) {
        const LockLoss loss = LoseLock(project);
        Announce(ProjectReadOnlyChangedMessage(project->Path().string()));
        error = Localize("$$$/Marvane/Host/Lock/LostWhileSaving=Your lock on \"@0\" was taken "
                         "while it was being saved, so the save may not last.",
                         {project->DisplayName()}) +
                " " + DescribeLockLoss(loss);
        return false;
    }
    project->MarkSaved(StampOf(ProjectContentFile(project->Path())));
    UpdateProjectSideData(project->Path(), project->Content());
    return true;
}

std::string DocumentManager::KeepChangesOfAnOutOfDateProject(const OpenProject& project) const {
    std::string why;
    const fs::path copy =
        mDataDirectory.empty() ? fs::path() : SaveRecoveryCopy(mDataDirectory, project, why);
    std::string text = Localize(
        "$$$/Marvane/Host/Project/ChangedSinceRead=\"@0\" was written by someone else after you "
        "read it (most likely the last save of the editor who held it before you), so it was not "
        "saved over. Reload the project to see that version.",
        {project.DisplayName()});
    if (!copy.empty()) {
        text += " " + Localize("$$$/Marvane/Host/Lock/ChangesKept=Your unsaved changes are kept in "
                               "\"@0\".",
                               {copy.string()});
    } else {
        text +=
            " " + Localize("$$$/Marvane/Host/Lock/ChangesNotKept=Your unsaved changes could "
                           "not be kept (@0): copy them by hand before closing the project.",
                           {mDataDirectory.empty() ? "no folder is set for recovery copies" : why});
    }
    Trace("Host", 1,
          "Not saved over a version written since it was read: " + project.Path().string());
    return text;
}

LockLoss DocumentManager::LoseLock(const OpenProjectPtr& project) {
    LockLoss loss;
    loss.project = project;
    loss.newHolder = project->CurrentLockHolder();
    if (project->IsModified()) {
        if (mDataDirectory.empty()) {
            loss.recoveryError = "no folder is set for recovery copies";
        } else {
            loss.recoveryCopy = SaveRecoveryCopy(mDataDirectory, *project, loss.recoveryError);
        }
    }
    // The lock is someone else's now: it stays where it is.
    project->AbandonLock();
    project->SetReadOnly(true);
    project->SetReadOnlyReason(DescribeLockLoss(loss));
    Trace("Host", 1,
          "Lost the lock of " + project->Path().string() + " to \"" + loss.newHolder + "\"");
    return loss;
}

std::vector<LockLoss> DocumentManager::Heartbeat() {
    std::vector<LockLoss> losses;
    const std::vector<OpenProjectPtr> projects = mProjects;
    for (const OpenProjectPtr& project : projects) {
        if (!project->HoldsLock() || project->IsReadOnly()) {
            continue;
        }
        if (project->RefreshLock()) {
            continue;
        }
        if (!project->LockWasTakenAway()) {
            continue; // ours (its time could not be set), or not readable now: not known lost
        }
        losses.push_back(LoseLock(project));
        Announce(ProjectReadOnlyChangedMessage(project->Path().string()));
    }
    return losses;
}

std::string DescribeLockLoss(const LockLoss& loss) {
    const std::string name = loss.project ? loss.project->DisplayName() : std::string();
    std::string text =
        loss.newHolder.empty()
            ? Localize("$$$/Marvane/Host/Lock/Broken=Your lock on \"@0\" was removed by another "
                       "editor. The project is now read-only and will not be written.",
                       {name})
            : Localize("$$$/Marvane/Host/Lock/TakenOver=@1 took over \"@0\". The project is now "
                       "read-only and will not be written.",
                       {name, loss.newHolder});
    if (!loss.recoveryCopy.empty()) {
        text += " " + Localize("$$$/Marvane/Host/Lock/ChangesKept=Your unsaved changes are kept in "
                               "\"@0\".",
                               {loss.recoveryCopy.string()});
    } else if (!loss.recoveryError.empty()) {
        text += " " + Localize("$$$/Marvane/Host/Lock/ChangesNotKept=Your unsaved changes could "
                               "not be kept (@0): copy them by hand before closing the project.",
                               {loss.recoveryError});
    }
    return text;
}

bool DocumentManager::Reload(const OpenProjectPtr& project, std::string& error) {
    ProjectContent content;
    FileStamp stamp;
    if (!LoadProjectContent(project->Path(), content, error, &stamp)) {
        return false;
    }
    project->ReplaceContent(std::move(content), stamp);
    Announce(ProjectReadOnlyChangedMessage(project->Path().string()));
    return true;
}

ReadOnlyResult DocumentManager::SetReadOnly(const OpenProjectPtr& project, bool readOnly) {
    ReadOnlyResult result;
    if (project->IsReadOnly() == readOnly) {
        return result;
    }
    if (readOnly) {
        if (project->IsModified()) {
            result.error = "Save or revert the changes to \"" + project->DisplayName() +
                           "\" before switching it to read-only.";
            return result;
        }
        project->ReleaseLock();
        project->SetReadOnly(true);
        result.changed = true;
        Announce(ProjectReadOnlyChangedMessage(project->Path().string()));
        return result;
    }
    if (const LockingIdentity ours = CurrentLockingIdentity(); ours.enabled) {
        const ByteString& name = ours.name;
        const ByteString& second = ours.second;
        if (HeldByAnotherCopyHere(project->Path())) {
            result.error = "\"" + project->DisplayName() +
                           "\" is open for writing in another copy of Marvane.";
            return result;
        }
        const ProjectLockFilePtr lock =
            CreateProjectLockFile(project->Path().string(), name, second);
        if (!lock || !lock->IsOwnedByCaller()) {
            result.error =
                lock ? Localize("$$$/Marvane/Host/Lock/Refused=\"@0\" is locked by @1.",
                                {project->DisplayName(), lock->GetOwnerName()})
                     : Localize("$$$/Marvane/Host/Lock/NotCreated=\"@0\" stays read-only: its "
                                "lock file could not be created because @1.",
                                {project->DisplayName(), WhyNoLockFile(project->Path())});
            return result;
        }
        project->AttachLockFile(lock);
        if (!project->HoldsLock()) {
            result.error = "\"" + project->DisplayName() + "\" could not be locked.";
            return result;
        }
    }
    // What the holder saved meanwhile is read under our lock, before anything is edited.
    if (project->IsOutOfDate()) {
        ProjectContent content;
        FileStamp stamp;
        if (!LoadProjectContent(project->Path(), content, result.error, &stamp)) {
            project->ReleaseLock();
            return result;
        }
        project->ReplaceContent(std::move(content), stamp);
        result.needsReload = true;
    }
    project->SetReadOnly(false);
    result.changed = true;
    Announce(ProjectReadOnlyChangedMessage(project->Path().string()));
    return result;
}

namespace {

constexpr std::string_view kNewProjectBase = "Untitled Project";
constexpr int kMostNumberedNames = 1000;

std::string NumberedNewProjectName(int number) {
    return number == 1 ? std::string(kNewProjectBase)
                       : std::string(kNewProjectBase) + " " + std::to_string(number);
}

fs::path NewProjectPath(const fs::path& folder, const std::string& name) {
    return folder / (name + std::string(kProjectFileExtension));
}

bool NewProjectNameTaken(const fs::path& folder, const std::string& name) {
    const fs::path path = NewProjectPath(folder, name);
    std::error_code ignored;
    return fs::exists(fs::symlink_status(path, ignored)) ||
           fs::exists(fs::symlink_status(LockFilePathFor(path), ignored));
}

} // namespace

std::string DocumentManager::OfferedNewProjectName(const fs::path& folder) {
    for (int number = 1; number <= kMostNumberedNames; ++number) {
        if (std::string name = NumberedNewProjectName(number); !NewProjectNameTaken(folder, name)) {
            return name;
        }
    }
    return std::string(kNewProjectBase);
}

OpenResult DocumentManager::CreateNewProject(const fs::path& folder) {
    for (int number = 1; number <= kMostNumberedNames; ++number) {
        OpenResult result = CreateNewProject(folder, NumberedNewProjectName(number));
        if (!result.nameTaken) {
            return result;
        }
    }
    return {nullptr, "\"" + folder.string() + "\" has no free name for a new project."};
}

OpenResult DocumentManager::CreateNewProject(const fs::path& folder, const std::string& name) {
    const fs::path path = NewProjectPath(folder, name);
    const std::string taken =
        "\"" + path.filename().string() + "\" already exists in \"" + folder.string() + "\".";
    std::error_code ignored;
    // A lock with no project beside it still names a project being made or moved.
    if (fs::exists(fs::symlink_status(LockFilePathFor(path), ignored))) {
        return {nullptr, taken, true};
    }
    ProjectContent content;
    content.name = name;
    std::string error;
    // Put in place only where nothing is: an existing project is never replaced.
    switch (PlaceNewFile(path, SerialiseProjectContent(content), error)) {
    case PlaceResult::Placed:
        return Open(path);
    case PlaceResult::Exists:
        return {nullptr, taken, true};
    case PlaceResult::Failed:
        break;
    }
    return {nullptr,
            "A new project could not be made in \"" + folder.string() + "\" (" + error + ")."};
}

OpenProjectPtr DocumentManager::Find(const fs::path& projectPath) const {
    const fs::path path = NormalProjectPath(projectPath);
    for (const OpenProjectPtr& project : mProjects) {
        if (project->Path() == path) {
            return project;
        }
    }
    return nullptr;
}

} // namespace host
