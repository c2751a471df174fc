// The localiser: looks keys up in the current language's table, which comes from the
// translation resources (":/translations/<language>.json", an object from key to text).
#include "host/Localizer.h"

#include "Marvane/core/LocalizerControl.h"

#include <QByteArray>
#include <QFile>
#include <QString>

#include <nlohmann/json.hpp>

#include <cstdio>
#include <cstdlib>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <utility>

namespace host {

namespace {

constexpr std::string_view kKeyPrefix = "$$$/";
constexpr std::string_view kNoteStart = "#{";
constexpr std::string_view kEnglish = "en";

using TranslationTable = std::map<std::string, std::string, std::less<>>;

struct LocalizerState {
    std::mutex mutex;
    bool languageChosen = false;
    std::string language{kEnglish};
    std::shared_ptr<const TranslationTable> table; // null: the defaults in the keys
    // Every language asked for so far, loaded once; null where there is no usable table.
    std::map<std::string, std::shared_ptr<const TranslationTable>, std::less<>> loaded;
};

// Never destroyed: texts may still be looked up while the process shuts down.
LocalizerState& State() {
    static LocalizerState& state = *new LocalizerState;
    return state;
}

// The translator's note runs from "#{" to the end and is never shown.
std::string_view StripNote(std::string_view text) {
    const std::size_t note = text.find(kNoteStart);
    return note == std::string_view::npos ? text : text.substr(0, note);
}

bool IsAsciiLetter(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

char ToLowerAscii(char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

// "de_DE.UTF-8", "de:en" and "DE" all give "de"; the C locale and anything that does not
// start with two letters give English.
std::string NormalizeLanguage(std::string_view name) {
    if (name == "C" || name == "POSIX" || name.starts_with("C.") || name.starts_with("C@")) {
        return std::string(kEnglish);
    }
    if (name.size() < 2 || !IsAsciiLetter(name[0]) || !IsAsciiLetter(name[1])) {
        return std::string(kEnglish);
    }
    return std::string{ToLowerAscii(name[0]), ToLowerAscii(name[1])};
}

std::string LanguageFromEnvironment() {
    for (const char* variable : {"MARVANE_LANGUAGE", "LANGUAGE", "LC_ALL", "LC_MESSAGES", "LANG"}) {
        const char* value = std::getenv(variable);
        if (value != nullptr && *value != '\0') {
            return NormalizeLanguage(value);
        }
    }
    return std::string(kEnglish);
}

std::shared_ptr<const TranslationTable> LoadTable(const std::string& language) {
    QFile file(QStringLiteral(":/translations/%1.json").arg(QString::fromStdString(language)));
    if (!file.open(QIODevice::ReadOnly)) {
        return nullptr;
    }
    const QByteArray bytes = file.readAll();
    const nlohmann::json document =
        nlohmann::json::parse(bytes.constData(), bytes.constData() + bytes.size(), nullptr,
                              /*allow_exceptions=*/false);
    if (!document.is_object()) {
        std::fprintf(stderr,
                     "The translation table for \"%s\" is not a JSON object; "
                     "using English.\n",
                     language.c_str());
        return nullptr;
    }
    auto table = std::make_shared<TranslationTable>();
    for (const auto& [key, value] : document.items()) {
        if (value.is_string()) {
            table->emplace(key, std::string(StripNote(value.get_ref<const std::string&>())));
        }
    }
    return table;
}

std::shared_ptr<const TranslationTable> TableForLocked(LocalizerState& state,
                                                       const std::string& language) {
    auto found = state.loaded.find(language);
    if (found == state.loaded.end()) {
        found = state.loaded.emplace(language, LoadTable(language)).first;
    }
    return found->second;
}

void SelectLanguageLocked(LocalizerState& state, std::string_view requested) {
    std::string language =
        requested.empty() ? LanguageFromEnvironment() : NormalizeLanguage(requested);
    std::shared_ptr<const TranslationTable> table = TableForLocked(state, language);
    if (!table && language != kEnglish) {
        language = std::string(kEnglish);
        table = TableForLocked(state, language);
    }
    state.language = std::move(language);
    state.table = std::move(table);
    state.languageChosen = true;
}

void EnsureLanguageChosenLocked(LocalizerState& state) {
    if (!state.languageChosen) {
        SelectLanguageLocked(state, {});
    }
}

std::shared_ptr<const TranslationTable> CurrentTable() {
    LocalizerState& state = State();
    std::lock_guard lock(state.mutex);
    EnsureLanguageChosenLocked(state);
    return state.table;
}

// One pass over the text, so "@1" inside an argument is left as it is.
ByteString ReplaceArguments(std::string_view text, std::initializer_list<ByteString> arguments) {
    ByteString result;
    result.reserve(text.size());
    const std::size_t size = text.size();
    for (std::size_t i = 0; i < size; ++i) {
        const char c = text[i];
        if (c == '@' && i + 1 < size && text[i + 1] >= '0' && text[i + 1] <= '9') {
            const auto index = static_cast<std::size_t>(text[i + 1] - '0');
            if (index < arguments.size()) {
                result += *(arguments.begin() + index);
            } else {
                result.append(text.substr(i, 2));
            }
            ++i;
        } else {
            result += c;
        }
    }
    return result;
}

} // namespace

ByteString Localize(std::string_view keyWithDefault) {
    return Localize(keyWithDefault, {});
}

ByteString Localize(std::string_view keyWithDefault, std::initializer_list<ByteString> arguments) {
    const std::string_view text = StripNote(keyWithDefault);
    if (!text.starts_with(kKeyPrefix)) {
        return ReplaceArguments(text, arguments);
    }
    const std::size_t equals = text.find('=');
    const std::string_view key = text.substr(0, equals);
    const std::string_view fallback =
        equals == std::string_view::npos ? std::string_view{} : text.substr(equals + 1);

    const std::shared_ptr<const TranslationTable> table = CurrentTable();
    if (table) {
        const auto found = table->find(key);
        if (found != table->end()) {
            return ReplaceArguments(found->second, arguments);
        }
    }
    return ReplaceArguments(fallback, arguments);
}

WideString LocalizeWide(std::string_view keyWithDefault) {
    return ToUTF16(Localize(keyWithDefault));
}

ByteString CurrentLanguage() {
    LocalizerState& state = State();
    std::lock_guard lock(state.mutex);
    EnsureLanguageChosenLocked(state);
    return state.language;
}

void SetLanguage(std::string_view twoLetterCode) {
    LocalizerState& state = State();
    std::lock_guard lock(state.mutex);
    SelectLanguageLocked(state, twoLetterCode);
}

} // namespace host
