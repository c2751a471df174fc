#pragma once
// The host UI framework: command contexts and commands, command status and dispatch,
// windows and window menus, tab views (panels), the workspace that docks them, and modal
// message boxes. Main thread only.
#include "host/CoreTypes.h"
#include "host/UINodes.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

namespace host {

using HandlerID = std::uint32_t;
using CommandID = std::int32_t;

// How a command presents itself. Menu-text commands take their text from the menu that
// shows them; labelled commands carry their label (shown in menus and shortcut lists);
// toggles show a check mark from their status.
enum CommandKind : int {
    kCommandKindMenuText = 0,
    kCommandKindToggle = 1,
    kCommandKindLabeled = 2
};

struct CommandDeclaration {
    ByteString name;
    CommandID id = 0;
    CommandKind kind = kCommandKindMenuText;
    ByteString label; // a localisation key with its default, or empty
    ImmutableString data;
    bool hidden = false;
};

class CommandContext {
public:
    virtual ~CommandContext() = default;
    virtual const ByteString& GetName() const = 0;
    virtual const ByteString& GetDisplayName() const = 0;
    // Declaring a name that the context already has replaces that declaration in place.
    virtual void DeclareCommand(const ByteString& name, CommandID id, CommandKind kind,
                                const ByteString& label, const ImmutableString& data,
                                bool hidden) = 0;
    virtual const std::vector<CommandDeclaration>& GetCommands() const = 0;
};

struct WindowMenuRegistration {
    ByteString contextName;
    ByteString title;
    ByteString menuID;
};

class ShortcutManager {
public:
    using ContextDeclarer = std::function<void(ShortcutManager&)>;

    static ShortcutManager& Instance();
    virtual ~ShortcutManager() = default;

    // The context with this name, or null.
    virtual CommandContext* GetContext(const ByteString& name) = 0;
    // Adds a context, or returns the existing one of that name.
    virtual CommandContext* AddContext(const ByteString& name, const ByteString& displayName) = 0;
    // The host calls every registered declarer once its modules are loaded.
    virtual void RegisterCommandContext(ContextDeclarer declarer) = 0;
    virtual void AddWindowMenuID(const ByteString& contextName, const ByteString& title,
                                 const ByteString& menuID) = 0;
    virtual std::vector<CommandContext*> GetContexts() const = 0;
    virtual const std::vector<WindowMenuRegistration>& GetWindowMenus() const = 0;
    // The declaration of a command by id or name, searching every context; null if none.
    virtual const CommandDeclaration* FindCommand(CommandID id) const = 0;
    virtual const CommandDeclaration* FindCommand(const ByteString& name) const = 0;
};

struct Command {
    CommandID id = 0;
    ByteString name;
};

struct CommandStatus {
    bool enabled = false;
    bool checked = false;
    ByteString label; // replaces the menu text when not empty
};

// A link in the command chain. Status and dispatch start at the focused panel's tab view,
// go on to its handler and end at the host application. A link answers true when it
// decided the status or carried out the command; false passes the command on.
class CommandHandler {
public:
    virtual ~CommandHandler() = default;
    virtual bool FindCommandStatus(const Command& command, CommandStatus& status);
    virtual bool ObeyCommand(const Command& command);
};

class Window; // a host window; opaque to modules
class UI_MultiColumnTree;
class TabViewImpl;

// A panel's content. Derived classes build their children in FinishCreateSelf.
inline constexpr int kTabViewStandardPanel = 1;

class TabView : public CommandHandler, public std::enable_shared_from_this<TabView> {
public:
    TabView();
    ~TabView() override;
    TabView(const TabView&) = delete;
    TabView& operator=(const TabView&) = delete;

    // Makes the host widget of the panel under parent and runs FinishCreateSelf.
    // flags: kTabViewStandardPanel (the only kind of panel there is today).
    void Create(HandlerID handlerID, const ByteString& title, Window* parent, int flags);
    bool IsCreated() const;
    HandlerID GetHandlerID() const;

    void SetTitle(const ByteString& title);
    ByteString GetTitle() const;
    // Brings the panel to the front of its dock area; with focus, also gives it focus.
    void Activate(bool raise, bool takeFocus);

    // The panel's area, in its own coordinates (origin at 0, 0); empty before Create.
    UI_Rect GetBounds() const;
    // Called whenever the panel's area changes size (and once when it is first shown); the
    // panel places its controls here.
    virtual void LayoutChildren(const UI_Rect& bounds);

