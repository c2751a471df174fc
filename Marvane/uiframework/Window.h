#pragma once
// A host window as modules see it: an opaque handle on a Qt widget.
#include "host/UIFramework.h"

#include <QPointer>
#include <QWidget>

namespace host {

class Window {
public:
    explicit Window(QWidget* widget) : mWidget(widget) {}
    QWidget* GetWidget() const { return mWidget; }

private:
    QPointer<QWidget> mWidget;
};

} // namespace host
