#pragma once
// The place of the panel where the production's tree and the search results take turns: one
// area holding both trees, showing exactly one: the tree, or the search results.
// Switching carries the columns' order, widths and sort over to the view being shown.
#include "host/UIControls.h"

#include <cstdint>
#include <memory>

namespace HandlerTandrel {

class TandrelDirectoryView;
class TandrelSearchResultsView;

class TandrelTreeView {
public:
    enum Mode : std::uint8_t { kDirectoryMode = 0, kSearchResultsMode = 1 };

    TandrelTreeView(host::TabView& panel, std::shared_ptr<TandrelDirectoryView> directoryView,
                    std::shared_ptr<TandrelSearchResultsView> searchResultsView);
    ~TandrelTreeView();
    TandrelTreeView(const TandrelTreeView&) = delete;
    TandrelTreeView& operator=(const TandrelTreeView&) = delete;

    Mode GetMode() const { return mMode; }
    // Shows the other view: copies the header layout (and the widths the user gave) from the
    // view being left, hides it and shows the other. The tree reads its rows' records again
    // when it comes back.
    void SetMode(Mode mode);

    host::SubView& GetArea() { return *mArea; }
    const std::shared_ptr<TandrelDirectoryView>& GetDirectoryView() const { return mDirectory; }
    const std::shared_ptr<TandrelSearchResultsView>& GetSearchResultsView() const {
        return mSearch;
    }

private:
    std::unique_ptr<host::SubView> mArea;
    std::shared_ptr<TandrelDirectoryView> mDirectory;
    std::shared_ptr<TandrelSearchResultsView> mSearch;
    Mode mMode = kDirectoryMode;
};

} // namespace HandlerTandrel
