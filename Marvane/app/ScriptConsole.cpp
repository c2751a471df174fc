#include "Marvane/app/ScriptConsole.h"

#include "Marvane/app/MainWindow.h"
#include "Marvane/app/ProjectWindow.h"
#include "Marvane/app/ScriptWidgets.h"
#include "Marvane/application/HostSession.h"
#include "Marvane/application/ScriptingHooks.h"
#include "Marvane/documents/DocumentManager.h"
#include "Marvane/documents/Recovery.h"
#include "Marvane/uiframework/CommandDispatch.h"
#include "Marvane/uiframework/DialogResponder.h"
#include "Marvane/uiframework/DockWorkspace.h"

#include <cerrno>
#include <cstdio>
#include <limits>
#include <sstream>
#include <unistd.h>

namespace host {

namespace {

std::vector<std::string> Fields(const std::string& line) {
    std::vector<std::string> fields;
    std::stringstream stream(line);
    for (std::string field; std::getline(stream, field, '\t');) {
        fields.push_back(field);
    }
    return fields;
}

std::string Join(const std::vector<std::string>& items, char separator) {
    std::string text;
    for (const std::string& item : items) {
        if (!text.empty()) {
            text += separator;
        }
        text += item;
    }
    return text;
}

// How many fields a command line has, the command's name included.
struct FieldCount {
    std::size_t least;
    std::size_t most;
};
constexpr std::size_t kNoLimit = std::numeric_limits<std::size_t>::max();
constexpr FieldCount Exactly(std::size_t count) {
    return {count, count};
}
constexpr FieldCount AtLeast(std::size_t count) {
    return {count, kNoLimit};
}
constexpr FieldCount kAnyCount = AtLeast(1);

// Commands that run without a project, and commands that run on the open project named by
// their second field.
constexpr bool kNoProject = false;
constexpr bool kOnProject = true;

// "ok read-only=0|1 out-of-date=0|1 modified=0|1 holder=NAME sequences=A|B"
std::string StatusLine(const OpenProject& project) {
    const std::string holder = project.CurrentLockHolder();
    return "ok read-only=" + std::to_string(project.IsReadOnly()) +
           " out-of-date=" + std::to_string(project.IsOutOfDate()) +
           " modified=" + std::to_string(project.IsModified()) + " holder=" + holder +
           " sequences=" + Join(project.Content().sequences.ToVector(), '|');
}

// The project's page in the window: what a user looks at and clicks.
ProjectWindow* PageOf(MainWindow& window, const OpenProjectPtr& project) {
    window.SyncProjectTabs();
    QTabWidget* tabs = window.GetProjectTabs();
    for (int index = 0; index < tabs->count(); ++index) {
        auto* page = dynamic_cast<ProjectWindow*>(tabs->widget(index));
        if (page != nullptr && page->GetProject() == project) {
            page->Refresh();
            return page;
        }
    }
    return nullptr;
}

// What the page shows of the lock and offers for it.
std::string LockLine(ProjectWindow& page) {
    const std::string offer = page.TakeOverOffered()    ? "take-over"
                              : page.BreakLockOffered() ? "break-lock"
                                                        : "none";
    return "ok offer=" + offer + " mode=" + page.ModeText().toStdString();
}

// What a script does to move items to the production trash: the panel decides.
std::string MoveToTrash(const std::vector<std::string>& fields) {
    const TryToMoveToTrashFn tryToMove = GetTryToMoveToTandrelTrashFn();
    if (!tryToMove) {
        return "error no production panel";
    }
    std::vector<WideString> paths;
    for (std::size_t index = 1; index < fields.size(); ++index) {
        paths.push_back(ToUTF16(fields[index]));
    }
    return tryToMove(paths, false, true) ? "ok allowed" : "ok refused";
}

std::string OpenProjectFile(MainWindow& window, const std::string& path, OpenMode mode) {
    const OpenResult result = DocumentManager::Instance().Open(path, mode);
    window.SyncProjectTabs();
    return result.project ? "ok" : "error " + result.error;
}

// A command carried out as a menu does: asked for its status through the chain (from the
// focused panel), then carried out when enabled.
std::string ObeyNamedCommand(const std::string& name) {
    const CommandDeclaration* command = ShortcutManager::Instance().FindCommand(name);
    if (command == nullptr) {
        return "error no command " + name;
    }
    const CommandDispatcher& dispatcher = CommandDispatcher::Instance();
    if (!dispatcher.FindStatus(command->id).enabled) {
        return "error disabled";
    }
    return dispatcher.Obey(command->id) ? "ok" : "error nobody carried it out";
}

std::string OkOrError(bool done, const std::string& error) {
    return done ? "ok" : "error " + error;
}

} // namespace

struct ScriptConsole::Command {
    using Fields = std::vector<std::string>;
    const char* name;
    FieldCount fields;
    bool onProject;
    // project: the open project the second field names, for commands on a project; else null.
    std::string (*run)(ScriptConsole& console, const Fields& fields, const OpenProjectPtr& project);
};

const std::vector<ScriptConsole::Command>& ScriptConsole::Commands() {
    using Fields = Command::Fields;
    using Project = OpenProjectPtr;
    static const std::vector<Command> commands{
        {"open", Exactly(2), kNoProject,
         [](ScriptConsole& console, const Fields& fields, const Project&) {
             return OpenProjectFile(console.mWindow, fields[1], OpenMode::Normal);
         }},
        {"open-read-only", Exactly(2), kNoProject,
         [](ScriptConsole& console, const Fields& fields, const Project&) {
             return OpenProjectFile(console.mWindow, fields[1], OpenMode::ReadOnly);
         }},
        {"answer", Exactly(2), kNoProject,
         [](ScriptConsole& console, const Fields& fields, const Project&) {
             console.mResponder->AddAnswer(std::stoi(fields[1]));
             return std::string("ok");
         }},
        {"text", Exactly(2), kNoProject,
         [](ScriptConsole& console, const Fields& fields, const Project&) {
             console.mResponder->AddText(fields[1]);
             return std::string("ok");
         }},
        {"files", kAnyCount, kNoProject,
         [](ScriptConsole& console, const Fields& fields, const Project&) {
             console.mResponder->AddFileChoice(Fields(fields.begin() + 1, fields.end()));
             return std::string("ok");
         }},
        {"dialogs", kAnyCount, kNoProject,
         [](ScriptConsole& console, const Fields&, const Project&) {
             const auto& requests = console.mResponder->GetRequests();
             return "ok count=" + std::to_string(requests.size()) +
                    " last=" + (requests.empty() ? std::string() : requests.back().title);
         }},
        {"last-dialog", kAnyCount, kNoProject,
         [](ScriptConsole& console, const Fields&, const Project&) {
             const auto& requests = console.mResponder->GetRequests();
             if (requests.empty()) {
                 return std::string("error none");
             }
             // One line: the box's line ends are written as \n.
             const auto oneLine = [](std::string text) {
                 for (std::size_t at = text.find('\n'); at != std::string::npos;
                      at = text.find('\n', at + 2)) {
                     text.replace(at, 1, "\\n");
                 }
                 return text;
             };
             const host::MessageBoxRequest& last = requests.back();
             return "ok " + oneLine(last.title) + "\t" + oneLine(last.text) + "\t" +
                    oneLine(last.details);
         }},
        {"panels", kAnyCount, kNoProject,
         [](ScriptConsole& console, const Fields&, const Project&) {
             return "ok " + Join(console.mWindow.GetWorkspace().ShownPanelTitles(), '|');
         }},
        {"stall", kAnyCount, kNoProject,
         [](ScriptConsole& console, const Fields&, const Project&) {
             const qint64 longest = std::max(console.mLongestStall, console.mSinceTick.elapsed());
             console.mLongestStall = 0;
             return "ok longest=" + std::to_string(longest);
         }},
        {"recovered", kAnyCount, kNoProject,
         [](ScriptConsole&, const Fields&, const Project&) {
             return "ok count=" +
                    std::to_string(
                        FindRecoveredCopies(HostSession::Instance().dataDirectory).size());
         }},
        {"move-to-trash", AtLeast(2), kNoProject,
         [](ScriptConsole&, const Fields& fields, const Project&) { return MoveToTrash(fields); }},
        {"command", Exactly(2), kNoProject,
         [](ScriptConsole&, const Fields& fields, const Project&) {
             return ObeyNamedCommand(fields[1]);
         }},
        {"ui", AtLeast(3), kNoProject,
         [](ScriptConsole& console, const Fields& fields, const Project&) {
             return RunWidgetCommand(console.mWindow, fields);
         }},
        {"help", kAnyCount, kNoProject,
         [](ScriptConsole&, const Fields&, const Project&) {
             std::string names;
             for (const Command& command : Commands()) {
                 names += (names.empty() ? "" : "|") + std::string(command.name);
             }
             return "ok commands=" + names;
         }},
        {"quit", kAnyCount, kNoProject,
         [](ScriptConsole& console, const Fields&, const Project&) {
             console.mQuitting = true;
             console.mQuit();
             return std::string("ok");
         }},
        {"status", kAnyCount, kOnProject,
         [](ScriptConsole&, const Fields&, const Project& project) {
             return StatusLine(*project);
         }},
        {"add-sequence", Exactly(3), kOnProject,
         [](ScriptConsole&, const Fields& fields, const Project& project) {
             if (project->IsReadOnly()) {
                 return std::string("error read-only");
             }
             ProjectContent content = project->Content();
             content.sequences.push_back(fields[2]);
             project->EditContent(content);
             return std::string("ok");
         }},
        {"save", kAnyCount, kOnProject,
         [](ScriptConsole&, const Fields&, const Project& project) {
             std::string error;
             const bool saved = DocumentManager::Instance().Save(project, error);
             return OkOrError(saved, error);
         }},
        {"reload", kAnyCount, kOnProject,
         [](ScriptConsole&, const Fields&, const Project& project) {
             std::string error;
             const bool reloaded = DocumentManager::Instance().Reload(project, error);
             return OkOrError(reloaded, error);
         }},
        {"read-only", Exactly(3), kOnProject,
         [](ScriptConsole&, const Fields& fields, const Project& project) {
             const ReadOnlyResult result =
                 DocumentManager::Instance().SetReadOnly(project, fields[2] == "1");
             return result.error.empty() ? "ok reload=" + std::to_string(result.needsReload)
                                         : "error " + result.error;
         }},
        {"lock", kAnyCount, kOnProject,
         [](ScriptConsole& console, const Fields&, const Project& project) {
             ProjectWindow* page = PageOf(console.mWindow, project);
             return page ? LockLine(*page) : std::string("error no page");
         }},
        {"take-over", kAnyCount, kOnProject,
         [](ScriptConsole& console, const Fields&, const Project& project) {
             ProjectWindow* page = PageOf(console.mWindow, project);
             if (page == nullptr || !page->TakeOverOffered()) {
                 return std::string("error not offered");
             }
             page->TakeOver();
             return LockLine(*page);
         }},
        {"break-lock", kAnyCount, kOnProject,
         [](ScriptConsole& console, const Fields&, const Project& project) {
             ProjectWindow* page = PageOf(console.mWindow, project);
             if (page == nullptr || !page->BreakLockOffered()) {
                 return std::string("error not offered");
             }
             page->BreakLock();
             return LockLine(*page);
         }},
        {"close", kAnyCount, kOnProject,
         [](ScriptConsole&, const Fields&, const Project& project) {
             return OkOrError(DocumentManager::Instance().Close({project}), "cancelled");
         }},
    };
    return commands;
}

const ScriptConsole::Command* ScriptConsole::FindCommand(const std::vector<std::string>& fields) {
    for (const Command& command : Commands()) {
        if (fields[0] == command.name && fields.size() >= command.fields.least &&
            fields.size() <= command.fields.most) {
            return &command;
        }
    }
    return nullptr;
}

ScriptConsole::ScriptConsole(MainWindow& window, std::function<void()> quit)
    : mWindow(window), mQuit(std::move(quit)),
      mResponder(std::make_shared<ScriptedDialogResponder>()),
      mNotifier(STDIN_FILENO, QSocketNotifier::Read) {
    SetDialogResponder(mResponder);
    connect(&mNotifier, &QSocketNotifier::activated, this, [this] { ReadInput(); });
    constexpr int kTickMs = 10;
    mTick.setInterval(kTickMs);
    connect(&mTick, &QTimer::timeout, this,
            [this] { mLongestStall = std::max(mLongestStall, mSinceTick.restart()); });
    mSinceTick.start();
    mTick.start();
}

void ScriptConsole::ReadInput() {
    if (mQuitting) {
        return;
    }
    char buffer[4096];
    const ssize_t count = ::read(STDIN_FILENO, buffer, sizeof(buffer));
    if (count < 0 && (errno == EINTR || errno == EAGAIN)) {
        return;
    }
    if (count <= 0) {
        mNotifier.setEnabled(false);
        mQuitting = true;
        mQuit();
        return;
    }
    mPending.append(buffer, static_cast<std::size_t>(count));
    for (std::size_t end = mPending.find('\n'); end != std::string::npos;
         end = mPending.find('\n')) {
        const std::string line = mPending.substr(0, end);
        mPending.erase(0, end + 1);
        std::string answer;
        try {
            answer = Execute(line);
        } catch (const std::exception& error) {
            answer = std::string("error ") + error.what();
        }
        std::fputs((answer + "\n").c_str(), stdout);
        std::fflush(stdout);
        if (mQuitting) {
            mNotifier.setEnabled(false);
            return; // nothing after "quit" runs
        }
    }
}

std::string ScriptConsole::Execute(const std::string& line) {
    const std::vector<std::string> fields = Fields(line);
    if (fields.empty()) {
        return "error empty command";
    }
    const Command* command = FindCommand(fields);
    if (command != nullptr && !command->onProject) {
        return command->run(*this, fields, nullptr);
    }
    // Every other line names an open project in its second field.
    const OpenProjectPtr project =
        fields.size() > 1 ? DocumentManager::Instance().Find(fields[1]) : nullptr;
    if (!project) {
        return "error no open project " + (fields.size() > 1 ? fields[1] : std::string());
    }
    if (command == nullptr) {
        return "error unknown command " + fields[0];
    }
    return command->run(*this, fields, project);
}

} // namespace host
