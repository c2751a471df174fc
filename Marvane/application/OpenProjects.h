#pragma once
// The projects the host has open, by full path. Closing one tells the project activation
// station (ProjectClosedMessage). Main thread only.
#include <filesystem>
#include <vector>

namespace host {

class OpenProjects {
public:
    static OpenProjects& Instance();

    // Records an open project; false when it was open already.
    bool Add(const std::filesystem::path& project);
    // Forgets a project and sends ProjectClosedMessage; false when it was not open.
    bool Close(const std::filesystem::path& project);
    std::size_t Count() const { return mProjects.size(); }
    const std::vector<std::filesystem::path>& GetAll() const { return mProjects; }

private:
    std::vector<std::filesystem::path> mProjects;
};

} // namespace host
