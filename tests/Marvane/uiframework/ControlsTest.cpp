// The controls a panel places around its trees, as real widgets in a real main window.
#include "Marvane/uiframework/CommandDispatch.h"
#include "Marvane/uiframework/TabViewImpl.h"
#include "host/MultiColumnTree.h"
#include "host/UIControls.h"

#include <QApplication>
#include <QEnterEvent>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QMainWindow>
#include <QSlider>
#include <QStatusBar>
#include <QTest>
#include <QToolButton>
#include <QTreeView>
#include <gtest/gtest.h>

#include "ViewTestSupport.h"

namespace {

constexpr host::CommandID kButtonCommand = 88101;
constexpr std::string_view kButtonCommandName = "cmd.controlstest.button";

class PanelWithControls : public host::TabView {
public:
    bool FindCommandStatus(const host::Command& command, host::CommandStatus& status) override {
        if (command.id != kButtonCommand) {
            return false;
        }
        status.enabled = commandEnabled;
        return true;
    }
    bool ObeyCommand(const host::Command& command) override {
        if (command.id != kButtonCommand) {
            return false;
        }
        ++obeyed;
        return true;
    }
    void LayoutChildren(const host::UI_Rect& bounds) override { laidOut.push_back(bounds); }

    bool commandEnabled = true;
    int obeyed = 0;
    std::vector<host::UI_Rect> laidOut;
};

class ValueChanges : public host::Listener {
public:
    void ReceiveMessage(const host::Message& message) override {
        if (message.GetTypeID() == host::SearchBoxValueChangedMessage::kTypeID) {
            ++count;
        }
    }
    int count = 0;
};

class ControlsTest : public ::testing::Test {
protected:
    void SetUp() override {
        host::ShortcutManager::Instance()
            .AddContext("controlstest", "Controls Test")
            ->DeclareCommand(host::ByteString(kButtonCommandName), kButtonCommand,
                             host::kCommandKindLabeled, "$$$/Test/Button=Button", {}, false);
        panel = std::make_shared<PanelWithControls>();
        panel->Create(1, "Panel", nullptr, host::kTabViewStandardPanel);
        window.setCentralWidget(panel->GetImpl()->content);
        window.resize(600, 400);
        window.show();
        SettleEvents();
    }
    void TearDown() override { host::CommandDispatcher::Instance().SetFocusedTabView(nullptr); }

