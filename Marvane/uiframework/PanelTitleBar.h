#pragma once
// A panel's title bar: its title, a button that opens the panel's menu (when it has one), and
// the buttons that float and close the panel. Dragging it moves the panel and a double-click
// floats or docks it, as the dock's own title bar does: the mouse events it does not use go
// on to the dock.
#include <QDockWidget>
#include <QLabel>
#include <QPoint>
#include <QToolButton>
#include <QWidget>
#include <functional>

namespace host {

class PanelTitleBar final : public QWidget {
public:
    // showMenu opens the panel menu at a point on the screen; empty for a panel without one.
    PanelTitleBar(QDockWidget& dock, std::function<void(QPoint)> showMenu);

    QToolButton* MenuButton() const { return mMenu; }
    QToolButton* FloatButton() const { return mFloat; }
    QToolButton* CloseButton() const { return mClose; }
    QString Title() const { return mTitle->text(); }

private:
    void FeaturesChanged(QDockWidget::DockWidgetFeatures features);

    QDockWidget& mDock;
    QLabel* mTitle;
    QToolButton* mMenu;
    QToolButton* mFloat;
    QToolButton* mClose;
};

} // namespace host
