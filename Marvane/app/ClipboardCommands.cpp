#include "Marvane/app/ClipboardCommands.h"

#include "Marvane/application/ScriptingHooks.h"
#include "Marvane/mediabrowser/ShownDirectoryViews.h"
#include "Marvane/uitoolkit/DragAndDrop.h"
#include "Marvane/uitoolkit/TreeView.h"
#include "host/ApplicationLayer.h"
#include "host/FileServices.h"
#include "host/Localizer.h"
#include "host/MediaBrowser.h"
#include "host/ProjectBackEnd.h"
#include "host/UIFramework.h"

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

// The items this run cut, while the clipboard still holds them.
std::vector<WideString>& CutItems() {
    static std::vector<WideString> items;
    return items;
}

// The items the clipboard holds when they are the ones this run cut; none otherwise.
std::vector<WideString> ItemsCutHere(const QMimeData& data) {
    if (CutItems().empty() ||
        !data.data(QString::fromLatin1(kCopiedFilesType)).startsWith("cut\n")) {
        return {};
    }
    std::vector<WideString> listed;
    for (const QUrl& url : data.urls()) {
        listed.push_back(ToUTF16(url.toLocalFile().toStdString()));
    }
    std::vector<WideString> cut;
    for (const WideString& path : CutItems()) {
        cut.push_back(StripTrailingSlash(path));
    }
    return listed == cut ? listed : std::vector<WideString>();
}

// The folder a paste goes into: the one selected folder, a selected project's folder, or the
// production's top.
WideString PasteFolder(const MediaBrowserDirectoryView& view) {
    const std::vector<WideString> selected = view.GetSelectedPaths();
    if (selected.size() != 1) {
        return StripTrailingSlash(view.GetRootPath());
    }
    const WideString path = StripTrailingSlash(selected.front());
    if (DirectoryExists(path) && !IsMarvaneProjectFile(ToUTF8(path))) {
        return path;
    }
    const std::size_t slash = path.find_last_of(u'/');
    return slash == WideString::npos || slash == 0 ? StripTrailingSlash(view.GetRootPath())
                                                   : path.substr(0, slash);
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

QMimeData* ClipboardDataForPaths(const std::vector<WideString>& paths, bool cut) {
    auto* data = new QMimeData;
    QList<QUrl> urls;
    QStringList names;
    QByteArray marker(cut ? "cut" : "copy");
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
        CutItems().clear();
        clipboard->setMimeData(ClipboardDataForPaths(paths));
    }
}

void CutSelectedItems() {
    const std::vector<WideString> paths = SelectedPathsOfShownDirectoryView();
    QClipboard* clipboard = QGuiApplication::clipboard();
    const MoveItemsIntoFolderFn move = GetMoveItemsIntoFolderFn();
    if (clipboard == nullptr || paths.empty() || !move) {
        return;
    }
    // What may not move (held by another editor, the trash itself) is not cut: a file
    // manager would move it from under them.
    if (!move(paths, WideString())) {
        ShowMessageBox(Localize("$$$/Marvane/Host/Cut/RefusedTitle=Cannot Cut"),
                       Localize("$$$/Marvane/Host/Cut/Refused=These items cannot be moved: one "
                                "of them is the trash, is held by another editor, or holds a "
                                "project that is."),
                       {}, kWarningIcon, 0);
        return;
    }
    CutItems() = paths;
    clipboard->setMimeData(ClipboardDataForPaths(paths, true));
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
    // Items cut here move, as their rows dropped on the folder would; once only.
    if (const std::vector<WideString> cut = ItemsCutHere(*clipboard); !cut.empty()) {
        const MoveItemsIntoFolderFn move = GetMoveItemsIntoFolderFn();
        const WideString folder = PasteFolder(*view);
        CutItems().clear();
        QGuiApplication::clipboard()->clear();
        if (!move || !move(cut, folder)) {
            ShowMessageBox(Localize("$$$/Marvane/Host/Paste/RefusedTitle=Cannot Move Here"),
                           Localize("$$$/Marvane/Host/Paste/Refused=The cut items cannot be moved "
                                    "into \"@0\": one of them is held by another editor now, or "
                                    "is that folder or holds it.",
                                    {ToUTF8(GetPathFileName(folder))}),
                           {}, kWarningIcon, 0);
        }
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
