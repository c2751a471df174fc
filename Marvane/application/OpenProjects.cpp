#include "Marvane/application/OpenProjects.h"

#include "host/ProjectBackEnd.h"

#include <algorithm>

namespace host {

OpenProjects& OpenProjects::Instance() {
    static OpenProjects projects;
    return projects;
}

bool OpenProjects::Add(const std::filesystem::path& project) {
    const auto normal = project.lexically_normal();
    if (std::find(mProjects.begin(), mProjects.end(), normal) != mProjects.end()) {
        return false;
    }
    mProjects.push_back(normal);
    return true;
}

bool OpenProjects::Close(const std::filesystem::path& project) {
    const auto found = std::find(mProjects.begin(), mProjects.end(), project.lexically_normal());
    if (found == mProjects.end()) {
        return false;
    }
    mProjects.erase(found);
    MessageStation::Get(kProjectActivationStation)->Broadcast(ProjectClosedMessage());
    return true;
}

} // namespace host
