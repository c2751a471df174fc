#pragma once
// The Qt side of UI_TextEdit: a QLineEdit on the tree's viewport.
#include "host/UITextEdit.h"

#include <QLineEdit>
#include <QPointer>

namespace host {

class EditLine;

class TextEditImpl {
public:
    TextEditImpl(QWidget* viewport, const UI_Rect& frame);
    ~TextEditImpl();
    TextEditImpl(const TextEditImpl&) = delete;
    TextEditImpl& operator=(const TextEditImpl&) = delete;

    // Ends the edit once, telling the callback. The owner may be gone when this returns.
    void End(int reason);
    // Widens the field for its text when it follows its text.
    void FitToText();

    UI_TextEdit* owner = nullptr;
    QPointer<EditLine> line;
    QRect madeFrame;
    bool quiet = true;
    bool ended = false;
    int sizeVariation = UI_TextEdit::kSizeFixed;
    UI_TextEdit::EditEndCallback onEnd;
    UI_TextEdit::ValueChangedCallback onValueChanged;
};

class EditLine final : public QLineEdit {
public:
    EditLine(TextEditImpl& edit, QWidget* parent);
    // The edit goes before its line: the line stops telling it anything.
    void Detach() { mEdit = nullptr; }

protected:
    void keyPressEvent(QKeyEvent* event) override;
    void focusOutEvent(QFocusEvent* event) override;

private:
    TextEditImpl* mEdit;
};

} // namespace host
