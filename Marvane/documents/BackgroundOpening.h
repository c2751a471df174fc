#pragma once
// A project being opened on a worker thread, so that a big one never makes the window wait:
// the document manager keeps one for each opening under way, and the window shows a page for
// it with how far the reading got.
#include "Marvane/documents/DocumentManager.h"
#include "Marvane/documents/PersonQuestions.h"
#include "host/Messaging.h"

#include <cstdint>
#include <filesystem>
#include <functional>
#include <string>
#include <thread>

namespace host {

// Sent on kProjectActivationStation when an opening starts (or is asked for again while under
// way: its page comes to the front) and when it ends without a project (failed or cancelled).
// One that ends with a project is followed by ProjectOpenedMessage.
struct ProjectOpeningMessage : Message {
    HOST_DECLARE_MESSAGE_TYPE(ProjectOpeningMessage)
    ProjectOpeningMessage(std::filesystem::path path, bool ended) : ProjectOpeningMessage() {
        projectPath = std::move(path);
        hasEnded = ended;
    }
    std::filesystem::path projectPath;
    bool hasEnded = false;
};

struct BackgroundOpening {
    OpenStart start;
    std::function<void(const OpenResult&)> finished;
    ProjectReadWatch watch;
    // Written by the worker before it hands the opening back to the main thread.
    bool loaded = false;
    ProjectContent content;
    FileStamp stamp;
    std::string error;
    std::thread worker;

    const std::filesystem::path& Path() const { return start.path; }
    // How far the reading got, out of 1000: reading the file is the first half, making sense
    // of its text the second.
    int Permille() const;
};

// Opens the project in the background; a refusal is reported in a message box of that title
// and kind, at once or when the reading failed. False when it cannot be opened at all.
bool OpenInBackgroundOrReport(const std::filesystem::path& projectPath, OpenMode mode,
                              const std::string& title, Telling kind);

} // namespace host
