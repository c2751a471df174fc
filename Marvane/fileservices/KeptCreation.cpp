#include "Marvane/fileservices/KeptCreation.h"

#include "Marvane/fileservices/CreationRecords.h"
#include "Marvane/fileservices/FileTimes.h"

#include <charconv>
#include <fcntl.h>
#include <sys/xattr.h>

namespace host {

std::optional<std::int64_t> KeptCreatedTicks(const std::string& path) {
    char text[24] = {};
    const ssize_t length = ::getxattr(path.c_str(), kCreatedAttribute, text, sizeof(text));
    if (length <= 0) {
        return std::nullopt;
    }
    std::int64_t ticks = 0;
    const char* end = text + length;
    const auto [stop, problem] = std::from_chars(text, end, ticks);
    // Anything but a whole number (written by hand, cut short) is not a time kept.
    if (problem != std::errc() || stop != end) {
        return std::nullopt;
    }
    return ticks;
}

std::optional<std::int64_t> KeptCreatedTicks(const std::string& path, const struct statx& status) {
    if (std::optional<std::int64_t> kept = KeptCreatedTicks(path)) {
        return kept;
    }
    return RecordedCreatedTicks(path, status);
}

std::int64_t CreatedTicksOfFile(const std::string& path, const struct statx& status) {
    if (S_ISREG(status.stx_mode)) {
        if (const std::optional<std::int64_t> kept = KeptCreatedTicks(path, status)) {
            return *kept;
        }
    }
    return CreatedTicksOf(status);
}

bool CarryCreation(const std::string& target, const std::string& replacement) {
    constexpr unsigned kAsked = STATX_TYPE | STATX_BTIME | STATX_CTIME | STATX_MTIME | STATX_SIZE;
    struct statx status {};
    if (::statx(AT_FDCWD, target.c_str(), AT_STATX_SYNC_AS_STAT, kAsked, &status) != 0 ||
        !S_ISREG(status.stx_mode)) {
        return false;
    }
    const std::int64_t created = CreatedTicksOfFile(target, status);
    const std::string ticks = std::to_string(created);
    if (::setxattr(replacement.c_str(), kCreatedAttribute, ticks.data(), ticks.size(), 0) == 0) {
        return true;
    }
    // No attribute here (sshfs, SMB through a user-space client): the folder's record keeps it.
    struct statx written {};
    return ::statx(AT_FDCWD, replacement.c_str(), AT_STATX_SYNC_AS_STAT, kAsked, &written) == 0 &&
           RecordCreation(target, created, status, written);
}

} // namespace host
