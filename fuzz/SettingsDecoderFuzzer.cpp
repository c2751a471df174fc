// The panel's settings file decoder over arbitrary bytes: it may refuse a file, but it must
// never crash, and what it accepts must come back the same after writing and reading again.
#include "host/Json.h"
#include "state/ProductionSettingsFile.h"

#include <cstddef>
#include <cstdint>
#include <string>

namespace {

bool Decode(const std::string& text, HandlerTandrel::StateMap& states) {
    const std::optional<host::JsonValue> root = host::ParseJson(text);
    if (!root) {
        return false;
    }
    try {
        states = HandlerTandrel::DecodeProductionSettings(*root);
        return true;
    } catch (const host::MissingKeyException&) {
        return false;
    } catch (const host::JsonTypeError&) {
        return false;
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string bytes(reinterpret_cast<const char*>(data), size);
    HandlerTandrel::StateMap first;
    if (!Decode(HandlerTandrel::SettingsTextFromBytes(bytes), first)) {
        return 0;
    }
    const std::string written = host::RenderJson(HandlerTandrel::EncodeProductionSettings(first));
    HandlerTandrel::StateMap second;
    if (!Decode(written, second) || second.size() != first.size()) {
        __builtin_trap();
    }
    // Writing what was read again gives the same text: nothing is lost or invented.
    if (host::RenderJson(HandlerTandrel::EncodeProductionSettings(second)) != written) {
        __builtin_trap();
    }
    return 0;
}
