// The lock file reader over arbitrary bytes (another machine may have written anything): it
// must never crash, a lock it accepts names a holder, and what it refuses leaves the content
// it was given alone.
#include "Marvane/core/JsonNesting.h"
#include "Marvane/projectbackend/LockFileText.h"

#include <cstddef>
#include <cstdint>
#include <string_view>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    host::LockFileContent content;
    content.lockingName = "untouched";
    content.processId = -7;
    if (!host::DecodeLockFileText(text, content)) {
        if (content.lockingName != "untouched" || content.processId != -7 ||
            !content.secondLockingString.empty()) {
            __builtin_trap();
        }
        return 0;
    }
    if (content.lockingName.empty() || host::NestsTooDeeply(text)) {
        __builtin_trap();
    }
    return 0;
}
