#include "Marvane/documents/PersonQuestions.h"

#include "Marvane/core/InstalledSource.h"

namespace host {

namespace {

InstalledSource<PersonQuestion>& Question() {
    static InstalledSource<PersonQuestion> question;
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

} // namespace host
