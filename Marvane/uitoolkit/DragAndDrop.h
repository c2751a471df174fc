#pragma once
// The Qt side of drag and drop (host/DataTransfer.h): the data of a drag as QMimeData, the
// drag run with QDrag and our cursor pictures, the keys a drag event reports, and the
// answer of a drop handler turned into the event's accepted action.
#include "host/DataTransfer.h"

#include <QByteArray>
#include <QDropEvent>
#include <QMimeData>
#include <QPixmap>
#include <QPointer>
#include <QWidget>
#include <functional>
#include <memory>

namespace host {

class DropDataImpl {
public:
    explicit DropDataImpl(const QMimeData* data) : mime(data) {}
    const QMimeData* mime;
};

class SendDataImpl {
public:
    explicit SendDataImpl(QWidget* dragSource) : source(dragSource), mime(new QMimeData) {}
    QPointer<QWidget> source;
    std::unique_ptr<QMimeData> mime;
};

// The picture of a cursor, with its hot spot at the top left of the hand.
QPixmap DragCursorPixmap(DragCursor cursor);
std::uint32_t ModKeysOf(Qt::KeyboardModifiers modifiers);
Qt::DropActions ToQtActions(std::uint32_t actions);
std::uint32_t FromQtAction(Qt::DropAction action);

// The text of a project-items drag (UTF-8 JSON: the project and its dragged bins and
// sequences).
QByteArray EncodeProjectItems(const DraggedProjectItems& items);

// Asks the handler about a drag event (enter, move or drop) and answers the event: the
// action the handler chose is accepted, or the event is ignored. The keys of the event are
// what GetCurrentModKeys reports meanwhile. Answers the handler's request.
DropRequest AnswerDragEvent(QDropEvent& event, bool isDrop,
                            const std::function<void(DropRequest&)>& handler);

} // namespace host
