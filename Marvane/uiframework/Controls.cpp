// The controls a panel places around its trees (host/UIControls.h), as Qt widgets inside the
// panel's content widget.
#include "Marvane/uiframework/CommandDispatch.h"
#include "Marvane/uiframework/ControlImpl.h"
#include "Marvane/uitoolkit/DragAndDrop.h"
#include "Marvane/uitoolkit/TreeView.h"

#include "host/Localizer.h"
#include "host/MultiColumnTree.h"
#include "host/UIFramework.h"

#include <QAbstractButton>
#include <QDragEnterEvent>
#include <QDropEvent>
#include <QEvent>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QMainWindow>
#include <QShortcut>
#include <QSlider>
#include <QStatusBar>
#include <QStyle>
#include <QToolButton>
#include <algorithm>
#include <cmath>

namespace host {

namespace {

constexpr int kBottomBarHeight = 30;

QString Localized(const ByteString& key) {
    return key.empty() ? QString() : QString::fromStdString(Localize(key));
}

QString ToQString(const WideString& text) {
    return QString::fromUtf16(text.data(), static_cast<qsizetype>(text.size()));
}

WideString FromQString(const QString& text) {
    return WideString(reinterpret_cast<const char16_t*>(text.utf16()),
                      static_cast<std::size_t>(text.size()));
}

QWidget* ParentWidget(TabView& parent) {
    QWidget* content = ContentWidgetOf(parent);
    if (content == nullptr) {
        throw std::logic_error("a control needs a created panel");
    }
    return content;
}

// The area that holds trees: each tree fills it.
class SubViewWidget final : public QWidget {
public:
    using QWidget::QWidget;

protected:
    void resizeEvent(QResizeEvent* event) override {
        QWidget::resizeEvent(event);
        for (QObject* child : children()) {
            if (auto* widget = qobject_cast<QWidget*>(child)) {
                widget->setGeometry(rect());
            }
        }
    }
};

// A line edit whose Escape key clears it.
class SearchField final : public QLineEdit {
public:
    using QLineEdit::QLineEdit;

protected:
    void keyPressEvent(QKeyEvent* event) override {
        if (event->key() == Qt::Key_Escape && event->modifiers() == Qt::NoModifier) {
            clear();
            event->accept();
            return;
        }
        QLineEdit::keyPressEvent(event);
    }
};

// Shows a button's status text in the main window's status bar while the pointer is over it.
class StatusTextShower final : public QObject {
public:
    StatusTextShower(QWidget* button, const ByteString* key) : QObject(button), mKey(key) {
        button->installEventFilter(this);
    }

protected:
    bool eventFilter(QObject* watched, QEvent* event) override {
        auto* button = qobject_cast<QWidget*>(watched);
        auto* window = button != nullptr ? qobject_cast<QMainWindow*>(button->window()) : nullptr;
        if (window != nullptr && !mKey->empty()) {
            if (event->type() == QEvent::Enter) {
                window->statusBar()->showMessage(Localized(*mKey));
            } else if (event->type() == QEvent::Leave) {
                window->statusBar()->clearMessage();
            }
        }
        return QObject::eventFilter(watched, event);
    }

private:
    const ByteString* mKey;
};

class SliderImpl final : public UI_ControlImpl {
public:
    using UI_ControlImpl::UI_ControlImpl;
    SliderControl::ValueChangedCallback changed;
    bool quiet = false;
};

class ButtonImpl final : public UI_ControlImpl {
public:
    using UI_ControlImpl::UI_ControlImpl;
    ByteString statusKey;
    ByteString commandName;
    std::weak_ptr<TabView> panel;
    std::function<void(DropRequest&)> drop;
    DragCursor dragCursor = DragCursor::FistNo;
    bool forwardsDrops = false;
};

// Hands the drag events over a button to its drop handler.
class DropForwarder final : public QObject {
public:
    DropForwarder(QWidget* button, ButtonImpl& state) : QObject(button), mState(state) {
        button->installEventFilter(this);
    }

protected:
    bool eventFilter(QObject* watched, QEvent* event) override {
        const QEvent::Type type = event->type();
        if (type != QEvent::DragEnter && type != QEvent::DragMove && type != QEvent::Drop) {
            return QObject::eventFilter(watched, event);
        }
        auto& dropEvent = static_cast<QDropEvent&>(*event);
        const DropRequest answer = AnswerDragEvent(dropEvent, type == QEvent::Drop, mState.drop);
        mState.dragCursor = answer.cursor;
        if (type == QEvent::DragEnter && mState.drop) {
            // Interested while the pointer is over the button, so that every move is asked.
            dropEvent.accept();
        }
        return true;
    }

private:
    ButtonImpl& mState;
};

QSlider* SliderOf(const UI_Control& control) {
    return static_cast<QSlider*>(&control.GetImpl()->Widget());
}

} // namespace

UI_ControlImpl::UI_ControlImpl(ByteString id, QWidget* w) : nodeID(std::move(id)), widget(w) {
    w->setObjectName(QString::fromStdString(nodeID));
}

UI_ControlImpl::~UI_ControlImpl() = default;

// ---- every control

UI_Control::UI_Control(std::unique_ptr<UI_ControlImpl> impl) : mImpl(std::move(impl)) {}

UI_Control::~UI_Control() {
    // The widget goes with the panel's content, unless the control goes first.
    delete mImpl->widget.data();
}

const ByteString& UI_Control::GetNodeID() const {
    return mImpl->nodeID;
}

void UI_Control::SetFrame(const UI_Rect& frame) {
    mImpl->Widget().setGeometry(static_cast<int>(std::lround(frame.left)),
                                static_cast<int>(std::lround(frame.top)),
                                std::max(0, static_cast<int>(std::lround(frame.width))),
                                std::max(0, static_cast<int>(std::lround(frame.height))));
}

UI_Rect UI_Control::GetFrame() const {
    const QRect rect = mImpl->Widget().geometry();
    return {static_cast<float>(rect.left()), static_cast<float>(rect.top()),
            static_cast<float>(rect.width()), static_cast<float>(rect.height())};
}

void UI_Control::SetVisible(bool visible) {
    mImpl->visible = visible;
    mImpl->Widget().setVisible(visible);
}

bool UI_Control::IsVisible() const {
    return mImpl->visible;
}

void UI_Control::SetEnabled(bool enabled) {
    mImpl->Widget().setEnabled(enabled);
}

bool UI_Control::IsEnabled() const {
    return mImpl->Widget().isEnabled();
}

void UI_Control::SetToolTip(const ByteString& key) {
    QWidget& widget = mImpl->Widget();
    const QString previous = widget.toolTip();
    mImpl->toolTipKey = key;
    widget.setToolTip(Localized(key));
    // A control without words of its own (a picture button, a slider) is named by its tooltip.
    const auto* button = qobject_cast<const QAbstractButton*>(&widget);
    const bool wordless = (button != nullptr && button->text().isEmpty()) ||
                          qobject_cast<const QSlider*>(&widget) != nullptr;
    if (wordless && (widget.accessibleName().isEmpty() || widget.accessibleName() == previous)) {
        widget.setAccessibleName(widget.toolTip());
    }
}

ByteString UI_Control::GetToolTip() const {
    return mImpl->Widget().toolTip().toStdString();
}

UI_Size UI_Control::GetRecommendedSize() const {
    const QSize size = mImpl->Widget().sizeHint();
    return {static_cast<float>(size.width()), static_cast<float>(size.height())};
}

// ---- sub-view

std::unique_ptr<SubView> SubView::Create(TabView& parent, const ByteString& nodeID) {
    auto* widget = new SubViewWidget(ParentWidget(parent));
    widget->show();
    return std::unique_ptr<SubView>(new SubView(std::make_unique<UI_ControlImpl>(nodeID, widget)));
}

void SubView::EmbedTree(UI_MultiColumnTree& tree) {
    QWidget* area = &GetImpl()->Widget();
    QWidget* view = tree.GetImpl()->view.data();
    view->setParent(area);
    view->setGeometry(area->rect());
    view->show();
}

// ---- search box

std::unique_ptr<SearchBoxControl>
SearchBoxControl::Create(TabView& parent, const ByteString& nodeID, const ByteString& promptKey) {
    QWidget* panel = ParentWidget(parent);
    auto* field = new SearchField(panel);
    field->setPlaceholderText(Localized(promptKey));
    field->setAccessibleName(field->placeholderText());
    field->setClearButtonEnabled(true);
    field->show();
    // Ctrl+F anywhere in the panel goes to the box, its text selected for typing over.
    auto* find = new QShortcut(QKeySequence::Find, panel);
    find->setContext(Qt::WidgetWithChildrenShortcut);
    QObject::connect(find, &QShortcut::activated, field, [field] {
        field->setFocus(Qt::ShortcutFocusReason);
        field->selectAll();
    });
    const ByteString station = nodeID;
    QObject::connect(field, &QLineEdit::textChanged, field, [station](const QString&) {
        MessageStation::Get(station)->Broadcast(SearchBoxValueChangedMessage());
    });
    return std::unique_ptr<SearchBoxControl>(
        new SearchBoxControl(std::make_unique<UI_ControlImpl>(nodeID, field)));
}

WideString SearchBoxControl::GetValue() const {
    return FromQString(static_cast<QLineEdit*>(&GetImpl()->Widget())->text());
}

void SearchBoxControl::SetValue(const WideString& text, bool notify) {
    auto* field = static_cast<QLineEdit*>(&GetImpl()->Widget());
    const QSignalBlocker blocker(notify ? nullptr : field);
    field->setText(ToQString(text));
}

ByteString SearchBoxControl::GetPromptText() const {
    return static_cast<QLineEdit*>(&GetImpl()->Widget())->placeholderText().toStdString();
}

// ---- static text

std::unique_ptr<StaticTextControl>
StaticTextControl::Create(TabView& parent, const ByteString& nodeID, TextAlignment alignment) {
    auto* label = new QLabel(ParentWidget(parent));
    const Qt::Alignment horizontal = alignment == TextAlignment::Left     ? Qt::AlignLeft
                                     : alignment == TextAlignment::Center ? Qt::AlignHCenter
                                                                          : Qt::AlignRight;
    label->setAlignment(horizontal | Qt::AlignVCenter);
    label->setTextFormat(Qt::PlainText); // module texts name files and holders
    label->show();
    return std::unique_ptr<StaticTextControl>(
        new StaticTextControl(std::make_unique<UI_ControlImpl>(nodeID, label)));
}

void StaticTextControl::SetValue(const WideString& text) {
    static_cast<QLabel*>(&GetImpl()->Widget())->setText(ToQString(text));
}

WideString StaticTextControl::GetValue() const {
    return FromQString(static_cast<QLabel*>(&GetImpl()->Widget())->text());
}

// ---- slider

std::unique_ptr<SliderControl> SliderControl::Create(TabView& parent, const ByteString& nodeID) {
    auto* slider = new QSlider(Qt::Horizontal, ParentWidget(parent));
    slider->setRange(0, 100);
    slider->show();
    auto impl = std::make_unique<SliderImpl>(nodeID, slider);
    SliderImpl* state = impl.get();
    QObject::connect(slider, &QSlider::valueChanged, slider, [state, slider](int) {
        if (!state->quiet && state->changed) {
            state->changed(slider->isSliderDown());
        }
    });
    // The end of a drag is final, even when the last move already reported the same value.
    QObject::connect(slider, &QSlider::sliderReleased, slider, [state] {
        if (!state->quiet && state->changed) {
            state->changed(false);
        }
    });
    return std::unique_ptr<SliderControl>(new SliderControl(std::move(impl)));
}

double SliderControl::GetValue() const {
    const QSlider* slider = SliderOf(*this);
    return static_cast<double>(slider->value()) / static_cast<double>(slider->maximum());
}

void SliderControl::SetValue(double value) {
    QSlider* slider = SliderOf(*this);
    auto* state = static_cast<SliderImpl*>(GetImpl());
    const double bounded = std::isfinite(value) ? std::clamp(value, 0.0, 1.0) : 0.0;
    state->quiet = true;
    slider->setValue(static_cast<int>(std::lround(bounded * slider->maximum())));
    state->quiet = false;
}

void SliderControl::SetStepCount(int steps) {
    QSlider* slider = SliderOf(*this);
    const double value = GetValue();
    auto* state = static_cast<SliderImpl*>(GetImpl());
    state->quiet = true;
    slider->setMaximum(std::max(1, steps));
    slider->setValue(static_cast<int>(std::lround(value * slider->maximum())));
    state->quiet = false;
}

int SliderControl::GetStepCount() const {
    return SliderOf(*this)->maximum();
}

void SliderControl::SetValueChangedCallback(ValueChangedCallback callback) {
    static_cast<SliderImpl*>(GetImpl())->changed = std::move(callback);
}

// ---- picture button

std::unique_ptr<PictureButton> PictureButton::Create(TabView& parent, const ByteString& nodeID,
                                                     const ByteString& pictureName,
                                                     const ByteString& commandName) {
    auto* button = new QToolButton(ParentWidget(parent));
    button->setAutoRaise(true);
    button->setIcon(QIcon(QStringLiteral(":/icons/") + QString::fromStdString(pictureName) +
                          QStringLiteral(".svg")));
    auto impl = std::make_unique<ButtonImpl>(nodeID, button);
    ButtonImpl* state = impl.get();
    state->commandName = commandName;
    state->panel = std::weak_ptr<TabView>(parent.shared_from_this());
    new StatusTextShower(button, &state->statusKey);
    auto control = std::unique_ptr<PictureButton>(new PictureButton(std::move(impl)));
    PictureButton* self = control.get();
    QObject::connect(button, &QToolButton::clicked, button, [self] { self->Click(); });
    button->show();
    return control;
}

void PictureButton::SetStatusText(const ByteString& key) {
    static_cast<ButtonImpl*>(GetImpl())->statusKey = key;
}

ByteString PictureButton::GetStatusText() const {
    return Localized(static_cast<ButtonImpl*>(GetImpl())->statusKey).toStdString();
}

const ByteString& PictureButton::GetCommandName() const {
    return static_cast<ButtonImpl*>(GetImpl())->commandName;
}

bool PictureButton::Click() {
    auto* state = static_cast<ButtonImpl*>(GetImpl());
    const CommandDeclaration* command = ShortcutManager::Instance().FindCommand(state->commandName);
    if (!IsEnabled() || command == nullptr) {
        return false;
    }
    // The command goes to the panel the button belongs to.
    if (const std::shared_ptr<TabView> panel = state->panel.lock()) {
        CommandDispatcher::Instance().SetFocusedTabView(panel);
    }
    return CommandDispatcher::Instance().FindStatus(command->id).enabled &&
           CommandDispatcher::Instance().Obey(command->id);
}

void PictureButton::SetDropHandler(std::function<void(DropRequest& request)> handler) {
    auto* state = static_cast<ButtonImpl*>(GetImpl());
    state->drop = std::move(handler);
    state->Widget().setAcceptDrops(static_cast<bool>(state->drop));
    if (state->drop && !state->forwardsDrops) {
        new DropForwarder(&state->Widget(), *state);
        state->forwardsDrops = true;
    }
}

DragCursor PictureButton::GetDragCursor() const {
    return static_cast<ButtonImpl*>(GetImpl())->dragCursor;
}

// ---- the skin

std::int32_t GetDimension(std::int32_t number) {
    return number == 7 ? kBottomBarHeight : 0;
}

bool IsRunningV7OrBeyond() {
    return true;
}

} // namespace host
