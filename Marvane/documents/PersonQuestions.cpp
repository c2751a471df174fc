#include "Marvane/documents/PersonQuestions.h"

#include "Marvane/core/InstalledSource.h"

namespace host {

namespace {

InstalledSource<PersonQuestion>& Question() {
    static InstalledSource<PersonQuestion> question;
    return question;
}

InstalledSource<PersonTextQuestion>& TextQuestion() {
    static InstalledSource<PersonTextQuestion> question;
    return question;
}

} // namespace

void SetPersonQuestion(PersonQuestion ask) {
    Question().Install([ask = std::move(ask)] { return ask; });
}

int AskPerson(const ByteString& title, const ByteString& text,
              const std::vector<ByteString>& buttons, Telling kind, int defaultButton) {
    const PersonQuestion ask = Question().Get();
    return ask ? ask(title, text, buttons, kind, defaultButton) : -1;
}

void SetPersonTextQuestion(PersonTextQuestion ask) {
    TextQuestion().Install([ask = std::move(ask)] { return ask; });
}

std::optional<ByteString> AskPersonForText(const ByteString& title, const ByteString& label,
                                           const ByteString& initialText) {
    const PersonTextQuestion ask = TextQuestion().Get();
    return ask ? ask(title, label, initialText) : std::nullopt;
}

} // namespace host
