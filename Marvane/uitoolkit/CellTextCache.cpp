#include "Marvane/uitoolkit/CellTextCache.h"

#include <QFontMetrics>
#include <utility>

namespace host {

void CellTextCache::Draw(QPainter& painter, const QRectF& rect, const QString& text,
                         const QFont& font) {
    const int width = static_cast<int>(rect.width());
    if (text.isEmpty() || width <= 0) {
        return;
    }
    // The text, the font and the width make the key: any of them changes the layout.
    Key key{text, font, width};
    auto found = mTexts.find(key);
    if (found == mTexts.end()) {
        if (mTexts.size() >= kMaximumTexts) {
            mTexts.clear();
        }
        ++mLayouts;
        QStaticText laidOut(QFontMetrics(font).elidedText(text, Qt::ElideRight, width));
        laidOut.setTextFormat(Qt::PlainText);
        laidOut.setPerformanceHint(QStaticText::AggressiveCaching);
        laidOut.prepare(painter.transform(), font);
        found = mTexts.emplace(std::move(key), std::move(laidOut)).first;
    }
    const QSizeF size = found->second.size();
    painter.setFont(font);
    painter.drawStaticText(QPointF(rect.left(), rect.top() + (rect.height() - size.height()) / 2),
                           found->second);
}

} // namespace host
