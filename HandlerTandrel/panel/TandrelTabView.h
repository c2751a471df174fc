#pragma once
// The Production panel itself: the tab view that the handler makes for the host. It builds the
// panel's children (the tree with the search results in its place, the search box, the status
// line, the zoom slider and the New Project, New Folder and Trash buttons), places them, keeps
// the status line, the buttons and the zoom current, and hands its state to the settings store
// when it goes, getting it back when it is made again.
#include "directoryview/TandrelDirectoryView.h"
#include "host/Messaging.h"
#include "host/UIControls.h"
#include "host/UIFramework.h"
#include "panel/PanelLayout.h"
#include "panel/SelectedItems.h"
#include "state/ProductionSettingsStore.h"
#include "state/TabViewStateData.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

namespace HandlerTandrel {

class MoveToTrashTest;
class TandrelSearchResultsView;
class TandrelTreeView;

inline constexpr std::string_view kSearchBoxNodeID = "Handlers.Tandrel.SearchBox";
inline constexpr std::string_view kStatusTextNodeID = "Handlers.Tandrel.StatusText";
inline constexpr std::string_view kZoomSliderNodeID = "Handlers.Tandrel.ZoomSlider";
inline constexpr std::string_view kNewProjectButtonNodeID = "Handlers.Tandrel.NewProjectButton";
inline constexpr std::string_view kNewFolderButtonNodeID = "Handlers.Tandrel.NewFolderButton";
inline constexpr std::string_view kTrashButtonNodeID = "Handlers.Tandrel.TrashButton";

class TandrelTabView : public host::TabView, public host::Listener, public DirectoryViewOwner {
public:
    using StateData = TabViewStateData;

    // The panel remembers each production's state in the store it is given; without one (a
    // panel made outside a handler) it remembers nothing.
    explicit TandrelTabView(std::shared_ptr<ProductionSettingsStore> settings = nullptr);
    ~TandrelTabView() override;

    // Subscribes to production messages; call once the view is held by a shared pointer.
    void PostSharedPtrInit();

    void FinishCreateSelf() override;
    void RemoveUI() override;
    void SaveState() override;
    float GetPreferredWidth() const override { return GetFirstStartWidth(); }
    void LayoutChildren(const host::UI_Rect& bounds) override;
    host::ByteString GetPanelMenuID() const override;
    void ReceiveMessage(const host::Message& message) override;
    bool FindCommandStatus(const host::Command& command, host::CommandStatus& status) override;
    bool ObeyCommand(const host::Command& command) override;

    // "Production: <folder name>" while a production is open, else "Production".
    void UpdateTabTitle();
    // "2 of 5 items selected" for the view shown now.
    void UpdateStatusText();
    // New Project and New Folder follow the selection; Trash follows the move-to-trash test.
    void UpdateButtons();
    // Both of the above, once the changes of the current event are all in.
    void UpdateSoon();
    void ZoomIn();
    void ZoomOut();
    // Back to the smallest rows, where a new panel starts (Ctrl+0).
    void ResetZoom();
    // The keys that act on the panel whichever of its views has the focus; true when used.
    bool DoPanelKey(const host::KeyboardEvent& event);
    void OnZoomSliderChanged();
    // Sets both views' row height for the zoom and rescales the shown view's columns.
    void ApplyZoom();
    double GetZoom() const { return mZoom; }
    // The search box's text changed: the results for a new text, and the view to show.
    void OnSearchTextChanged();

    // Folder and project commands.
    // Asks for a name in the simple input box; a name that cannot be a file name is refused
    // with a message (the answer is still true: the caller asks again). False on Cancel.
    bool AskItemName(const host::ByteString& title, host::WideString& name);
    // Where New Folder and New Project make their item: the one selected folder, beside the
    // one selected project, or else the production's top.
    host::WideString ParentForNewItem() const;
    void OnNewFolderCommand();
    void OnNewProjectCommand();
    // Copies of projects the user picks, added where New Project would make one.
    void OnAddProjectCommand();
    // A copy of each selected item beside it: a project is copied in the background; a
    // folder's folders are made at once and its projects copied into them.
    void OnMakeACopyCommand();
    void OnToggleReadOnlyCommand();
    void OnRefreshOutOfDateProjectsCommand();
    void OnSaveAllCommand();

