#include "host/CoreTypes.h"

#include <gtest/gtest.h>

#include <string>

namespace {

using host::ToUTF16;
using host::ToUTF8;

// Byte strings written as hex escapes, so the tests do not depend on the source encoding.
const std::string kCafe = std::string("Caf\xC3\xA9 Gr\xC3\xB6\xC3\x9F") + "e";
const std::u16string kCafeWide = u"Caf\u00E9 Gr\u00F6\u00DFe";
const std::string kJapanese = "\xE6\x97\xA5\xE6\x9C\xAC\xE8\xAA\x9E";
const std::u16string kJapaneseWide = u"\u65E5\u672C\u8A9E";
const std::string kClapperBoard = "\xF0\x9F\x8E\xAC"; // U+1F3AC
const std::u16string kClapperBoardWide = {char16_t{0xD83C}, char16_t{0xDFAC}};

const std::u16string kReplacement = u"\uFFFD";
const std::string kReplacementUtf8 = "\xEF\xBF\xBD";

std::u16string Replacements(int count) {
    std::u16string result;
    for (int i = 0; i < count; ++i) {
        result += kReplacement;
    }
    return result;
}

TEST(UtfTest, EmptyTextStaysEmpty) {
    EXPECT_EQ(ToUTF8(u""), "");
    EXPECT_EQ(ToUTF16(""), u"");
}

TEST(UtfTest, AsciiConvertsUnchangedBothWays) {
    const std::string ascii = "Scene 12/Take 3.mvproj ~!";
    const std::u16string wide = u"Scene 12/Take 3.mvproj ~!";
    EXPECT_EQ(ToUTF16(ascii), wide);
    EXPECT_EQ(ToUTF8(wide), ascii);
}

TEST(UtfTest, AnAsciiPathWithAccentedNameConvertsBothWays) {
    const std::string utf8 = "/Volumes/Share/Production/Sc\xC3\xA8ne 12/Caf\xC3\xA9.mvproj";
    const std::u16string utf16 = u"/Volumes/Share/Production/Sc\u00E8ne 12/Caf\u00E9.mvproj";
    EXPECT_EQ(host::ToUTF8(utf16), utf8);
    EXPECT_EQ(host::ToUTF16(utf8), utf16);
    // A lone surrogate after a long ASCII run is still replaced.
    EXPECT_EQ(host::ToUTF8(u"/Production/" + std::u16string(1, char16_t{0xD800})),
              "/Production/\xEF\xBF\xBD");
}

TEST(UtfTest, LatinAccentsUseTwoBytes) {
    EXPECT_EQ(ToUTF16(kCafe), kCafeWide);
    EXPECT_EQ(ToUTF8(kCafeWide), kCafe);
}

TEST(UtfTest, CjkTextUsesThreeBytes) {
    EXPECT_EQ(ToUTF16(kJapanese), kJapaneseWide);
    EXPECT_EQ(ToUTF8(kJapaneseWide), kJapanese);
}

TEST(UtfTest, EmojiBecomesSurrogatePairAndBack) {
    EXPECT_EQ(ToUTF16(kClapperBoard), kClapperBoardWide);
    EXPECT_EQ(ToUTF8(kClapperBoardWide), kClapperBoard);
}

TEST(UtfTest, EncodingBoundariesConvertExactly) {
    EXPECT_EQ(ToUTF8(std::u16string{char16_t{0x7F}}), "\x7F");
    EXPECT_EQ(ToUTF8(std::u16string{char16_t{0x80}}), "\xC2\x80");
    EXPECT_EQ(ToUTF8(std::u16string{char16_t{0x7FF}}), "\xDF\xBF");
    EXPECT_EQ(ToUTF8(std::u16string{char16_t{0x800}}), "\xE0\xA0\x80");
    EXPECT_EQ(ToUTF8(std::u16string{char16_t{0xFFFF}}), "\xEF\xBF\xBF");
    EXPECT_EQ(ToUTF8(std::u16string{char16_t{0xD800}, char16_t{0xDC00}}), "\xF0\x90\x80\x80");
    EXPECT_EQ(ToUTF8(std::u16string{char16_t{0xDBFF}, char16_t{0xDFFF}}), "\xF4\x8F\xBF\xBF");
    EXPECT_EQ(ToUTF16("\xF4\x8F\xBF\xBF"), (std::u16string{char16_t{0xDBFF}, char16_t{0xDFFF}}));
    EXPECT_EQ(ToUTF16("\xEF\xBF\xBF"), std::u16string{char16_t{0xFFFF}});
}

TEST(UtfTest, EveryCodePointSurvivesRoundTrip) {
    std::u16string all;
    for (char32_t codePoint = 1; codePoint <= 0x10FFFF; ++codePoint) {
        if (codePoint >= 0xD800 && codePoint <= 0xDFFF) {
            continue;
        }
        if (codePoint < 0x10000) {
            all.push_back(static_cast<char16_t>(codePoint));
        } else {
            const char32_t offset = codePoint - 0x10000;
            all.push_back(static_cast<char16_t>(0xD800 + (offset >> 10)));
            all.push_back(static_cast<char16_t>(0xDC00 + (offset & 0x3FF)));
        }
    }
    const std::string utf8 = ToUTF8(all);
    // U+FFFD itself is in the text once; nothing else may have been replaced.
    const std::size_t replacement = utf8.find(kReplacementUtf8);
    ASSERT_NE(replacement, std::string::npos);
    EXPECT_EQ(utf8.find(kReplacementUtf8, replacement + 1), std::string::npos);
    EXPECT_EQ(ToUTF16(utf8), all);
}

TEST(UtfTest, LoneSurrogatesBecomeReplacementCharacter) {
    EXPECT_EQ(ToUTF8(std::u16string{u'a', char16_t{0xD800}, u'b'}), "a" + kReplacementUtf8 + "b");
    EXPECT_EQ(ToUTF8(std::u16string{u'a', char16_t{0xDC00}, u'b'}), "a" + kReplacementUtf8 + "b");
    EXPECT_EQ(ToUTF8(std::u16string{u'a', char16_t{0xDBFF}}), "a" + kReplacementUtf8);
    // A low surrogate before a high one is no pair: each is replaced on its own.
    EXPECT_EQ(ToUTF8(std::u16string{char16_t{0xDC00}, char16_t{0xD800}}),
              kReplacementUtf8 + kReplacementUtf8);
    // Two high surrogates, then a low one: the second high pairs with the low.
    EXPECT_EQ(ToUTF8(std::u16string{char16_t{0xD83C}, char16_t{0xD83C}, char16_t{0xDFAC}}),
              kReplacementUtf8 + kClapperBoard);
}

TEST(UtfTest, BytesThatCannotStartSequenceAreReplacedOneEach) {
    EXPECT_EQ(ToUTF16(std::string("a\x80") + "b"), u"a\uFFFDb");
    EXPECT_EQ(ToUTF16("\xBF\xBF"), Replacements(2));
    EXPECT_EQ(ToUTF16("\xFF\xFE"), Replacements(2));
    EXPECT_EQ(ToUTF16("\xF5\x80"), Replacements(2));
}

TEST(UtfTest, OverlongFormsAreReplaced) {
    EXPECT_EQ(ToUTF16("\xC0\xAF"), Replacements(2));
    EXPECT_EQ(ToUTF16("\xC1\xBF"), Replacements(2));
    EXPECT_EQ(ToUTF16("\xE0\x80\xAF"), Replacements(3));
    EXPECT_EQ(ToUTF16("\xE0\x9F\xBF"), Replacements(3));
    EXPECT_EQ(ToUTF16("\xF0\x80\x80\xAF"), Replacements(4));
    EXPECT_EQ(ToUTF16("\xF0\x8F\xBF\xBF"), Replacements(4));
}

TEST(UtfTest, EncodedSurrogatesAreReplaced) {
    EXPECT_EQ(ToUTF16("\xED\xA0\x80"), Replacements(3));
    EXPECT_EQ(ToUTF16("\xED\xBF\xBF"), Replacements(3));
    EXPECT_EQ(ToUTF16("\xED\x9F\xBF"), std::u16string{char16_t{0xD7FF}});
}

TEST(UtfTest, CodePointsAboveUnicodeRangeAreReplaced) {
    EXPECT_EQ(ToUTF16("\xF4\x90\x80\x80"), Replacements(4));
    EXPECT_EQ(ToUTF16("\xF7\xBF\xBF\xBF"), Replacements(4));
}

TEST(UtfTest, TruncatedSequencesAreReplacedOnceAndDecodingResumes) {
    EXPECT_EQ(ToUTF16("\xE2\x82"), kReplacement);
    EXPECT_EQ(ToUTF16("\xF0\x9F\x8E"), kReplacement);
    EXPECT_EQ(ToUTF16("\xC3"), kReplacement);
    EXPECT_EQ(ToUTF16(std::string("\xE2\x82") + "A"), u"\uFFFDA");
    EXPECT_EQ(ToUTF16(std::string("\xF0\x9F") + "\xC3\xA9"), u"\uFFFD\u00E9");
}

TEST(UtfTest, InvalidInputRoundTripsToReplacementCharacters) {
    const std::string broken = std::string("ok\xC0\xAF\xED\xA0\x80") + "end";
    std::string expected = "ok";
    for (int i = 0; i < 5; ++i) {
        expected += kReplacementUtf8;
    }
    expected += "end";
    EXPECT_EQ(ToUTF8(ToUTF16(broken)), expected);
}

} // namespace
