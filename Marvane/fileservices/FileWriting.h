#pragma once
// Writing files so that nothing is ever half written or silently replaced. Every write goes
// to a new hidden file beside its target first (created exclusively, written whole, flushed
// to disk), which is then put in place in one step.
#include <filesystem>
#include <string>

namespace host {

enum class PlaceResult { Placed, Exists, Failed };

// Puts the text at target only if nothing is there: exactly one of several writers racing
// for the same name succeeds, on local disks and on network shares.
PlaceResult PlaceNewFile(const std::filesystem::path& target, const std::string& text,
                         std::string& error);

// Replaces target (or creates it) with the text in one step, keeping target's permissions.
// On failure target is unchanged.
bool ReplaceFile(const std::filesystem::path& target, const std::string& text, std::string& error);

} // namespace host
