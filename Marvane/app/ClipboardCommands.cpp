#include "Marvane/app/ClipboardCommands.h"

#include "Marvane/mediabrowser/ShownDirectoryViews.h"
#include "Marvane/uitoolkit/DragAndDrop.h"
#include "Marvane/uitoolkit/TreeView.h"
#include "host/FileServices.h"
#include "host/MediaBrowser.h"

#include <QClipboard>
#include <QGuiApplication>
#include <QMimeData>
#include <QUrl>

namespace host {

namespace {

// The desktop's marker of copied (or cut) files, which file managers read to paste them.
constexpr const char* kCopiedFilesType = "x-special/gnome-copied-files";

const QMimeData* ClipboardData() {
    const QClipboard* clipboard = QGuiApplication::clipboard();
    return clipboard ? clipboard->mimeData() : nullptr;
}

// Where a paste goes, as a drop: on the one selected row (a folder takes it; a project
// stands for its folder), else below the rows (the production's top).
UI_MultiColumnTree::DropPlace PastePlace(const MediaBrowserDirectoryView& view) {
    UI_MultiColumnTree::DropPlace place;
    const std::vector<TreeRowPtr> selected = view.GetTree().GetSelectedRows();
    if (selected.size() == 1) {
        place.row = selected.front();
    } else {
        place.betweenRows = true;
    }
    return place;
}

} // namespace

QMimeData* ClipboardDataForPaths(const std::vector<WideString>& paths) {
    auto* data = new QMimeData;
    QList<QUrl> urls;
    QStringList names;
    QByteArray marker("copy");
    for (const WideString& path : paths) {
        const QString local = QString::fromStdString(ToUTF8(StripTrailingSlash(path)));
        const QUrl url = QUrl::fromLocalFile(local);
        urls.push_back(url);
        names.push_back(local);
        marker += "\n" + url.toEncoded();
    }
    data->setUrls(urls);
    data->setText(names.join(QLatin1Char('\n')));
    data->setData(QString::fromLatin1(kCopiedFilesType), marker);
    return data;
}

bool CanCopySelectedItems() {
    return !SelectedPathsOfShownDirectoryView().empty();
}

void CopySelectedItems() {
    const std::vector<WideString> paths = SelectedPathsOfShownDirectoryView();
    if (QClipboard* clipboard = QGuiApplication::clipboard(); clipboard && !paths.empty()) {
        clipboard->setMimeData(ClipboardDataForPaths(paths));
    }
}

bool CanPasteItems() {
    const MediaBrowserDirectoryView* view = ShownDirectoryView();
    const QMimeData* data = ClipboardData();
    return view != nullptr && view->GetTree().GetImpl()->drop && data != nullptr && data->hasUrls();
}

void PasteItems() {
    MediaBrowserDirectoryView* view = ShownDirectoryView();
    const QMimeData* clipboard = ClipboardData();
    if (view == nullptr || clipboard == nullptr || !view->GetTree().GetImpl()->drop) {
        return;
    }
    // A copy of what the clipboard holds: the drop may run the event loop (a question), and
    // the clipboard may change meanwhile.
    QMimeData data;
    for (const QString& format : clipboard->formats()) {
        data.setData(format, clipboard->data(format));
    }
    const DropDataImpl impl(&data);
    const DropData dropData(impl);
    const UI_MultiColumnTree::DropCallback drop = view->GetTree().GetImpl()->drop;
    const UI_MultiColumnTree::DropPlace place = PastePlace(*view);
    DropRequest asked{dropData};
    drop(asked, place);
    if (!asked.accepted) {
        return; // the place does not take them: as a drop there would be refused
    }
    DropRequest request{dropData, true};
    drop(request, place);
}

} // namespace host
