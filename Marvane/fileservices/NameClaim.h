#pragma once
// A claim on a name in a folder, for file systems that cannot put a file at a name only when
// it is free: an SMB share through a user-space client has neither renames that never replace
// nor hard links, and a plain rename there replaces what is at the name. Every copy of marvane
// that puts something at a name there first claims the name: it creates a small hidden file
// named after it, exclusively (O_CREAT|O_EXCL holds on every share), and checks that the name
// is free and puts its file there only while it holds the claim. Two editors placing different
// files at one name are then one after the other, and the second finds the name taken.
//
// A claim names its maker (machine, boot, process). One whose maker is gone (on this machine)
// or that is older than kClaimStaleAfter (any machine: a claim is held for milliseconds) is
// removed by the next claimer, so a crash while holding one never blocks a name for long.
#include <chrono>
#include <filesystem>
#include <memory>

namespace host {

class TemporaryFileNote;

inline constexpr std::chrono::seconds kClaimStaleAfter{30};
inline constexpr std::chrono::milliseconds kClaimPatience{5000};

class NameClaim {
public:
    // Claims target's name, waiting up to kClaimPatience for another claimer to finish.
    explicit NameClaim(const std::filesystem::path& target);
    ~NameClaim();
    NameClaim(const NameClaim&) = delete;
    NameClaim& operator=(const NameClaim&) = delete;

    // 0 when the name is claimed, otherwise why not (an errno value; EBUSY when another claim
    // stood for the whole patience).
    int Error() const { return mError; }
    // The hidden file that stands for the claim on target's name.
    static std::filesystem::path ClaimPathFor(const std::filesystem::path& target);

private:
    std::filesystem::path mClaim;
    int mError = 0;
    bool mHeld = false;
    std::unique_ptr<TemporaryFileNote> mNote; // while held
};

} // namespace host
