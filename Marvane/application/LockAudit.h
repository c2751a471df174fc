#pragma once
// The record of broken locks. Every lock removed or replaced against the wishes of the
// process that wrote it (Break Lock, `marvane unlock`) adds one line of JSON to
// "<production>/.marvane/lock-breaks.log": when, who broke it on which machine and how, the
// project, and the lock's own content (LockBreakLine: names that are not UTF-8 are kept
// escaped, and only the beginning of a large lock is copied). The folder is hidden, so the
// panel never shows it.
#include <filesystem>
#include <string>

namespace host {

std::filesystem::path LockAuditFile(const std::filesystem::path& production);
// The production a project belongs to for the record: the nearest folder above it that holds
// a ".marvane" folder (a symbolic link of that name does not count), else the open production
// when it holds the project, else the project's own folder.
std::filesystem::path AuditProductionFor(const std::filesystem::path& project,
                                         const std::filesystem::path& openProduction);
// Appends the line (written whole and synced). Never through a symbolic link: ".marvane" must
// be a real folder and the record a regular file in it. False with the reason in error.
bool RecordLockBreak(const std::filesystem::path& production, const std::filesystem::path& project,
                     const std::string& brokenLockBytes, const std::string& how,
                     std::string& error);

} // namespace host
