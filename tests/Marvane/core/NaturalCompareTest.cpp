#include "host/TextCompare.h"

#include <QChar>

#include <gtest/gtest.h>

#include <algorithm>
#include <clocale>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <ostream>
#include <random>
#include <string>
#include <utility>
#include <vector>

namespace {

using host::CompareNaturalNoCase;

// Non-ASCII text is written as escapes, so the tests do not depend on the source encoding.
// Lone surrogates cannot be written in a literal at all.
const std::u16string kLoneHigh(1, char16_t{0xD83C});
const std::u16string kLoneLow(1, char16_t{0xDFAC});
const std::u16string kClapperBoard = {char16_t{0xD83C}, char16_t{0xDFAC}}; // U+1F3AC

int Sign(int value) {
    return (value > 0) - (value < 0);
}

std::u16string Repeat(char16_t unit, std::size_t count) {
    return std::u16string(count, unit);
}

std::string Describe(const std::u16string& text) {
    std::string result = "\"";
    for (const char16_t unit : text) {
        if (unit >= 0x20 && unit < 0x7F) {
            result += static_cast<char>(unit);
        } else {
            static const char kHex[] = "0123456789ABCDEF";
            result += "\\u";
            for (int shift = 12; shift >= 0; shift -= 4) {
                result += kHex[(unit >> shift) & 0xF];
            }
        }
    }
    return result + "\"";
}

struct Row {
    const char* name;
    std::u16string a;
    std::u16string b;
    int expected; // sign of CompareNaturalNoCase(a, b)
};

void PrintTo(const Row& row, std::ostream* out) {
    *out << row.name << ": " << Describe(row.a) << " vs " << Describe(row.b);
}

std::vector<Row> Rows() {
    const std::u16string sixtyDigits = u"1" + Repeat(u'0', 59);
    const std::u16string fiftyNineNines = Repeat(u'9', 59);
    const std::u16string longRunA = u"Take " + Repeat(u'7', 59) + u"3";
    const std::u16string longRunB = u"Take " + Repeat(u'7', 59) + u"4";
    return {
        // Numbers by value.
        {"SmallerNumberFirst", u"Shot 2", u"Shot 10", -1},
        {"NumberInMiddleByValue", u"Scene 9 v2", u"Scene 10 v1", -1},
        {"SecondNumberDecidesWhenFirstIsEqual", u"Scene 12 v3", u"Scene 12 v10", -1},
        {"NumberAtStartByValue", u"2 Intro", u"10 Intro", -1},
        {"OnlyDigitsByValue", u"99", u"100", -1},
        {"SharedDigitsDoNotDecide", u"Shot 19", u"Shot 120", -1},
        {"LongerNumberAfterSharedDigits", u"Shot 12", u"Shot 120", -1},
        {"SharedFirstDigitIsPartOfTheNumber", u"Shot 105 a", u"Shot 15 b", 1},
        {"SharedFirstDigitAfterCaseDifference", u"SHOT 105 a", u"shot 15 b", 1},
        {"SameNumberSameName", u"Reel 10", u"Reel 10", 0},
        {"ZeroBeforeOne", u"Shot 0", u"Shot 1", -1},
        // ASCII case.
        {"AsciiCaseIgnored", u"interview - ana 2", u"INTERVIEW - Ana 2", 0},
        {"AsciiCaseIgnoredAroundNumbers", u"shot 2", u"SHOT 10", -1},
        {"LettersInAlphabeticalOrderWhateverTheCase", u"apple", u"Banana", -1},
        {"CapitalAfterSmallWhenLetterIsLater", u"Zebra", u"apple", 1},
        // Case of other scripts, by simple folding.
        {"LatinAccentedCaseFolded", u"\u00C9tude 2", u"\u00C9TUDE 2", 0},
        {"LatinAccentedSmallAndCapital", u"\u00E9tude 2", u"\u00C9TUDE 2", 0},
        {"GreekCaseFolded", u"\u0391\u03BB\u03C6\u03B1 2", u"\u0391\u039B\u03A6\u0391 10", -1},
        {"GreekFinalSigmaMatchesCapitalSigma", u"\u03BF\u03B4\u03BF\u03C2",
         u"\u039F\u0394\u039F\u03A3", 0},
        {"CyrillicCaseFolded", u"\u041C\u043E\u0441\u043A\u0432\u0430",
         u"\u041C\u041E\u0421\u041A\u0412\u0410", 0},
        {"CyrillicIoCaseFolded", u"\u0401\u043B\u043A\u0430", u"\u0451\u041B\u041A\u0410", 0},
        {"SharpSIsNotDoubleS", u"Stra\u00DFe", u"STRASSE", 1},
        {"CapitalSharpSFoldsToSharpS", u"STRA\u1E9EE", u"stra\u00DFe", 0},
        {"KelvinSignFoldsToK", u"\u212Aelvin", u"kelvin", 0},
        {"LongSFoldsToS", u"\u017Fhot 2", u"Shot 2", 0},
        {"CapitalIFoldsToDottedSmallI", u"INTRO", u"intro", 0},
        {"DottedCapitalIStaysApart", u"\u0130", u"i", 1},
        {"DotlessSmallIStaysApart", u"\u0131", u"I", 1},
        {"FullWidthLettersCaseFolded", u"\uFF21", u"\uFF41", 0},
        {"SupplementaryLettersCaseFolded", u"\U00010400", u"\U00010428", 0},
        // Accents are part of the letter.
        {"AccentIsNotRemoved", u"e", u"\u00E9", -1},
        {"AccentedNameAfterPlainName", u"Etude 7", u"\u00C9tude 7", -1},
        {"AccentedCapitalIsNotPlainCapital", u"\u00C9", u"E", 1},
        // Leading zeros: the value first, then fewer zeros first.
        {"LeadingZerosAfterNoZeros", u"007", u"7", 1},
        {"OneLeadingZeroAfterNone", u"Shot 07", u"Shot 7", 1},
        {"FewerLeadingZerosFirst", u"Shot 07", u"Shot 007", -1},
        {"ValueBeforeLeadingZeros", u"Shot 007", u"Shot 8", -1},
        {"LeadingZerosDoNotHideLargerValue", u"Shot 0010", u"Shot 9", 1},
        {"RestOfNameBeforeLeadingZeros", u"Shot 007 b", u"Shot 7 a", 1},
        {"RestOfNameBeforeLeadingZerosOtherWay", u"Shot 7 b", u"Shot 007 a", 1},
        {"FirstRunWithDifferentZerosDecides", u"Shot 07 7", u"Shot 7 007", 1},
        {"ZeroBeforeDoubleZero", u"0", u"00", -1},
        {"DoubleZeroBeforeOne", u"00", u"1", -1},
        {"ManyZerosAreStillZero", u"000", u"0000", -1},
        {"ZerosBeforeLetterAreNumber", u"00a", u"0b", -1},
        // Digit runs longer than any integer.
        {"SixtyDigitRunByValue", sixtyDigits, fiftyNineNines, 1},
        {"SixtyDigitRunsDigitByDigit", longRunA, longRunB, -1},
        {"SixtyDigitRunsEqual", longRunA, longRunA, 0},
        {"SixtyDigitRunShorterThanSixtyOne", sixtyDigits, sixtyDigits + u"0", -1},
        {"SixtyDigitRunAfterHundredZeros", Repeat(u'0', 100) + sixtyDigits, sixtyDigits, 1},
        {"HundredZerosThenSmallValueBeforeLongValue", Repeat(u'0', 100) + u"5", sixtyDigits, -1},
        // Digits against letters and punctuation.
        {"DigitBeforeSmallLetter", u"1", u"a", -1},
        {"DigitBeforeCapitalLetter", u"Shot 1", u"Shot A", -1},
        {"SpaceBeforeHyphen", u"Shot 2", u"Shot-2", -1},
        {"HyphenBeforeDigit", u"Reel-", u"Reel1", -1},
        {"ParenthesisBeforeDigit", u"Reel (alt)", u"Reel 1", -1},
        {"DotBeforeDigit", u"Reel.mvproj", u"Reel1", -1},
        {"DigitBeforeColon", u"Reel10", u"Reel:", -1},
        {"DigitBeforeUnderscore", u"Reel1", u"Reel_", -1},
        {"UnderscoreBeforeLetters", u"Reel_1", u"Reela", -1},
        {"UnderscoreBeforeCapitalLetters", u"Reel_1", u"ReelA", -1},
        {"LettersBeforeBrace", u"z", u"{", -1},
        {"TildeBeforeNonAscii", u"~", u"\u00E9", -1},
        {"OtherDigitsAreCharacters", u"\u0662", u"10", 1},
        {"FullWidthDigitsAreCharacters", u"\uFF12", u"10", 1},
        // Empty strings and prefixes.
        {"EmptyEqualsEmpty", u"", u"", 0},
        {"EmptyBeforeLetter", u"", u"a", -1},
        {"EmptyBeforeZero", u"", u"0", -1},
        {"EmptyBeforeSpace", u"", u" ", -1},
        {"PrefixFirst", u"Shot", u"Shot 1", -1},
        {"PrefixFirstAfterNumber", u"Shot 1", u"Shot 1 alt", -1},
        {"PrefixFirstIgnoringCase", u"SHOT", u"shot 1", -1},
        // Surrogates.
        {"SupplementaryCharacterByCodePoint", kClapperBoard, u"\uFFFD", 1},
        {"LoneHighSurrogateAfterAscii", kLoneHigh, u"a", 1},
        {"LoneHighSurrogateEqualsItself", kLoneHigh, kLoneHigh, 0},
        {"LoneLowSurrogateAfterLoneHigh", kLoneLow, kLoneHigh, 1},
        {"LoneSurrogateBeforePrivateUse", kLoneHigh, u"\uE000", -1},
        {"LoneSurrogateBeforePair", kLoneHigh, kClapperBoard, -1},
        {"ReversedPairIsTwoLoneSurrogates", kLoneLow + kLoneHigh, kClapperBoard, -1},
        {"LoneSurrogateThenTextDecides", kLoneHigh + u"x", kLoneHigh + u"y", -1},
        {"LoneSurrogateAfterSharedTextBeforePair", u"a" + kLoneHigh + u"a", u"a" + kClapperBoard,
         -1},
        {"LoneSurrogateAfterDigit", u"Shot 1" + kLoneLow, u"Shot 1", 1},
        {"DigitBeforeLoneSurrogate", u"Shot 1", u"Shot " + kLoneHigh, -1},
    };
}

class NaturalCompareTableTest : public testing::TestWithParam<Row> {};

TEST_P(NaturalCompareTableTest, ComparesBothWays) {
    const Row& row = GetParam();
    EXPECT_EQ(Sign(CompareNaturalNoCase(row.a, row.b)), row.expected);
    EXPECT_EQ(Sign(CompareNaturalNoCase(row.b, row.a)), -row.expected);
}

INSTANTIATE_TEST_SUITE_P(Rows, NaturalCompareTableTest, testing::ValuesIn(Rows()),
                         [](const testing::TestParamInfo<Row>& row) { return row.param.name; });

TEST(NaturalCompareTest, SortsProjectNamesAsPeopleReadThem) {
    std::vector<std::u16string> names = {u"Shot 10",  u"shot 2", u"Reel 10 (alt)", u"\u00C9tude 7",
                                         u"Shot 002", u"Reel 9", u"Interview - 2", u"Etude 7",
                                         u"Reel 10",  u"SHOT 1", u"Interview 2"};
    std::sort(names.begin(), names.end(), [](const std::u16string& a, const std::u16string& b) {
        return CompareNaturalNoCase(a, b) < 0;
    });
    const std::vector<std::u16string> expected = {
        u"Etude 7", u"Interview - 2", u"Interview 2", u"Reel 9",  u"Reel 10",     u"Reel 10 (alt)",
        u"SHOT 1",  u"shot 2",        u"Shot 002",    u"Shot 10", u"\u00C9tude 7"};
    EXPECT_EQ(names, expected);
}

// The ASCII fast path folds by itself, and the digit runs rely on no other character folding
// into an ASCII digit; both must agree with the folding used for the rest of Unicode.
TEST(NaturalCompareTest, AsciiFastPathAgreesWithUnicodeFolding) {
    for (char32_t unit = 0; unit < 0x80; ++unit) {
        const char32_t expected = unit >= U'A' && unit <= U'Z' ? unit + (U'a' - U'A') : unit;
        EXPECT_EQ(QChar::toCaseFolded(unit), expected)
            << "U+" << std::hex << static_cast<std::uint32_t>(unit);
    }
    int foldedIntoDigits = 0;
    for (char32_t codePoint = 0x80; codePoint <= 0x10FFFF; ++codePoint) {
        const char32_t folded = QChar::toCaseFolded(codePoint);
        if (folded >= U'0' && folded <= U'9') {
            ++foldedIntoDigits;
        }
    }
    EXPECT_EQ(foldedIntoDigits, 0);
}

// ---- Ordering properties over random and adversarial strings ------------------------------

constexpr std::uint32_t kDefaultSeed = 20240611;

std::uint32_t PropertySeed() {
    if (const char* text = std::getenv("MARVANE_PROPERTY_SEED")) {
        return static_cast<std::uint32_t>(std::strtoul(text, nullptr, 10));
    }
    return kDefaultSeed;
}

// Pieces the strings are made of: zeros and other digits, letters of both cases, accented
// letters, Greek sigma in all three forms, a surrogate pair, both lone surrogates and
// separators.
const std::vector<std::u16string>& Alphabet() {
    static const std::vector<std::u16string> alphabet = {
        u"0",          u"0",      u"0",      u"1",      u"7",      u"9",      u"a",
        u"A",          u"b",      u"B",      u"z",      u"Z",      u"\u00E9", u"\u00C9",
        u"e",          u"\u03C3", u"\u03A3", u"\u03C2", u"\u00DF", u"\u212A", u"k",
        kClapperBoard, kLoneHigh, kLoneLow,  u" ",      u"_",      u"-"};
    return alphabet;
}

class Random {
public:
    explicit Random(std::uint32_t seed) : mEngine(seed) {}
    std::size_t Below(std::size_t bound) { return static_cast<std::size_t>(mEngine() % bound); }

private:
    std::mt19937 mEngine;
};

std::u16string RandomString(Random& random) {
    std::u16string text;
    const std::size_t pieces = random.Below(9);
    for (std::size_t i = 0; i < pieces; ++i) {
        text += Alphabet()[random.Below(Alphabet().size())];
    }
    return text;
}

// A string equal to the given one under folding: letters in another case at random.
std::u16string OtherCase(const std::u16string& text, Random& random) {
    std::u16string result = text;
    for (char16_t& unit : result) {
        if (random.Below(2) == 0) {
            continue;
        }
        if (unit == u'k') {
            unit = random.Below(2) == 0 ? u'K' : char16_t{0x212A}; // Kelvin sign
        } else if (unit >= u'a' && unit <= u'z') {
            unit = static_cast<char16_t>(unit - (u'a' - u'A'));
        } else if (unit >= u'A' && unit <= u'Z') {
            unit = static_cast<char16_t>(unit + (u'a' - u'A'));
        } else if (unit == 0x00E9) {
            unit = 0x00C9;
        } else if (unit == 0x03C3) {
            unit = 0x03A3;
        } else if (unit == 0x03A3) {
            unit = 0x03C2;
        }
    }
    return result;
}

// A string whose digit runs have other leading zeros, or one cut short or made longer.
std::u16string NearString(const std::u16string& text, Random& random) {
    std::u16string result;
    bool inDigits = false;
    for (const char16_t unit : text) {
        const bool digit = unit >= u'0' && unit <= u'9';
        if (digit && !inDigits) {
            result.append(random.Below(3), u'0');
        }
        if (!(digit && unit == u'0' && !inDigits && random.Below(2) == 0)) {
            result += unit;
        }
        inDigits = digit;
    }
    switch (random.Below(4)) {
    case 0:
        if (!result.empty()) {
            result.pop_back();
        }
        break;
    case 1:
        result += Alphabet()[random.Below(Alphabet().size())];
        break;
    default:
        break;
    }
    return result;
}

// The characters of a string after simple case folding: two strings must compare equal
// exactly when these are equal.
std::u32string Folded(const std::u16string& text) {
    std::u32string result;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const char16_t unit = text[i];
        if (unit >= 0xD800 && unit <= 0xDBFF && i + 1 < text.size() && text[i + 1] >= 0xDC00 &&
            text[i + 1] <= 0xDFFF) {
            result += QChar::toCaseFolded(0x10000 + ((char32_t{unit} - 0xD800) << 10) +
                                          (char32_t{text[i + 1]} - 0xDC00));
            ++i;
        } else if (unit >= 0xD800 && unit <= 0xDFFF) {
            result += char32_t{unit};
        } else {
            result += QChar::toCaseFolded(char32_t{unit});
        }
    }
    return result;
}

