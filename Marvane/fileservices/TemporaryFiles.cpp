#include "Marvane/fileservices/TemporaryFiles.h"

#include "Marvane/core/JsonNesting.h"
#include "Marvane/core/JsonText.h"
#include "Marvane/core/ThisMachine.h"
#include "Marvane/fileservices/FileCopy.h"
#include "Marvane/fileservices/FileReading.h"
#include "Marvane/fileservices/FileWriting.h"
#include "host/DebugTrace.h"

#include <atomic>
#include <cerrno>
#include <fcntl.h>
#include <map>
#include <memory>
#include <mutex>
#include <nlohmann/json.hpp>
#include <sstream>
#include <string>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace host {

namespace fs = std::filesystem;

namespace {

// One record a process: a first line of JSON naming the process, then a line per note, "+"
// and the path when a hidden file is made, "-" and the path when it is gone.
struct Record {
    std::mutex mutex;
    fs::path folder;
    fs::path file;
    int descriptor = -1;
    off_t headerSize = 0;
    std::map<std::string, int> open; // path -> notes not closed yet
};

Record& TheRecord() {
    static Record record;
    return record;
}

// One note's line: the sign and the path as JSON, which keeps any byte of a name (a line
// break, bytes that are not UTF-8) on its line.
std::string NoteLine(char sign, const fs::path& path) {
    return sign + JsonText(PathToJson(path)) + "\n";
}

std::string Header() {
    return JsonText({{"hostName", ThisHostName()},
                     {"bootId", ThisBootId()},
                     {"processId", static_cast<long long>(::getpid())},
                     {"processStartTicks", ThisProcessStartTicks()}}) +
           "\n";
}

// Opens this process's record on its first note; false when none is kept.
bool EnsureOpen(Record& record) {
    if (record.descriptor >= 0) {
        return true;
    }
    if (record.folder.empty()) {
        return false;
    }
    std::error_code ignored;
    fs::create_directories(record.folder, ignored);
    record.file = record.folder / (std::to_string(::getpid()) + "." +
                                   std::to_string(ThisProcessStartTicks()) + ".notes");
    // Never through a link, and never waiting on a pipe someone left at the name.
    record.descriptor =
        ::open(record.file.c_str(),
               O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK, 0600);
    struct stat status {};
    if (record.descriptor >= 0 &&
        (::fstat(record.descriptor, &status) != 0 || !S_ISREG(status.st_mode) ||
         ::ftruncate(record.descriptor, 0) != 0)) {
        ::close(record.descriptor);
        record.descriptor = -1;
    }
    if (record.descriptor < 0) {
        Trace("Host", 2, "Hidden files cannot be noted in " + record.file.string());
        return false;
    }
    const std::string header = Header();
    WriteWhole(record.descriptor, header);
    record.headerSize = static_cast<off_t>(header.size());
    return true;
}

// A name this host gives a file before it is put in place: ".mv-<purpose>..." or
// ".<name>.adding.<pid>.<n>". Nothing else is ever removed by the tidy-up.
bool IsHiddenWorkName(const fs::path& path) {
    const std::string name = path.filename().string();
    return name.starts_with(kPrivateNamePrefix) ||
           (name.size() > 1 && name[0] == '.' && name.find(".adding.") != std::string::npos);
}

enum class Tidied { Removed, NothingThere, Unreachable };

Tidied TidyUp(const fs::path& path) {
    struct stat status {};
    if (::lstat(path.c_str(), &status) != 0) {
        struct stat folder {};
        // Gone already, in a folder that is there: done. A folder that cannot be reached (a
        // share not mounted now) is looked at again at a later start.
        return errno == ENOENT && ::stat(path.parent_path().c_str(), &folder) == 0
                   ? Tidied::NothingThere
                   : Tidied::Unreachable;
    }
    if (!IsHiddenWorkName(path)) {
        return Tidied::NothingThere;
    }
    RemoveTree(path);
    return ::lstat(path.c_str(), &status) == 0 ? Tidied::Unreachable : Tidied::Removed;
}

// Whether the header line names its writer as this file's own writer does.
bool IsWriterHeader(const nlohmann::json& writer) {
    return writer.is_object() && writer.contains("hostName") && writer["hostName"].is_string() &&
           writer.contains("bootId") && writer["bootId"].is_string() &&
           writer.contains("processId") && writer["processId"].is_number_integer() &&
           writer.contains("processStartTicks") && writer["processStartTicks"].is_number_integer();
}

// The notes of a record still open: every path noted and not closed, in the order noted.
std::vector<std::string> OpenNotes(std::istream& lines) {
    std::vector<std::string> order;
    std::map<std::string, int> open;
    std::string line;
    std::string path;
    while (std::getline(lines, line)) {
        if (line.size() < 2 || (line[0] != '+' && line[0] != '-')) {
            continue;
        }
        path = PathFromJson(ParseUntrustedJson(std::string_view(line).substr(1))).string();
        if (path.empty()) {
            continue; // a line cut short by the kill
        }
        if (line[0] == '+') {
            if (open[path]++ == 0) {
                order.push_back(path);
            }
        } else if (open[path] > 0) {
            --open[path];
        }
    }
    std::erase_if(order, [&open](const std::string& noted) { return open[noted] == 0; });
    return order;
}

} // namespace

