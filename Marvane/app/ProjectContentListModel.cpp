#include "Marvane/app/ProjectContentListModel.h"

#include "Marvane/uitoolkit/DragAndDrop.h"

#include <QMimeData>
#include <algorithm>

namespace host {

bool ProjectContentListModel::SetNames(const std::vector<std::string>& names) {
    if (names == mNames) {
        return false;
    }
    beginResetModel();
    mNames = names;
    endResetModel();
    return true;
}

int ProjectContentListModel::rowCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : static_cast<int>(mNames.size());
}

QVariant ProjectContentListModel::data(const QModelIndex& index, int role) const {
    if (!index.isValid() || index.row() < 0 ||
        static_cast<std::size_t>(index.row()) >= mNames.size() ||
        (role != Qt::DisplayRole && role != Qt::EditRole)) {
        return {};
    }
    return QString::fromStdString(mNames[static_cast<std::size_t>(index.row())]);
}

void ProjectContentListModel::SetDragSource(std::function<std::string()> projectPath,
                                            bool sequences) {
    mProjectPath = std::move(projectPath);
    mSequences = sequences;
}

Qt::ItemFlags ProjectContentListModel::flags(const QModelIndex& index) const {
    Qt::ItemFlags flags = QAbstractListModel::flags(index);
    if (index.isValid() && mProjectPath) {
        flags |= Qt::ItemIsDragEnabled;
    }
    return flags;
}

QStringList ProjectContentListModel::mimeTypes() const {
    return {QString::fromLatin1(kDataTypeName_ProjectItem)};
}

QMimeData* ProjectContentListModel::mimeData(const QModelIndexList& indexes) const {
    if (!mProjectPath) {
        return nullptr;
    }
    std::vector<int> rows;
    for (const QModelIndex& index : indexes) {
        if (index.isValid() && static_cast<std::size_t>(index.row()) < mNames.size()) {
            rows.push_back(index.row());
        }
    }
    // In the order the list shows them, each once.
    std::sort(rows.begin(), rows.end());
    rows.erase(std::unique(rows.begin(), rows.end()), rows.end());
    DraggedProjectItems items;
    items.projectPath = mProjectPath();
    auto& names = mSequences ? items.sequences : items.bins;
    for (const int row : rows) {
        names.push_back(mNames[static_cast<std::size_t>(row)]);
    }
    auto* data = new QMimeData;
    data->setData(QString::fromLatin1(kDataTypeName_ProjectItem), EncodeProjectItems(items));
    return data;
}

Qt::DropActions ProjectContentListModel::supportedDragActions() const {
    return Qt::CopyAction | Qt::MoveAction;
}

} // namespace host
