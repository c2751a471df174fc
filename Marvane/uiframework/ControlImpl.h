#pragma once
// The Qt side of a control: its widget, owned by the panel's content widget.
#include "host/UIControls.h"

#include <QPointer>
#include <QWidget>

namespace host {

class UI_ControlImpl {
public:
    UI_ControlImpl(ByteString id, QWidget* widget);
    virtual ~UI_ControlImpl();
    UI_ControlImpl(const UI_ControlImpl&) = delete;
    UI_ControlImpl& operator=(const UI_ControlImpl&) = delete;

    ByteString nodeID;
    ByteString toolTipKey;
    QPointer<QWidget> widget;
    bool visible = true;
};

// The panel's content widget, where controls go.
QWidget* ContentWidgetOf(TabView& tabView);

} // namespace host
