#pragma once
// The chosen language for what Qt itself writes: the standard buttons and dialogs (OK,
// Cancel, the file dialog), the names of keys in shortcuts ("Strg+S"), and dates and numbers
// written through QLocale.
class QCoreApplication;

namespace host {

// Loads Qt's own translations for the host's language (when the system has them) and makes
// that language's locale the default. Call once the application object exists.
void UseChosenLanguageForQt(QCoreApplication& application);

} // namespace host
