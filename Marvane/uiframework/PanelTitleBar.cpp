#include "Marvane/uiframework/PanelTitleBar.h"

#include "host/Localizer.h"

#include <QHBoxLayout>
#include <QPainter>
#include <QPixmap>
#include <QStyle>

namespace host {

namespace {

// Three short lines, the usual sign of a menu, in the bar's text colour.
QIcon MenuIcon(const QPalette& palette) {
    constexpr int kSize = 16;
    QPixmap picture(kSize, kSize);
    picture.fill(Qt::transparent);
    QPainter painter(&picture);
    painter.setPen(QPen(palette.color(QPalette::WindowText), 2));
    for (const int y : {4, 8, 12}) {
        painter.drawLine(3, y, kSize - 3, y);
    }
    return QIcon(picture);
}

QToolButton* BarButton(QWidget* parent, const QIcon& icon, const QString& tip,
                       const char* objectName) {
    auto* button = new QToolButton(parent);
    button->setObjectName(QString::fromLatin1(objectName));
    button->setIcon(icon);
    button->setAutoRaise(true);
    button->setToolTip(tip);
    button->setAccessibleName(tip);
    button->setFocusPolicy(Qt::NoFocus); // the keys stay with the panel
    return button;
}

} // namespace

PanelTitleBar::PanelTitleBar(QDockWidget& dock, std::function<void(QPoint)> showMenu)
    : QWidget(&dock), mDock(dock), mTitle(new QLabel(dock.windowTitle(), this)) {
    setObjectName(QStringLiteral("PanelTitleBar"));
    mTitle->setObjectName(QStringLiteral("PanelTitle"));
    mTitle->setTextFormat(Qt::PlainText);
    mMenu = BarButton(this, MenuIcon(palette()),
                      QString::fromStdString(Localize("$$$/Marvane/Handlers/PanelMenu=Panel Menu")),
                      "PanelMenuButton");
    mFloat = BarButton(this, style()->standardIcon(QStyle::SP_TitleBarNormalButton),
                       QString::fromStdString(Localize("$$$/Marvane/Host/Panel/Float=Float")),
                       "PanelFloatButton");
    mClose = BarButton(this, style()->standardIcon(QStyle::SP_TitleBarCloseButton),
                       QString::fromStdString(Localize("$$$/Marvane/Host/Panel/Close=Close")),
                       "PanelCloseButton");
    auto* layout = new QHBoxLayout(this);
    constexpr int kMargin = 4;
    layout->setContentsMargins(kMargin, 0, 0, 0);
    layout->setSpacing(0);
    layout->addWidget(mTitle, 1);
    layout->addWidget(mMenu);
    layout->addWidget(mFloat);
    layout->addWidget(mClose);

    mMenu->setVisible(static_cast<bool>(showMenu));
    connect(mMenu, &QToolButton::clicked, this, [this, showMenu = std::move(showMenu)] {
        if (showMenu) {
            showMenu(mMenu->mapToGlobal(mMenu->rect().bottomLeft()));
        }
    });
    connect(mFloat, &QToolButton::clicked, this,
            [this] { mDock.setFloating(!mDock.isFloating()); });
    connect(mClose, &QToolButton::clicked, this, [this] { mDock.close(); });
    connect(&mDock, &QDockWidget::windowTitleChanged, mTitle, &QLabel::setText);
    connect(&mDock, &QDockWidget::featuresChanged, this,
            [this](QDockWidget::DockWidgetFeatures features) { FeaturesChanged(features); });
    FeaturesChanged(mDock.features());
}

void PanelTitleBar::FeaturesChanged(QDockWidget::DockWidgetFeatures features) {
    mFloat->setVisible(features.testFlag(QDockWidget::DockWidgetFloatable));
    mClose->setVisible(features.testFlag(QDockWidget::DockWidgetClosable));
}

} // namespace host
