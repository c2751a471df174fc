#pragma once
// The host application layer: the open production and the open projects. Main thread only.
#include "host/CoreTypes.h"
#include "host/Messaging.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <future>
#include <memory>
#include <string_view>
#include <utility>
#include <vector>

namespace host {

// Whether a production is open.
bool IsTandrelManagerActive();
// The open production's folder; empty when none is open.
WideString GetTandrelManagerFolderPath();
// The name under which the production's trash folder is shown ("Trash").
WideString GetMvProductionTrashDirectoryDisplayName();
// The production's trash folder ("<production>/Trash"); empty when no production is open.
WideString GetMvProductionTrashDirectoryPath();
bool IsTheMvProductionTrashDirectory(const WideString& path);
// Whether the path lies inside the trash; with includeTrashItself, the trash folder too.
bool IsInMvProductionTrash(const WideString& path, bool includeTrashItself);

// Whether the production leaves this path out of its tree: names starting with a dot (the
// host's side data of projects, copies being added, hidden files).
bool IsPathExcludedFromMvProduction(const WideString& path);
// Whether the production shows this path as a project with its own record.
bool ProductionSupportsMarvaneProjectFile(const WideString& path);

// How many projects the host has open.
std::size_t OpenProjectCount();

// The current user's locking identity: the name written into lock files and a second string
// passed on unchanged to every lock-file call. False when locking is switched off.
bool GetProjectLockingPrefs(ByteString& name, ByteString& second);

// Whether the path lies in the open production (its folder included).
bool IsWithinCurrentMvProductionFolder(const WideString& path);
// A fresh path beside the given one for a copy of it ("Scene 12_1.mvproj", "Scene 12_2.mvproj",
// ...): nothing exists there and it is none of the paths in reserved. Safe on any thread.
WideString GetMvProductionItemCopyPath(const WideString& path,
                                       const std::vector<WideString>& reserved);
// Copies the projects into the folder of the production, in the background: each copy gets
// the project's name, or a fresh one beside it when the name is taken. The progress panel
// (opened by ShowProgressPanelMessage) shows the work and can cancel it; a cancelled copy
// leaves nothing behind.
void AddProjectsToMvProduction(const std::vector<WideString>& projectPaths,
                               const WideString& destinationFolder);
// The same, keeping each project's place below sourceFolder: a project at
// <sourceFolder>/Day 1/Shot 1 goes to <destinationFolder>/Day 1/Shot 1 (the folders must
// exist). Projects outside sourceFolder go to destinationFolder itself.
void AddProjectsToMvProduction(const std::vector<WideString>& projectPaths,
                               const WideString& destinationFolder, const WideString& sourceFolder);
// Copies one project to the path given, in the background as above.
void AddProjectToMvProduction(const WideString& projectPath, const WideString& destinationPath);

// Broadcast on kProgressStation to bring up the host's progress panel.
struct ShowProgressPanelMessage : Message {
    HOST_DECLARE_MESSAGE_TYPE(ShowProgressPanelMessage)
};
inline constexpr std::string_view kProgressStation = "zkr.progress";

// Scripting: what the host's scripts call to move items to the production trash. The
// function answers whether the move was allowed; an empty function removes it.
using TryToMoveToTrashFn =
    std::function<bool(const std::vector<WideString>& paths, bool flagA, bool flagB)>;
void SetTryToMoveToTandrelTrashFn(TryToMoveToTrashFn function);
// The host's Cut and Paste: the panel moves the items into the folder of the production with
// the rules of a drop of its rows there (none may be held by another editor; nothing is
// written over). With an empty folder it only answers whether the items may move. An empty
// function removes it.
using MoveItemsIntoFolderFn =
    std::function<bool(const std::vector<WideString>& paths, const WideString& folder)>;
void SetMoveItemsIntoFolderFn(MoveItemsIntoFolderFn function);
// Edit > Undo and Redo. The panel tells the host of each organising step once it is done:
// which items moved where (a rename is a move within one folder) and which it made. Steps
// told while the host itself undoes or redoes one are not steps of their own.
enum class OrganisingStepKind : std::uint8_t { kMove, kRename, kMoveToTrash, kNewFolder, kCopy };
struct OrganisingStep {
    OrganisingStepKind kind = OrganisingStepKind::kMove;
    std::vector<std::pair<WideString, WideString>> moved; // each item's path before and after
    std::vector<WideString> made;                         // new folders, copies
};
void RecordOrganisingStep(const OrganisingStep& step);
// The panel's own move of one item to another path, as its rename does it: a project with its
// lock and side data, a folder with the projects open inside it. It never writes over
// anything and refuses what another editor holds, having told the person why; true when the
// item is at its new path. An empty function removes it.
using MoveItemToPathFn = std::function<bool(const WideString& from, const WideString& to)>;
void SetMoveItemToPathFn(MoveItemToPathFn function);
// Scripting: how scripts pause and resume the panel's reaction to changes on disk.
using NotifyPauseFn = std::function<void(bool paused)>;
void SetTandrelNotifyPauseFn(NotifyPauseFn function);

// Object-selection data: a folder of its own for each project.
bool IsNewMaskingEnabled();
class IObjectSelectionRasterStorage {
public:
    virtual ~IObjectSelectionRasterStorage() = default;
    // The data folder of the project at the path (whether or not it exists yet).
    virtual WideString GetDataFolder(const WideString& projectPath) const = 0;
};
std::shared_ptr<IObjectSelectionRasterStorage> GetObjectSelectionRasterStorage();

// The search index of projects. Its operations may be called on any thread.
class IVideoEmbeddingStorage {
public:
    virtual ~IVideoEmbeddingStorage() = default;
    // The project moved: its index follows it.
    virtual void UpdateProjectPath(const ByteString& oldProjectPath,
                                   const ByteString& newProjectPath) = 0;
};
// The storage, made on first use; the future holds null when it cannot be had.
std::shared_future<std::shared_ptr<IVideoEmbeddingStorage>> GetOrCreateVideoEmbeddingStorage();

} // namespace host
