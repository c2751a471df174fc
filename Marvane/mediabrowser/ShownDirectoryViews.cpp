#include "Marvane/mediabrowser/ShownDirectoryViews.h"

#include "Marvane/uitoolkit/TreeView.h"
#include "host/MediaBrowser.h"

#include <algorithm>

namespace host {

namespace {

// Main thread only, as the views are.
std::vector<MediaBrowserDirectoryView*>& Views() {
    static std::vector<MediaBrowserDirectoryView*> views;
    return views;
}

} // namespace

void NoteDirectoryViewMade(MediaBrowserDirectoryView* view) {
    Views().push_back(view);
}

void NoteDirectoryViewGone(MediaBrowserDirectoryView* view) {
    auto& views = Views();
    views.erase(std::remove(views.begin(), views.end(), view), views.end());
}

MediaBrowserDirectoryView* ShownDirectoryView() {
    for (MediaBrowserDirectoryView* view : Views()) {
        const auto* tree = view->GetTree().GetImpl();
        if (tree != nullptr && tree->view && tree->view->isVisible()) {
            return view;
        }
    }
    return nullptr;
}

std::vector<WideString> SelectedPathsOfShownDirectoryView() {
    const MediaBrowserDirectoryView* view = ShownDirectoryView();
    return view ? view->GetSelectedPaths() : std::vector<WideString>();
}

} // namespace host
