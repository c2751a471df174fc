#include "Marvane/fileservices/NameClaim.h"

#include "Marvane/core/Fingerprint.h"
#include "Marvane/core/ThisMachine.h"
#include "Marvane/fileservices/FileReading.h"
#include "Marvane/fileservices/FileWriting.h"
#include "Marvane/fileservices/TemporaryFiles.h"

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <fcntl.h>
#include <memory>
#include <sstream>
#include <string>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>

namespace host {

namespace fs = std::filesystem;

namespace {

// The claim's content: "machine boot pid start-ticks", the facts that tell whether its maker
// is gone.
std::string ClaimText() {
    std::ostringstream text;
    text << ThisHostName() << ' ' << ThisBootId() << ' ' << ::getpid() << ' '
         << ThisProcessStartTicks() << '\n';
    return text.str();
}

// Whether the claim at path was left by a maker that is gone, or is too old to be held.
bool IsStale(const fs::path& claim) {
    struct stat status {};
    if (::lstat(claim.c_str(), &status) != 0) {
        return false; // gone already: the next try creates it
    }
    const auto age = std::chrono::system_clock::now() -
                     std::chrono::system_clock::from_time_t(status.st_mtim.tv_sec);
    if (age > kClaimStaleAfter) {
        return true;
    }
    std::string text;
    if (!ReadRegularFile(claim, text)) {
        return false;
    }
    std::istringstream fields(text);
    std::string host;
    std::string boot;
    long long pid = 0;
    long long ticks = 0;
    return static_cast<bool>(fields >> host >> boot >> pid >> ticks) &&
           RecordedProcessIsGone(host, boot, pid, ticks);
}

} // namespace

fs::path NameClaim::ClaimPathFor(const fs::path& target) {
    // Named after a fingerprint of the name, so that the claim's own name is short whatever
    // the target's (a name of 255 bytes has no room for a prefix).
    return target.parent_path() /
           (std::string(kPrivateNamePrefix) + "claim." + Fingerprint(target.filename().string()));
}

NameClaim::NameClaim(const fs::path& target) : mClaim(ClaimPathFor(target)) {
    const std::string text = ClaimText();
    const auto until = std::chrono::steady_clock::now() + kClaimPatience;
    auto pause = std::chrono::milliseconds(2);
    while (true) {
        // Noted before it exists, so that a run killed while holding it has it removed.
        auto note = std::make_unique<TemporaryFileNote>(mClaim);
        const int handle =
            ::open(mClaim.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0644);
        if (handle >= 0) {
            const bool written = WriteWhole(handle, text);
            const int writeError = errno;
            ::close(handle);
            if (!written) {
                ::unlink(mClaim.c_str());
                mError = writeError;
                return;
            }
            mHeld = true;
            mNote = std::move(note);
            return;
        }
        note.reset();
        if (errno != EEXIST) {
            mError = errno;
            return;
        }
        if (IsStale(mClaim)) {
            // Taken aside first: of several that judged it stale, one removes it.
            const fs::path aside = PrivateName(mClaim.parent_path(), "stale-claim");
            if (::rename(mClaim.c_str(), aside.c_str()) == 0) {
                ::unlink(aside.c_str());
            }
            continue;
        }
        if (std::chrono::steady_clock::now() + pause > until) {
            mError = EBUSY;
            return;
        }
        std::this_thread::sleep_for(pause);
        pause = std::min(pause * 2, std::chrono::milliseconds(50));
    }
}

NameClaim::~NameClaim() {
    if (mHeld) {
        RetryWhileBusy([this] { return RemoveJustClosedFile(mClaim); });
    }
}

} // namespace host
