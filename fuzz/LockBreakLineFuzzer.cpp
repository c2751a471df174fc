// The line the record of broken locks gets, over arbitrary bytes (names and locks come from
// other machines): it must never throw or crash, is always one line of valid JSON, and every
// name in it gives back exactly the bytes it was made from, however they were written.
#include "Marvane/core/TextEscaping.h"
#include "Marvane/projectbackend/LockBreakLine.h"

#include <cstddef>
#include <cstdint>
#include <nlohmann/json.hpp>
#include <string>
#include <string_view>

namespace {

// The bytes a text field of the line stands for.
std::string Recovered(const nlohmann::json& line, const std::string& key) {
    if (line.contains(key + "Bytes")) {
        const auto bytes = host::UnescapeIllFormedBytes(line.at(key + "Bytes").get<std::string>());
        if (!bytes) {
            __builtin_trap();
        }
        return *bytes;
    }
    return line.at(key).get<std::string>();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    // Five names separated by NUL bytes, then the lock's bytes (NUL bytes and all).
    std::string_view rest(reinterpret_cast<const char*>(data), size);
    std::string names[5];
    for (std::string& name : names) {
        const std::size_t end = rest.find('\0');
        name = std::string(rest.substr(0, end));
        rest = end == std::string_view::npos ? std::string_view() : rest.substr(end + 1);
    }
    const host::LockBreak lockBreak{names[0], names[1], names[2],
                                    names[3], names[4], std::string(rest)};
    const std::string text = host::LockBreakLine(lockBreak);
    if (text.empty() || text.find('\n') != text.size() - 1) {
        __builtin_trap();
    }
    const nlohmann::json line = nlohmann::json::parse(text, nullptr, false);
    if (line.is_discarded() || !line.is_object()) {
        __builtin_trap();
    }
    if (Recovered(line, "when") != lockBreak.when || Recovered(line, "by") != lockBreak.by ||
        Recovered(line, "byMachine") != lockBreak.byMachine ||
        Recovered(line, "how") != lockBreak.how ||
        Recovered(line, "project") != lockBreak.project) {
        __builtin_trap();
    }
    const bool cut = lockBreak.lock.size() > host::kLockBreakCopiedBytes;
    if (line.at("lockSize").get<std::size_t>() != lockBreak.lock.size() ||
        line.at("lockCut").get<bool>() != cut) {
        __builtin_trap();
    }
    if (line.at("lock").is_string()) {
        const std::string copied = Recovered(line, "lock");
        if (copied.size() > host::kLockBreakCopiedBytes ||
            lockBreak.lock.compare(0, copied.size(), copied) != 0 ||
            (!cut && copied != lockBreak.lock)) {
            __builtin_trap();
        }
    } else if (cut) {
        __builtin_trap(); // a lock that was cut is never taken for JSON
    }
    return 0;
}
