#include "Marvane/app/ProgressPanel.h"
#include "FileBytes.h"
#include "Marvane/application/ProjectImport.h"
#include "TemporaryFolder.h"
#include "TestProjects.h"
#include "ViewTestSupport.h"

#include <QEvent>
#include <QLabel>
#include <QProgressBar>
#include <QPushButton>
#include <atomic>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <thread>
#include <unistd.h>

namespace {

namespace fs = std::filesystem;
using host::ProjectImport;

class ProgressPanelTest : public ::testing::Test {
protected:
    void SetUp() override {
        fs::create_directories(root / "Incoming");
        Write(root / "Outside" / "Promo.mvproj", std::string(2048, 'p'));
        Write(root / "Outside" / "Trailer.mvproj", std::string(1024, 't'));
    }
    void TearDown() override { testsupport::StopProjectImport(); }
    static void Write(const fs::path& file, const std::string& text) {
        testsupport::WriteBytes(file, text);
    }
    static QString Label(const QWidget& panel, const char* name) {
        const auto* label = panel.findChild<QLabel*>(QString::fromLatin1(name));
        return label ? label->text() : QString();
    }
    const testsupport::TemporaryFolder temporary{"progress"};
    const fs::path root = temporary.Path();
};

// Counts the times a widget was shown.
class ShowCounter : public QObject {
public:
    explicit ShowCounter(QWidget& widget) { widget.installEventFilter(this); }
    int shows = 0;

protected:
    bool eventFilter(QObject*, QEvent* event) override {
        shows += event->type() == QEvent::Show ? 1 : 0;
        return false;
    }
};

TEST_F(ProgressPanelTest, WorkStillRunningAfterAMomentShowsTheProjectsFilesAndBytes) {
    host::ProgressPanel panel(nullptr);
    // The copy waits after its first block until the test lets it go.
    std::atomic<bool> released{false};
    ProjectImport::Instance().SetCopyHookForTesting([&released] {
        while (!released.load()) {
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        }
    });
    ProjectImport::Instance().Add(
        {root / "Outside" / "Promo.mvproj", root / "Outside" / "Trailer.mvproj"},
        root / "Incoming");
    panel.Present();
    EXPECT_FALSE(panel.isVisible()); // not at once
    SettleEvents(host::ProgressPanel::kAppearAfterMs + 300);
    EXPECT_TRUE(panel.isVisible());
    EXPECT_TRUE(Label(panel, "ProgressHeadline").startsWith(QStringLiteral("Adding projects")))
        << Label(panel, "ProgressHeadline").toStdString();
    EXPECT_TRUE(Label(panel, "ProgressDetail").startsWith(QStringLiteral("Files: ")))
        << Label(panel, "ProgressDetail").toStdString();
    EXPECT_TRUE(panel.findChild<QPushButton*>(QStringLiteral("ProgressCancel"))->isEnabled());
    released = true;
    ASSERT_TRUE(ProjectImport::Instance().Wait(30000));
    ProjectImport::Instance().SetCopyHookForTesting({});
    SettleEvents(250);
    // Everything arrived: the panel closed itself, and nothing is left to clear.
    EXPECT_FALSE(panel.isVisible());
    EXPECT_EQ(ProjectImport::Instance().Progress().state, host::ImportProgress::State::Idle);
    EXPECT_TRUE(fs::exists(root / "Incoming" / "Promo.mvproj"));
    EXPECT_TRUE(fs::exists(root / "Incoming" / "Trailer.mvproj"));
}

TEST_F(ProgressPanelTest, WorkThatEndsAtOnceNeverOpensThePanel) {
    host::ProgressPanel panel(nullptr);
    const ShowCounter counter(panel);
    ProjectImport::Instance().Add({root / "Outside" / "Promo.mvproj"}, root / "Incoming");
    panel.Present();
    ASSERT_TRUE(ProjectImport::Instance().Wait(30000));
    SettleEvents(host::ProgressPanel::kAppearAfterMs + 300);
    EXPECT_EQ(counter.shows, 0);
    EXPECT_FALSE(panel.isVisible());
    EXPECT_TRUE(fs::exists(root / "Incoming" / "Promo.mvproj"));
}

TEST_F(ProgressPanelTest, WhatFailedStaysShownWithItsReasonUntilClosed) {
    host::ProgressPanel panel(nullptr);
    ProjectImport::Instance().Add(
        {root / "Outside" / "Promo.mvproj", root / "Outside" / "Missing.mvproj"},
        root / "Incoming");
    panel.Present();
    ASSERT_TRUE(ProjectImport::Instance().Wait(30000));
    SettleEvents(250);
    EXPECT_TRUE(panel.isVisible());
    EXPECT_EQ(Label(panel, "ProgressHeadline"), QStringLiteral("1 of 2 projects were added."));
    EXPECT_NE(Label(panel, "ProgressDetail").indexOf(QStringLiteral("Missing.mvproj")), -1)
        << Label(panel, "ProgressDetail").toStdString();
    EXPECT_FALSE(panel.findChild<QPushButton*>(QStringLiteral("ProgressCancel"))->isEnabled());
    panel.findChild<QPushButton*>(QStringLiteral("ProgressClose"))->click();
    EXPECT_FALSE(panel.isVisible());
}

TEST_F(ProgressPanelTest, CancelStopsTheCopyAndLeavesNothingHalfDone) {
    for (int reel = 0; reel < 40; ++reel) {
        Write(root / "Outside" / "Feature.mvprojd" / ("reel" + std::to_string(reel)),
              std::string(1 << 20, 'm'));
    }
    host::ProgressPanel panel(nullptr);
    // The copy waits after its first block until the button was clicked.
    std::atomic<bool> clicked{false};
    ProjectImport::Instance().SetCopyHookForTesting([&clicked] {
        while (!clicked.load()) {
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        }
    });
    ProjectImport::Instance().Add({root / "Outside" / "Feature.mvprojd"}, root / "Incoming");
    panel.Present();
    auto* cancel = panel.findChild<QPushButton*>(QStringLiteral("ProgressCancel"));
    ASSERT_TRUE(cancel->isEnabled());
    EXPECT_TRUE(Label(panel, "ProgressHeadline").startsWith(QStringLiteral("Adding projects")));
    cancel->click();
    clicked = true;
    ASSERT_TRUE(ProjectImport::Instance().Wait(30000));
    ProjectImport::Instance().SetCopyHookForTesting({});
    SettleEvents(250);
    EXPECT_TRUE(Label(panel, "ProgressHeadline").startsWith(QStringLiteral("Cancelled: 0 of 1")))
        << Label(panel, "ProgressHeadline").toStdString();
    EXPECT_TRUE(fs::is_empty(root / "Incoming"));
}

} // namespace
