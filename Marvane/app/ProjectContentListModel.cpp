#include "Marvane/app/ProjectContentListModel.h"

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

} // namespace host
