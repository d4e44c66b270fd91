#include "glfx/Scrambled.h"
#include "glfx/Strings.h"
#include "glfx/Text.h"

#include <gtest/gtest.h>

#include <chrono>
#include <fstream>
#include <string>

namespace {

TEST(Text, StrReplace)
{
    const struct {
        const char *text, *search, *repl, *expected;
    } cases[] = {{"true|true", "true", "1.0", "1.0|1.0"},
                 {"a", "a", "aa", "aa"}, // the replacement is not searched again
                 {"aaa", "aa", "b", "ba"},
                 {"abc", "", "X", "abc"}, // empty search: unchanged, and it ends
                 {"abab", "ab", "", ""},
                 {"aab", "ab", "b", "ab"}, // a match formed with the text before is not taken
                 {"abb", "ab", "a", "ab"}, // nor one formed with the text after
                 {"a.b.c", ".", "..", "a..b..c"}};
    for (const auto& c : cases) {
        std::string text = c.text;
        strReplace(text, c.search, c.repl);
        EXPECT_EQ(text, c.expected) << c.text << " / " << c.search;
    }
    // One million replacements in a 2 MB text: a tail move per replacement
    // would take minutes.
    std::string text;
    for (int i = 0; i < 1000000; ++i)
        text += "ab";
    const auto start = std::chrono::steady_clock::now();
    strReplace(text, "b", "xyz");
    EXPECT_LT(std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count(), 10.0);
    ASSERT_EQ(text.size(), 4000000u);
    EXPECT_EQ(text.substr(text.size() - 8), "axyzaxyz");
}

TEST(Text, IntToStringAndDecodeString)
{
    EXPECT_EQ(intToString(-2147483647 - 1), "-2147483648");
    // Shifts of 0, 4, 8 within 32..126, wrapping; without a leading '?' only
    // the marker goes; control characters and DEL stay.
    const std::pair<std::string, std::string> decoded[] = {
        {"?afk", "abc"}, {"xabc", "abc"}, {"?", ""}, {"", ""}};
    for (const auto& [stored, plain] : decoded)
        EXPECT_EQ(decodeString(stored), plain) << stored;
    EXPECT_EQ(decodeString(std::string("?\n\x7f\t", 4)), std::string("\n\x7f\t", 3));
    EXPECT_EQ(decodeString("?  "), std::string(" ") + char(32 - 4 + 95));

    static constexpr char kAll[] = " !\"#$%&'()*+,-./0123456789:;<=>?@ABCDEFGHIJKLMNOPQRSTUVWXYZ[\\]^_`"
                                   "abcdefghijklmnopqrstuvwxyz{|}~\n\t";
    static constexpr auto scrambled = glfxscramble::scramble(kAll);
    static_assert(glfxscramble::roundTrips(scrambled, kAll), "compile-time round trip");
    EXPECT_EQ(decodeString(scrambled.str()), std::string(kAll));
    EXPECT_NE(scrambled.str().substr(1), std::string(kAll));
}

TEST(Text, LoadFile)
{
    const std::string path = testing::TempDir() + "glfx_text_load.txt";
    for (const auto& [bytes, text] :
         {std::pair<std::string, std::string>{"line1\r\nline2\n", "line1\r\nline2\n"},
          {std::string("before\0after", 12), "before"},
          {"", ""}}) {
        std::ofstream(path, std::ios::binary) << bytes;
        EXPECT_EQ(loadFile(path), text);
    }
    std::remove(path.c_str());
    for (const std::string& bad :
         {std::string(), std::string("/nonexistent/dir/file.glfx"), testing::TempDir()})
        EXPECT_EQ(loadFile(bad), "") << bad; // a directory opens but is no file
}

} // namespace