    // The rename command: the one selected row of the tree gets its edit field.
    void StartRenamingSelectedRow();
    // Select All and Deselect All, in the tree or the search results, whichever is shown.
    void SelectAllOfShownView(bool select);
    // Home, End, Page Down and Page Up in the tree (the results list moves by its own keys).
    void MoveSelection(host::CommandID id);

    // The preferred height when stacked with other panels: every row the tree shows.
    float GetStackedDimensionHeight() const;
    // The full paths of the selected rows of the view shown now.
    std::vector<host::WideString> GetSelectedPaths() const;
    // The tree shows a production that was just opened: its saved state comes back.
    void ProductionShown();
    // Once created, a production the tree shows afresh is a production shown.
    void DirectoryShowsProduction() override;
    // What the panel would save now.
    StateData GetStateData() const;
    // Puts a saved state back: columns, sort, open folders, selection, top row, zoom, search.
    void ApplyStateData(const StateData& state);

    // The children; null until the panel was created and after its UI was removed.
    const std::shared_ptr<TandrelDirectoryView>& GetDirectoryView() const { return mDirectoryView; }
    const std::shared_ptr<TandrelSearchResultsView>& GetSearchResultsView() const {
        return mSearchResultsView;
    }
    TandrelTreeView* GetTreeView() const { return mTreeView.get(); }
    host::SearchBoxControl* GetSearchBox() const { return mSearchBox.get(); }
    host::StaticTextControl* GetStatusText() const { return mStatusText.get(); }
    host::SliderControl* GetZoomSlider() const { return mZoomSlider.get(); }
    host::PictureButton* GetNewProjectButton() const { return mNewProjectButton.get(); }
    host::PictureButton* GetNewFolderButton() const { return mNewFolderButton.get(); }
    host::PictureButton* GetTrashButton() const { return mTrashButton.get(); }
    const PanelMetrics& GetMetrics() const { return mMetrics; }
    // The width at which every column of the tree can be read without scrolling.
    float GetFirstStartWidth() const;

private:
    void BuildChildren();
    // Puts back the open production's saved state; whether there was one.
    bool RestoreState();
    void SaveStateFor(const host::WideString& production);
    // Empties the search box, which brings the tree back.
    void ClearSearch();
    void Unsubscribe();
    void RemoveChildren();
    bool IsShowingSearchResults() const;
    // Rows of the tree dragged onto the Trash button go to the production trash.
    void AnswerDropOnTrashButton(host::DropRequest& request);
    // What the selected items hold may have changed: the kept move-to-trash answer is old.
    void ForgetMoveTest();
    // The selected items for the commands' status: made once while the selection and the rows
    // stay as they are (the host asks for several commands' status in a row, and again
    // several times a second). The tree's are read from its rows when a rule asks.
    const SelectedItems& SelectionForStatus();

    PanelMetrics mMetrics;
    double mZoomStep = 0.25;
    // Room beside the columns at first start: the tree's scroll bar and its frame.
    std::int32_t mFirstStartScrollBarRoom = 30;
    std::int32_t mFirstStartFrameRoom = 30;
    double mZoom = 0.0;
    host::WideString mLastSearchText;
    bool mUpdatePending = false;
    std::unique_ptr<MoveToTrashTest> mMoveTest;
    // The selection as the commands' status last saw it, and which one: the host asks the
    // status of many commands in a row.
    struct StatusSelection {
        bool searchResults = false;
        std::uint64_t version = 0;
        SelectedItems items;
    };
    std::optional<StatusSelection> mStatusSelection;

    const std::shared_ptr<ProductionSettingsStore> mSettings;
    std::shared_ptr<TandrelDirectoryView> mDirectoryView;
    std::shared_ptr<TandrelSearchResultsView> mSearchResultsView;
    std::unique_ptr<TandrelTreeView> mTreeView;
    std::unique_ptr<host::SearchBoxControl> mSearchBox;
    std::unique_ptr<host::StaticTextControl> mStatusText;
    std::unique_ptr<host::SliderControl> mZoomSlider;
    std::unique_ptr<host::PictureButton> mNewProjectButton;
    std::unique_ptr<host::PictureButton> mNewFolderButton;
    std::unique_ptr<host::PictureButton> mTrashButton;
};

// The tab title for a production folder path (empty when no production is open).
host::ByteString TabTitleFor(const host::WideString& productionPath);

} // namespace HandlerTandrel
