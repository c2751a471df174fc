#pragma once
// What kind of share a folder is on, by the mount table. A share reached through a user-space
// client reports FUSE's file-system type, whatever the server behind it is: an SMB share
// through smbnetfs still forbids Windows' characters in names and refuses O_APPEND. The mount
// table names the client ("fuse.smbnetfs", "fuse.sshfs"), and the kernel's own clients
// ("cifs", "smb3", "nfs4"). Reading it never asks a server.
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

namespace host {

enum class ShareKind { Local, Smb, Sshfs, Nfs, OtherNetwork };

struct MountEntry {
    std::filesystem::path mountPoint;
    std::string type; // as the mount table says it ("ext4", "fuse.smbnetfs")
};

// The mount holding path (the one whose mount point is the longest leading part of it), read
// from the text of /proc/self/mountinfo; none when no line applies.
std::optional<MountEntry> MountHolding(std::string_view mountInfo,
                                       const std::filesystem::path& path);
// The same, from this process's mount table.
std::optional<MountEntry> MountHolding(const std::filesystem::path& path);

// The kind of share a mount table type stands for.
ShareKind ShareKindOfMountType(std::string_view type);
// The kind of share path is on (Local when it cannot be told).
ShareKind ShareKindOf(const std::filesystem::path& path);
// How the kind is named to the user ("SMB share", "Local folder").
std::string ShareKindDisplayName(ShareKind kind);

} // namespace host