struct PropertyStrings {
    std::uint32_t seed = 0;
    std::vector<std::u16string> strings;
    std::vector<std::u32string> folded;
};

const PropertyStrings& Strings() {
    static const PropertyStrings set = [] {
        PropertyStrings result;
        result.seed = PropertySeed();
        Random random(result.seed);
        while (result.strings.size() < 3000) {
            const std::u16string text = RandomString(random);
            result.strings.push_back(text);
            result.strings.push_back(OtherCase(text, random));
            result.strings.push_back(NearString(text, random));
        }
        for (const std::u16string& text : result.strings) {
            result.folded.push_back(Folded(text));
        }
        return result;
    }();
    return set;
}

// The sign of every ordered pair of the strings, row by row, computed once.
const std::vector<signed char>& Signs() {
    static const std::vector<signed char> signs = [] {
        const std::vector<std::u16string>& strings = Strings().strings;
        std::vector<signed char> result;
        result.reserve(strings.size() * strings.size());
        for (const std::u16string& a : strings) {
            for (const std::u16string& b : strings) {
                result.push_back(static_cast<signed char>(Sign(CompareNaturalNoCase(a, b))));
            }
        }
        return result;
    }();
    return signs;
}

class NaturalComparePropertyTest : public testing::Test {
protected:
    int SignOf(std::size_t i, std::size_t j) const { return Signs()[i * mStrings.size() + j]; }

