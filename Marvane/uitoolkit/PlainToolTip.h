#pragma once
// Tooltips that show names from disk as they are. Qt shows a tooltip as rich text whenever it
// looks like markup, so a holder named "<h1>Break the lock</h1>" would be drawn as a heading:
// such a text is escaped and wrapped, so it shows literally, line breaks and all. Any other
// text is left as it is.
#include <QString>
#include <QTextDocument>

namespace host {

inline QString PlainToolTip(const QString& text) {
    if (!Qt::mightBeRichText(text)) {
        return text;
    }
    return QStringLiteral("<p style='white-space:pre-wrap'>") + text.toHtmlEscaped() +
           QStringLiteral("</p>");
}

} // namespace host
