#include "columns/Columns.h"

#include "columns/TuningValue.h"
#include "host/Localizer.h"

#include <set>

namespace HandlerTandrel::Columns {

namespace {

HeaderRow& Required(HeaderRow* headerRow) {
    if (headerRow == nullptr) {
        throw host::NullPointerException("host::UI_MultiColumnTreeHeaderRow");
    }
    return *headerRow;
}

const HeaderRow& Required(const HeaderRow* headerRow) {
    if (headerRow == nullptr) {
        throw host::NullPointerException("host::UI_MultiColumnTreeHeaderRow");
    }
    return *headerRow;
}

} // namespace

void SetupColumns(HeaderRow* headerRow, HeaderRow::StringSortingCallback stringSorting,
                  HeaderRow::UserChangedSortCallback userChangedSort) {
    HeaderRow& header = Required(headerRow);
    for (const ColumnDefinition& column : kColumns) {
        header.AppendColumn(host::Localize(column.title), column.id);
    }
    for (int position = 0; position < header.GetCountOfColumns(); ++position) {
        const ColumnID id = header.GetColumnAt(position);
        const float minimum =
            position == 0 ? NameColumnMinimumWidth().Get() : OtherColumnMinimumWidth().Get();
        header.SetColumnAllowedMinimumWidth(id, minimum);
        header.SetColumnWidth(id, ColumnWidth().Get());
    }
    header.SetAllowColumnMovingByUser(true, false);
    header.ShowSortIndicator(true);
    if (stringSorting) {
        header.SetStringSortingCallback(std::move(stringSorting));
    }
    if (userChangedSort) {
        header.SetUserChangedSortCallback(std::move(userChangedSort));
    }
}

HeaderRowData GetHeaderRowData(const HeaderRow* headerRow, const RecordedWidths& recorded) {
    HeaderRowData data;
    if (headerRow == nullptr) {
        return data; // no columns, sort column 0, ascending
    }
    for (int position = 0; position < headerRow->GetCountOfColumns(); ++position) {
        const ColumnID id = headerRow->GetColumnAt(position);
        const auto width = recorded.find(id);
        data.mColumnDataList.push_back(
            {id, width != recorded.end() ? width->second : ColumnWidth().Get()});
    }
    data.mSortColumnID = headerRow->GetSortColumn();
    data.mSortAscending = headerRow->IsSortDirectionAscending();
    return data;
}

void ApplyHeaderRowData(HeaderRow* headerRow, const HeaderRowData& data, float scale) {
    if (headerRow == nullptr) {
        return;
    }
    int target = 0;
    std::set<ColumnID> placed;
    for (const ColumnData& column : data.mColumnDataList) {
        const int position = headerRow->GetIndexOfColumn(column.mColumnID);
        if (position < 0 || !placed.insert(column.mColumnID).second) {
            continue; // an unknown column, or one placed already, takes no place
        }
        headerRow->SetColumnWidth(column.mColumnID, scale * column.mWidth);
        if (position != target) {
            headerRow->MoveColumn(column.mColumnID, target, true);
        }
        ++target;
    }
    headerRow->SetSortColumn(data.mSortColumnID);
    headerRow->SetSortDirection(data.mSortAscending);
}

void ApplyRecordedWidths(HeaderRow* headerRow, const RecordedWidths& recorded, float scale) {
    HeaderRow& header = Required(headerRow);
    for (const auto& [id, width] : recorded) {
        if (header.GetIndexOfColumn(id) >= 0) {
            header.SetColumnWidth(id, scale * width);
        }
    }
}

void CopyHeaderRowLayout(const HeaderRow* from, HeaderRow* to) {
    const HeaderRow& source = Required(from);
    HeaderRow& target = Required(to);
    target.SetSortColumn(source.GetSortColumn());
    target.SetSortDirection(source.IsSortDirectionAscending());
    for (int position = 0; position < source.GetCountOfColumns(); ++position) {
        const ColumnID id = source.GetColumnAt(position);
        const float width = source.GetColumnWidth(id);
        const int current = target.GetIndexOfColumn(id);
        if (current < 0) {
            continue;
        }
        target.SetColumnWidth(id, width);
        if (current != position) {
            target.MoveColumn(id, position, true);
        }
    }
}

std::map<std::string, int> GetColumnIndices(const HeaderRow* headerRow) {
    const HeaderRow& header = Required(headerRow);
    // "modifed" is spelled so: that is the key its readers look up.
    return {{"locked_column_index", header.GetIndexOfColumn(kLockColumn)},
            {"modifed_date_column_index", header.GetIndexOfColumn(kModifiedColumn)},
            {"creation_date_column_index", header.GetIndexOfColumn(kCreatedColumn)},
            {"size_column_index", header.GetIndexOfColumn(kSizeColumn)}};
}

bool IsNameColumn(const HeaderRow* headerRow, int position) {
    return Required(headerRow).GetColumnAt(position) == kNameColumn;
}

} // namespace HandlerTandrel::Columns
