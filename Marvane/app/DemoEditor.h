#pragma once
// A second editor on the demo production, so that someone trying marvane sees at once what it
// is for: a project that another editor holds. It is marvane itself, run under the demo's
// other editor's name with a profile of its own and no window, driven by a script on a pipe:
// it opens one project, which keeps its lock live, and holds it until this run ends. Its end
// follows this run's: when the pipe closes (this run quit, or was killed) it quits and gives
// its lock back.
#include <QProcess>
#include <filesystem>

namespace host {

class DemoEditor {
public:
    // The project it holds, in the demo production's top folder.
    static constexpr const char* kHeldProject = "Scene 12.mvproj";

    DemoEditor() = default;
    ~DemoEditor();
    DemoEditor(const DemoEditor&) = delete;
    DemoEditor& operator=(const DemoEditor&) = delete;

    // Starts it on the production with the profile folder given; false (with the reason in
    // error) when the program could not be started.
    bool Start(const std::filesystem::path& production, const std::filesystem::path& profile,
               std::string& error);
    bool IsRunning() const { return mProcess.state() != QProcess::NotRunning; }
    // Waits until it has opened its project (and so holds its lock), up to the time given;
    // false when it did not in that time.
    bool WaitUntilHolding(int milliseconds);
    // Tells it to quit, and waits for it (giving its lock back) a few seconds at most.
    void Stop();

private:
    QProcess mProcess;
};

} // namespace host
