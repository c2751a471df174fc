#include "Marvane/uitoolkit/HeaderRowImpl.h"

#include <algorithm>
#include <cmath>

namespace host {

int HeaderTitlesModel::rowCount(const QModelIndex&) const {
    return 0;
}

int HeaderTitlesModel::columnCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : static_cast<int>(mTitles.size());
}

QVariant HeaderTitlesModel::data(const QModelIndex&, int) const {
    return {};
}

QVariant HeaderTitlesModel::headerData(int section, Qt::Orientation orientation, int role) const {
    if (orientation != Qt::Horizontal || role != Qt::DisplayRole || section < 0 ||
        static_cast<std::size_t>(section) >= mTitles.size()) {
        return {};
    }
    return mTitles[static_cast<std::size_t>(section)];
}

void HeaderTitlesModel::Append(const QString& title) {
    const int column = static_cast<int>(mTitles.size());
    beginInsertColumns(QModelIndex(), column, column);
    mTitles.push_back(title);
    endInsertColumns();
}

HeaderRowImpl::HeaderRowImpl() : view(new QHeaderView(Qt::Horizontal)) {
    view->setModel(&model);
    view->setSectionsClickable(true);
    view->setStretchLastSection(false);
    view->setMinimumSectionSize(1);
}

HeaderRowImpl::~HeaderRowImpl() {
    QHeaderView* own = view.data();
    if (own != nullptr && own->parent() == nullptr) {
        delete own;
    }
}

int HeaderRowImpl::SectionOf(UI_MultiColumnTreeHeaderRow::ColumnID id) const {
    const auto found = std::find(ids.begin(), ids.end(), id);
    return found == ids.end() ? -1 : static_cast<int>(found - ids.begin());
}

UI_MultiColumnTreeHeaderRow::UI_MultiColumnTreeHeaderRow()
    : mImpl(std::make_unique<HeaderRowImpl>()) {
    HeaderRowImpl* impl = mImpl.get();
    // Each column keeps its own minimum width while the user drags.
    QObject::connect(
        impl->view.get(), &QHeaderView::sectionResized, impl->view.get(),
        [impl](int section, int, int size) {
            const auto index = static_cast<std::size_t>(section);
            if (index < impl->minimumWidths.size()) {
                const int minimum = static_cast<int>(std::ceil(impl->minimumWidths[index]));
                if (size < minimum) {
                    impl->view->resizeSection(section, minimum);
                    return;
                }
            }
            if (impl->ownerChanging == 0 && impl->userResized && index < impl->ids.size()) {
                impl->userResized(impl->ids[index], static_cast<float>(size));
            }
        });
    QObject::connect(impl->view.get(), &QHeaderView::sectionMoved, impl->view.get(),
                     [impl](int section, int, int position) {
                         const auto index = static_cast<std::size_t>(section);
                         if (impl->ownerChanging == 0 && impl->userMoved &&
                             index < impl->ids.size()) {
                             impl->userMoved(impl->ids[index], position);
                         }
                     });
    // A click on a column's title changes the sort; the owner hears of it.
    QObject::connect(
        impl->view.get(), &QHeaderView::sectionClicked, impl->view.get(), [impl](int section) {
            const auto index = static_cast<std::size_t>(section);
            if (index >= impl->ids.size()) {
                return;
            }
            const ColumnID id = impl->ids[index];
            impl->sortAscending = id == impl->sortColumn ? !impl->sortAscending : true;
            impl->sortColumn = id;
            impl->view->setSortIndicator(section, impl->sortAscending ? Qt::AscendingOrder
                                                                      : Qt::DescendingOrder);
            if (impl->userChangedSort) {
                impl->userChangedSort(id, impl->sortAscending);
            }
        });
}

UI_MultiColumnTreeHeaderRow::~UI_MultiColumnTreeHeaderRow() = default;

void UI_MultiColumnTreeHeaderRow::AppendColumn(const ByteString& title, ColumnID id) {
    mImpl->ids.push_back(id);
    mImpl->minimumWidths.push_back(0.0f);
    mImpl->model.Append(QString::fromStdString(title));
}

int UI_MultiColumnTreeHeaderRow::GetCountOfColumns() const {
    return static_cast<int>(mImpl->ids.size());
}

UI_MultiColumnTreeHeaderRow::ColumnID UI_MultiColumnTreeHeaderRow::GetColumnAt(int position) const {
    if (position < 0 || position >= GetCountOfColumns()) {
        return 0;
    }
    const int section = mImpl->view->logicalIndex(position);
    return section < 0 ? 0 : mImpl->ids[static_cast<std::size_t>(section)];
}

int UI_MultiColumnTreeHeaderRow::GetIndexOfColumn(ColumnID id) const {
    const int section = mImpl->SectionOf(id);
    return section < 0 ? -1 : mImpl->view->visualIndex(section);
}

