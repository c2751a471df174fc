// What Qt itself writes follows the chosen language: its standard buttons and the names of
// keys in shortcuts.
#include "Marvane/app/QtLanguage.h"
#include "Marvane/core/LocalizerControl.h"

#include <QApplication>
#include <QDialogButtonBox>
#include <QKeySequence>
#include <QLibraryInfo>
#include <QLocale>
#include <QPushButton>
#include <QTranslator>
#include <filesystem>
#include <gtest/gtest.h>

namespace {

TEST(QtLanguage, GermanGivesQtsOwnButtonsAndKeyNamesInGerman) {
    const std::filesystem::path table =
        QLibraryInfo::path(QLibraryInfo::TranslationsPath).toStdString() + "/qtbase_de.qm";
    ASSERT_TRUE(std::filesystem::exists(table))
        << table << " is missing: scripts/ensure-deps installs Qt's translations";
    const QLocale before;
    host::SetLanguage("de");
    host::UseChosenLanguageForQt(*QCoreApplication::instance());
    QDialogButtonBox buttons(QDialogButtonBox::Ok | QDialogButtonBox::Cancel);
    EXPECT_EQ(buttons.button(QDialogButtonBox::Cancel)->text().toStdString(), "Abbrechen");
    EXPECT_EQ(
        QKeySequence(QStringLiteral("Ctrl+S")).toString(QKeySequence::NativeText).toStdString(),
        "Strg+S");
    EXPECT_EQ(QLocale().language(), QLocale::German);

    // Back to English for the other tests.
    for (QTranslator* translator : QCoreApplication::instance()->findChildren<QTranslator*>()) {
        QCoreApplication::removeTranslator(translator);
        delete translator;
    }
    host::SetLanguage("en");
    QLocale::setDefault(before);
    EXPECT_EQ(QDialogButtonBox(QDialogButtonBox::Cancel)
                  .button(QDialogButtonBox::Cancel)
                  ->text()
                  .toStdString(),
              "Cancel");
}

} // namespace
