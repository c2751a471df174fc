#pragma once
// Host-side choice of the user-interface language (see host/Localizer.h for lookups).
#include <string_view>

namespace host {

// Switches the language, given as a two-letter code ("de"); longer locale names such as
// "de_DE.UTF-8" are cut to their first two letters. An empty code chooses from the
// environment: MARVANE_LANGUAGE, then LANGUAGE, LC_ALL, LC_MESSAGES and LANG, the first
// that is set and not empty ("C" and "POSIX" mean English). A language without a
// translation table falls back to English, whose texts are the defaults in the keys.
void SetLanguage(std::string_view twoLetterCode);

} // namespace host
