#include "Marvane/uitoolkit/TextEdit.h"

#include <QFocusEvent>
#include <QKeyEvent>
#include <QValidator>
#include <algorithm>

namespace host {

namespace {

QString ToQ(const WideString& text) {
    return QString::fromUtf16(text.data(), static_cast<qsizetype>(text.size()));
}

WideString FromQ(const QString& text) {
    return {reinterpret_cast<const char16_t*>(text.utf16()), static_cast<std::size_t>(text.size())};
}

} // namespace

EditLine::EditLine(TextEditImpl& edit, QWidget* parent) : QLineEdit(parent), mEdit(&edit) {
    setObjectName(QStringLiteral("TreeEditField"));
}

void EditLine::keyPressEvent(QKeyEvent* event) {
    switch (event->key()) {
    case Qt::Key_Return:
    case Qt::Key_Enter:
        event->accept();
        if (mEdit) {
            mEdit->End(UI_TextEdit::kEndCommitted);
        }
        return;
    case Qt::Key_Escape:
        event->accept();
        if (mEdit) {
            mEdit->End(UI_TextEdit::kEndCancelled);
        }
        return;
    default:
        QLineEdit::keyPressEvent(event);
    }
}

void EditLine::focusOutEvent(QFocusEvent* event) {
    QLineEdit::focusOutEvent(event);
    // Another window, a menu or a popup taking the focus leaves the edit open; the user
    // comes back to it.
    const Qt::FocusReason reason = event->reason();
    if (reason == Qt::ActiveWindowFocusReason || reason == Qt::PopupFocusReason) {
        return;
    }
    if (mEdit) {
        mEdit->End(UI_TextEdit::kEndFocusLost);
    }
}

TextEditImpl::TextEditImpl(QWidget* viewport, const UI_Rect& frame)
    : line(new EditLine(*this, viewport)),
      madeFrame(static_cast<int>(frame.left), static_cast<int>(frame.top),
                std::max(1, static_cast<int>(frame.width)),
                std::max(1, static_cast<int>(frame.height))) {
    line->setGeometry(madeFrame);
    QObject::connect(line.data(), &QLineEdit::textEdited, line.data(), [this](const QString& text) {
        FitToText();
        if (!quiet && onValueChanged) {
            onValueChanged(FromQ(text));
        }
    });
    line->show();
    line->setFocus(Qt::OtherFocusReason);
}

TextEditImpl::~TextEditImpl() {
    if (line) {
        line->Detach();
        line->hide();
        // The field may be going from inside its own key or focus event.
        line->deleteLater();
    }
}

void TextEditImpl::End(int reason) {
    if (ended) {
        return;
    }
    ended = true;
    if (onEnd && owner) {
        // Last: the callback may remove the field, and this with it.
        const auto callback = onEnd;
        callback(*owner, reason);
    }
}

void TextEditImpl::FitToText() {
    if (!line || sizeVariation != UI_TextEdit::kSizeFollowsText) {
        return;
    }
    constexpr int kRoom = 16; // the frame, the margins and room for the next character
    const int wanted = line->fontMetrics().horizontalAdvance(line->text()) + kRoom;
    const QWidget* area = line->parentWidget();
    const int widest =
        area ? std::max(madeFrame.width(), area->width() - madeFrame.left()) : wanted;
    line->resize(std::clamp(wanted, madeFrame.width(), widest), madeFrame.height());
}

UI_TextEdit::UI_TextEdit(std::unique_ptr<TextEditImpl> impl) : mImpl(std::move(impl)) {
    mImpl->owner = this;
}

UI_TextEdit::~UI_TextEdit() = default;

void UI_TextEdit::SetValue(const WideString& value) {
    if (mImpl->line) {
        mImpl->line->setText(ToQ(value));
        mImpl->line->selectAll();
        mImpl->FitToText();
    }
}

WideString UI_TextEdit::GetValue() const {
    return mImpl->line ? FromQ(mImpl->line->text()) : WideString();
}

namespace {

// Refuses any change that would make the text longer than its maximum in UTF-8.
class ByteLimit final : public QValidator {
public:
    ByteLimit(std::size_t bytes, QObject* parent) : QValidator(parent), mBytes(bytes) {}
    State validate(QString& input, int&) const override {
        return static_cast<std::size_t>(input.toUtf8().size()) <= mBytes ? Acceptable : Invalid;
    }

private:
    std::size_t mBytes;
};

} // namespace

void UI_TextEdit::SetMaximumBytes(std::size_t bytes) {
    if (mImpl->line) {
        mImpl->line->setValidator(bytes == 0 ? nullptr : new ByteLimit(bytes, mImpl->line));
    }
}

void UI_TextEdit::SetIsQuiet(bool quiet) {
    mImpl->quiet = quiet;
}

bool UI_TextEdit::IsQuiet() const {
    return mImpl->quiet;
}

void UI_TextEdit::SetValueChangedCallback(ValueChangedCallback callback) {
    mImpl->onValueChanged = std::move(callback);
}

void UI_TextEdit::SetDesiredSizeVariation(int variation) {
    mImpl->sizeVariation = variation;
    mImpl->FitToText();
}

void UI_TextEdit::NotifyWhenEditEnds(EditEndCallback callback) {
    mImpl->onEnd = std::move(callback);
}

bool UI_TextEdit::HasEnded() const {
    return mImpl->ended;
}

void UI_TextEdit::SetVisible(bool visible) {
    if (mImpl->line) {
        mImpl->line->setVisible(visible);
    }
}

bool UI_TextEdit::IsVisible() const {
    return mImpl->line && mImpl->line->isVisible();
}

UI_Rect UI_TextEdit::GetFrame() const {
    if (!mImpl->line) {
        return {};
    }
    const QRect frame = mImpl->line->geometry();
    return {static_cast<float>(frame.left()), static_cast<float>(frame.top()),
            static_cast<float>(frame.width()), static_cast<float>(frame.height())};
}

} // namespace host
