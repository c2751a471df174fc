// The project file reader over arbitrary bytes: it may refuse a file (with a message that
// names it), but it must never crash, never accept text nested deeper than JSON text may be,
// and what it accepts must come back the same after writing and reading again.
#include "Marvane/core/JsonNesting.h"
#include "Marvane/documents/ProjectContent.h"

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <string>
#include <string_view>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    const std::filesystem::path project = "/productions/Pilot/Scene 12.mvproj";
    host::ProjectContent first;
    std::string error;
    if (!host::ParseProjectContent(text, project, first, error)) {
        if (error.find("\"" + project.string() + "\"") == std::string::npos) {
            __builtin_trap();
        }
        return 0;
    }
    if (host::NestsTooDeeply(text)) {
        __builtin_trap();
    }
    const std::string written = host::SerialiseProjectContent(first);
    // Compact: one line, however deeply the members nest.
    if (written.empty() || written.back() != '\n' || written.find('\n') != written.size() - 1) {
        __builtin_trap();
    }
    host::ProjectContent second;
    if (!host::ParseProjectContent(written, project, second, error) || !(second == first)) {
        __builtin_trap();
    }
    // Writing what was read again gives the same text: nothing is lost or invented.
    if (host::SerialiseProjectContent(second) != written) {
        __builtin_trap();
    }
    return 0;
}