    std::string Pair(std::size_t i, std::size_t j) const {
        return Describe(mStrings[i]) + " vs " + Describe(mStrings[j]) + " (seed " +
               std::to_string(mSeed) + ", set MARVANE_PROPERTY_SEED to repeat)";
    }

    const std::uint32_t mSeed = Strings().seed;
    const std::vector<std::u16string>& mStrings = Strings().strings;
    const std::vector<std::u32string>& mFolded = Strings().folded;
};

TEST_F(NaturalComparePropertyTest, IsIrreflexive) {
    for (std::size_t i = 0; i < mStrings.size(); ++i) {
        ASSERT_EQ(CompareNaturalNoCase(mStrings[i], mStrings[i]), 0) << Pair(i, i);
        // A copy, so that no shortcut for the same memory can hide a mistake.
        ASSERT_EQ(CompareNaturalNoCase(mStrings[i], std::u16string(mStrings[i])), 0) << Pair(i, i);
    }
}

TEST_F(NaturalComparePropertyTest, IsAStrictWeakOrdering) {
    const std::size_t count = mStrings.size();
    for (std::size_t i = 0; i < count; ++i) {
        for (std::size_t j = i + 1; j < count; ++j) {
            ASSERT_EQ(SignOf(i, j), -SignOf(j, i)) << "asymmetry: " << Pair(i, j);
        }
    }

    Random random(mSeed ^ 0x9E3779B9U);
    for (int n = 0; n < 2'000'000; ++n) {
        const std::size_t a = random.Below(count);
        const std::size_t b = random.Below(count);
        const std::size_t c = random.Below(count);
        if (SignOf(a, b) < 0 && SignOf(b, c) < 0) {
            ASSERT_LT(SignOf(a, c), 0)
                << "transitivity: " << Pair(a, b) << " vs " << Describe(mStrings[c]);
        }
    }

    // Every triple at once: sort by the comparison (with a merge sort that stays in bounds
    // whatever the comparison does), cut the result into runs of equal neighbours, and require
    // every pair to compare as the positions of their runs do.
    std::vector<std::size_t> order(count);
    for (std::size_t i = 0; i < count; ++i) {
        order[i] = i;
    }
    std::vector<std::size_t> buffer(count);
    for (std::size_t width = 1; width < count; width *= 2) {
        for (std::size_t left = 0; left < count; left += 2 * width) {
            const std::size_t middle = std::min(left + width, count);
            const std::size_t right = std::min(left + 2 * width, count);
            std::size_t i = left;
            std::size_t j = middle;
            std::size_t out = left;
            while (i < middle && j < right) {
                buffer[out++] = SignOf(order[j], order[i]) < 0 ? order[j++] : order[i++];
            }
            while (i < middle) {
                buffer[out++] = order[i++];
            }
            while (j < right) {
                buffer[out++] = order[j++];
            }
        }
        std::swap(order, buffer);
    }
    std::vector<std::size_t> run(count, 0);
    for (std::size_t k = 1; k < count; ++k) {
        run[k] = run[k - 1] + (SignOf(order[k - 1], order[k]) == 0 ? 0 : 1);
    }
    for (std::size_t x = 0; x < count; ++x) {
        for (std::size_t y = x + 1; y < count; ++y) {
            const int expected = run[x] == run[y] ? 0 : -1;
            ASSERT_EQ(SignOf(order[x], order[y]), expected)
                << "sorted order: " << Pair(order[x], order[y]);
        }
    }
}

