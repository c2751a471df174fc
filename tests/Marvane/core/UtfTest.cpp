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

const std::string kReplacementUtf8 = "\xEF\xBF\xBD";

// The units that stand for bytes of ill-formed UTF-8: U+DC00 + byte each.
std::u16string Escaped(const std::string& bytes) {
    std::u16string result;
    for (const char byte : bytes) {
        result += static_cast<char16_t>(0xDC00 + static_cast<unsigned char>(byte));
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
    // U+DC80 to U+DCFF stand for single bytes.
    EXPECT_EQ(ToUTF8(std::u16string{u'a', char16_t{0xDCE8}, u'b'}), "a\xE8"
                                                                    "b");
}

TEST(UtfTest, BytesThatCannotStartSequenceAreKeptOneEach) {
    EXPECT_EQ(ToUTF16(std::string("a\x80") + "b"), u"a" + Escaped("\x80") + u"b");
    EXPECT_EQ(ToUTF16("\xBF\xBF"), Escaped("\xBF\xBF"));
    EXPECT_EQ(ToUTF16("\xFF\xFE"), Escaped("\xFF\xFE"));
    EXPECT_EQ(ToUTF16("\xF5\x80"), Escaped("\xF5\x80"));
}

TEST(UtfTest, OverlongFormsAreKeptAsBytes) {
    for (const std::string overlong : {"\xC0\xAF", "\xC1\xBF", "\xE0\x80\xAF", "\xE0\x9F\xBF",
                                       "\xF0\x80\x80\xAF", "\xF0\x8F\xBF\xBF"}) {
        EXPECT_EQ(ToUTF16(overlong), Escaped(overlong));
    }
}

TEST(UtfTest, EncodedSurrogatesAreKeptAsBytes) {
    EXPECT_EQ(ToUTF16("\xED\xA0\x80"), Escaped("\xED\xA0\x80"));
    EXPECT_EQ(ToUTF16("\xED\xBF\xBF"), Escaped("\xED\xBF\xBF"));
    EXPECT_EQ(ToUTF16("\xED\x9F\xBF"), std::u16string{char16_t{0xD7FF}});
}

TEST(UtfTest, CodePointsAboveUnicodeRangeAreKeptAsBytes) {
    EXPECT_EQ(ToUTF16("\xF4\x90\x80\x80"), Escaped("\xF4\x90\x80\x80"));
    EXPECT_EQ(ToUTF16("\xF7\xBF\xBF\xBF"), Escaped("\xF7\xBF\xBF\xBF"));
}

TEST(UtfTest, TruncatedSequencesAreKeptAndDecodingResumes) {
    EXPECT_EQ(ToUTF16("\xE2\x82"), Escaped("\xE2\x82"));
    EXPECT_EQ(ToUTF16("\xC3"), Escaped("\xC3"));
    EXPECT_EQ(ToUTF16(std::string("\xE2\x82") + "A"), Escaped("\xE2\x82") + u"A");
    EXPECT_EQ(ToUTF16(std::string("\xF0\x9F") + "\xC3\xA9"), Escaped("\xF0\x9F") + u"\u00E9");
}

TEST(UtfTest, AnyBytesComeBackExactlyFromTheirUtf16) {
    // A file name written in Latin-1, one cut in the middle of a character, and every single
    // byte: converted to UTF-16 and back, each names the very same file.
    const std::string latin1 = "Sc\xE8ne 12.mvproj";
    EXPECT_EQ(ToUTF8(ToUTF16(latin1)), latin1);
    const std::string broken = std::string("ok\xC0\xAF\xED\xA0\x80") + "end\xF0\x9F\x8E";
    EXPECT_EQ(ToUTF8(ToUTF16(broken)), broken);
    std::string everyByte;
    for (int byte = 1; byte < 256; ++byte) {
        everyByte += static_cast<char>(byte);
    }
    EXPECT_EQ(ToUTF8(ToUTF16(everyByte)), everyByte);
    // Well-formed text around them is decoded as text.
    EXPECT_EQ(ToUTF16("\xE8" + kCafe), Escaped("\xE8") + kCafeWide);
}

} // namespace
