#pragma once
// Whether a cell shows its whole text. A cell drawn narrower than its text ends it with an
// ellipsis, and a name cell too narrow for any text hides it: its tooltip then gives the
// whole text.
#include <QFont>
#include <QString>

namespace host {

class UI_SubView;

// Whether the text, drawn in the font into the width (as the tree's cells draw texts), ends
// with an ellipsis.
bool IsDrawnCut(const QString& text, const QFont& font, int width);
// The texts of a cell view laid out at its bounds that are drawn cut or hidden, one a line;
// empty when every text shows whole.
QString CutTextsOf(const UI_SubView& cell);

} // namespace host
