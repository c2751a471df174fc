#pragma once
// Which file system a path lives on (statfs's f_type). On a share statfs is a round trip to the
// server, and opening a production, listing its folder and watching it all ask about the same
// folder within moments, so what statfs said of a device is kept for a few seconds. The device
// of a path is asked of the kernel with no more than its type, which the kernel knows without
// asking the server while it keeps the entry.
#include <cstdint>
#include <optional>
#include <string>

namespace host {

// The file system type of the path's device; none when the path cannot be looked at.
std::optional<long> FileSystemTypeOf(const std::string& path);
// Keeps what statfs gave for path just now, so that the next questions about its device need
// no statfs.
void KeepFileSystemType(const std::string& path, long type);
// How many times a file system type was asked of statfs (by FileSystemTypeOf).
std::uint64_t FileSystemTypeAskCount();

} // namespace host
