#pragma once
// Reading the files the host keeps or finds (preferences, projects, records): a file is opened
// without ever blocking and read only when it is a regular file, so a pipe, a device or a
// folder in its place is refused at once instead of hanging the host.
#include <cstddef>
#include <filesystem>
#include <functional>
#include <nlohmann/json.hpp>
#include <string>

struct stat;

namespace host {

// Reads the whole file. False with errorNumber set (ENOENT, EACCES, ..., EINVAL for something
// that is not a regular file) when it cannot.
bool ReadRegularFile(const std::filesystem::path& path, std::string& bytes, int& errorNumber);
// The same, refusing a file larger than maximumBytes (EFBIG), and giving the status of exactly
// the file read. onRead, when given, hears the number of bytes read so far after each piece.
bool ReadRegularFile(const std::filesystem::path& path, std::string& bytes, int& errorNumber,
                     std::size_t maximumBytes, struct stat& opened,
                     const std::function<void(std::size_t bytesSoFar)>& onRead = {});
bool ReadRegularFile(const std::filesystem::path& path, std::string& bytes);

// The JSON a file holds, read as above; a discarded value (is_discarded()) when the file is
// missing or not a regular file, cannot be read, nests too deeply to handle safely, or is not
// JSON.
nlohmann::json ReadJsonFile(const std::filesystem::path& path);

} // namespace host
