#include "MarvaneProcess.h"

#include "TemporaryFolder.h"

#include <cstdlib>
#include <fstream>
#include <sstream>
#include <sys/wait.h>
#include <unistd.h>

namespace {

std::string Quote(const std::string& text) {
    std::string quoted = "'";
    for (char c : text) {
        if (c == '\'') {
            quoted += "'\\''";
        } else {
            quoted += c;
        }
    }
    return quoted + "'";
}

std::string ReadAll(const std::filesystem::path& file) {
    std::ifstream in(file, std::ios::binary);
    std::stringstream buffer;
    buffer << in.rdbuf();
    return buffer.str();
}

} // namespace

ProcessResult RunMarvane(const std::vector<std::string>& arguments,
                         const std::vector<std::string>& environment) {
    const testsupport::TemporaryFolder outputs("e2e-output");
    std::string command = "env -u DISPLAY -u WAYLAND_DISPLAY -u QT_QPA_PLATFORM";
    command += " XDG_CONFIG_HOME=" + Quote((outputs / "config").string());
    command += " XDG_DATA_HOME=" + Quote((outputs / "data").string());
    for (const std::string& variable : environment) {
        command += " " + Quote(variable);
    }
    command += " " + Quote(MARVANE_EXECUTABLE);
    for (const std::string& argument : arguments) {
        command += " " + Quote(argument);
    }
    command += " >" + Quote((outputs / "out").string()) + " 2>" + Quote((outputs / "err").string());
    const int status = std::system(command.c_str());
    ProcessResult result;
    result.exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    result.out = ReadAll(outputs / "out");
    result.err = ReadAll(outputs / "err");
    return result;
}
