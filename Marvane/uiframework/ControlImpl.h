#pragma once
// The Qt side of a control: its widget, owned by the panel's content widget.
#include "host/UIControls.h"

#include <QPointer>
#include <QWidget>
#include <stdexcept>

namespace host {

class UI_ControlImpl {
public:
    UI_ControlImpl(ByteString id, QWidget* widget);
    virtual ~UI_ControlImpl();
    UI_ControlImpl(const UI_ControlImpl&) = delete;
    UI_ControlImpl& operator=(const UI_ControlImpl&) = delete;

    // The widget; it lives as long as the control, unless its panel went first.
    QWidget& Widget() const {
        QWidget* shown = widget.data();
        if (shown == nullptr) {
            throw std::logic_error("the control's panel is gone: " + nodeID);
        }
        return *shown;
    }

    ByteString nodeID;
    ByteString toolTipKey;
    QPointer<QWidget> widget;
    bool visible = true;
};

// The panel's content widget, where controls go.
QWidget* ContentWidgetOf(TabView& tabView);

} // namespace host