TEST_F(NaturalComparePropertyTest, EqualsExactlyEqualFoldedTextAndEqualsCompareAlike) {
    const std::size_t count = mStrings.size();
    std::size_t equalPairs = 0;
    for (std::size_t i = 0; i < count; ++i) {
        for (std::size_t j = 0; j < count; ++j) {
            const bool sameFolded = mFolded[i] == mFolded[j];
            ASSERT_EQ(SignOf(i, j) == 0, sameFolded) << Pair(i, j);
            equalPairs += i != j && sameFolded ? 1 : 0;
        }
    }
    // The case variants make sure there are real classes of equal strings to look at.
    EXPECT_GT(equalPairs, 1000U) << "seed " << mSeed;

    // If a ~ b, then a and b compare alike with every c; with c ranging over all strings this
    // also covers a ~ b and b ~ c giving a ~ c. Comparing each string with the first member
    // of its class covers every pair of the class.
    for (std::size_t b = 0; b < count; ++b) {
        std::size_t a = 0;
        while (SignOf(a, b) != 0) {
            ++a;
        }
        for (std::size_t c = 0; c < count; ++c) {
            ASSERT_EQ(SignOf(a, c), SignOf(b, c))
                << "equivalence: " << Pair(a, b) << " against " << Describe(mStrings[c]);
        }
    }
}

