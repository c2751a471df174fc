#include "Marvane/core/TextEscaping.h"

#include <gtest/gtest.h>

#include <string>

namespace {

using host::EscapeIllFormedBytes;
using host::TerminalColumns;
using host::TerminalText;
using host::UnescapeIllFormedBytes;
using host::WellFormedUtf8;

TEST(TextEscapingTest, TerminalTextEscapesControlCharactersAndKeepsOrdinaryText) {
    EXPECT_EQ(TerminalText("Ana Ruiz"), "Ana Ruiz");
    EXPECT_EQ(TerminalText("Chlo\xC3\xA9"), "Chlo\xC3\xA9");
    EXPECT_EQ(TerminalText("a\x1B[2Jb"), "a\\x1B[2Jb");
    EXPECT_EQ(TerminalText("row\nforged\r\t"), "row\\x0Aforged\\x0D\\x09");
    EXPECT_EQ(TerminalText("del\x7F"), "del\\x7F");
    EXPECT_EQ(TerminalText("c1\xC2\x9B"), "c1\\u009B");
}

TEST(TextEscapingTest, TerminalTextEscapesFormatCharactersAndBidiOverrides) {
    EXPECT_EQ(TerminalText("\xE2\x80\xAEgnp.exe"), "\\u202Egnp.exe");
    EXPECT_EQ(TerminalText("\xE2\x81\xA6x\xE2\x81\xA9"), "\\u2066x\\u2069");
    EXPECT_EQ(TerminalText("zero\xE2\x80\x8Bwidth"), "zero\\u200Bwidth");
    EXPECT_EQ(TerminalText("line\xE2\x80\xA8sep"), "line\\u2028sep");
    EXPECT_EQ(TerminalText("tag\xF3\xA0\x80\x81"), "tag\\U000E0001");
}

TEST(TextEscapingTest, TerminalTextEscapesBytesThatAreNotUtf8AndDoublesBackslashes) {
    EXPECT_EQ(TerminalText("Sc\xE8ne"), "Sc\\xE8ne");
    EXPECT_EQ(TerminalText("cut\xE2\x80"), "cut\\xE2\\x80");
    EXPECT_EQ(TerminalText("a\\x1B"), "a\\\\x1B");
}

TEST(TextEscapingTest, IllFormedBytesAreEscapedSoThatTheyCanBeGotBack) {
    const std::string bytes = "Sc\xE8ne \\ 7 \xC3\xA9 \xED\xA0\x80 \xC0\xAF";
    const std::string escaped = EscapeIllFormedBytes(bytes);
    EXPECT_EQ(escaped, "Sc\\xE8ne \\\\ 7 \xC3\xA9 \\xED\\xA0\\x80 \\xC0\\xAF");
    EXPECT_EQ(UnescapeIllFormedBytes(escaped), bytes);
    EXPECT_EQ(WellFormedUtf8("Sc\xE8ne"), "Sc\xEF\xBF\xBDne");
    EXPECT_FALSE(UnescapeIllFormedBytes("trailing \\").has_value());
    EXPECT_FALSE(UnescapeIllFormedBytes("\\xZZ").has_value());
}

TEST(TextEscapingTest, ColumnsCountWideCharactersTwiceAndCombiningMarksNotAtAll) {
    EXPECT_EQ(TerminalColumns("Chlo\xC3\xA9"), 5u);
    EXPECT_EQ(TerminalColumns("Chloe\xCC\x81"), 5u);            // e + combining acute
    EXPECT_EQ(TerminalColumns("\xE6\x97\xA5\xE6\x9C\xAC"), 4u); // two ideographs
    EXPECT_EQ(TerminalColumns("\\u202Egnp"), 9u);
}

} // namespace
