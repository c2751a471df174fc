#pragma once
// What the documents layer asks or tells the person (save the changes? the save failed): the
// layer above that shows windows installs how it is shown while the library loads, so that
// nothing here calls up into the window layers. Until one is installed, questions get no
// answer (-1) and reports go unseen.
#include "host/CoreTypes.h"

#include <functional>
#include <vector>

namespace host {

// A message box: its title, text, buttons (none: one "OK"), icon (a MessageBoxIcon) and
// default button; returns the index of the chosen button, or -1.
using PersonQuestion =
    std::function<int(const ByteString& title, const ByteString& text,
                      const std::vector<ByteString>& buttons, int iconKind, int defaultButton)>;

void SetPersonQuestion(PersonQuestion ask);
int AskPerson(const ByteString& title, const ByteString& text,
              const std::vector<ByteString>& buttons, int iconKind, int defaultButton);

} // namespace host
