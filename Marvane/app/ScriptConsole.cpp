#include "Marvane/app/ScriptConsole.h"

#include "Marvane/app/MainWindow.h"
#include "Marvane/application/HostSession.h"
#include "Marvane/application/ScriptingHooks.h"
#include "Marvane/documents/DocumentManager.h"
#include "Marvane/documents/Recovery.h"
#include "Marvane/uiframework/DialogResponder.h"
#include "Marvane/uiframework/DockWorkspace.h"

#include <cerrno>
#include <cstdio>
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

} // namespace

ScriptConsole::ScriptConsole(MainWindow& window, std::function<void()> quit)
    : mWindow(window), mQuit(std::move(quit)),
      mResponder(std::make_shared<ScriptedDialogResponder>()),
      mNotifier(STDIN_FILENO, QSocketNotifier::Read) {
    SetDialogResponder(mResponder);
    connect(&mNotifier, &QSocketNotifier::activated, this, [this] { ReadInput(); });
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
    const std::string& command = fields[0];
    auto& documents = DocumentManager::Instance();
    const auto project = [&]() -> OpenProjectPtr {
        return fields.size() > 1 ? documents.Find(fields[1]) : nullptr;
    };
    if ((command == "open" || command == "open-read-only") && fields.size() == 2) {
        const OpenResult result =
            documents.Open(fields[1], command == "open" ? OpenMode::Normal : OpenMode::ReadOnly);
        mWindow.SyncProjectTabs();
        return result.project ? "ok" : "error " + result.error;
    }
    if (command == "answer" && fields.size() == 2) {
        mResponder->AddAnswer(std::stoi(fields[1]));
        return "ok";
    }
    if (command == "text" && fields.size() == 2) {
        mResponder->AddText(fields[1]);
        return "ok";
    }
    if (command == "dialogs") {
        const auto& requests = mResponder->GetRequests();
        return "ok count=" + std::to_string(requests.size()) +
               " last=" + (requests.empty() ? std::string() : requests.back().title);
    }
    if (command == "panels") {
        return "ok " + Join(mWindow.GetWorkspace().ShownPanelTitles(), '|');
    }
    if (command == "recovered") {
        return "ok count=" +
               std::to_string(FindRecoveredCopies(HostSession::Instance().dataDirectory).size());
    }
    if (command == "move-to-trash" && fields.size() >= 2) {
        // What a script does to move items to the production trash: the panel decides.
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
    if (command == "quit") {
        mQuitting = true;
        mQuit();
        return "ok";
    }
    const OpenProjectPtr target = project();
    if (!target) {
        return "error no open project " + (fields.size() > 1 ? fields[1] : std::string());
    }
    std::string error;
    if (command == "status") {
        const std::string holder = target->CurrentLockHolder();
        return "ok read-only=" + std::to_string(target->IsReadOnly()) +
               " out-of-date=" + std::to_string(target->IsOutOfDate()) +
               " modified=" + std::to_string(target->IsModified()) + " holder=" + holder +
               " sequences=" + Join(target->Content().sequences, '|');
    }
    if (command == "add-sequence" && fields.size() == 3) {
        if (target->IsReadOnly()) {
            return "error read-only";
        }
        ProjectContent content = target->Content();
        content.sequences.push_back(fields[2]);
        target->EditContent(content);
        return "ok";
    }
    if (command == "save") {
        return documents.Save(target, error) ? "ok" : "error " + error;
    }
    if (command == "reload") {
        return documents.Reload(target, error) ? "ok" : "error " + error;
    }
    if (command == "read-only" && fields.size() == 3) {
        const ReadOnlyResult result = documents.SetReadOnly(target, fields[2] == "1");
        return result.error.empty() ? "ok reload=" + std::to_string(result.needsReload)
                                    : "error " + result.error;
    }
    if (command == "close") {
        return documents.Close({target}) ? "ok" : "error cancelled";
    }
    return "error unknown command " + command;
}

} // namespace host
