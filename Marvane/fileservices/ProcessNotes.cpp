#include "Marvane/fileservices/ProcessNotes.h"

#include "Marvane/core/JsonNesting.h"
#include "Marvane/core/JsonText.h"
#include "Marvane/core/ThisMachine.h"
#include "Marvane/fileservices/FileReading.h"
#include "Marvane/fileservices/FileWriting.h"
#include "host/DebugTrace.h"

#include <atomic>
#include <fcntl.h>
#include <nlohmann/json.hpp>
#include <optional>
#include <sstream>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>
#include <utility>
#include <vector>

namespace host {

namespace fs = std::filesystem;

struct ProcessNotes::Tidying {
    std::thread thread;
    std::shared_ptr<std::atomic<bool>> done = std::make_shared<std::atomic<bool>>(false);
};

namespace {

// One note's line: the sign and the note as JSON, which keeps any byte of a name (a line
// break, bytes that are not UTF-8) on its line.
std::string NoteLine(char sign, const std::string& note) {
    return sign + JsonText(PathToJson(fs::path(note))) + "\n";
}

std::string Header() {
    return JsonText({{"hostName", ThisHostName()},
                     {"bootId", ThisBootId()},
                     {"processId", static_cast<long long>(::getpid())},
                     {"processStartTicks", ThisProcessStartTicks()}}) +
           "\n";
}

// The writer a record's first line names, when it names one in full.
std::optional<NoteWriter> WriterOf(const std::string& header) {
    const nlohmann::json writer = ParseUntrustedJson(header);
    if (!writer.is_object() || !writer.contains("hostName") || !writer["hostName"].is_string() ||
        !writer.contains("bootId") || !writer["bootId"].is_string() ||
        !writer.contains("processId") || !writer["processId"].is_number_integer() ||
        !writer.contains("processStartTicks") || !writer["processStartTicks"].is_number_integer()) {
        return std::nullopt;
    }
    return NoteWriter{writer["hostName"].get<std::string>(), writer["bootId"].get<std::string>(),
                      writer["processId"].get<long long>(),
                      writer["processStartTicks"].get<long long>()};
}

// The notes of a record still open: every note made and not done, in the order made.
std::vector<std::string> OpenNotesOf(std::istream& lines) {
    std::vector<std::string> order;
    std::map<std::string, int> open;
    std::string line;
    std::string note;
    while (std::getline(lines, line)) {
        if (line.size() < 2 || (line[0] != '+' && line[0] != '-')) {
            continue;
        }
        note = PathFromJson(ParseUntrustedJson(std::string_view(line).substr(1))).string();
        if (note.empty()) {
            continue; // a line cut short by the kill
        }
        if (line[0] == '+') {
            if (open[note]++ == 0) {
                order.push_back(note);
            }
        } else if (open[note] > 0) {
            --open[note];
        }
    }
    std::erase_if(order, [&open](const std::string& noted) { return open[noted] == 0; });
    return order;
}

} // namespace

ProcessNotes::ProcessNotes(std::string what)
    : mWhat(std::move(what)), mTidying(std::make_unique<Tidying>()) {}

ProcessNotes::~ProcessNotes() {
    if (mTidying->thread.joinable()) {
        mTidying->thread.detach(); // only at the very end of the process
    }
    if (mDescriptor >= 0) {
        ::close(mDescriptor);
    }
}

bool ProcessNotes::EnsureOpen() {
    if (mDescriptor >= 0) {
        return true;
    }
    if (mFolder.empty()) {
        return false;
    }
    std::error_code ignored;
    fs::create_directories(mFolder, ignored);
    mFile = mFolder /
            (std::to_string(::getpid()) + "." + std::to_string(ThisProcessStartTicks()) + ".notes");
    // Never through a link, and never waiting on a pipe someone left at the name.
    mDescriptor = ::open(mFile.c_str(),
                         O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK, 0600);
    struct stat status {};
    if (mDescriptor >= 0 && (::fstat(mDescriptor, &status) != 0 || !S_ISREG(status.st_mode) ||
                             ::ftruncate(mDescriptor, 0) != 0)) {
        ::close(mDescriptor);
        mDescriptor = -1;
    }
    if (mDescriptor < 0) {
        Trace("Host", 2, "The " + mWhat + " of this run cannot be noted in " + mFile.string());
        return false;
    }
    const std::string header = Header();
    WriteWhole(mDescriptor, header);
    mHeaderSize = static_cast<long>(header.size());
    return true;
}

void ProcessNotes::SetFolder(const fs::path& folder) {
    const std::lock_guard guard(mMutex);
    if (mDescriptor >= 0 && folder != mFolder) {
        ::close(mDescriptor);
        ::unlink(mFile.c_str());
        mDescriptor = -1;
        mOpen.clear();
    }
    mFolder = folder;
}

bool ProcessNotes::Note(const std::string& note) {
    const std::lock_guard guard(mMutex);
    if (!EnsureOpen() || !WriteWhole(mDescriptor, NoteLine('+', note))) {
        return false;
    }
    ++mOpen[note];
    return true;
}

void ProcessNotes::Done(const std::string& note) {
    const std::lock_guard guard(mMutex);
    const auto found = mOpen.find(note);
    if (mDescriptor < 0 || found == mOpen.end()) {
        return;
    }
    if (--found->second == 0) {
        mOpen.erase(found);
    }
    // Nothing of ours is under way any more: the record starts afresh.
    if (mOpen.empty() && ::ftruncate(mDescriptor, mHeaderSize) == 0) {
        return;
    }
    WriteWhole(mDescriptor, NoteLine('-', note));
}

std::size_t ProcessNotes::OpenNotes() const {
    const std::lock_guard guard(mMutex);
    std::size_t count = 0;
    for (const auto& [note, times] : mOpen) {
        count += static_cast<std::size_t>(times);
    }
    return count;
}

std::size_t ProcessNotes::TidyUpAfterGoneProcesses(const NoteTidyUp& tidyUp) {
    fs::path folder;
    {
        const std::lock_guard guard(mMutex);
        folder = mFolder;
    }
    std::error_code error;
    if (folder.empty() || !fs::is_directory(folder, error)) {
        return 0;
    }
    std::size_t removed = 0;
    for (fs::directory_iterator it(folder, error), end; !error && it != end; it.increment(error)) {
        std::string text;
        if (it->path().extension() != ".notes" || !ReadRegularFile(it->path(), text)) {
            continue;
        }
        std::istringstream lines(text);
        std::string header;
        std::getline(lines, header);
        const std::optional<NoteWriter> writer = WriterOf(header);
        if (!writer || !RecordedProcessIsGone(writer->hostName, writer->bootId, writer->processId,
                                              writer->processStartTicks)) {
            continue;
        }
        std::string kept = header + "\n";
        for (const std::string& note : OpenNotesOf(lines)) {
            switch (tidyUp(note, *writer)) {
            case NoteTidied::Removed:
                ++removed;
                break;
            case NoteTidied::NothingThere:
                break;
            case NoteTidied::Unreachable:
                kept += NoteLine('+', note);
                break;
            }
        }
        if (kept == header + "\n") {
            ::unlink(it->path().c_str());
        } else {
            std::string why;
            ReplaceFile(it->path(), kept, why);
        }
    }
    return removed;
}

void ProcessNotes::StartTidyingUp(NoteTidyUp tidyUp) {
    if (mTidying->thread.joinable()) {
        return;
    }
    mTidying->done = std::make_shared<std::atomic<bool>>(false);
    mTidying->thread = std::thread([this, tidyUp = std::move(tidyUp), done = mTidying->done] {
        if (const std::size_t removed = TidyUpAfterGoneProcesses(tidyUp); removed != 0) {
            Trace("Host", 2,
                  "Put right " + std::to_string(removed) + " of the " + mWhat +
                      " a stopped run left");
        }
        *done = true;
    });
}

void ProcessNotes::StopTidyingUp(std::chrono::milliseconds deadline) {
    if (!mTidying->thread.joinable()) {
        return;
    }
    const auto until = std::chrono::steady_clock::now() + deadline;
    while (!*mTidying->done && std::chrono::steady_clock::now() < until) {
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    if (*mTidying->done) {
        mTidying->thread.join();
    } else {
        Trace("Host", 1, "A folder with " + mWhat + " of a stopped run does not answer");
        mTidying->thread.detach();
    }
}

void ProcessNotes::CloseRecord() {
    const std::lock_guard guard(mMutex);
    if (mDescriptor >= 0) {
        ::close(mDescriptor);
        mDescriptor = -1;
        if (mOpen.empty()) {
            ::unlink(mFile.c_str());
        }
    }
}

} // namespace host
