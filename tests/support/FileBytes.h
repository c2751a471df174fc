#pragma once
// The exact bytes of a file, for tests that make files and check they were left as they were.
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

// Writes a file with exactly these bytes, making its folders first.
inline void WriteBytes(const std::filesystem::path& file, const std::string& bytes) {
    std::filesystem::create_directories(file.parent_path());
    std::ofstream(file, std::ios::binary) << bytes;
}

} // namespace testsupport
