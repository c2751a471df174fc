#pragma once
// The exact bytes of a file, for tests that check a file was left as it was.
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

namespace testsupport {

inline std::string ReadBytes(const std::filesystem::path& file) {
    std::ifstream in(file, std::ios::binary);
    std::stringstream bytes;
    bytes << in.rdbuf();
    return bytes.str();
}

} // namespace testsupport
