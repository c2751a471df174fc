#pragma once
// The font a static text is drawn and measured in: the base font at the text's size and style.
#include "host/UINodes.h"

#include <QFont>
#include <QString>

namespace host {

QFont StaticTextFont(const UI_StaticText& text, QFont base);
// The font the tree's cells start from (the platform's item-view font).
QFont TreeCellFont();
QString StaticTextValue(const UI_StaticText& text);

} // namespace host
