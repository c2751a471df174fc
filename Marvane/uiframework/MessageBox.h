#pragma once
// The message box as the documents layer's way of asking and telling the person: installed
// when the library loads, each kind of telling with its picture.
#include "Marvane/documents/PersonQuestions.h"

#include <vector>

namespace host {

int AskWithMessageBox(const ByteString& title, const ByteString& text,
                      const std::vector<ByteString>& buttons, Telling kind, int defaultButton);

} // namespace host
