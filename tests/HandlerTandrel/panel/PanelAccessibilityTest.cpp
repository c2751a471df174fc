// The panel through the accessibility interfaces a screen reader uses: the tree, each row with
// its lock state in words, the buttons, the zoom slider and the search box have names, and Tab
// moves between them.
#include "PanelWindow.h"
#include "TemporaryFolder.h"
#include "TestProjects.h"

#include <QAbstractButton>
#include <QAccessible>
#include <QLineEdit>
#include <QSlider>
#include <QTreeView>
#include <filesystem>
#include <gtest/gtest.h>

namespace {

namespace fs = std::filesystem;

class PanelAccessibilityTest : public ::testing::Test {
protected:
    static fs::path Production(const testsupport::TemporaryFolder& folder) {
        const fs::path pilot = folder.Path() / "Pilot";
        testsupport::WriteProject(pilot / "Scene 4.mvproj");
        testsupport::WriteProject(pilot / "Teaser.mvproj");
        testsupport::LockAsAnotherEditor(pilot / "Scene 4.mvproj", "Ben Okafor", "suite-2");
        return pilot;
    }
    QWidget& PanelWidget() const { return *static_cast<QWidget*>(panel.window.get()); }
    QTreeView& TreeWidget() const {
        auto* tree = PanelWidget().findChild<QTreeView*>(
            QStringLiteral("MvProduction.DirectoryView.MediaBrowserMultiColumnTree"));
        if (tree == nullptr) {
            throw std::logic_error("no tree");
        }
        return *tree;
    }
    // What the accessibility interface of the object says, as text.
    static std::string Name(QObject* object) {
        QAccessibleInterface* face = QAccessible::queryAccessibleInterface(object);
        return face != nullptr ? face->text(QAccessible::Name).toStdString() : "<none>";
    }

    const testsupport::TemporaryFolder temporary{"accessibility"};
    const fs::path pilot = Production(temporary);
    testsupport::PanelWindow panel{pilot, temporary.Path() / "profile", 2};
};

TEST_F(PanelAccessibilityTest, TheTreeHasANameAndADescription) {
    QAccessibleInterface* tree = QAccessible::queryAccessibleInterface(&TreeWidget());
    ASSERT_NE(tree, nullptr);
    EXPECT_EQ(tree->text(QAccessible::Name).toStdString(), "Projects and folders");
    EXPECT_NE(tree->text(QAccessible::Description).toStdString().find("who holds its lock"),
              std::string::npos);
}

TEST_F(PanelAccessibilityTest, ALockedRowSaysWhoHoldsItInWords) {
    QAccessibleInterface* tree = QAccessible::queryAccessibleInterface(&TreeWidget());
    ASSERT_NE(tree, nullptr);
    QAccessibleTableInterface* table = tree->tableInterface();
    ASSERT_NE(table, nullptr);
    std::string locked;
    std::string free;
    for (int row = 0; row < table->rowCount(); ++row) {
        QAccessibleInterface* cell = table->cellAt(row, 0);
        ASSERT_NE(cell, nullptr);
        const std::string text = cell->text(QAccessible::Name).toStdString();
        (text.rfind("Scene 4", 0) == 0 ? locked : free) = text;
    }
    EXPECT_NE(locked.find("Scene 4, "), std::string::npos) << locked;
    EXPECT_NE(locked.find("Ben Okafor"), std::string::npos) << locked;
    EXPECT_EQ(free.find("Ben Okafor"), std::string::npos) << free;
}

TEST_F(PanelAccessibilityTest, TheButtonsTheSliderAndTheSearchBoxHaveNames) {
    const auto buttons = PanelWidget().findChildren<QAbstractButton*>();
    int named = 0;
    for (QAbstractButton* button : buttons) {
        if (button->text().isEmpty() && !button->icon().isNull() && button->isVisible()) {
            EXPECT_NE(Name(button), "") << button->objectName().toStdString();
            ++named;
        }
    }
    EXPECT_GE(named, 3); // new project, new folder, trash
    const auto sliders = PanelWidget().findChildren<QSlider*>();
    ASSERT_FALSE(sliders.empty());
    EXPECT_NE(Name(sliders.front()), "");
    auto* search =
        PanelWidget().findChild<QLineEdit*>(QStringLiteral("Handlers.Tandrel.SearchBox"));
    ASSERT_NE(search, nullptr);
    EXPECT_EQ(Name(search), search->placeholderText().toStdString());
    EXPECT_NE(Name(search), "");
}

// The widget Tab goes to from `from`.
QWidget* NextByTab(QWidget* from) {
    QWidget* next = from->nextInFocusChain();
    while (next != nullptr && next != from && (next->focusPolicy() & Qt::TabFocus) == 0) {
        next = next->nextInFocusChain();
    }
    return next;
}

TEST_F(PanelAccessibilityTest, TabGoesFromTheSearchBoxToTheTreeThenToTheControlsBelow) {
    auto* search =
        PanelWidget().findChild<QLineEdit*>(QStringLiteral("Handlers.Tandrel.SearchBox"));
    ASSERT_NE(search, nullptr);
    QWidget* next = NextByTab(search);
    ASSERT_EQ(next, &TreeWidget()) << (next ? next->objectName().toStdString() : "none");
    next = NextByTab(next);
    ASSERT_NE(next, nullptr);
    EXPECT_EQ(next->objectName().toStdString(), "Handlers.Tandrel.ZoomSlider");
    // Then the buttons beside the slider, from left to right.
    QWidget* button = NextByTab(next);
    ASSERT_NE(button, nullptr);
    QWidget* following = NextByTab(button);
    ASSERT_NE(following, nullptr);
    EXPECT_NE(qobject_cast<QAbstractButton*>(button), nullptr);
    EXPECT_LT(button->mapToGlobal(QPoint(0, 0)).x(), following->mapToGlobal(QPoint(0, 0)).x());
}

} // namespace