void SetTemporaryFilesFolder(const fs::path& folder) {
    Record& record = TheRecord();
    const std::lock_guard guard(record.mutex);
    if (record.descriptor >= 0 && folder != record.folder) {
        ::close(record.descriptor);
        ::unlink(record.file.c_str());
        record.descriptor = -1;
        record.open.clear();
    }
    record.folder = folder;
}

TemporaryFileNote::TemporaryFileNote(const fs::path& path) : mPath(path) {
    Record& record = TheRecord();
    const std::lock_guard guard(record.mutex);
    if (!EnsureOpen(record)) {
        return;
    }
    mNoted = WriteWhole(record.descriptor, NoteLine('+', mPath));
    if (mNoted) {
        ++record.open[mPath.string()];
    }
}

TemporaryFileNote::~TemporaryFileNote() {
    if (!mNoted) {
        return;
    }
    Record& record = TheRecord();
    const std::lock_guard guard(record.mutex);
    if (record.descriptor < 0) {
        return;
    }
    const auto found = record.open.find(mPath.string());
    if (found != record.open.end() && --found->second == 0) {
        record.open.erase(found);
    }
    if (record.open.empty()) {
        // Nothing of ours is left under a hidden name: the record starts afresh.
        if (::ftruncate(record.descriptor, record.headerSize) == 0) {
            return;
        }
    }
    WriteWhole(record.descriptor, NoteLine('-', mPath));
}

std::size_t RemoveTemporaryFilesOfGoneProcesses() {
    fs::path folder;
    {
        Record& record = TheRecord();
        const std::lock_guard guard(record.mutex);
        folder = record.folder;
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
        const nlohmann::json writer = ParseUntrustedJson(header);
        if (!IsWriterHeader(writer) ||
            !RecordedProcessIsGone(writer["hostName"].get<std::string>(),
                                   writer["bootId"].get<std::string>(),
                                   writer["processId"].get<long long>(),
                                   writer["processStartTicks"].get<long long>())) {
            continue;
        }
        std::string kept = header + "\n";
        for (const std::string& path : OpenNotes(lines)) {
            switch (TidyUp(path)) {
            case Tidied::Removed:
                ++removed;
                Trace("Host", 2, "Removed a hidden file a stopped run left: " + path);
                break;
            case Tidied::NothingThere:
                break;
            case Tidied::Unreachable:
                kept += NoteLine('+', path);
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

namespace {

struct Tidying {
    std::thread thread;
    std::shared_ptr<std::atomic<bool>> done;
};

Tidying& TheTidying() {
    static Tidying tidying;
    return tidying;
}

} // namespace

void StartRemovingTemporaryFilesOfGoneProcesses() {
    Tidying& tidying = TheTidying();
    if (tidying.thread.joinable()) {
        return;
    }
    tidying.done = std::make_shared<std::atomic<bool>>(false);
    tidying.thread = std::thread([done = tidying.done] {
        if (const std::size_t removed = RemoveTemporaryFilesOfGoneProcesses(); removed != 0) {
            Trace("Host", 2,
                  "Removed " + std::to_string(removed) + " hidden file(s) left by a stopped run");
        }
        *done = true;
    });
}

void StopRemovingTemporaryFilesOfGoneProcesses(std::chrono::milliseconds deadline) {
    Tidying& tidying = TheTidying();
    if (!tidying.thread.joinable()) {
        return;
    }
    const auto until = std::chrono::steady_clock::now() + deadline;
    while (!*tidying.done && std::chrono::steady_clock::now() < until) {
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    if (*tidying.done) {
        tidying.thread.join();
    } else {
        Trace("Host", 1, "A folder with hidden files of a stopped run does not answer");
        tidying.thread.detach();
    }
}

void CloseTemporaryFilesRecord() {
    Record& record = TheRecord();
    const std::lock_guard guard(record.mutex);
    if (record.descriptor >= 0) {
        ::close(record.descriptor);
        record.descriptor = -1;
        if (record.open.empty()) {
            ::unlink(record.file.c_str());
        }
    }
}

} // namespace host
