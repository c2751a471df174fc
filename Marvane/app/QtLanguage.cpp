#include "Marvane/app/QtLanguage.h"

#include "host/DebugTrace.h"
#include "host/Localizer.h"

#include <QCoreApplication>
#include <QLibraryInfo>
#include <QLocale>
#include <QTranslator>

namespace host {

void UseChosenLanguageForQt(QCoreApplication& application) {
    const QLocale chosen(QString::fromStdString(CurrentLanguage()));
    // The system's own locale when it speaks the chosen language (so its country's way of
    // writing dates stays), else the chosen language's.
    if (QLocale::system().language() != chosen.language()) {
        QLocale::setDefault(chosen);
    }
    if (chosen.language() == QLocale::English) {
        return; // Qt's texts are English already
    }
    auto* translator = new QTranslator(&application);
    const QString folder = QLibraryInfo::path(QLibraryInfo::TranslationsPath);
    if (translator->load(chosen, QStringLiteral("qtbase"), QStringLiteral("_"), folder)) {
        QCoreApplication::installTranslator(translator);
    } else {
        Trace("Host", 2,
              "Qt's own translations for \"" + CurrentLanguage() + "\" are not installed in " +
                  folder.toStdString() + "; its standard buttons stay in English");
        delete translator;
    }
}

} // namespace host
