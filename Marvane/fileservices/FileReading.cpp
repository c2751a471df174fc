#include "Marvane/fileservices/FileReading.h"

#include "Marvane/core/JsonNesting.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace host {

bool ReadRegularFile(const std::filesystem::path& path, std::string& bytes, int& errorNumber) {
    struct stat opened {};
    return ReadRegularFile(path, bytes, errorNumber, static_cast<std::size_t>(-1), opened);
}

bool ReadRegularFile(const std::filesystem::path& path, std::string& bytes, int& errorNumber,
                     std::size_t maximumBytes, struct stat& status,
                     const std::function<void(std::size_t bytesSoFar)>& onRead) {
    // O_NONBLOCK: opening a pipe for reading would otherwise wait for a writer for ever.
    const int descriptor = ::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
    if (descriptor < 0) {
        errorNumber = errno;
        return false;
    }
    if (::fstat(descriptor, &status) != 0 || !S_ISREG(status.st_mode)) {
        errorNumber = S_ISDIR(status.st_mode) ? EISDIR : EINVAL;
        ::close(descriptor);
        return false;
    }
    if (static_cast<std::size_t>(status.st_size) > maximumBytes) {
        errorNumber = EFBIG;
        ::close(descriptor);
        return false;
    }
    std::string content;
    content.reserve(static_cast<std::size_t>(status.st_size));
    char buffer[65536];
    bool ok = true;
    while (true) {
        const ssize_t count = ::read(descriptor, buffer, sizeof(buffer));
        if (count < 0 && errno == EINTR) {
            continue;
        }
        if (count <= 0) {
            ok = count == 0;
            errorNumber = ok ? 0 : errno;
            break;
        }
        content.append(buffer, static_cast<std::size_t>(count));
        if (onRead) {
            onRead(content.size());
        }
    }
    ::close(descriptor);
    if (ok) {
        bytes = std::move(content);
    }
    return ok;
}

bool ReadRegularFile(const std::filesystem::path& path, std::string& bytes) {
    int ignored = 0;
    return ReadRegularFile(path, bytes, ignored);
}

nlohmann::json ReadJsonFile(const std::filesystem::path& path) {
    std::string bytes;
    if (!ReadRegularFile(path, bytes)) {
        return nlohmann::json::value_t::discarded;
    }
    return ParseUntrustedJson(bytes);
}

} // namespace host
