#pragma once
// Modal dialogs ask a person. Tests and scripted runs install a responder that answers
// instead; every request is then recorded and no window opens.
#include "host/CoreTypes.h"

#include <memory>
#include <vector>

namespace host {

struct MessageBoxRequest {
    ByteString title;
    ByteString text;
    std::vector<ByteString> buttons;
    int iconKind = 0;
    int defaultButton = 0;
};

class DialogResponder {
public:
    virtual ~DialogResponder() = default;
    // The index of the button to choose, or -1 to close the box without choosing.
    virtual int AnswerMessageBox(const MessageBoxRequest& request) = 0;
};

// Installs a responder (empty to ask the person again); returns the previous one.
std::shared_ptr<DialogResponder> SetDialogResponder(std::shared_ptr<DialogResponder> responder);

// A responder that gives scripted answers in order and records what it was asked.
class ScriptedDialogResponder : public DialogResponder {
public:
    explicit ScriptedDialogResponder(std::vector<int> answers = {})
        : mAnswers(std::move(answers)) {}
    int AnswerMessageBox(const MessageBoxRequest& request) override;
    const std::vector<MessageBoxRequest>& GetRequests() const { return mRequests; }

private:
    std::vector<int> mAnswers;
    std::size_t mNext = 0;
    std::vector<MessageBoxRequest> mRequests;
};

} // namespace host
