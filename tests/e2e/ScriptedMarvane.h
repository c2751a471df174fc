#pragma once
// A real marvane process driven through --script: commands go to its standard input and
// each answer line comes back from its standard output.
#include "TemporaryFolder.h"

#include <chrono>
#include <filesystem>
#include <memory>
#include <string>
#include <sys/types.h>
#include <vector>

class ScriptedMarvane {
public:
    // launcher: a program (with its arguments) that runs marvane for the test, such as one
    // that gives it a machine of its own; marvane and its arguments follow it.
    ScriptedMarvane(const std::vector<std::string>& arguments,
                    const std::vector<std::string>& environment = {},
                    const std::vector<std::string>& launcher = {});
    ~ScriptedMarvane();
    ScriptedMarvane(const ScriptedMarvane&) = delete;
    ScriptedMarvane& operator=(const ScriptedMarvane&) = delete;

    // Sends one command (fields joined by tabs) and returns its answer line.
    std::string Send(const std::vector<std::string>& fields);
    // Sends the command again until its answer is the one expected (the host reads folders
    // and searches on workers) or ten seconds passed; the last answer.
    std::string SendUntil(const std::vector<std::string>& fields, const std::string& expected);
    // The same, until the answer holds `part` (or twenty seconds passed).
    std::string SendUntilHolding(const std::vector<std::string>& fields, const std::string& part);
    // Sends one command without waiting for its answer (read it with ReadLine).
    bool Post(const std::vector<std::string>& fields);
    // The next line of output, or "<timeout>" / "<closed>".
    std::string ReadLine(std::chrono::seconds timeout = std::chrono::seconds(60));
    void Signal(int signalNumber);
    // Closes the command input and waits for the exit code (-1 when it did not exit).
    int Finish(std::chrono::seconds timeout = std::chrono::seconds(60));
    // Waits for the exit code with the command input still open.
    int WaitForExit(std::chrono::seconds timeout = std::chrono::seconds(60));
    std::string ErrorOutput() const;

private:
    pid_t mPid = -1;
    int mInput = -1;
    int mOutput = -1;
    std::string mBuffered;
    const testsupport::TemporaryFolder mErrorFolder{"e2e-stderr"};
    const std::filesystem::path mErrorFile = mErrorFolder / "stderr";
    int mExitCode = -1;
    bool mExited = false;
};

// An editor's marvane on the production, with a profile folder of its own named after the
// editor in `profiles`, once it said "ready".
std::unique_ptr<ScriptedMarvane> StartEditorOn(const std::filesystem::path& production,
                                               const std::filesystem::path& profiles,
                                               const std::string& name);
