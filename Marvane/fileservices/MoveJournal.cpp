#include "Marvane/fileservices/MoveJournal.h"
#include "Marvane/core/JsonText.h"

#include "Marvane/core/ThisMachine.h"
#include "Marvane/fileservices/FileCopy.h"
#include "Marvane/fileservices/FileReading.h"
#include "Marvane/fileservices/FileWriting.h"
#include "Marvane/fileservices/FolderEntries.h"
#include "host/DebugTrace.h"

#include <mutex>
#include <nlohmann/json.hpp>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace host {

namespace {

namespace fs = std::filesystem;

std::mutex gJournalMutex;
fs::path gJournalFolder;

fs::path JournalFolder() {
    const std::lock_guard guard(gJournalMutex);
    return gJournalFolder;
}

bool Exists(const fs::path& path) {
    struct stat status {};
    return !path.empty() && ::lstat(path.c_str(), &status) == 0;
}

// Whether the record's writer is a process of this machine that has stopped.
bool WriterIsGone(const nlohmann::json& record) {
    return RecordedProcessIsGone(
        record.value("hostName", std::string()), record.value("bootId", std::string()),
        record.value("processId", 0LL), record.value("processStartTicks", 0LL));
}

// A private name ".mv-<purpose>.<host>.<pid>.<n>.<random>" made by a process of this machine
// that is not running.
bool NamedByAGoneProcess(const fs::path& path) {
    const std::string name = path.filename().string();
    const std::size_t random = name.rfind('.');
    const std::size_t counter = random == std::string::npos || random == 0
                                    ? std::string::npos
                                    : name.rfind('.', random - 1);
    const std::size_t pid = counter == std::string::npos || counter == 0
                                ? std::string::npos
                                : name.rfind('.', counter - 1);
    const std::size_t purpose = name.find('.', 1);
    if (pid == std::string::npos || purpose == std::string::npos || purpose >= pid ||
        name.substr(purpose + 1, pid - purpose - 1) != ThisHostName()) {
        return false;
    }
    try {
        return ProcessStartTicks(std::stoll(name.substr(pid + 1, counter - pid - 1))) == 0;
    } catch (...) {
        return false;
    }
}

} // namespace

void SetMoveJournalFolder(const fs::path& folder) {
    const std::lock_guard guard(gJournalMutex);
    gJournalFolder = folder;
}

MoveJournalEntry::MoveJournalEntry(const fs::path& copy, const fs::path& aside,
                                   const fs::path& source, const fs::path& destination) {
    const fs::path folder = JournalFolder();
    if (folder.empty()) {
        return;
    }
    std::error_code ignored;
    fs::create_directories(folder, ignored);
    const nlohmann::json record = {{"hostName", ThisHostName()},
                                   {"bootId", ThisBootId()},
                                   {"processId", static_cast<long long>(::getpid())},
                                   {"processStartTicks", ThisProcessStartTicks()},
                                   {"copy", PathToJson(copy)},
                                   {"aside", PathToJson(aside)},
                                   {"source", PathToJson(source)},
                                   {"destination", PathToJson(destination)}};
    const fs::path path = PrivateName(folder, "move");
    std::string error;
    if (PlaceNewFile(path, JsonText(record), error) == PlaceResult::Placed) {
        mRecord = path;
    } else {
        Trace("Host", 2, "A move could not be recorded: " + error);
    }
}

MoveJournalEntry::~MoveJournalEntry() {
    if (!mRecord.empty()) {
        ::unlink(mRecord.c_str());
    }
}

std::size_t FinishInterruptedMoves() {
    const fs::path folder = JournalFolder();
    std::size_t cleaned = 0;
    std::error_code error;
    if (folder.empty() || !fs::is_directory(folder, error)) {
        return 0;
    }
    // The records first, then each finished: finishing one removes it from the folder.
    std::vector<fs::path> records;
    ForEachFolderEntry(folder.string(), [&records](const std::string&, const std::string& path,
                                                   unsigned char) { records.emplace_back(path); });
    for (const fs::path& recordPath : records) {
        const auto record = ReadJsonFile(recordPath);
        if (!record.is_object()) {
            // A record its writer was killed while writing: nothing was done yet.
            if (NamedByAGoneProcess(recordPath)) {
                ::unlink(recordPath.c_str());
            }
            continue;
        }
        if (!WriterIsGone(record)) {
            continue;
        }
        const auto path = [&record](const char* key) {
            const auto found = record.find(key);
            return found == record.end() ? fs::path() : PathFromJson(*found);
        };
        const fs::path copy = path("copy");
        const fs::path aside = path("aside");
        const fs::path source = path("source");
        const fs::path destination = path("destination");
        // The copy is renamed into place only once complete: under its private name it is
        // partial, or complete beside an original that was never touched.
        if (Exists(copy)) {
            RemoveTree(copy);
            Trace("Host", 2, "Removed an unfinished copy: " + copy.string());
        }
        // The original is taken aside only after its complete copy is in place. Should that
        // copy be gone now, the original goes back instead of being removed.
        if (Exists(aside)) {
            if (Exists(destination)) {
                RemoveTree(aside);
                Trace("Host", 2, "Removed the rest of a moved original: " + aside.string());
            } else if (RenameNoReplace(aside, source) != 0) {
                Trace("Host", 1, "An original taken aside is kept as " + aside.string());
            }
        }
        ::unlink(recordPath.c_str());
        ++cleaned;
    }
    return cleaned;
}

} // namespace host
