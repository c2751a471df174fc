// Name rules by file system. Linux reports the file system as a magic number; the names here
// are the mount table's for the same file systems.
#include "Marvane/fileservices/FileNameRules.h"
#include "Marvane/fileservices/MountKinds.h"
#include "Marvane/fileservices/ProjectItemRules.h"

#include "host/FileServices.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cctype>
#include <sys/statfs.h>

namespace host {

namespace {

constexpr std::size_t kLongestNameBytes = 255;
constexpr std::u16string_view kWindowsForbidden = u"\\:*?\"<>|";

std::atomic<FileNameRule> gRule{FileNameRule::Posix};

std::string Lowered(std::string_view text) {
    std::string lowered(text);
    std::transform(lowered.begin(), lowered.end(), lowered.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return lowered;
}

bool IsAsciiLetterOrDigit(char16_t c) {
    return (c >= u'a' && c <= u'z') || (c >= u'A' && c <= u'Z') || (c >= u'0' && c <= u'9');
}

// CON, PRN, AUX, NUL, COM1-9, LPT1-9 in any case, alone or before a dot ("con.txt").
bool IsReservedDeviceName(const WideString& name) {
    const WideString stem = name.substr(0, name.find(u'.'));
    if (stem.size() != 3 && stem.size() != 4) {
        return false;
    }
    std::string lowered;
    for (const char16_t c : stem) {
        if (!IsAsciiLetterOrDigit(c)) {
            return false;
        }
        lowered += static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    }
    static constexpr std::array<std::string_view, 4> kThree{"con", "prn", "aux", "nul"};
    if (lowered.size() == 3) {
        return std::find(kThree.begin(), kThree.end(), lowered) != kThree.end();
    }
    const std::string_view prefix(lowered.data(), 3);
    return (prefix == "com" || prefix == "lpt") && lowered[3] >= '1' && lowered[3] <= '9';
}

} // namespace

FileNameRule FileNameRuleForFileSystemType(std::string_view typeName) {
    const std::string type = Lowered(typeName);
    const bool windowsShare = type == "smb" || ShareKindOfMountType(type) == ShareKind::Smb;
    return windowsShare ? FileNameRule::Windows : FileNameRule::Posix;
}

namespace {

// The rule for a folder whose file system statfs named: a user-space client (FUSE) says
// nothing of the server behind it, so the mount table tells.
FileNameRule RuleForFolder(const std::filesystem::path& folder, const std::string& statfsType) {
    if (statfsType == "fuse" || statfsType == "unknown") {
        if (const std::optional<MountEntry> mount = MountHolding(folder)) {
            return FileNameRuleForFileSystemType(mount->type);
        }
    }
    return FileNameRuleForFileSystemType(statfsType);
}

} // namespace

std::string FileSystemTypeName(const std::filesystem::path& path) {
    struct statfs info {};
    if (::statfs(path.c_str(), &info) != 0) {
        return "unknown";
    }
    return FileSystemTypeNameOf(static_cast<long>(info.f_type));
}

std::string FileSystemTypeNameOf(long magic) {
    switch (static_cast<unsigned long>(magic) & 0xFFFFFFFFul) {
    case 0xFF534D42ul:
        return "cifs";
    case 0xFE534D42ul:
        return "smb2";
    case 0x517Bul:
        return "smbfs";
    case 0xEF53ul:
        return "ext4";
    case 0x01021994ul:
        return "tmpfs";
    case 0x65735546ul:
        return "fuse";
    case 0x6969ul:
        return "nfs";
    case 0x58465342ul:
        return "xfs";
    case 0x9123683Eul:
        return "btrfs";
    case 0x794C7630ul:
        return "overlay";
    default:
        return "unknown";
    }
}

bool IsValidFileNameUnder(const WideString& name, FileNameRule rule) {
    if (name.empty() || name == u"." || name == u".." || ToUTF8(name).size() > kLongestNameBytes) {
        return false;
    }
    const bool hasForbidden = std::any_of(name.begin(), name.end(), [rule](char16_t c) {
        return c == u'/' || c < 0x20 || c == 0x7F ||
               (rule == FileNameRule::Windows && kWindowsForbidden.find(c) != WideString::npos);
    });
    if (hasForbidden) {
        return false;
    }
    if (rule == FileNameRule::Windows) {
        const char16_t last = name.back();
        return last != u'.' && last != u' ' && !IsReservedDeviceName(name);
    }
    return true;
}

WideString IllegalFilenameCharactersUnder(FileNameRule rule) {
    if (rule == FileNameRule::Posix) {
        return u"/";
    }
    WideString shown = u"/";
    for (const char16_t c : kWindowsForbidden) {
        shown += u' ';
        shown += c;
    }
    return shown;
}

void SetFileNameRuleFolder(const std::filesystem::path& folder) {
    gRule =
        folder.empty() ? FileNameRule::Posix : RuleForFolder(folder, FileSystemTypeName(folder));
}

void SetFileNameRuleFolder(const std::filesystem::path& folder, long fileSystemType) {
    gRule = folder.empty() ? FileNameRule::Posix
                           : RuleForFolder(folder, FileSystemTypeNameOf(fileSystemType));
}

FileNameRule CurrentFileNameRule() {
    return gRule;
}

WideString GetIllegalFilenameCharacters() {
    return IllegalFilenameCharactersUnder(CurrentFileNameRule());
}

bool IsValidFileName(const WideString& name) {
    return IsValidFileNameUnder(name, CurrentFileNameRule());
}

std::size_t GetLongestTypedNameBytes(const WideString& path) {
    if (!IsProjectItem(ToUTF8(path))) {
        return kLongestNameBytes;
    }
    const std::size_t extension =
        std::filesystem::path(ToUTF8(path)).filename().extension().native().size();
    const std::size_t room = extension + CurrentProjectItemRules().besideNameBytes;
    return room < kLongestNameBytes ? kLongestNameBytes - room : 0;
}

std::size_t GetLongestPathBytes() {
    return PATH_MAX - 1; // the limit counts the terminating zero
}

} // namespace host
