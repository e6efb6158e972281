#include "base/utf8.h"

#include <gtest/gtest.h>

#include <string>

namespace {

const std::string kMark = "\xEF\xBF\xBD";

}  // namespace

TEST(Utf8, AcceptsTheFirstAndLastCharacterOfEachLength) {
    for (const char* text : {"", "a", "\x7F", "\xC2\x80", "\xDF\xBF", "\xE0\xA0\x80",
                             "\xED\x9F\xBF", "\xEE\x80\x80", "\xEF\xBF\xBF", "\xF0\x90\x80\x80",
                             "\xF4\x8F\xBF\xBF", "twelve ASCII characters and \xC3\xA4"}) {
        EXPECT_TRUE(base::isUtf8(text)) << text;
        EXPECT_EQ(base::replaceIllFormedUtf8(text), text);
    }
}

TEST(Utf8, AcceptsAZeroByte) {
    const std::string text("a\0b", 3);
    EXPECT_TRUE(base::isUtf8(text));
    EXPECT_EQ(base::replaceIllFormedUtf8(text), text);
}

TEST(Utf8, ReplacesEachByteThatBeginsNoCharacter) {
    EXPECT_EQ(base::replaceIllFormedUtf8("\x80"), kMark);
    EXPECT_EQ(base::replaceIllFormedUtf8("\xBF\xBF"), kMark + kMark);
    EXPECT_EQ(base::replaceIllFormedUtf8("\xC0\xAF"), kMark + kMark);
    EXPECT_EQ(base::replaceIllFormedUtf8("\xC1\xBF"), kMark + kMark);
    EXPECT_EQ(base::replaceIllFormedUtf8("\xF5\x80\x80\x80"), kMark + kMark + kMark + kMark);
    EXPECT_EQ(base::replaceIllFormedUtf8("\xFF"), kMark);
}

TEST(Utf8, ReplacesOverlongFormsSurrogatesAndWhatLiesAboveTheLastCharacter) {
    EXPECT_EQ(base::replaceIllFormedUtf8("\xE0\x80\x80"), kMark + kMark + kMark);
    EXPECT_EQ(base::replaceIllFormedUtf8("\xED\xA0\x80"), kMark + kMark + kMark);
    EXPECT_EQ(base::replaceIllFormedUtf8("\xF0\x80\x80\x80"), kMark + kMark + kMark + kMark);
    EXPECT_EQ(base::replaceIllFormedUtf8("\xF4\x90\x80\x80"), kMark + kMark + kMark + kMark);
}

TEST(Utf8, ReplacesACharacterThatIsCutOffByOneMark) {
    EXPECT_EQ(base::replaceIllFormedUtf8("\xC3"), kMark);
    EXPECT_EQ(base::replaceIllFormedUtf8("\xE2\x82"), kMark);
    EXPECT_EQ(base::replaceIllFormedUtf8("\xF0\x9F\x98"), kMark);
    EXPECT_EQ(base::replaceIllFormedUtf8("x\xF0\x9F\x98y"), "x" + kMark + "y");
    EXPECT_EQ(base::replaceIllFormedUtf8("\xE2\xE2\x82\xAC"), kMark + "\xE2\x82\xAC");
}

TEST(Utf8, FindsTheOneIllFormedByteBehindLongText) {
    const std::string text(1000, 'a');
    EXPECT_TRUE(base::isUtf8(text));
    EXPECT_FALSE(base::isUtf8(text + "\xFC"));
    EXPECT_FALSE(base::isUtf8(text + "\xFC" + text));
    EXPECT_EQ(base::replaceIllFormedUtf8(text + "\xFC" + text), text + kMark + text);
}
