#pragma once
// Modal dialogs and context menus ask a person. Tests and scripted runs install a responder
// that answers instead; every request is then recorded and no window opens.
#include "host/CoreTypes.h"

#include <memory>
#include <optional>
#include <vector>

namespace host {

struct MessageBoxRequest {
    ByteString title;
    ByteString text;
    std::vector<ByteString> buttons;
    int iconKind = 0;
    int defaultButton = 0;
    // What the person can unfold below the text: the cause, or what could not be done.
    ByteString details;
};

struct TextInputRequest {
    ByteString title;
    ByteString label;
    ByteString initialText;
};

// A context menu about to be shown: its resource id and, per entry (separators left out),
// the command, the text shown and whether the command chain enabled it.
struct ContextMenuEntry {
    ByteString command;
    ByteString text;
    bool enabled = false;
};
struct ContextMenuRequest {
    ByteString menuID;
    std::vector<ContextMenuEntry> entries;
};

class DialogResponder {
public:
    virtual ~DialogResponder() = default;
    // The files chosen in an open-files dialog; none cancels it.
    virtual std::vector<ByteString> AnswerOpenFiles(const ByteString& title,
                                                    const ByteString& filter) {
        (void)title;
        (void)filter;
        return {};
    }
    // The command to choose from the menu (an enabled entry's name), or empty to dismiss it.
    virtual ByteString AnswerContextMenu(const ContextMenuRequest& request) {
        (void)request;
        return {};
    }
    // The index of the button to choose, or -1 to close the box without choosing.
    virtual int AnswerMessageBox(const MessageBoxRequest& request) = 0;
    // The text to enter, or nothing to cancel.
    virtual std::optional<ByteString> AnswerTextInput(const TextInputRequest& request) = 0;
};

// Installs a responder (empty to ask the person again); returns the previous one.
std::shared_ptr<DialogResponder> SetDialogResponder(std::shared_ptr<DialogResponder> responder);

// Asks for one line of text in a modal box over the main window; nothing when cancelled.
std::optional<ByteString> AskForText(const ByteString& title, const ByteString& label,
                                     const ByteString& initialText);

// A responder that gives scripted answers in order and records what it was asked. With no
// answer left it closes boxes without choosing and cancels text input.
class ScriptedDialogResponder : public DialogResponder {
public:
    explicit ScriptedDialogResponder(std::vector<int> answers = {},
                                     std::vector<ByteString> texts = {})
        : mAnswers(std::move(answers)), mTexts(std::move(texts)) {}
    int AnswerMessageBox(const MessageBoxRequest& request) override;
    std::optional<ByteString> AnswerTextInput(const TextInputRequest& request) override;
    ByteString AnswerContextMenu(const ContextMenuRequest& request) override;
    void AddAnswer(int answer) { mAnswers.push_back(answer); }
    std::vector<ByteString> AnswerOpenFiles(const ByteString& title,
                                            const ByteString& filter) override;
    // The next open-files dialog chooses these files (none: cancels it).
    void AddFileChoice(std::vector<ByteString> files) { mFileChoices.push_back(std::move(files)); }
    // The titles of the open-files dialogs shown.
    const std::vector<ByteString>& GetFileDialogTitles() const { return mFileDialogTitles; }
    // The next context menu chooses this command (empty: dismisses it).
    void AddMenuChoice(ByteString command) { mMenuChoices.push_back(std::move(command)); }
    const std::vector<ContextMenuRequest>& GetMenuRequests() const { return mMenuRequests; }
    void AddText(ByteString text) { mTexts.push_back(std::move(text)); }
    const std::vector<MessageBoxRequest>& GetRequests() const { return mRequests; }
    const std::vector<TextInputRequest>& GetTextRequests() const { return mTextRequests; }

private:
    std::vector<int> mAnswers;
    std::size_t mNext = 0;
    std::vector<ByteString> mTexts;
    std::size_t mNextText = 0;
    std::vector<MessageBoxRequest> mRequests;
    std::vector<TextInputRequest> mTextRequests;
    std::vector<ByteString> mMenuChoices;
    std::size_t mNextMenuChoice = 0;
    std::vector<ContextMenuRequest> mMenuRequests;
    std::vector<std::vector<ByteString>> mFileChoices;
    std::size_t mNextFileChoice = 0;
    std::vector<ByteString> mFileDialogTitles;
};

// The responder installed now, or null while a person answers.
std::shared_ptr<DialogResponder> CurrentDialogResponder();

} // namespace host
