#pragma once
// Reading the files the host keeps or finds (preferences, projects, records): a file is opened
// without ever blocking and read only when it is a regular file, so a pipe, a device or a
// folder in its place is refused at once instead of hanging the host.
#include <filesystem>
#include <string>

namespace host {

// Reads the whole file. False with errorNumber set (ENOENT, EACCES, ..., EINVAL for something
// that is not a regular file) when it cannot.
bool ReadRegularFile(const std::filesystem::path& path, std::string& bytes, int& errorNumber);
bool ReadRegularFile(const std::filesystem::path& path, std::string& bytes);

} // namespace host
