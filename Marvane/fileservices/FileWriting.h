#pragma once
// Writing files so that nothing is ever half written or silently replaced. Every write goes
// to a new hidden file beside its target first (created exclusively, written whole, flushed
// to disk), which is then put in place in one step.
#include <chrono>
#include <filesystem>
#include <functional>
#include <string>
#include <string_view>

namespace host {

enum class PlaceResult { Placed, Exists, Failed };

// A new hidden name in the folder, unique to this process among every machine that shares the
// folder, and short whatever the names around it: ".mv-<purpose>.<host>.<pid>.<n>.<random>".
// Names of this form are never shown in a production.
std::filesystem::path PrivateName(const std::filesystem::path& folder, const std::string& purpose);
// The prefix every such name starts with.
inline constexpr const char* kPrivateNamePrefix = ".mv-";

// Writes all of text to the open file, going on after short writes and interruptions (no
// sync); false with errno set.
bool WriteWhole(int descriptor, std::string_view text);

// Renames from to to when nothing is at to, never replacing what is there: 0, or an errno
// value (EEXIST when to is taken). Where the file system cannot rename without replacing
// (network and user-space file systems), a file or link is hard-linked to its new name and
// then unlinked from the old one, which never replaces either. Where there are no hard links
// either (SMB through a user-space client), and for folders, the name is claimed (NameClaim),
// checked to be free and renamed to: no copy of marvane puts anything at a claimed name.
int RenameNoReplace(const std::filesystem::path& from, const std::filesystem::path& to);

// Removes a file that this process read or wrote a moment ago. On user-space file systems
// (sshfs and other FUSE mounts) a close reaches the file system a little after it returns, and
// a file removed before that is kept as a hidden ".fuse_hidden..." file for good; there the
// removal waits a few milliseconds first. 0, or an errno value.
int RemoveJustClosedFile(const std::filesystem::path& path);

// An SMB server refuses to rename or remove a file while another client has it open (a
// sharing violation, EBUSY), and colleagues read locks all the time. Runs attempt until it
// answers anything but EBUSY or kBusyPatience has passed, waiting a little longer before each
// new try; onAttempt hears of each answer (the share answered). The last answer: 0 or an
// errno value.
int RetryWhileBusy(const std::function<int()>& attempt,
                   const std::function<void()>& onAttempt = {});
inline constexpr std::chrono::milliseconds kBusyPatience{5000};

// Puts the text at target only if nothing is there: exactly one of several writers racing
// for the same name succeeds, on local disks and on network shares.
PlaceResult PlaceNewFile(const std::filesystem::path& target, const std::string& text,
                         std::string& error);

// Replaces target (or creates it) with the text in one step, keeping target's permissions.
// On failure target is unchanged.
bool ReplaceFile(const std::filesystem::path& target, const std::string& text, std::string& error);
// The same, the new file keeping none of target's creation time: for the host's own records.
bool ReplaceFileAsItIs(const std::filesystem::path& target, const std::string& text,
                       std::string& error);

} // namespace host
