#include "Marvane/app/ProjectContentListModel.h"

#include "Marvane/uitoolkit/DragAndDrop.h"

#include <QMimeData>
#include <algorithm>

namespace host {

bool ProjectContentListModel::SetContent(std::shared_ptr<const ProjectContent> content,
                                         bool sequences) {
    if (content == mContent && sequences == mShowsSequences) {
        return false;
    }
    const auto& names = sequences ? content->sequences : content->bins;
    if (mContent && sequences == mShowsSequences && names == Names()) {
        mContent = std::move(content); // the same rows
        return false;
    }
    beginResetModel();
    mContent = std::move(content);
    mShowsSequences = sequences;
    endResetModel();
    return true;
}

const NameList& ProjectContentListModel::Names() const {
    static const NameList kNone;
    if (!mContent) {
        return kNone;
    }
    return mShowsSequences ? mContent->sequences : mContent->bins;
}

int ProjectContentListModel::rowCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : static_cast<int>(Names().size());
}

QVariant ProjectContentListModel::data(const QModelIndex& index, int role) const {
    if (!index.isValid() || index.row() < 0 ||
        static_cast<std::size_t>(index.row()) >= Names().size() ||
        (role != Qt::DisplayRole && role != Qt::EditRole)) {
        return {};
    }
    const std::string_view name = Names().View(static_cast<std::size_t>(index.row()));
    return QString::fromUtf8(name.data(), static_cast<qsizetype>(name.size()));
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
        if (index.isValid() && static_cast<std::size_t>(index.row()) < Names().size()) {
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
        names.push_back(Names()[static_cast<std::size_t>(row)]);
    }
    auto* data = new QMimeData;
    data->setData(QString::fromLatin1(kDataTypeName_ProjectItem), EncodeProjectItems(items));
    return data;
}

Qt::DropActions ProjectContentListModel::supportedDragActions() const {
    return Qt::CopyAction | Qt::MoveAction;
}

} // namespace host
