#pragma once
// Which names a file or folder can be given. Everywhere: not empty, not "." or "..", no "/",
// no NUL or other control character, at most 255 bytes. On a Windows share (SMB/CIFS) also
// none of \ : * ? " < > |, no trailing dot or space, and none of the device names Windows
// reserves (CON, PRN, AUX, NUL, COM1-COM9, LPT1-LPT9, with or without an extension), because
// colleagues on Windows open the same folder. IsValidFileName and GetIllegalFilenameCharacters
// (host/FileServices.h) follow the rule of the folder set with SetFileNameRuleFolder: the
// open production.
#include "host/CoreTypes.h"

#include <filesystem>
#include <string>
#include <string_view>

namespace host {

enum class FileNameRule { Posix, Windows };

// The rule for a file system by its type name as the mount table spells it ("ext4", "cifs",
// "smb3", "fuse.sshfs").
FileNameRule FileNameRuleForFileSystemType(std::string_view typeName);
// The type name of the file system that holds the path, from its magic number ("ext4",
// "cifs", "smb2", "fuse", ...); "unknown" when the path cannot be asked.
std::string FileSystemTypeName(const std::filesystem::path& path);
// The same from a magic number statfs gave (its f_type).
std::string FileSystemTypeNameOf(long magic);

bool IsValidFileNameUnder(const WideString& name, FileNameRule rule);
// The characters the rule forbids, as shown to a user, separated by spaces.
WideString IllegalFilenameCharactersUnder(FileNameRule rule);

// The folder whose file system decides the rule in force (empty: the ordinary rule). The
// file system is asked once, here.
void SetFileNameRuleFolder(const std::filesystem::path& folder);
// The same when the folder's file system is known (statfs's f_type): nothing is asked.
void SetFileNameRuleFolder(const std::filesystem::path& folder, long fileSystemType);
FileNameRule CurrentFileNameRule();

} // namespace host