// ---- Locale independence ------------------------------------------------------------------

TEST(NaturalCompareLocaleTest, ResultIsTheSameUnderEveryLocale) {
    std::vector<std::pair<std::u16string, std::u16string>> pairs;
    for (const Row& row : Rows()) {
        pairs.emplace_back(row.a, row.b);
    }
    // Letters whose case mapping is different in Turkish.
    pairs.emplace_back(u"INTRO", u"intro");
    pairs.emplace_back(u"\u0130ntro", u"intro");
    pairs.emplace_back(u"\u0131ntro", u"INTRO");
    const auto signs = [&pairs] {
        std::vector<int> result;
        for (const auto& [a, b] : pairs) {
            result.push_back(Sign(CompareNaturalNoCase(a, b)));
        }
        return result;
    };

    const std::string previous = std::setlocale(LC_ALL, nullptr);
    ASSERT_NE(std::setlocale(LC_ALL, "C"), nullptr);
    const std::vector<int> inC = signs();
    std::vector<std::string> tried;
    for (const char* name :
         {"POSIX", "C.UTF-8", "C.utf8", "en_US.UTF-8", "de_DE.UTF-8", "tr_TR.UTF-8"}) {
        if (std::setlocale(LC_ALL, name) == nullptr) {
            continue;
        }
        tried.emplace_back(name);
        EXPECT_EQ(signs(), inC) << "under locale " << name;
    }
    std::setlocale(LC_ALL, previous.c_str());
    EXPECT_EQ(std::string(std::setlocale(LC_ALL, nullptr)), previous);
    // POSIX exists everywhere; C.UTF-8 too on the systems we build on.
    EXPECT_GE(tried.size(), 2U);
}

} // namespace
