#include <gtest/gtest.h>

#include "inspect/Printable.h"

namespace vorun::test {
namespace {

using namespace inspect;
using namespace std::string_literals;

TEST(Printable, PlainAndForeignTextStays) {
    EXPECT_EQ(printable("level mean"), "level mean");
    EXPECT_EQ(printable("Größe 声 🎵"), "Größe 声 🎵");
    EXPECT_EQ(printable(""), "");
}

TEST(Printable, ControlCharactersAreEscaped) {
    EXPECT_EQ(printable("a\nb\tc\rd"), "a\\nb\\tc\\rd");
    EXPECT_EQ(printable("\x1b[31mred\x07\x7f"), "\\x1b[31mred\\x07\\x7f");
    EXPECT_EQ(printable("a\0b"s), "a\\x00b");
    // The terminal codes beyond ASCII.
    EXPECT_EQ(printable("\xc2\x9b"), "\\u009b");
}

TEST(Printable, MarksThatTurnTextAroundAreEscaped) {
    EXPECT_EQ(printable("\u202egnp.exe"), "\\u202egnp.exe");
    EXPECT_EQ(printable("\u2028\u2066\u200f\ufeff"), "\\u2028\\u2066\\u200f\\ufeff");
}

TEST(Printable, TheBackslashOfEscapesIsDoubled) {
    EXPECT_EQ(printable("\\x1b"), "\\\\x1b");
}

TEST(Printable, BytesThatAreNoUtf8AreEscaped) {
    EXPECT_EQ(printable("\xff"), "\\xff");
    EXPECT_EQ(printable("a\x80z"), "a\\x80z");
    EXPECT_EQ(printable("\xc3"), "\\xc3");
    EXPECT_EQ(printable("\xc3z"), "\\xc3z");
    // A slash in two bytes, a surrogate, and what lies beyond the last character.
    EXPECT_EQ(printable("\xc0\xaf"), "\\xc0\\xaf");
    EXPECT_EQ(printable("\xed\xa0\x80"), "\\xed\\xa0\\x80");
    EXPECT_EQ(printable("\xf4\x90\x80\x80"), "\\xf4\\x90\\x80\\x80");
    EXPECT_EQ(printable("\xe0\x80\x80"), "\\xe0\\x80\\x80");
    EXPECT_EQ(printable("\xf0\x9f\x8e"), "\\xf0\\x9f\\x8e");
}

TEST(Printable, EveryPairOfBytesGivesOnePlainLine) {
    for (int first = 0; first < 256; ++first) {
        for (int second = 0; second < 256; ++second) {
            const std::string pair = {static_cast<char>(first), static_cast<char>(second)};
            const std::string text = printable(pair);
            for (const char character : text) {
                const auto byte = static_cast<unsigned char>(character);
                ASSERT_TRUE(byte >= 0x20 && byte != 0x7F) << first << " " << second;
            }
        }
    }
}

TEST(Printable, QuotesAreClosedByNoName) {
    EXPECT_EQ(quoted("a\"b"), "\"a\\\"b\"");
    EXPECT_EQ(quoted("a\\"), "\"a\\\\\"");
}

TEST(Printable, ListsQuoteWhatWouldBeUnclear) {
    EXPECT_EQ(listed("a b"), "a b");
    EXPECT_EQ(listed(""), "\"\"");
    EXPECT_EQ(listed("a, b"), "\"a, b\"");
    EXPECT_EQ(listed(" a"), "\" a\"");
    EXPECT_EQ(listed("a "), "\"a \"");
    EXPECT_EQ(listed("a\"b"), "\"a\\\"b\"");
}

TEST(Printable, DotLabelsHoldQuotesBackslashesAndEntities) {
    EXPECT_EQ(dotText("a\"b"), "a\\\"b");
    EXPECT_EQ(dotText(printable("a\nb\\N")), "a\\\\nb\\\\\\\\N");
    EXPECT_EQ(dotText("&lt;"), "&amp;lt;");
}

TEST(Printable, ColumnsCountCharacters) {
    EXPECT_EQ(characters("Größe"), 5U);
    EXPECT_EQ(padded("Größe", 7), "Größe  ");
    EXPECT_EQ(paddedLeft("声", 3), "  声");
    EXPECT_EQ(padded("long", 2), "long");
}

}  // namespace
}  // namespace vorun::test
