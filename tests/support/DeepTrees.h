#pragma once
// Chains of folders deeper than the longest path the system takes, made and read by folder
// descriptors (no call that takes a whole path can reach their bottom).
#include <cerrno>
#include <climits>
#include <fcntl.h>
#include <filesystem>
#include <string>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

namespace testsupport {

// Makes `top`, then `levels` folders named `name` one inside the other, and a file "bottom.txt"
// holding `text` in the deepest. The path of that file is about levels * (name + 1) bytes.
inline void MakeDeepChain(const std::filesystem::path& top, const std::string& name, int levels,
                          const std::string& text) {
    if (::mkdir(top.c_str(), 0755) != 0) {
        throw std::system_error(errno, std::generic_category(), "cannot make " + top.string());
    }
    int folder = ::open(top.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    for (int level = 0; level < levels && folder >= 0; ++level) {
        const int inner = ::mkdirat(folder, name.c_str(), 0755) == 0
                              ? ::openat(folder, name.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)
                              : -1;
        ::close(folder);
        folder = inner;
    }
    if (folder < 0) {
        throw std::system_error(errno, std::generic_category(), "cannot make the chain");
    }
    const int file = ::openat(folder, "bottom.txt", O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0644);
    const bool written =
        file >= 0 && ::write(file, text.data(), text.size()) == static_cast<ssize_t>(text.size());
    if (file >= 0) {
        ::close(file);
    }
    ::close(folder);
    if (!written) {
        throw std::system_error(errno, std::generic_category(), "cannot write the chain's bottom");
    }
}

// What the chain at `top` holds at its bottom ("bottom.txt" after `levels` folders named
// `name`), or "(missing)" when any level is not there.
inline std::string ReadDeepChain(const std::filesystem::path& top, const std::string& name,
                                 int levels) {
    int folder = ::open(top.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    for (int level = 0; level < levels && folder >= 0; ++level) {
        const int inner = ::openat(folder, name.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
        ::close(folder);
        folder = inner;
    }
    if (folder < 0) {
        return "(missing)";
    }
    const int file = ::openat(folder, "bottom.txt", O_RDONLY | O_CLOEXEC);
    ::close(folder);
    if (file < 0) {
        return "(missing)";
    }
    std::string text;
    char buffer[4096];
    for (ssize_t count = 0; (count = ::read(file, buffer, sizeof buffer)) > 0;) {
        text.append(buffer, static_cast<std::size_t>(count));
    }
    ::close(file);
    return text;
}

// How many levels below `top` a chain of folders named `name` goes.
inline int DeepChainLevels(const std::filesystem::path& top, const std::string& name) {
    int folder = ::open(top.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    int levels = 0;
    while (folder >= 0) {
        const int inner = ::openat(folder, name.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
        ::close(folder);
        folder = inner;
        levels += folder >= 0 ? 1 : 0;
    }
    return levels;
}

// Levels of folders named `name` needed for a path below the chain's top longer than the
// system takes.
inline int LevelsBeyondTheLongestPath(const std::string& name) {
    return static_cast<int>(PATH_MAX / (name.size() + 1)) + 8;
}

} // namespace testsupport
