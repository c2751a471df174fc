#pragma once
// The Qt side of a tab view: the panel's content widget and the dock that shows it.
#include "host/UIFramework.h"

#include <QDockWidget>
#include <QPointer>
#include <QWidget>

namespace host {

class TabViewImpl {
public:
    QPointer<QWidget> content;
    QPointer<QDockWidget> dock;
    HandlerID handlerID = 0;
    ByteString title;
    bool created = false;
    bool hasToolkitChildren = false;
    bool doubleBuffered = true;
};

} // namespace host
