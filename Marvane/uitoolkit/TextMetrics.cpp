// Measuring a static text with the font the tree draws it in.
#include "Marvane/uitoolkit/TextMetrics.h"

#include <QApplication>
#include <QFontMetricsF>
#include <algorithm>

namespace host {

QFont StaticTextFont(const UI_StaticText& text, QFont base) {
    base.setPixelSize(std::max(1, static_cast<int>(text.GetFontSize())));
    base.setItalic(text.GetFontStyle() == "Italic");
    base.setBold(text.GetFontStyle() == "Bold");
    return base;
}

QString StaticTextValue(const UI_StaticText& text) {
    return QString::fromUtf16(text.GetValue().data(),
                              static_cast<qsizetype>(text.GetValue().size()));
}

QFont TreeCellFont() {
    return QApplication::font("QTreeView");
}

float UI_StaticText::MeasureValueWidth() const {
    if (qobject_cast<QApplication*>(QCoreApplication::instance()) == nullptr) {
        return -1.0f; // no fonts without the widget application
    }
    const QFontMetricsF metrics(StaticTextFont(*this, TreeCellFont()));
    return static_cast<float>(metrics.horizontalAdvance(StaticTextValue(*this)));
}

} // namespace host
