#pragma once
// The place of the panel where the production's tree and the search results take turns: one
// area holding both trees, showing exactly one. Mode 0 shows the tree, mode 1 the results.
// Switching carries the columns' order, widths and sort over to the view being shown.
#include "host/UIControls.h"

#include <memory>

namespace HandlerTandrel {

class TandrelDirectoryView;
class TandrelSearchResultsView;

class TandrelTreeView {
public:
    static constexpr int kDirectoryMode = 0;
    static constexpr int kSearchResultsMode = 1;

    TandrelTreeView(host::TabView& panel, std::shared_ptr<TandrelDirectoryView> directoryView,
                    std::shared_ptr<TandrelSearchResultsView> searchResultsView);
    ~TandrelTreeView();
    TandrelTreeView(const TandrelTreeView&) = delete;
    TandrelTreeView& operator=(const TandrelTreeView&) = delete;

    int GetMode() const { return mMode; }
    // Shows the other view: hands the mode to the tree, copies the header layout (and the
    // widths the user gave) from the view being left, hides it and shows the other. The tree
    // reads its rows' records again when it comes back.
    void SetMode(int mode);

    host::SubView& GetArea() { return *mArea; }
    const std::shared_ptr<TandrelDirectoryView>& GetDirectoryView() const { return mDirectory; }
    const std::shared_ptr<TandrelSearchResultsView>& GetSearchResultsView() const {
        return mSearch;
    }

private:
    std::unique_ptr<host::SubView> mArea;
    std::shared_ptr<TandrelDirectoryView> mDirectory;
    std::shared_ptr<TandrelSearchResultsView> mSearch;
    int mMode = kDirectoryMode;
};

} // namespace HandlerTandrel
