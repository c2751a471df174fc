#pragma once
// One list of a project's content, its bins or its sequences, as the rows of a list view. The
// model keeps the content it was given, which nobody changes (a changed project has a new
// one), so a view never sees the project change under it between two refreshes and nothing is
// copied; it turns a name into text only when a view asks for its row: a project of a million
// sequences costs a million strings once, not a million items.
#include "Marvane/documents/ProjectContent.h"

#include <QAbstractListModel>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace host {

class ProjectContentListModel final : public QAbstractListModel {
public:
    using QAbstractListModel::QAbstractListModel;

    // Shows the content's sequences, or its bins. False, with no row changed, when they are
    // the names shown already; otherwise the rows are replaced, which forgets the views'
    // current row and selection.
    bool SetContent(std::shared_ptr<const ProjectContent> content, bool sequences);

    int rowCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role = Qt::DisplayRole) const override;

    // Rows can be dragged onto a project of the production: the drag names the project (its
    // path, asked when the drag starts) and the items, as bins or as sequences.
    void SetDragSource(std::function<std::string()> projectPath, bool sequences);
    Qt::ItemFlags flags(const QModelIndex& index) const override;
    QStringList mimeTypes() const override;
    QMimeData* mimeData(const QModelIndexList& indexes) const override;
    Qt::DropActions supportedDragActions() const override;

private:
    const NameList& Names() const;

    std::shared_ptr<const ProjectContent> mContent;
    bool mShowsSequences = false;
    std::function<std::string()> mProjectPath;
    bool mSequences = false;
};

} // namespace host
