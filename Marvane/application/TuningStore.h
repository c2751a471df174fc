#pragma once
// Host side of the tuning store: "tuning.json" in the profile folder, an object of keys to
// numbers or texts.
#include <filesystem>
#include <map>
#include <string>

namespace host {

// Replaces every entry (and moves the change counter).
void SetTuningValues(std::map<std::string, std::string> values);
// Reads the profile's tuning file; a missing or broken file leaves no entries.
void LoadTuningStore(const std::filesystem::path& profileDirectory);

} // namespace host
