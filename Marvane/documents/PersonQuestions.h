#pragma once
// What the documents layer asks or tells the person (save the changes? the save failed): the
// layer above that shows windows installs how it is shown while the library loads, so that
// nothing here calls up into the window layers. Until one is installed, questions get no
// answer (-1) and reports go unseen.
#include "host/CoreTypes.h"

#include <cstdint>
#include <functional>
#include <optional>
#include <vector>

namespace host {

// What the person is asked or told; the layer that shows it gives it its look.
enum class Telling : std::uint8_t {
    kQuestion, // a choice to make (save the changes?)
    kWarning,  // something was refused; nothing is lost
    kFailure,  // something failed (a save, a reload, an opening)
};

// Its title, text, buttons (none: one "OK"), kind and default button; returns the index of
// the chosen button, or -1.
using PersonQuestion =
    std::function<int(const ByteString& title, const ByteString& text,
                      const std::vector<ByteString>& buttons, Telling kind, int defaultButton)>;

void SetPersonQuestion(PersonQuestion ask);
int AskPerson(const ByteString& title, const ByteString& text,
              const std::vector<ByteString>& buttons, Telling kind, int defaultButton);

// One line of text asked with a title, a label and the text the field starts with; nothing
// when the person cancels. Until one is installed, every question is cancelled.
using PersonTextQuestion = std::function<std::optional<ByteString>(
    const ByteString& title, const ByteString& label, const ByteString& initialText)>;

void SetPersonTextQuestion(PersonTextQuestion ask);
std::optional<ByteString> AskPersonForText(const ByteString& title, const ByteString& label,
                                           const ByteString& initialText);

} // namespace host
