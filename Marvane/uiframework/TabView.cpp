#include "Marvane/uiframework/TabViewImpl.h"
#include "Marvane/uiframework/Window.h"
#include "Marvane/uitoolkit/TreeView.h"

#include "Marvane/uiframework/ControlImpl.h"

#include <QResizeEvent>
#include <algorithm>
#include <vector>

namespace host {

namespace {
constexpr int kMinimumPanelWidth = 200;

// The panel's content: it tells its tab view when its size changes, so that the panel can
// place its controls.
class PanelContent final : public QWidget {
public:
    PanelContent(TabView& owner, QWidget* parent) : QWidget(parent), mOwner(owner) {}

protected:
    void resizeEvent(QResizeEvent* event) override {
        QWidget::resizeEvent(event);
        mOwner.LayoutChildren({0, 0, static_cast<float>(event->size().width()),
                               static_cast<float>(event->size().height())});
        OrderTabByPlace();
    }

private:
    // Tab goes through the panel's controls as they are seen, row by row from the top, left
    // to right in a row, whatever order the panel made them in.
    void OrderTabByPlace() {
        struct Placed {
            QWidget* widget;
            QRect place;
        };
        std::vector<Placed> controls;
        for (QWidget* child : findChildren<QWidget*>()) {
            if ((child->focusPolicy() & Qt::TabFocus) == 0 || !child->isVisibleTo(this) ||
                !IsControl(child)) {
                continue;
            }
            controls.push_back({child, QRect(child->mapTo(this, QPoint(0, 0)), child->size())});
        }
        std::sort(controls.begin(), controls.end(), [](const Placed& a, const Placed& b) {
            return a.place.center().y() < b.place.center().y();
        });
        // Controls whose middles are within a few pixels of the row's first share its row.
        constexpr int kSameRow = 12;
        for (std::size_t first = 0; first < controls.size();) {
            std::size_t end = first + 1;
            while (end < controls.size() &&
                   controls[end].place.center().y() - controls[first].place.center().y() <
                       kSameRow) {
                ++end;
            }
            std::sort(
                controls.begin() + static_cast<std::ptrdiff_t>(first),
                controls.begin() + static_cast<std::ptrdiff_t>(end),
                [](const Placed& a, const Placed& b) { return a.place.left() < b.place.left(); });
            first = end;
        }
        for (std::size_t index = 1; index < controls.size(); ++index) {
            QWidget::setTabOrder(controls[index - 1].widget, controls[index].widget);
        }
    }
    // A control of the panel itself, not a part inside another control (such as the field
    // in which a row is renamed).
    bool IsControl(const QWidget* widget) const {
        for (const QWidget* up = widget->parentWidget(); up != nullptr && up != this;
             up = up->parentWidget()) {
            if ((up->focusPolicy() & Qt::TabFocus) != 0) {
                return false;
            }
        }
        return true;
    }

    TabView& mOwner;
};
} // namespace

TabView::TabView() : mImpl(std::make_unique<TabViewImpl>()) {}

TabView::~TabView() {
    // A panel's widget belongs to its dock, and the dock to the main window; delete it here
    // only when the tab view goes first.
    if (mImpl->content) {
        delete mImpl->content.data();
    }
}

void TabView::Create(HandlerID handlerID, const ByteString& title, Window* parent, int) {
    mImpl->handlerID = handlerID;
    mImpl->title = title;
    QWidget* parentWidget = parent != nullptr ? parent->GetWidget() : nullptr;
    mImpl->content = new PanelContent(*this, parentWidget);
    mImpl->content->setObjectName(QStringLiteral("TabViewContent"));
    mImpl->content->setMinimumWidth(kMinimumPanelWidth);
    mImpl->content->setWindowTitle(QString::fromStdString(title));
    mImpl->created = true;
    FinishCreateSelf();
}

UI_Rect TabView::GetBounds() const {
    const QWidget* content = mImpl->content.data();
    if (content == nullptr) {
        return {};
    }
    const QSize size = content->size();
    return {0, 0, static_cast<float>(size.width()), static_cast<float>(size.height())};
}

void TabView::LayoutChildren(const UI_Rect&) {}

QWidget* ContentWidgetOf(TabView& tabView) {
    return tabView.GetImpl()->content.data();
}

bool TabView::IsCreated() const {
    return mImpl->created;
}

HandlerID TabView::GetHandlerID() const {
    return mImpl->handlerID;
}

void TabView::SetTitle(const ByteString& title) {
    mImpl->title = title;
    const QString text = QString::fromStdString(title);
    if (mImpl->content) {
        mImpl->content->setWindowTitle(text);
    }
    if (mImpl->dock) {
        mImpl->dock->setWindowTitle(text);
    }
}

ByteString TabView::GetTitle() const {
    return mImpl->title;
}

void TabView::Activate(bool raise, bool takeFocus) {
    if (!mImpl->dock) {
        return;
    }
    mImpl->dock->show();
    if (raise) {
        mImpl->dock->raise();
    }
    if (takeFocus && mImpl->content) {
        mImpl->content->setFocus(Qt::OtherFocusReason);
    }
}

bool TabView::IsFloating() const {
    const QDockWidget* dock = mImpl->dock.data();
    return dock != nullptr && dock->isFloating();
}

UI_Rect TabView::GetFloatingFrame() const {
    const QDockWidget* dock = mImpl->dock.data();
    if (dock == nullptr || !dock->isFloating()) {
        return {};
    }
    const QRect frame = dock->geometry();
    return {static_cast<float>(frame.left()), static_cast<float>(frame.top()),
            static_cast<float>(frame.width()), static_cast<float>(frame.height())};
}

void TabView::SetHasORNChildViews(bool has) {
    mImpl->hasToolkitChildren = has;
    if (QWidget* content = mImpl->content.data()) {
        content->setAutoFillBackground(has);
    }
}

bool TabView::HasORNChildViews() const {
    return mImpl->hasToolkitChildren;
}

void TabView::EnableDoubleBuffering(bool enable) {
    mImpl->doubleBuffered = enable;
    if (QWidget* content = mImpl->content.data()) {
        content->setAttribute(Qt::WA_PaintOnScreen, !enable);
    }
}

bool TabView::IsDoubleBuffered() const {
    return mImpl->doubleBuffered;
}

ByteString TabView::GetPanelMenuID() const {
    return {};
}

float TabView::GetPreferredWidth() const {
    return 0.0f;
}

void TabView::SaveState() {}

void TabView::FinishCreateSelf() {}

void TabView::RemoveUI() {}

} // namespace host
