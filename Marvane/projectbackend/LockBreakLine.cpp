#include "Marvane/projectbackend/LockBreakLine.h"

#include "Marvane/core/JsonNesting.h"
#include "Marvane/core/JsonText.h"
#include "Marvane/core/TextEscaping.h"

#include <nlohmann/json.hpp>
#include <string_view>

namespace host {

namespace {

// The first `limit` bytes, less a character that the limit would cut in two.
std::string_view Beginning(std::string_view bytes, std::size_t limit) {
    if (bytes.size() <= limit) {
        return bytes;
    }
    std::size_t end = limit;
    // At most three continuation bytes go back to the lead byte of a cut sequence.
    for (std::size_t back = 1; back <= 3 && back <= end; ++back) {
        const auto byte = static_cast<unsigned char>(bytes[end - back]);
        if ((byte & 0xC0) != 0x80) {
            char32_t codePoint = 0;
            const std::size_t length = DecodeUtf8At(bytes, end - back, codePoint);
            if (length > back) {
                end -= back;
            }
            break;
        }
    }
    return bytes.substr(0, end);
}

} // namespace

std::string LockBreakLine(const LockBreak& lockBreak) {
    nlohmann::ordered_json line = nlohmann::ordered_json::object();
    SetTextMember(line, "when", lockBreak.when);
    SetTextMember(line, "by", lockBreak.by);
    SetTextMember(line, "byMachine", lockBreak.byMachine);
    SetTextMember(line, "how", lockBreak.how);
    SetTextMember(line, "project", lockBreak.project);
    const bool cut = lockBreak.lock.size() > kLockBreakCopiedBytes;
    const std::string_view copied = Beginning(lockBreak.lock, kLockBreakCopiedBytes);
    nlohmann::ordered_json lock = nlohmann::ordered_json::value_t::discarded;
    if (!cut) {
        lock = ParseUntrustedJson<nlohmann::ordered_json>(copied);
    }
    // Only an object is a lock; any other JSON (a bare string, say) is kept as its text, so
    // that a text member always stands for the lock's bytes.
    if (lock.is_discarded() || !lock.is_object()) {
        SetTextMember(line, "lock", copied); // not a whole lock: the text it held
    } else {
        line["lock"] = std::move(lock);
    }
    line["lockSize"] = lockBreak.lock.size();
    line["lockCut"] = cut;
    // Every text in it is well-formed UTF-8 now; replacing is only the last guard.
    return line.dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace) + "\n";
}

} // namespace host
