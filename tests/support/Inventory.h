#pragma once
// What a folder holds, for checking that an operation lost, duplicated or changed nothing:
// every file, folder and link below it, with its size and a hash of its content.
#include "FileBytes.h"

#include <filesystem>
#include <functional>
#include <map>
#include <string>

namespace testsupport {

using Inventory = std::map<std::string, std::string>; // relative path -> kind, size, hash

inline Inventory TakeInventory(const std::filesystem::path& root) {
    namespace fs = std::filesystem;
    Inventory inventory;
    for (auto it = fs::recursive_directory_iterator(root); it != fs::recursive_directory_iterator();
         ++it) {
        const std::string relative = it->path().lexically_relative(root).string();
        if (it->is_symlink()) {
            inventory[relative] = "link->" + fs::read_symlink(it->path()).string();
        } else if (it->is_directory()) {
            inventory[relative] = "folder";
        } else if (!it->is_regular_file()) {
            inventory[relative] = "special"; // never opened: a pipe would wait for a writer
        } else {
            const std::string bytes = ReadBytes(it->path());
            inventory[relative] = "file " + std::to_string(bytes.size()) + " " +
                                  std::to_string(std::hash<std::string>{}(bytes));
        }
    }
    return inventory;
}

// The files (not folders) of an inventory by their content: kind, size and hash -> count.
inline std::map<std::string, int> ContentCounts(const Inventory& inventory) {
    std::map<std::string, int> counts;
    for (const auto& [path, content] : inventory) {
        if (content != "folder") {
            ++counts[content];
        }
    }
    return counts;
}

} // namespace testsupport
