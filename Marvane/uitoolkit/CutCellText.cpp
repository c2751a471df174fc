#include "Marvane/uitoolkit/CutCellText.h"

#include "Marvane/uitoolkit/TextMetrics.h"
#include "host/UINodes.h"

#include <QFontMetrics>
#include <cmath>

namespace host {

namespace {

void CollectCutTexts(const UI_Node& node, QString& cut) {
    if (const auto* text = dynamic_cast<const UI_StaticText*>(&node)) {
        const QString value = StaticTextValue(*text);
        const int width = static_cast<int>(std::floor(node.GetBounds().width));
        if (!value.isEmpty() && (!node.IsVisible() ||
                                 IsDrawnCut(value, StaticTextFont(*text, TreeCellFont()), width))) {
            cut += (cut.isEmpty() ? QString() : QStringLiteral("\n")) + value;
        }
    }
    if (const auto* container = dynamic_cast<const UI_Container*>(&node)) {
        for (const auto& child : container->GetChildren()) {
            CollectCutTexts(*child, cut);
        }
    }
}

} // namespace

bool IsDrawnCut(const QString& text, const QFont& font, int width) {
    if (text.isEmpty()) {
        return false;
    }
    return width <= 0 || QFontMetrics(font).elidedText(text, Qt::ElideRight, width) != text;
}

QString CutTextsOf(const UI_SubView& cell) {
    QString cut;
    CollectCutTexts(cell, cut);
    return cut;
}

} // namespace host
