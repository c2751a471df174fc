#pragma once
// A one-line label that never asks for more room than it gets: a text too long for its width
// is cut in the middle with "…", and the whole text is its tooltip. Long project names and
// paths so never push the window past the screen. The text is always plain: names come from
// disk.
#include "Marvane/uitoolkit/PlainToolTip.h"

#include <QLabel>
#include <QPainter>

namespace host {

class ElidedLabel final : public QLabel {
public:
    explicit ElidedLabel(QWidget* parent = nullptr) : QLabel(parent) {
        setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Preferred);
        setTextFormat(Qt::PlainText);
    }
    void SetFullText(const QString& text) {
        setText(text);
        setToolTip(PlainToolTip(text));
    }
    // The text as drawn now.
    QString ShownText() const {
        return fontMetrics().elidedText(text(), Qt::ElideMiddle, contentsRect().width());
    }
    QSize minimumSizeHint() const override { return {0, QLabel::minimumSizeHint().height()}; }

protected:
    void paintEvent(QPaintEvent*) override {
        QPainter painter(this);
        painter.setFont(font());
        painter.drawText(contentsRect(), static_cast<int>(alignment()) | Qt::TextSingleLine,
                         ShownText());
    }
};

} // namespace host
