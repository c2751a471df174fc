#include "Marvane/fileservices/MountKinds.h"

#include "Marvane/fileservices/FileReading.h"
#include "host/Localizer.h"

#include <sstream>
#include <vector>

namespace host {

namespace fs = std::filesystem;

namespace {

// A mount table field, whose space, tab, newline and backslash are written as octal escapes.
std::string Unescaped(std::string_view field) {
    std::string text;
    for (std::size_t at = 0; at < field.size(); ++at) {
        if (field[at] == '\\' && at + 3 < field.size() && field[at + 1] >= '0' &&
            field[at + 1] <= '3' && field[at + 2] >= '0' && field[at + 2] <= '7' &&
            field[at + 3] >= '0' && field[at + 3] <= '7') {
            text += static_cast<char>((field[at + 1] - '0') * 64 + (field[at + 2] - '0') * 8 +
                                      (field[at + 3] - '0'));
            at += 3;
        } else {
            text += field[at];
        }
    }
    return text;
}

// Whether folder is path itself or one of the folders it lies in.
bool Holds(const fs::path& folder, const fs::path& path) {
    auto part = path.begin();
    for (auto wanted = folder.begin(); wanted != folder.end(); ++wanted) {
        if (wanted->empty()) {
            continue; // a trailing separator
        }
        if (part == path.end() || *part != *wanted) {
            return false;
        }
        ++part;
    }
    return true;
}

} // namespace

std::optional<MountEntry> MountHolding(std::string_view mountInfo, const fs::path& path) {
    std::error_code error;
    const fs::path wanted = fs::absolute(path, error).lexically_normal();
    std::optional<MountEntry> best;
    std::size_t bestLength = 0;
    std::istringstream lines{std::string(mountInfo)};
    std::string line;
    while (std::getline(lines, line)) {
        // "id parent major:minor root mountpoint options [optional...] - type source options"
        std::istringstream fields(line);
        std::vector<std::string> words;
        for (std::string word; fields >> word;) {
            words.push_back(word);
        }
        std::size_t separator = 6;
        while (separator < words.size() && words[separator] != "-") {
            ++separator;
        }
        if (words.size() < 5 || separator + 1 >= words.size()) {
            continue;
        }
        const fs::path mountPoint = fs::path(Unescaped(words[4])).lexically_normal();
        const std::size_t length = mountPoint.native().size();
        // The later of two mounts on one place is the one seen there.
        if (Holds(mountPoint, wanted) && (!best || length >= bestLength)) {
            best = MountEntry{mountPoint, Unescaped(words[separator + 1])};
            bestLength = length;
        }
    }
    return best;
}

std::optional<MountEntry> MountHolding(const fs::path& path) {
    std::string text;
    if (!ReadRegularFile("/proc/self/mountinfo", text)) {
        return std::nullopt;
    }
    return MountHolding(text, path);
}

ShareKind ShareKindOfMountType(std::string_view type) {
    const auto is = [type](std::string_view name) { return type == name; };
    const auto starts = [type](std::string_view prefix) {
        return type.substr(0, prefix.size()) == prefix;
    };
    if (is("cifs") || is("smb3") || is("smb2") || is("smbfs") || is("fuse.smbnetfs") ||
        is("fuse.smb") || starts("fuse.smb")) {
        return ShareKind::Smb;
    }
    if (is("fuse.sshfs") || is("fuse.rclone.sftp")) {
        return ShareKind::Sshfs;
    }
    if (starts("nfs")) {
        return ShareKind::Nfs;
    }
    if (starts("fuse.") || is("fuse") || is("afs") || is("ceph") || is("9p") || is("glusterfs") ||
        starts("fuse.gluster")) {
        return ShareKind::OtherNetwork;
    }
    return ShareKind::Local;
}

ShareKind ShareKindOf(const fs::path& path) {
    const std::optional<MountEntry> mount = MountHolding(path);
    return mount ? ShareKindOfMountType(mount->type) : ShareKind::Local;
}

std::string ShareKindDisplayName(ShareKind kind) {
    switch (kind) {
    case ShareKind::Smb:
        return Localize("$$$/Marvane/Host/ShareKind/Smb=SMB share");
    case ShareKind::Sshfs:
        return Localize("$$$/Marvane/Host/ShareKind/Sshfs=SSH share (sshfs)");
    case ShareKind::Nfs:
        return Localize("$$$/Marvane/Host/ShareKind/Nfs=NFS share");
    case ShareKind::OtherNetwork:
        return Localize("$$$/Marvane/Host/ShareKind/Other=Network or user-space share");
    case ShareKind::Local:
        break;
    }
    return Localize("$$$/Marvane/Host/ShareKind/Local=Local folder");
}

} // namespace host