    QMainWindow window;
    std::shared_ptr<PanelWithControls> panel;
};

TEST_F(ControlsTest, ThePanelIsToldItsBoundsWhenItsSizeChanges) {
    ASSERT_FALSE(panel->laidOut.empty());
    window.resize(700, 500);
    SettleEvents();
    const host::UI_Rect last = panel->laidOut.back();
    EXPECT_EQ(last.width, panel->GetBounds().width);
    EXPECT_EQ(last.height, panel->GetBounds().height);
    EXPECT_GT(last.width, 600.0f);
}

TEST_F(ControlsTest, TheSearchBoxShowsItsPromptAndAClearButton) {
    const auto box = host::SearchBoxControl::Create(
        *panel, "Test.SearchBox", "$$$/Marvane/Handlers/MvProductionFolder/Find=Find");
    auto* field = window.findChild<QLineEdit*>("Test.SearchBox");
    ASSERT_NE(field, nullptr);
    EXPECT_EQ(box->GetPromptText(), "Find");
    EXPECT_EQ(field->placeholderText(), QStringLiteral("Find"));
    EXPECT_TRUE(field->isClearButtonEnabled());
}

TEST_F(ControlsTest, TypingAndEscapeInTheSearchBoxEachTellItsStation) {
    const auto box = host::SearchBoxControl::Create(*panel, "Test.SearchBox.Typing", "$$$/T=Find");
    const auto listener = std::make_shared<ValueChanges>();
    host::MessageStation::Get(box->GetStationName())->Subscribe(listener);
    auto* field = window.findChild<QLineEdit*>("Test.SearchBox.Typing");
    field->setFocus();
    QTest::keyClicks(field, "ab");
    EXPECT_EQ(box->GetValue(), u"ab");
    EXPECT_EQ(listener->count, 2);
    QKeyEvent escape(QEvent::KeyPress, Qt::Key_Escape, Qt::NoModifier);
    QApplication::sendEvent(field, &escape);
    EXPECT_EQ(box->GetValue(), u"");
    EXPECT_EQ(listener->count, 3);
}

TEST_F(ControlsTest, ControlFAnywhereInThePanelPutsTheTypingInTheSearchBox) {
    const auto box = host::SearchBoxControl::Create(*panel, "Test.SearchBox.Find", "$$$/T=Find");
    const auto text =
        host::StaticTextControl::Create(*panel, "Test.Other", host::TextAlignment::Left);
    auto* field = window.findChild<QLineEdit*>("Test.SearchBox.Find");
    box->SetValue(u"old", false);
    auto* other = window.findChild<QLabel*>("Test.Other");
    other->setFocusPolicy(Qt::StrongFocus);
    other->setFocus();
    QApplication::setActiveWindow(&window);
    SettleEvents();
    QTest::keySequence(&window, QKeySequence::Find);
    SettleEvents();
    EXPECT_TRUE(field->hasFocus());
    EXPECT_EQ(field->selectedText(), QStringLiteral("old"));
}

TEST_F(ControlsTest, SettingTheSearchTextTellsTheStationOnlyWhenAsked) {
    const auto box = host::SearchBoxControl::Create(*panel, "Test.SearchBox.Set", "$$$/T=Find");
    const auto listener = std::make_shared<ValueChanges>();
    host::MessageStation::Get(box->GetStationName())->Subscribe(listener);
    box->SetValue(u"quiet", false);
    EXPECT_EQ(listener->count, 0);
    box->SetValue(u"loud", true);
    EXPECT_EQ(listener->count, 1);
    EXPECT_EQ(box->GetValue(), u"loud");
}

TEST_F(ControlsTest, TheSliderRunsFromZeroToOneAndTellsWhileDraggingAndOnRelease) {
    const auto slider = host::SliderControl::Create(*panel, "Test.Slider");
    std::vector<bool> calls;
    slider->SetValueChangedCallback([&](bool interactive) { calls.push_back(interactive); });
    slider->SetValue(7.0);
    EXPECT_EQ(slider->GetValue(), 1.0);
    slider->SetValue(-1.0);
    EXPECT_EQ(slider->GetValue(), 0.0);
    EXPECT_TRUE(calls.empty()); // the owner's own changes are not reported back
    slider->SetStepCount(200);
    EXPECT_EQ(slider->GetStepCount(), 200);
    auto* widget = window.findChild<QSlider*>("Test.Slider");
    widget->setSliderDown(true);
    widget->setValue(50);
    widget->setValue(100);
    widget->setSliderDown(false);
    EXPECT_EQ(calls, (std::vector<bool>{true, true, false}));
    EXPECT_EQ(slider->GetValue(), 0.5);
}

TEST_F(ControlsTest, TheStaticTextShowsItsValueWithItsAlignment) {
    const auto text =
        host::StaticTextControl::Create(*panel, "Test.Text", host::TextAlignment::Right);
    text->SetValue(u"3 of 5 items selected");
    auto* label = window.findChild<QLabel*>("Test.Text");
    EXPECT_EQ(label->text(), QStringLiteral("3 of 5 items selected"));
    EXPECT_TRUE(label->alignment().testFlag(Qt::AlignRight));
    EXPECT_EQ(text->GetValue(), u"3 of 5 items selected");
}

TEST_F(ControlsTest, AButtonClickIssuesItsCommandToItsPanelWhileEnabled) {
    const auto button = host::PictureButton::Create(*panel, "Test.Button", "kPanelButtonTrash",
                                                    host::ByteString(kButtonCommandName));
    auto* widget = window.findChild<QToolButton*>("Test.Button");
    ASSERT_NE(widget, nullptr);
    EXPECT_FALSE(widget->icon().isNull());
    widget->click();
    EXPECT_EQ(panel->obeyed, 1);
    panel->commandEnabled = false;
    EXPECT_FALSE(button->Click());
    EXPECT_EQ(panel->obeyed, 1);
    panel->commandEnabled = true;
    button->SetEnabled(false);
    EXPECT_FALSE(button->Click());
    EXPECT_EQ(panel->obeyed, 1);
}

TEST_F(ControlsTest, AButtonsStatusTextShowsInTheStatusBarWhileThePointerIsOverIt) {
    const auto button = host::PictureButton::Create(
        *panel, "Test.Button.Status", "kPanelButtonTrash", host::ByteString(kButtonCommandName));
    button->SetToolTip("$$$/T/Tip=Move to Trash");
    button->SetStatusText("$$$/T/Status=Delete the currently selected items");
    auto* widget = window.findChild<QToolButton*>("Test.Button.Status");
    EXPECT_EQ(widget->toolTip(), QStringLiteral("Move to Trash"));
    QEnterEvent enter(QPointF(2, 2), QPointF(2, 2), QPointF(2, 2));
    QApplication::sendEvent(widget, &enter);
    EXPECT_EQ(window.statusBar()->currentMessage(),
              QStringLiteral("Delete the currently selected items"));
    QEvent leave(QEvent::Leave);
    QApplication::sendEvent(widget, &leave);
    EXPECT_TRUE(window.statusBar()->currentMessage().isEmpty());
}

TEST_F(ControlsTest, ASubViewHoldsTreesThatFillItAndShowsOneAtATime) {
    const auto area = host::SubView::Create(*panel, "Test.Area");
    host::UI_MultiColumnTree first("Test.First");
    host::UI_MultiColumnTree second("Test.Second");
    area->EmbedTree(first);
    area->EmbedTree(second);
    area->SetFrame({10, 20, 300, 200});
    second.SetVisible(false);
    SettleEvents();
    auto* firstView = window.findChild<QTreeView*>("Test.First");
    auto* secondView = window.findChild<QTreeView*>("Test.Second");
    EXPECT_EQ(firstView->size(), QSize(300, 200));
    EXPECT_TRUE(firstView->isVisible());
    EXPECT_FALSE(secondView->isVisible());
    EXPECT_FALSE(second.IsVisible());
}

TEST_F(ControlsTest, TheSkinsBottomBarIsThirtyHighAndTheSkinIsOfTheSeventhGeneration) {
    EXPECT_EQ(host::GetDimension(7), 30);
    EXPECT_EQ(host::GetDimension(99), 0);
    EXPECT_TRUE(host::IsRunningV7OrBeyond());
}

} // namespace
