#include "Marvane/documents/BackgroundOpening.h"
#include "Marvane/core/MainThread.h"
#include "Marvane/documents/PersonQuestions.h"
#include "Marvane/projectbackend/LockFiles.h"

#include <algorithm>

namespace host {

namespace fs = std::filesystem;

namespace {

void Announce(const Message& message) {
    MessageStation::Get(kProjectActivationStation)->Broadcast(message);
}

} // namespace

int BackgroundOpening::Permille() const {
    const std::uint64_t total = watch.totalBytes.load();
    if (total == 0) {
        return 0;
    }
    const std::uint64_t done =
        std::min(watch.readBytes.load(), total) + std::min(watch.parsedBytes.load(), total);
    return static_cast<int>(done * 500 / total);
}

void DocumentManager::OpenInBackground(const fs::path& projectPath, OpenMode mode,
                                       std::function<void(const OpenResult&)> finished) {
    const fs::path path = NormalProjectPath(projectPath);
    if (IsOpening(path)) {
        Asked(path);
        Announce(ProjectOpeningMessage(path, false));
        return;
    }
    OpenStart start = BeginOpen(path, mode);
    if (start.existing || !start.error.empty()) {
        finished({start.existing, start.error});
        return;
    }
    auto opening = std::make_shared<BackgroundOpening>();
    opening->start = std::move(start);
    opening->finished = std::move(finished);
    // The worker ends before the opening leaves mOpenings (it is joined first), so the last
    // reference is never the worker's.
    opening->worker = std::thread([opening] {
        opening->loaded = LoadProjectContent(opening->Path(), opening->content, opening->error,
                                             &opening->stamp, &opening->watch);
        QueueOnMainThread([opening] { DocumentManager::Instance().FinishInBackground(opening); });
    });
    mOpenings.push_back(opening);
    Announce(ProjectOpeningMessage(path, false));
}

bool DocumentManager::IsOpening(const fs::path& projectPath) const {
    const fs::path path = NormalProjectPath(projectPath);
    return std::any_of(mOpenings.begin(), mOpenings.end(),
                       [&path](const auto& opening) { return opening->Path() == path; });
}

void DocumentManager::EndOpening(const std::shared_ptr<BackgroundOpening>& opening) {
    if (opening->worker.joinable()) {
        opening->worker.join();
    }
    mOpenings.erase(std::remove(mOpenings.begin(), mOpenings.end(), opening), mOpenings.end());
}

void DocumentManager::FinishInBackground(const std::shared_ptr<BackgroundOpening>& opening) {
    if (std::find(mOpenings.begin(), mOpenings.end(), opening) == mOpenings.end()) {
        return; // cancelled while its worker was ending: already given back
    }
    EndOpening(opening);
    const fs::path path = opening->Path();
    if (opening->watch.stop.load() || !opening->loaded) {
        NoLongerAsked(path); // it will not be open: the one asked for before may come forward
    }
    if (opening->watch.stop.load()) {
        AbandonOpen(opening->start);
        Announce(ProjectOpeningMessage(opening->Path(), true));
        opening->finished({});
        return;
    }
    opening->start.activate = ComesToTheFront(path);
    const OpenResult result =
        FinishOpen(std::move(opening->start), opening->loaded, std::move(opening->content),
                   opening->stamp, opening->error);
    if (!result.project) {
        Announce(ProjectOpeningMessage(path, true));
    }
    opening->finished(result);
}

void DocumentManager::CancelOpening(const fs::path& projectPath) {
    const fs::path path = NormalProjectPath(projectPath);
    for (const auto& opening : mOpenings) {
        if (opening->Path() == path) {
            opening->watch.stop.store(true);
        }
    }
}

void DocumentManager::CancelOpenings() {
    for (const auto& opening : mOpenings) {
        opening->watch.stop.store(true);
    }
    while (!mOpenings.empty()) {
        const std::shared_ptr<BackgroundOpening> opening = mOpenings.front();
        EndOpening(opening);
        NoLongerAsked(opening->Path());
        AbandonOpen(opening->start);
        Announce(ProjectOpeningMessage(opening->Path(), true));
        opening->finished({});
    }
}

bool OpenInBackgroundOrReport(const fs::path& projectPath, OpenMode mode, const std::string& title,
                              Telling kind) {
    // The outcome comes during the call when the project cannot be opened at all.
    auto calling = std::make_shared<bool>(true);
    bool refusedAtOnce = false;
    DocumentManager::Instance().OpenInBackground(
        projectPath, mode, [calling, &refusedAtOnce, title, kind](const OpenResult& result) {
            if (result.project || result.error.empty()) {
                return;
            }
            if (*calling) {
                refusedAtOnce = true;
            }
            AskPerson(title, result.error, {}, kind, 0);
        });
    *calling = false;
    return !refusedAtOnce;
}

void DocumentManager::ReleaseOpeningLocks() {
    for (const auto& opening : mOpenings) {
        opening->watch.stop.store(true);
        if (opening->start.lock && opening->start.lock->IsOwnedByCaller()) {
            RemoveOwnLockFile(opening->Path());
        }
    }
}

DocumentManager::~DocumentManager() {
    for (const auto& opening : mOpenings) {
        opening->watch.stop.store(true);
        if (opening->worker.joinable()) {
            opening->worker.join();
        }
    }
}

} // namespace host