    // Whether the panel sits undocked in a floating window, and that window's frame on the
    // screen (empty while docked).
    bool IsFloating() const;
    UI_Rect GetFloatingFrame() const;
    // The panel places host toolkit views (trees, controls) itself, over a background it fills.
    void SetHasORNChildViews(bool has);
    bool HasORNChildViews() const;
    // Whether the panel is drawn off screen first and shown whole (the default).
    void EnableDoubleBuffering(bool enable);
    bool IsDoubleBuffered() const;

    // The id of the panel's own menu resource, or empty for none.
    virtual ByteString GetPanelMenuID() const;
    // The width the panel would like when it is first docked; 0 for the host's choice.
    virtual float GetPreferredWidth() const;
    // The host asks the panel to keep its state now: when the user closes the panel and
    // before the host quits.
    virtual void SaveState();
    virtual void FinishCreateSelf();
    // Called before the panel's widgets are destroyed.
    virtual void RemoveUI();

    TabViewImpl* GetImpl() const { return mImpl.get(); }

private:
    std::unique_ptr<TabViewImpl> mImpl;
};

class TabViewCreator {
public:
    virtual ~TabViewCreator() = default;
    virtual std::shared_ptr<TabView> CreateTabView(Window* parent) = 0;
    virtual bool ShouldHideWhenClosed() const { return true; }
    virtual bool ShouldSaveStateWhenDestroyed() const { return true; }
    // Whether the panel may be undocked into a floating window.
    virtual bool CanFloat() const { return false; }
};

class WorkspaceManager;

// The main window's arrangement of panels.
class Workspace {
public:
    // The host's workspace manager; it exists for the whole life of the host.
    static WorkspaceManager& Instance();

    virtual ~Workspace() = default;
    virtual bool TabIsShown(HandlerID handlerID) const = 0;
    // Opens the handler's panel (creating its tab view) or, when shown, raises it.
    virtual void OpenTab(HandlerID handlerID) = 0;
    virtual Window* GetMainWindow() const = 0;
};

class WorkspaceManager {
public:
    virtual ~WorkspaceManager() = default;
    // The workspace of the main window, or null while the host has no main window.
    virtual Workspace* GetCurrentWorkspace() const = 0;
};

// Windows that the Window menu can bring forward.
inline constexpr std::uint32_t kDefaultWindowID = 1;
inline constexpr std::uint32_t kDefaultWindowContextID = 0;

void AddWindowClass(std::uint32_t windowTypeID, HandlerID handlerID, int classType);
void AddWindow(std::uint32_t windowTypeID, std::uint32_t windowID, const ByteString& title,
               std::uint32_t windowContextID);

// Shows a menu of the host's menu resource at the pointer and waits until the user chose an
// entry or dismissed it. Each entry's state is asked of the command chain first; the chosen
// entry's command is carried out through the chain. Answers the id of the command carried
// out, or 0 when none was (dismissed, or an unknown menu).
CommandID TrackContextMenu(const ByteString& menuID);

// A modal box asking for one line of text over the main window: title, the label before the
// field, and the text in it (replaced by what the user typed). False when cancelled.
bool ShowSimpleInputBox(const ByteString& title, const ByteString& label, ByteString& text);

// The host's modal dialog for choosing existing files to open, several at once; filter is a
// Qt-style name filter ("Projects (*.mvproj)"). The chosen files' paths; none when cancelled.
std::vector<WideString> ShowOpenFilesDialog(const ByteString& title, const ByteString& filter);

// The system's file browser: shows a folder, or shows items selected in their folders (several
// at once). Through the desktop's file manager service on the session bus; where none answers,
// the folder opens with the desktop's handler for folders. Paths that do not exist are left
// out; nothing happens when none is left.
void RevealFolder(const WideString& folder);
void RevealAndSelectFiles(const std::vector<WideString>& paths);

// The icon kinds of a message box.
enum MessageBoxIcon : int {
    kNoIcon = 0,
    kInformationIcon = 1,
    kWarningIcon = 2,
    kCriticalIcon = 3,
    kQuestionIcon = 4,
    kNoticeIcon = 6,
};

// A modal message box parented to the main window. Returns the index of the chosen button,
// or -1 when the box was closed otherwise. With no buttons the box has one "OK" button.
// iconKind is a MessageBoxIcon.
int ShowMessageBox(const ByteString& title, const ByteString& text,
                   const std::vector<ByteString>& buttons, int iconKind, int defaultButton);
// The same with details the person can unfold below the text: the cause behind a message
// whose text stays short.
int ShowMessageBox(const ByteString& title, const ByteString& text,
                   const std::vector<ByteString>& buttons, int iconKind, int defaultButton,
                   const ByteString& details);

} // namespace host
