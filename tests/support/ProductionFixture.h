#pragma once
// A real production in a temporary folder, open in the host, with a scripted answer for every
// dialog, the trace and the exception log captured, and a workspace without windows.
#include "Inventory.h"
#include "Marvane/application/HostSession.h"
#include "Marvane/application/ProductionSession.h"
#include "Marvane/core/DefaultExecutor.h"
#include "Marvane/core/ExceptionLogAccess.h"
#include "Marvane/core/TraceConfiguration.h"
#include "Marvane/monitor/DirectoryMonitorImpl.h"
#include "Marvane/uiframework/DialogResponder.h"
#include "Marvane/uiframework/DockWorkspace.h"
#include "TemporaryFolder.h"
#include "TestProjects.h"
#include "WindowlessWorkspace.h"
#include "host/CoreTypes.h"

#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <string>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace testsupport {

class ProductionFixture : public ::testing::Test {
protected:
    void SetUp() override {
        production = root / "Production";
        std::filesystem::create_directories(production);
        SetIdentity("Ana Ruiz", "suite-1");
        auto& preferences = host::HostSession::Instance().preferences;
        preferences.newMasking = false;
        preferences.forcePolling = false;
        ASSERT_EQ(host::ProductionSession::Instance().Open(production), "");
        responder = std::make_shared<host::ScriptedDialogResponder>(std::vector<int>{});
        previousResponder = host::SetDialogResponder(responder);
        host::SetTraceSink([this](std::string_view category, int level, std::string_view text) {
            traced.push_back(std::string(category) + ":" + std::to_string(level) + ":" +
                             std::string(text));
        });
        host::ConfigureTrace("");
        host::ClearRecentExceptions();
        host::SetCurrentWorkspace(&workspace);
    }
    void TearDown() override {
        host::WaitForDefaultExecutor(10000);
        CloseAllProjects();
        host::DirectoryMonitor::Instance().Reset();
        host::ProductionSession::Instance().Close();
        host::SetTraceSink({});
        host::ConfigureTrace("");
        host::SetDialogResponder(previousResponder);
        host::SetCurrentWorkspace(nullptr);
        host::HostSession::Instance().preferences.newMasking = false;
        host::HostSession::Instance().preferences.forcePolling = false;
        host::HostSession::Instance().preferences.pollIntervalMs = 2000;
    }

    static void SetIdentity(const std::string& name, const std::string& second) {
        auto& session = host::HostSession::Instance();
        session.preferences.locking = {name, second, true};
        session.userOverride.reset();
    }
    // Puts someone else's lock on a project.
    static void LockAs(const std::filesystem::path& project, const std::string& name) {
        testsupport::LockAsAnotherEditor(project, name);
    }
    static void Write(const std::filesystem::path& file, const std::string& text) {
        std::filesystem::create_directories(file.parent_path());
        std::ofstream(file, std::ios::binary) << text;
    }
    static std::u16string W(const std::filesystem::path& path) {
        return host::ToUTF16(path.string());
    }
    static std::vector<std::u16string> Ws(const std::vector<std::filesystem::path>& paths) {
        std::vector<std::u16string> wide;
        for (const auto& path : paths) {
            wide.push_back(W(path));
        }
        return wide;
    }
    std::filesystem::path Trash() const { return production / "Trash"; }
    // Whether two folders lie on different file systems (a move between them is a copy).
    static bool OnDifferentFileSystems(const std::filesystem::path& a,
                                       const std::filesystem::path& b) {
        struct stat first {};
        struct stat second {};
        return ::stat(a.c_str(), &first) == 0 && ::stat(b.c_str(), &second) == 0 &&
               first.st_dev != second.st_dev;
    }
    bool Traced(const std::string& line) const {
        for (const std::string& entry : traced) {
            if (entry == line) {
                return true;
            }
        }
        return false;
    }
    std::vector<std::string> ExceptionPlaces() const {
        std::vector<std::string> places;
        for (const auto& entry : host::RecentExceptions()) {
            places.push_back(entry.place);
        }
        return places;
    }

    const TemporaryFolder temporary{"production"};
    const std::filesystem::path root = temporary.Path();
    std::filesystem::path production;
    WindowlessWorkspace workspace;
    std::shared_ptr<host::ScriptedDialogResponder> responder;
    std::shared_ptr<host::DialogResponder> previousResponder;
    std::vector<std::string> traced;
};

} // namespace testsupport
