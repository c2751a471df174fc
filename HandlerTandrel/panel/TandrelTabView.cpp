#include "panel/TandrelTabView.h"
#include "panel/MoveToTrashTest.h"
#include "panel/TandrelTreeView.h"
#include "panel/TrashScriptingHook.h"

#include "base/TandrelIDs.h"
#include "columns/DisplayName.h"
#include "directoryview/TandrelDirectoryView.h"
#include "host/ApplicationLayer.h"
#include "host/AsyncCalls.h"
#include "host/ExceptionLog.h"
#include "host/Localizer.h"
#include "host/PanelFramework.h"
#include "search/TandrelSearchResultsView.h"
#include "utils/ProductionItems.h"

#include <utility>

namespace HandlerTandrel {

namespace {
constexpr std::string_view kTabTitlePrefixKey =
    "$$$/Marvane/Handlers/MvProductionFolder/TabTitlePrefix=Production: ";
constexpr std::string_view kTabTitleNoProductionKey =
    "$$$/Marvane/Handlers/MvProductionFolder/TabTitleWhenNoProductionIsOpen=Production";
constexpr std::string_view kFindPromptKey = "$$$/Marvane/Handlers/MvProductionFolder/Find=Find";
constexpr std::string_view kZoomSliderToolTipKey =
    "$$$/Marvane/Handlers/MvProductionFolder/ZoomSliderToolTip=Adjust size of text and icons";
constexpr std::string_view kNewProjectToolTipKey =
    "$$$/Marvane/Handlers/MvProductionFolder/NewProjectButtonToolTip=New Project";
constexpr std::string_view kNewProjectStatusKey =
    "$$$/Marvane/Handlers/MvProductionFolder/NewProjectButtonStatusText=Create a new project";
constexpr std::string_view kNewFolderToolTipKey =
    "$$$/Marvane/Handlers/MvProductionFolder/NewFolderButtonToolTip=New Folder";
constexpr std::string_view kNewFolderStatusKey =
    "$$$/Marvane/Handlers/MvProductionFolder/NewFolderButtonStatusText=Create a new folder";
constexpr std::string_view kTrashToolTipKey =
    "$$$/Marvane/Handlers/MvProductionFolder/TrashButtonToolTip=Move to Trash";
constexpr std::string_view kTrashStatusKey =
    "$$$/Marvane/Handlers/MvProductionFolder/DeleteButton=Delete the currently selected items";

// The slider's track: finer on the current skin.
constexpr int kSliderStepsV7 = 200;
constexpr int kSliderStepsOlder = 400;

std::unique_ptr<host::PictureButton> MakeButton(host::TabView& panel, std::string_view nodeID,
                                                std::string_view picture, std::string_view command,
                                                std::string_view toolTip,
                                                std::string_view statusText) {
    auto button = host::PictureButton::Create(panel, host::ByteString(nodeID),
                                              host::ByteString(picture), host::ByteString(command));
    button->SetToolTip(host::ByteString(toolTip));
    button->SetStatusText(host::ByteString(statusText));
    return button;
}

} // namespace

TandrelTabView::TandrelTabView(std::shared_ptr<ProductionSettingsStore> settings)
    : mSettings(std::move(settings)) {}

TandrelTabView::~TandrelTabView() {
    Unsubscribe();
}

void TandrelTabView::PostSharedPtrInit() {
    const auto self = std::static_pointer_cast<TandrelTabView>(shared_from_this());
    host::MessageStation::Get(host::kPanelFrameworkStation)
        ->Subscribe(std::weak_ptr<host::Listener>(self));
    RegisterTrashScriptingHook(std::weak_ptr<host::TabView>(self));
    const std::weak_ptr<TandrelTabView> weakSelf = self;
    mMoveTest = std::make_unique<MoveToTrashTest>([weakSelf] {
        if (const auto panel = weakSelf.lock()) {
            panel->UpdateButtons();
        }
    });
}

void TandrelTabView::FinishCreateSelf() {
    try {
        UpdateTabTitle();
        BuildChildren();
        ApplyZoom();
        RestoreState();
        LayoutChildren(GetBounds());
        UpdateButtons();
        UpdateStatusText();
    } catch (const std::exception& error) {
        host::LogException("HandlerTandrel::TandrelTabView::FinishCreateSelf", error);
    }
}

void TandrelTabView::BuildChildren() {
    const auto self = std::static_pointer_cast<TandrelTabView>(shared_from_this());
    const std::weak_ptr<host::Listener> listener = self;
    const std::weak_ptr<TandrelTabView> weakSelf = self;
    SetHasORNChildViews(true);
    EnableDoubleBuffering(true);

    // 1: the tree, with the search results in the same place.
    mDirectoryView =
        TandrelDirectoryView::Create(host::ToUTF8(host::GetTandrelManagerFolderPath()), self);
    mSearchResultsView = TandrelSearchResultsView::Create(
        [weakSelf] {
            if (const auto panel = weakSelf.lock()) {
                panel->ForgetMoveTest();
                panel->UpdateButtons();
                panel->UpdateStatusText();
            }
        },
        [weakSelf] {
            if (const auto panel = weakSelf.lock()) {
                panel->UpdateStatusText();
            }
        });
    mTreeView = std::make_unique<TandrelTreeView>(*this, mDirectoryView, mSearchResultsView);
    host::MessageStation::Get(kDirectoryViewStation)->Subscribe(listener);
    // Ctrl + wheel zooms a step per notch; a touchpad's small turns add up to notches.
    const auto turned = std::make_shared<float>(0.0f);
    const auto wheel = [weakSelf, turned](float steps, std::uint32_t modifiers) {
        const auto panel = weakSelf.lock();
        if (!panel || (modifiers & host::kModifierControl) == 0) {
            return false;
        }
        *turned += steps;
        for (; *turned >= 1.0f; *turned -= 1.0f) {
            panel->ZoomIn();
        }
        for (; *turned <= -1.0f; *turned += 1.0f) {
            panel->ZoomOut();
        }
        return true;
    };
    mDirectoryView->GetTree().SetWheelCallback(wheel);
    mSearchResultsView->GetTree().SetWheelCallback(wheel);
    const auto panelKeys = [weakSelf](const host::KeyboardEvent& event) {
        const auto panel = weakSelf.lock();
        return panel && panel->DoPanelKey(event);
    };
    mDirectoryView->SetPanelKeyHandler(panelKeys);
    mSearchResultsView->GetTree().SetKeyboardCallback(panelKeys);
    mSearchResultsView->GetTree().SetSelectionChangedCallback([weakSelf] {
        if (const auto panel = weakSelf.lock()) {
            panel->UpdateSoon();
        }
    });
    // The host pauses the tree's reaction to changes on disk through this.
    const std::weak_ptr<TandrelDirectoryView> view = mDirectoryView;
    host::SetTandrelNotifyPauseFn([view](bool paused) {
        if (const auto alive = view.lock()) {
            alive->SetNotifyPaused(paused);
        }
    });

    // 2: the search box.
    mSearchBox = host::SearchBoxControl::Create(*this, host::ByteString(kSearchBoxNodeID),
                                                host::ByteString(kFindPromptKey));
    host::MessageStation::Get(mSearchBox->GetStationName())->Subscribe(listener);

    // 3: the status line.
    mStatusText = host::StaticTextControl::Create(*this, host::ByteString(kStatusTextNodeID),
                                                  host::TextAlignment::Left);

    // 4: the zoom slider.
    mZoomSlider = host::SliderControl::Create(*this, host::ByteString(kZoomSliderNodeID));
    mZoomSlider->SetToolTip(host::ByteString(kZoomSliderToolTipKey));
    mZoomSlider->SetValue(mZoom);
    mZoomSlider->SetValueChangedCallback([weakSelf](bool) {
        if (const auto panel = weakSelf.lock()) {
            panel->OnZoomSliderChanged();
        }
    });
    mZoomSlider->SetStepCount(host::IsRunningV7OrBeyond() ? kSliderStepsV7 : kSliderStepsOlder);

    // 5 to 7: the buttons.
    mNewProjectButton = MakeButton(*this, kNewProjectButtonNodeID, "kPanelButtonNewProject",
                                   "cmd.mvproductionfolder.newproject", kNewProjectToolTipKey,
                                   kNewProjectStatusKey);
    mNewFolderButton =
        MakeButton(*this, kNewFolderButtonNodeID, "kPanelButtonNewFolder",
                   "cmd.mediabrowser.newfolder", kNewFolderToolTipKey, kNewFolderStatusKey);
    mTrashButton =
        MakeButton(*this, kTrashButtonNodeID, "kPanelButtonTrash",
                   "cmd.mvproductionfolder.movetotrash", kTrashToolTipKey, kTrashStatusKey);
    mTrashButton->SetDropHandler([weakSelf](host::DropRequest& request) {
        if (const auto panel = weakSelf.lock()) {
            panel->AnswerDropOnTrashButton(request);
        }
    });
}

void TandrelTabView::LayoutChildren(const host::UI_Rect& bounds) {
    if (!mTreeView || !mSearchBox) {
        return;
    }
    PanelMeasures measures;
    measures.searchBoxHeight = mSearchBox->GetRecommendedSize().height;
    const host::UI_Size button = mTrashButton->GetRecommendedSize();
    measures.buttonWidth = button.width;
    measures.buttonHeight = button.height;
    measures.bottomBarHeight = static_cast<float>(host::GetDimension(7));
    const PanelFrames frames = ComputePanelFrames(bounds, mMetrics, measures);
    mSearchBox->SetFrame(frames.searchBox);
    mTreeView->GetArea().SetFrame(frames.tree);
    mStatusText->SetFrame(frames.statusText);
    mZoomSlider->SetFrame(frames.slider);
    mZoomSlider->SetVisible(frames.sliderShown);
    host::PictureButton* buttons[] = {mNewProjectButton.get(), mNewFolderButton.get(),
                                      mTrashButton.get()};
    for (int index = 0; index < 3; ++index) {
        buttons[index]->SetFrame(frames.buttons[index]);
        buttons[index]->SetVisible(frames.buttonsShown);
    }
}

void TandrelTabView::RemoveUI() {
    SaveState();
    Unsubscribe();
    ClearScriptingHooks();
    RemoveChildren();
}

void TandrelTabView::RemoveChildren() {
    mTrashButton.reset();
    mNewFolderButton.reset();
    mNewProjectButton.reset();
    mZoomSlider.reset();
    mStatusText.reset();
    mSearchBox.reset();
    mTreeView.reset();
    mSearchResultsView.reset();
    mDirectoryView.reset();
}

host::ByteString TandrelTabView::GetPanelMenuID() const {
    return host::ByteString(kWingMenuID);
}

void TandrelTabView::ReceiveMessage(const host::Message& message) {
    try {
        const host::MessageTypeID type = message.GetTypeID();
        if (type == host::MvProductionFolderClosedMessage::kTypeID) {
            // Heard before the tree lets go of the production's rows: they are kept as the
            // state of the production that closes.
            ForgetMoveTest();
            SaveStateFor(host::ToUTF16(
                static_cast<const host::MvProductionFolderClosedMessage&>(message).oldPath));
            ClearSearch();
            UpdateTabTitle();
            UpdateButtons();
            UpdateStatusText();
        } else if (type == host::MvProductionFolderOpenedMessage::kTypeID) {
            ForgetMoveTest();
            UpdateTabTitle();
            UpdateButtons();
            UpdateStatusText();
        } else if (type == host::SearchBoxValueChangedMessage::kTypeID) {
            OnSearchTextChanged();
        } else if (type == DirectoryViewSelectionChangedMessage::kTypeID) {
            UpdateSoon();
        } else if (type == DirectoryViewRowsChangedMessage::kTypeID) {
            ForgetMoveTest();
            UpdateSoon();
        }
    } catch (const std::exception& error) {
        host::LogException("HandlerTandrel::TandrelTabView::ReceiveMessage", error);
    }
}

void TandrelTabView::OnSearchTextChanged() {
    if (!mSearchBox || !mTreeView) {
        return;
    }
    const host::WideString text = mSearchBox->GetValue();
    if (text == mLastSearchText) {
        return;
    }
    mSearchResultsView->Find(text);
    mLastSearchText = text;
    mTreeView->SetMode(text.empty() ? TandrelTreeView::kDirectoryMode
                                    : TandrelTreeView::kSearchResultsMode);
    UpdateButtons();
    UpdateStatusText();
}

void TandrelTabView::ForgetMoveTest() {
    if (mMoveTest) {
        mMoveTest->Forget();
    }
}

void TandrelTabView::UpdateSoon() {
    // A burst of changes (a folder of rows arriving, a selection dragged over many rows)
    // costs one update once it is over.
    if (mUpdatePending) {
        return;
    }
    mUpdatePending = true;
    const std::weak_ptr<TandrelTabView> weakSelf =
        std::static_pointer_cast<TandrelTabView>(shared_from_this());
    host::CallAsyncOnMainThread([weakSelf] {
        if (const auto panel = weakSelf.lock()) {
            panel->mUpdatePending = false;
            panel->UpdateButtons();
            panel->UpdateStatusText();
        }
    });
}

bool TandrelTabView::IsShowingSearchResults() const {
    return mTreeView && mTreeView->GetMode() == TandrelTreeView::kSearchResultsMode;
}

void TandrelTabView::UpdateTabTitle() {
    SetTitle(TabTitleFor(Utils::OpenProductionFolder()));
}

host::ByteString TabTitleFor(const host::WideString& productionPath) {
    if (productionPath.empty()) {
        return host::Localize(kTabTitleNoProductionKey);
    }
    return host::Localize(kTabTitlePrefixKey) + host::ToUTF8(DisplayNameOf(productionPath));
}

void TandrelTabView::Unsubscribe() {
    host::MessageStation::Get(host::kPanelFrameworkStation)->Unsubscribe(this);
    host::MessageStation::Get(kDirectoryViewStation)->Unsubscribe(this);
    host::MessageStation::Get(kSearchBoxNodeID)->Unsubscribe(this);
}

} // namespace HandlerTandrel
