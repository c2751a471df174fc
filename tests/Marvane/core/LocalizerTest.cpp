#include "host/Localizer.h"
#include "Marvane/core/LocalizerControl.h"
#include "TestSupport.h"

#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <string>
#include <thread>
#include <vector>

namespace {

using host::Localize;
using host::test::EnvironmentVariable;

// German texts with umlauts and sharp s, spelled as escapes so the tests do not depend on the
// source encoding.
const std::string kPanelMenuGerman = "Bedienfeldmen\xC3\xBC";
const std::u16string kCloseProjectGermanWide = u"Projekt schlie\u00DFen";

constexpr std::string_view kCommands = "$$$/Marvane/Handlers/MvProductionFolder/Commands/";

class LocalizerTest : public testing::Test {
protected:
    void TearDown() override { host::SetLanguage("en"); }
};

// Sets every variable the language is chosen from; null removes it.
class LanguageEnvironment {
public:
    LanguageEnvironment(const char* marvane, const char* language, const char* all,
                        const char* messages, const char* lang)
        : mMarvane("MARVANE_LANGUAGE", marvane), mLanguage("LANGUAGE", language),
          mAll("LC_ALL", all), mMessages("LC_MESSAGES", messages), mLang("LANG", lang) {}

private:
    EnvironmentVariable mMarvane;
    EnvironmentVariable mLanguage;
    EnvironmentVariable mAll;
    EnvironmentVariable mMessages;
    EnvironmentVariable mLang;
};

TEST_F(LocalizerTest, EnglishShowsTheDefaultText) {
    host::SetLanguage("en");
    EXPECT_EQ(host::CurrentLanguage(), "en");
    EXPECT_EQ(Localize("$$$/Marvane/Handlers/PanelMenu=Panel Menu"), "Panel Menu");
}

TEST_F(LocalizerTest, GermanTableIsUsedWhenLanguageIsGerman) {
    host::SetLanguage("de");
    EXPECT_EQ(host::CurrentLanguage(), "de");
    EXPECT_EQ(Localize("$$$/Marvane/Handlers/PanelMenu=Panel Menu"), kPanelMenuGerman);
    EXPECT_EQ(Localize("$$$/Marvane/Handlers/MvProductionFolder/ProductionContext=Production "
                       "Panel"),
              "Produktionsbedienfeld");
}

TEST_F(LocalizerTest, DefaultIsUsedWhenTableHasNoEntry) {
    host::SetLanguage("de");
    ASSERT_EQ(host::CurrentLanguage(), "de");
    EXPECT_EQ(Localize("$$$/Marvane/Test/NotTranslated=Only in English"), "Only in English");
}

TEST_F(LocalizerTest, TranslationKeepsTrailingBlank) {
    host::SetLanguage("de");
    EXPECT_EQ(Localize("$$$/Marvane/Handlers/MvProductionFolder/TabTitlePrefix=Production: "),
              "Produktion: ");
}

TEST_F(LocalizerTest, EveryPanelTextHasGermanTranslation) {
    const std::vector<std::string> keys = {
        "$$$/Marvane/Handlers/MvProductionFolder/ProductionContext",
        "$$$/Marvane/Handlers/Production/ProductionWindowTitle",
        "$$$/Marvane/Handlers/PanelMenu",
        "$$$/Marvane/Handlers/MvProductionFolder/MvProductionTabViewTitle",
        "$$$/Marvane/Handlers/MvProductionFolder/TabTitlePrefix",
        "$$$/Marvane/Handlers/MvProductionFolder/TabTitleWhenNoProductionIsOpen",
        std::string(kCommands) + "MoveSelectionPageDown",
        std::string(kCommands) + "MoveSelectionPageUp",
        std::string(kCommands) + "MoveSelectionEnd",
        std::string(kCommands) + "MoveSelectionHome",
        std::string(kCommands) + "ZoomIn",
        std::string(kCommands) + "ZoomOut",
        std::string(kCommands) + "OpenProject",
        std::string(kCommands) + "CloseProject",
        std::string(kCommands) + "MakeACopy",
        std::string(kCommands) + "MoveToTrash",
    };
    host::SetLanguage("de");
    for (const std::string& key : keys) {
        EXPECT_FALSE(Localize(key + "=").empty()) << key;
    }
    EXPECT_EQ(Localize(std::string(kCommands) + "MoveToTrash=Move To Trash"),
              "In den Papierkorb verschieben");
    EXPECT_EQ(Localize(std::string(kCommands) + "MakeACopy=Make a Copy"), "Kopie erstellen");
}

TEST_F(LocalizerTest, TranslatorNoteIsNeverShown) {
    host::SetLanguage("en");
    EXPECT_EQ(Localize("$$$/Marvane/Test/Noted=Open#{verb, as in opening a file}"), "Open");
    EXPECT_EQ(Localize("Plain text#{with a note}"), "Plain text");
    EXPECT_EQ(Localize("$$$/Marvane/Test/NotedKey#{no default}"), "");
    host::SetLanguage("de");
    EXPECT_EQ(Localize("$$$/Marvane/Handlers/PanelMenu=Panel Menu#{menu of a panel}"),
              kPanelMenuGerman);
}

TEST_F(LocalizerTest, KeyWithoutDefaultGivesEmptyTextUnlessTranslated) {
    host::SetLanguage("en");
    EXPECT_EQ(Localize("$$$/Marvane/Test/NoDefault"), "");
    host::SetLanguage("de");
    EXPECT_EQ(Localize("$$$/Marvane/Handlers/PanelMenu"), kPanelMenuGerman);
}

TEST_F(LocalizerTest, TextThatIsNoKeyIsReturnedUnchanged) {
    host::SetLanguage("de");
    EXPECT_EQ(Localize("Scene 12"), "Scene 12");
    EXPECT_EQ(Localize("a = b"), "a = b");
    EXPECT_EQ(Localize("$$/Marvane/Handlers/PanelMenu"), "$$/Marvane/Handlers/PanelMenu");
    EXPECT_EQ(Localize(""), "");
}

TEST_F(LocalizerTest, DefaultTextMayContainEqualsSign) {
    host::SetLanguage("en");
    EXPECT_EQ(Localize("$$$/Marvane/Test/Equation=a = b"), "a = b");
}

TEST_F(LocalizerTest, ArgumentsReplaceNumberedPlaceholders) {
    host::SetLanguage("en");
    EXPECT_EQ(Localize("$$$/Marvane/Test/Count=@0 of @1 items", {"3", "7"}), "3 of 7 items");
    EXPECT_EQ(Localize("$$$/Marvane/Test/Twice=@0 and @0 again", {"x"}), "x and x again");
    EXPECT_EQ(Localize("$$$/Marvane/Test/Reversed=@1, @0", {"first", "second"}), "second, first");
    EXPECT_EQ(Localize("Moved @0", {"Scene 12"}), "Moved Scene 12");
}

TEST_F(LocalizerTest, ArgumentsReplacePlaceholdersInTranslation) {
    host::SetLanguage("de");
    EXPECT_EQ(
        Localize("$$$/Marvane/Handlers/MvProductionFolder/TabTitlePrefix=Production: ", {"unused"}),
        "Produktion: ");
    EXPECT_EQ(Localize("$$$/Marvane/Test/Untranslated=@0 files", {"12"}), "12 files");
}

TEST_F(LocalizerTest, PlaceholderWithoutArgumentStaysAsWritten) {
    host::SetLanguage("en");
    EXPECT_EQ(Localize("$$$/Marvane/Test/Missing=@0 and @2", {"a"}), "a and @2");
    EXPECT_EQ(Localize("$$$/Marvane/Test/NoArgs=@0 stays"), "@0 stays");
    EXPECT_EQ(Localize("$$$/Marvane/Test/Mail=user@example.com at @", {"x"}),
              "user@example.com at @");
}

TEST_F(LocalizerTest, InsertedArgumentsAreNotScannedAgain) {
    host::SetLanguage("en");
    EXPECT_EQ(Localize("$$$/Marvane/Test/Rescan=@0-@1", {"@1", "x"}), "@1-x");
    EXPECT_EQ(Localize("$$$/Marvane/Test/Self=<@0>", {"@0"}), "<@0>");
}

TEST_F(LocalizerTest, LocalizeWideGivesUtf16Text) {
    host::SetLanguage("de");
    EXPECT_EQ(host::LocalizeWide(std::string(kCommands) + "CloseProject=Close Project"),
              kCloseProjectGermanWide);
    host::SetLanguage("en");
    EXPECT_EQ(host::LocalizeWide(std::string(kCommands) + "CloseProject=Close Project"),
              u"Close Project");
}

TEST_F(LocalizerTest, UnknownLanguageFallsBackToEnglish) {
    host::SetLanguage("fr");
    EXPECT_EQ(host::CurrentLanguage(), "en");
    EXPECT_EQ(Localize("$$$/Marvane/Handlers/PanelMenu=Panel Menu"), "Panel Menu");
}

TEST_F(LocalizerTest, LanguageCodeIsNormalised) {
    host::SetLanguage("DE");
    EXPECT_EQ(host::CurrentLanguage(), "de");
    host::SetLanguage("de_AT.UTF-8");
    EXPECT_EQ(host::CurrentLanguage(), "de");
    host::SetLanguage("1x");
    EXPECT_EQ(host::CurrentLanguage(), "en");
}

TEST_F(LocalizerTest, EmptyCodeTakesMarvaneLanguageFirst) {
    LanguageEnvironment environment("de", "fr", "fr_FR.UTF-8", "fr_FR.UTF-8", "fr_FR.UTF-8");
    host::SetLanguage("");
    EXPECT_EQ(host::CurrentLanguage(), "de");
}

TEST_F(LocalizerTest, EmptyCodeSkipsEmptyVariables) {
    LanguageEnvironment environment("", "", nullptr, "", "de_DE.UTF-8");
    host::SetLanguage("");
    EXPECT_EQ(host::CurrentLanguage(), "de");
    EXPECT_EQ(Localize("$$$/Marvane/Handlers/PanelMenu=Panel Menu"), kPanelMenuGerman);
}

TEST_F(LocalizerTest, EmptyCodeFollowsVariableOrder) {
    {
        LanguageEnvironment environment(nullptr, "de:en", "en_US.UTF-8", nullptr, nullptr);
        host::SetLanguage("");
        EXPECT_EQ(host::CurrentLanguage(), "de");
    }
    {
        LanguageEnvironment environment(nullptr, nullptr, "en_US.UTF-8", "de_DE", "de_DE");
        host::SetLanguage("");
        EXPECT_EQ(host::CurrentLanguage(), "en");
    }
    {
        LanguageEnvironment environment(nullptr, nullptr, nullptr, "de_CH", "en_GB");
        host::SetLanguage("");
        EXPECT_EQ(host::CurrentLanguage(), "de");
    }
}

TEST_F(LocalizerTest, CLocaleMeansEnglish) {
    for (const char* value : {"C", "POSIX", "C.UTF-8"}) {
        LanguageEnvironment environment(nullptr, nullptr, value, nullptr, "de_DE.UTF-8");
        host::SetLanguage("de");
        host::SetLanguage("");
        EXPECT_EQ(host::CurrentLanguage(), "en") << value;
    }
}

TEST_F(LocalizerTest, EmptyEnvironmentMeansEnglish) {
    LanguageEnvironment environment(nullptr, nullptr, nullptr, nullptr, nullptr);
    host::SetLanguage("de");
    host::SetLanguage("");
    EXPECT_EQ(host::CurrentLanguage(), "en");
}

TEST_F(LocalizerTest, EnvironmentLanguageWithoutTableFallsBackToEnglish) {
    LanguageEnvironment environment("ja", nullptr, nullptr, nullptr, nullptr);
    host::SetLanguage("");
    EXPECT_EQ(host::CurrentLanguage(), "en");
}

TEST_F(LocalizerTest, LookupsFromManyThreadsWhileLanguageChanges) {
    const std::string key = "$$$/Marvane/Handlers/PanelMenu=Panel Menu";
    std::atomic<bool> stop{false};
    std::atomic<int> unexpected{0};
    std::vector<std::thread> readers;
    for (int t = 0; t < 3; ++t) {
        readers.emplace_back([&] {
            while (!stop) {
                const std::string text = Localize(key);
                if (text != "Panel Menu" && text != kPanelMenuGerman) {
                    ++unexpected;
                }
            }
        });
    }
    for (int i = 0; i < 200; ++i) {
        host::SetLanguage(i % 2 == 0 ? "de" : "en");
    }
    stop = true;
    for (std::thread& reader : readers) {
        reader.join();
    }
    EXPECT_EQ(unexpected.load(), 0);
}

} // namespace