void UI_MultiColumnTreeHeaderRow::SetColumnWidth(ColumnID id, float width) {
    const int section = mImpl->SectionOf(id);
    if (section >= 0) {
        // No column is narrower than its minimum or wider than any screen.
        constexpr float kWidest = 100000.0f;
        const float minimum = mImpl->minimumWidths[static_cast<std::size_t>(section)];
        const float bounded = std::isfinite(width) ? std::clamp(width, minimum, kWidest) : minimum;
        const OwnerChange change(*mImpl);
        mImpl->view->resizeSection(section, static_cast<int>(std::lround(bounded)));
    }
}

float UI_MultiColumnTreeHeaderRow::GetColumnWidth(ColumnID id) const {
    const int section = mImpl->SectionOf(id);
    return section < 0 ? 0.0f : static_cast<float>(mImpl->view->sectionSize(section));
}

void UI_MultiColumnTreeHeaderRow::SetColumnAllowedMinimumWidth(ColumnID id, float width) {
    const int section = mImpl->SectionOf(id);
    if (section >= 0) {
        mImpl->minimumWidths[static_cast<std::size_t>(section)] = width;
        if (static_cast<float>(mImpl->view->sectionSize(section)) < width) {
            const OwnerChange change(*mImpl);
            mImpl->view->resizeSection(section, static_cast<int>(std::ceil(width)));
        }
    }
}

float UI_MultiColumnTreeHeaderRow::GetColumnAllowedMinimumWidth(ColumnID id) const {
    const int section = mImpl->SectionOf(id);
    return section < 0 ? 0.0f : mImpl->minimumWidths[static_cast<std::size_t>(section)];
}

void UI_MultiColumnTreeHeaderRow::MoveColumn(ColumnID id, int position, bool) {
    const int section = mImpl->SectionOf(id);
    if (section < 0 || position < 0 || position >= GetCountOfColumns()) {
        return;
    }
    const OwnerChange change(*mImpl);
    mImpl->view->moveSection(mImpl->view->visualIndex(section), position);
}

void UI_MultiColumnTreeHeaderRow::SetAllowColumnMovingByUser(bool allow, bool allowFirstColumn) {
    mImpl->allowMoving = allow;
    mImpl->view->setSectionsMovable(allow);
    mImpl->view->setFirstSectionMovable(allow && allowFirstColumn);
}

bool UI_MultiColumnTreeHeaderRow::AllowsColumnMovingByUser() const {
    return mImpl->allowMoving;
}

void UI_MultiColumnTreeHeaderRow::ShowSortIndicator(bool show) {
    mImpl->view->setSortIndicatorShown(show);
}

bool UI_MultiColumnTreeHeaderRow::IsSortIndicatorShown() const {
    return mImpl->view->isSortIndicatorShown();
}

void UI_MultiColumnTreeHeaderRow::SetSortColumn(ColumnID id) {
    mImpl->sortColumn = id;
    mImpl->view->setSortIndicator(mImpl->SectionOf(id),
                                  mImpl->sortAscending ? Qt::AscendingOrder : Qt::DescendingOrder);
}

UI_MultiColumnTreeHeaderRow::ColumnID UI_MultiColumnTreeHeaderRow::GetSortColumn() const {
    return mImpl->sortColumn;
}

void UI_MultiColumnTreeHeaderRow::SetSortDirection(bool ascending) {
    mImpl->sortAscending = ascending;
    mImpl->view->setSortIndicator(mImpl->SectionOf(mImpl->sortColumn),
                                  ascending ? Qt::AscendingOrder : Qt::DescendingOrder);
}

bool UI_MultiColumnTreeHeaderRow::IsSortDirectionAscending() const {
    return mImpl->sortAscending;
}

void UI_MultiColumnTreeHeaderRow::SetStringSortingCallback(StringSortingCallback callback) {
    mImpl->stringSorting = std::move(callback);
}

const UI_MultiColumnTreeHeaderRow::StringSortingCallback&
UI_MultiColumnTreeHeaderRow::GetStringSortingCallback() const {
    return mImpl->stringSorting;
}

void UI_MultiColumnTreeHeaderRow::SetUserChangedSortCallback(UserChangedSortCallback callback) {
    mImpl->userChangedSort = std::move(callback);
}

void UI_MultiColumnTreeHeaderRow::SetUserResizedColumnCallback(UserResizedColumnCallback callback) {
    mImpl->userResized = std::move(callback);
}

void UI_MultiColumnTreeHeaderRow::SetUserMovedColumnCallback(UserMovedColumnCallback callback) {
    mImpl->userMoved = std::move(callback);
}

ByteString UI_MultiColumnTreeHeaderRow::GetColumnTitle(ColumnID id) const {
    const int section = mImpl->SectionOf(id);
    return section < 0 ? ByteString()
                       : mImpl->model.headerData(section, Qt::Horizontal, Qt::DisplayRole)
                             .toString()
                             .toStdString();
}

} // namespace host
