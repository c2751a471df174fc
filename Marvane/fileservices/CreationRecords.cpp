#include "Marvane/fileservices/CreationRecords.h"

#include "Marvane/fileservices/FileReading.h"
#include "Marvane/fileservices/FileTimes.h"
#include "Marvane/fileservices/FileWriting.h"
#include "Marvane/fileservices/NameClaim.h"

#include <array>
#include <charconv>
#include <chrono>
#include <cstdio>
#include <fcntl.h>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string_view>
#include <unordered_map>

namespace host {

namespace fs = std::filesystem;

namespace {

constexpr std::string_view kFirstLine = "marvane-created 1\n";
// A record larger than this is not one this system wrote.
constexpr std::size_t kLargestRecord = 16 * 1024 * 1024;
// How long a record read is taken as it was before its file is asked again.
constexpr std::chrono::milliseconds kFreshFor{1000};
// Folders whose records are kept in memory; all are forgotten past that.
constexpr std::size_t kFoldersKept = 4096;

// What a file looked like when it was saved: its modification time and size.
struct Look {
    std::int64_t modified = 0;
    std::uint64_t size = 0;
    bool operator==(const Look&) const = default;
};

// An SMB server sets a file's modification time when the file is closed, and a user-space
// client closes it on the server a moment after the program closed it: the time read just after
// a save can be a little earlier than the one the file ends with. A file of the same size
// modified within this much of the save is the file saved; another project made under the
// name later, or the file written again by another program, is not.
constexpr std::int64_t kLookTolerance = 5 * kTicksPerSecond;

bool LooksAsSaved(const Look& now, const Look& saved) {
    const std::int64_t apart = now.modified > saved.modified ? now.modified - saved.modified
                                                             : saved.modified - now.modified;
    return now.size == saved.size && apart <= kLookTolerance;
}

struct Entry {
    std::int64_t created = 0;
    std::array<Look, 2> looks; // the file saved, and the one it replaced
    bool operator==(const Entry&) const = default;
};

using Entries = std::map<std::string, Entry>; // by name in the folder

std::optional<Look> LookOf(const struct statx& status) {
    if ((status.stx_mask & (STATX_MTIME | STATX_SIZE)) != (STATX_MTIME | STATX_SIZE)) {
        return std::nullopt;
    }
    return Look{TicksOf(status.stx_mtime), status.stx_size};
}

// Names hold any byte but '/' and NUL: a line break, a control character or a '%' is written
// as '%' and two hex digits, so an entry is always one line.
std::string Escaped(std::string_view name) {
    std::string text;
    text.reserve(name.size());
    for (const char character : name) {
        const auto byte = static_cast<unsigned char>(character);
        if (byte < 0x20 || byte == 0x7f || byte == '%') {
            char code[4];
            std::snprintf(code, sizeof(code), "%%%02X", byte);
            text += code;
        } else {
            text += character;
        }
    }
    return text;
}

std::optional<std::string> Unescaped(std::string_view text) {
    std::string name;
    name.reserve(text.size());
    for (std::size_t at = 0; at < text.size(); ++at) {
        if (text[at] != '%') {
            name += text[at];
            continue;
        }
        unsigned byte = 0;
        if (at + 2 >= text.size()) {
            return std::nullopt;
        }
        const auto [stop, problem] =
            std::from_chars(text.data() + at + 1, text.data() + at + 3, byte, 16);
        if (problem != std::errc() || stop != text.data() + at + 3) {
            return std::nullopt;
        }
        name += static_cast<char>(byte);
        at += 2;
    }
    if (name.empty() || name.find('/') != std::string::npos ||
        name.find('\0') != std::string::npos) {
        return std::nullopt;
    }
    return name;
}

template <typename Number> bool TakeNumber(std::string_view& line, Number& number) {
    const auto [stop, problem] = std::from_chars(line.data(), line.data() + line.size(), number);
    if (problem != std::errc() || stop == line.data() + line.size() || *stop != ' ') {
        return false;
    }
    line.remove_prefix(static_cast<std::size_t>(stop - line.data()) + 1);
    return true;
}

// "<created> <modified> <size> <modified before> <size before> <name>": a line that is not
// one is passed over, and so is a record that does not begin as this system writes them.
Entries Parsed(std::string_view text) {
    Entries entries;
    if (!text.starts_with(kFirstLine)) {
        return entries;
    }
    text.remove_prefix(kFirstLine.size());
    while (!text.empty()) {
        const std::size_t end = text.find('\n');
        std::string_view line = text.substr(0, end);
        text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
        Entry entry;
        if (!TakeNumber(line, entry.created) || !TakeNumber(line, entry.looks[0].modified) ||
            !TakeNumber(line, entry.looks[0].size) || !TakeNumber(line, entry.looks[1].modified) ||
            !TakeNumber(line, entry.looks[1].size)) {
            continue;
        }
        if (std::optional<std::string> name = Unescaped(line)) {
            entries[std::move(*name)] = entry;
        }
    }
    return entries;
}

std::string Text(const Entries& entries) {
    std::string text(kFirstLine);
    for (const auto& [name, entry] : entries) {
        text += std::to_string(entry.created) + ' ' + std::to_string(entry.looks[0].modified) +
                ' ' + std::to_string(entry.looks[0].size) + ' ' +
                std::to_string(entry.looks[1].modified) + ' ' +
                std::to_string(entry.looks[1].size) + ' ' + Escaped(name) + '\n';
    }
    return text;
}

// The record file as it was last asked: gone, something else at its name, or a regular file
// of this look.
struct RecordFileLook {
    bool present = false;
    bool other = false;
    std::uint64_t inode = 0;
    std::int64_t modified = 0;
    std::int64_t changed = 0;
    std::uint64_t size = 0;
    bool operator==(const RecordFileLook&) const = default;
};

RecordFileLook AskRecordFile(const fs::path& record) {
    struct statx status {};
    if (::statx(AT_FDCWD, record.c_str(), AT_SYMLINK_NOFOLLOW | AT_STATX_SYNC_AS_STAT,
                STATX_TYPE | STATX_INO | STATX_MTIME | STATX_CTIME | STATX_SIZE, &status) != 0) {
        return {};
    }
    if (!S_ISREG(status.stx_mode)) {
        return {false, true};
    }
    return {
        true,           false, status.stx_ino, TicksOf(status.stx_mtime), TicksOf(status.stx_ctime),
        status.stx_size};
}

struct ReadRecord {
    std::chrono::steady_clock::time_point asked;
    RecordFileLook look;
    std::shared_ptr<const Entries> entries;
};

std::mutex gReadMutex;
std::unordered_map<std::string, ReadRecord> gRead; // by folder
// One write of a record at a time in this process.
std::mutex gWriteMutex;

std::shared_ptr<const Entries> ReadFromDisk(const fs::path& record, RecordFileLook& look) {
    look = AskRecordFile(record);
    if (!look.present) {
        return std::make_shared<const Entries>();
    }
    std::string bytes;
    int errorNumber = 0;
    struct stat opened {};
    if (!ReadRegularFile(record, bytes, errorNumber, kLargestRecord, opened)) {
        return std::make_shared<const Entries>();
    }
    return std::make_shared<const Entries>(Parsed(bytes));
}

void Remember(const std::string& folder, const RecordFileLook& look,
              std::shared_ptr<const Entries> entries) {
    const std::lock_guard guard(gReadMutex);
    if (gRead.size() >= kFoldersKept && !gRead.contains(folder)) {
        gRead.clear();
    }
    gRead[folder] = {std::chrono::steady_clock::now(), look, std::move(entries)};
}

// The entries of the folder's record, read again only when the one read is a second old and
// its file changed since.
std::shared_ptr<const Entries> EntriesOf(const fs::path& folder) {
    const std::string key = folder.string();
    const fs::path record = folder / kCreationRecordName;
    std::optional<ReadRecord> known;
    {
        const std::lock_guard guard(gReadMutex);
        if (const auto found = gRead.find(key); found != gRead.end()) {
            if (std::chrono::steady_clock::now() - found->second.asked < kFreshFor) {
                return found->second.entries;
            }
            known = found->second;
        }
    }
    // Asked without holding the others up: a share may take its time to answer.
    if (known && AskRecordFile(record) == known->look) {
        Remember(key, known->look, known->entries);
        return known->entries;
    }
    RecordFileLook look;
    std::shared_ptr<const Entries> entries = ReadFromDisk(record, look);
    Remember(key, look, entries);
    return entries;
}

// Changes the folder's record as change says, on what the disk holds now, and writes it when
// change altered anything. The record's name is claimed meanwhile: two editors saving in one
// folder at the same moment write it one after the other, and neither loses the other's entry.
bool ChangeRecord(const fs::path& folder, const std::function<bool(Entries&)>& change) {
    const std::lock_guard writing(gWriteMutex);
    const fs::path record = folder / kCreationRecordName;
    const NameClaim claim(record);
    if (claim.Error() != 0) {
        return false;
    }
    RecordFileLook look;
    Entries entries = *ReadFromDisk(record, look);
    if (look.other) {
        return false; // a folder, a pipe or a link has the name: it is not replaced
    }
    const Entries before = entries;
    if (!change(entries) || entries == before) {
        Remember(folder.string(), look, std::make_shared<const Entries>(before));
        return true;
    }
    if (entries.empty()) {
        // The last entry went: a folder emptied of its projects is empty again.
        if (RemoveJustClosedFile(record) != 0) {
            return false;
        }
        Remember(folder.string(), {}, std::make_shared<const Entries>());
        return true;
    }
    std::string error;
    if (!ReplaceFileAsItIs(record, Text(entries), error)) {
        return false;
    }
    Remember(folder.string(), AskRecordFile(record),
             std::make_shared<const Entries>(std::move(entries)));
    return true;
}

bool IsHiddenName(const std::string& name) {
    return name.empty() || name.front() == '.';
}

} // namespace

std::optional<std::int64_t> RecordedCreatedTicks(const std::string& path,
                                                 const struct statx& status) {
    const fs::path file(path);
    const std::string name = file.filename().string();
    const std::optional<Look> look = LookOf(status);
    if (IsHiddenName(name) || !look) {
        return std::nullopt;
    }
    const std::shared_ptr<const Entries> entries = EntriesOf(file.parent_path());
    const auto found = entries->find(name);
    if (found == entries->end() || (!LooksAsSaved(*look, found->second.looks[0]) &&
                                    !LooksAsSaved(*look, found->second.looks[1]))) {
        return std::nullopt;
    }
    return found->second.created;
}

bool RecordCreation(const std::string& target, std::int64_t created, const struct statx& current,
                    const struct statx& replacement) {
    const fs::path file(target);
    const std::string name = file.filename().string();
    const std::optional<Look> saved = LookOf(replacement);
    const std::optional<Look> replaced = LookOf(current);
    if (IsHiddenName(name) || !saved || !replaced) {
        return false;
    }
    const Entry entry{created, {*saved, *replaced}};
    return ChangeRecord(file.parent_path(), [&](Entries& entries) {
        entries[name] = entry;
        return true;
    });
}

void CarryCreationRecord(const fs::path& from, const fs::path& to) {
    const std::string oldName = from.filename().string();
    const std::string newName = to.filename().string();
    if (IsHiddenName(oldName) || IsHiddenName(newName)) {
        return;
    }
    const std::shared_ptr<const Entries> known = EntriesOf(from.parent_path());
    const auto found = known->find(oldName);
    if (found == known->end()) {
        return;
    }
    const Entry entry = found->second;
    // Into the new folder first: an entry is never lost between the two writes.
    if (!ChangeRecord(to.parent_path(), [&](Entries& entries) {
            entries[newName] = entry;
            return true;
        })) {
        return;
    }
    ChangeRecord(from.parent_path(), [&](Entries& entries) {
        const auto there = entries.find(oldName);
        // Only the entry carried: one written since by another save stays.
        if (there == entries.end() || there->second != entry ||
            (from.parent_path() == to.parent_path() && oldName == newName)) {
            return false;
        }
        entries.erase(there);
        return true;
    });
}

void ForgetReadCreationRecords() {
    const std::lock_guard guard(gReadMutex);
    gRead.clear();
}

} // namespace host
