#pragma once
// Setting up the five columns on the host's header row, and capturing and re-applying the
// user's layout of it.
#include "columns/ColumnIDs.h"
#include "columns/HeaderRowData.h"
#include "host/UIToolkit.h"

#include <map>
#include <string>

namespace HandlerTandrel::Columns {

using HeaderRow = host::UI_MultiColumnTreeHeaderRow;
// Widths the user gave columns, unzoomed, by column id.
using RecordedWidths = std::map<ColumnID, float>;

// Builds the five columns on an empty header row; either callback may be empty.
void SetupColumns(HeaderRow* headerRow, HeaderRow::StringSortingCallback stringSorting,
                  HeaderRow::UserChangedSortCallback userChangedSort);
// The layout to save: columns in display order with their recorded (else default) widths.
HeaderRowData GetHeaderRowData(const HeaderRow* headerRow, const RecordedWidths& recorded);
// Puts saved columns in their order at scale × their width, then sets the sort. Ids the header
// does not have are skipped without taking a place.
void ApplyHeaderRowData(HeaderRow* headerRow, const HeaderRowData& data, float scale);
// Sets every recorded column to scale × its recorded width; others keep theirs.
void ApplyRecordedWidths(HeaderRow* headerRow, const RecordedWidths& recorded, float scale);
// Makes one header row look like another: sort, then order and widths.
void CopyHeaderRowLayout(const HeaderRow* from, HeaderRow* to);
// Where the Lock, Date Modified, Date Created and Size columns are, by their keys.
std::map<std::string, int> GetColumnIndices(const HeaderRow* headerRow);
bool IsNameColumn(const HeaderRow* headerRow, int position);

} // namespace HandlerTandrel::Columns
