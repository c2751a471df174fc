#include "Marvane/uiframework/TabViewImpl.h"
#include "Marvane/uiframework/Window.h"
#include "Marvane/uitoolkit/TreeView.h"

#include <QVBoxLayout>

namespace host {

namespace {
constexpr int kMinimumPanelWidth = 200;
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
    mImpl->content = new QWidget(parentWidget);
    mImpl->content->setObjectName(QStringLiteral("TabViewContent"));
    mImpl->content->setMinimumWidth(kMinimumPanelWidth);
    mImpl->content->setWindowTitle(QString::fromStdString(title));
    mImpl->created = true;
    FinishCreateSelf();
}

void TabView::EmbedTree(UI_MultiColumnTree& tree) {
    QWidget* content = mImpl->content.data();
    QWidget* widget = tree.GetImpl()->view.data();
    if (content == nullptr || widget == nullptr) {
        return;
    }
    auto* layout = qobject_cast<QVBoxLayout*>(content->layout());
    if (layout == nullptr) {
        layout = new QVBoxLayout(content);
        layout->setContentsMargins(0, 0, 0, 0);
        layout->setSpacing(0);
    }
    layout->addWidget(widget, 1);
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

ByteString TabView::GetPanelMenuID() const {
    return {};
}

void TabView::FinishCreateSelf() {}

void TabView::RemoveUI() {}

} // namespace host
