#include "glfx/scrambled.h"
#include "glfx/strings.h"
#include "glfx/text.h"

#include <gtest/gtest.h>

#include <chrono>
#include <fstream>
#include <string>

namespace {

TEST(Text, StrReplace)
{
    struct Case {
        const char* text;
        const char* search;
        const char* repl;
        const char* expected;
    };
    const Case cases[] = {
        {"true|true", "true", "1.0", "1.0|1.0"},
        {"a", "a", "aa", "aa"}, // replacement is not searched again
        {"aaa", "aa", "b", "ba"},
        {"xyz", "q", "r", "xyz"},
        {"abc", "", "X", "abc"}, // empty search: unchanged, terminates
        {"abab", "ab", "", ""},
        {"", "a", "b", ""},
        {"aab", "ab", "b", "ab"}, // a match formed with the text before is not taken
        {"abb", "ab", "a", "ab"}, // nor one formed with the text after
        {"a.b.c", ".", "..", "a..b..c"},
    };
    for (const auto& c : cases) {
        std::string text = c.text;
        strReplace(text, c.search, c.repl);
        EXPECT_EQ(text, c.expected) << c.text << " / " << c.search;
    }
}

TEST(Text, StrReplaceManyOccurrencesInLinearTime)
{
    // One million occurrences in a 2 MB text: a tail move per replacement
    // would take minutes here.
    std::string text;
    for (int i = 0; i < 1000000; ++i)
        text += "ab";
    const auto start = std::chrono::steady_clock::now();
    strReplace(text, "b", "xyz");
    const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    EXPECT_LT(seconds, 10.0);
    ASSERT_EQ(text.size(), 4000000u);
    EXPECT_EQ(text.substr(0, 8), "axyzaxyz");
    EXPECT_EQ(text.substr(text.size() - 4), "axyz");
}

TEST(Text, IntToStringAndDecodeString)
{
    EXPECT_EQ(intToString(0), "0");
    EXPECT_EQ(intToString(-42), "-42");
    EXPECT_EQ(intToString(2147483647), "2147483647");
    EXPECT_EQ(intToString(-2147483647 - 1), "-2147483648");

    EXPECT_EQ(decodeString("?afk"), "abc");
    EXPECT_EQ(decodeString("xabc"), "abc"); // no '?': only the marker goes
    EXPECT_EQ(decodeString(""), "");
    EXPECT_EQ(decodeString("?"), "");
    // Control characters and DEL stay; shifting wraps within 32..126.
    EXPECT_EQ(decodeString(std::string("?\n\x7f\t", 4)), std::string("\n\x7f\t", 3));
    EXPECT_EQ(decodeString("?  "), std::string(" ") + char(32 - 4 + 95));
}

TEST(Text, ScramblerRoundTripsEveryPrintableCharacter)
{
    static constexpr char kAll[] =
        " !\"#$%&'()*+,-./"
        "0123456789:;<=>?@ABCDEFGHIJKLMNOPQRSTUVWXYZ[\\]^_`abcdefghijklmnopqrstuvwxyz{|}~\n\t";
    static constexpr auto scrambled = glfxscramble::scramble(kAll);
    static_assert(glfxscramble::roundTrips(scrambled, kAll), "compile-time round trip");
    EXPECT_EQ(decodeString(scrambled.str()), std::string(kAll));
    // The stored form differs from the plain text where shifted.
    EXPECT_NE(scrambled.str().substr(1), std::string(kAll));
    EXPECT_EQ(scrambled.str()[0], '?');
}

// The stored texts have the shapes their users rely on: an 11-character
// marker word, 9-character definition prefixes, and default shaders that take
// a definitions block in front (no #version) and read the input as in0.
TEST(Text, StoredTexts)
{
    EXPECT_EQ(glfxtext::markerWord().size(), 11u);
    EXPECT_EQ(glfxtext::definePrefix().size(), 9u);
    EXPECT_EQ(glfxtext::definePrefix().rfind("#define ", 0), 0u);
    EXPECT_NE(glfxtext::defineFixedOn(), glfxtext::defineFixedOff());
    EXPECT_FALSE(glfxtext::outOfMemoryMessage().empty());
    EXPECT_FALSE(glfxtext::descriptionKey().empty());
    for (const std::string& src : {glfxtext::defaultVertexShader(), glfxtext::defaultFragmentShader()}) {
        EXPECT_EQ(src.find("#version"), std::string::npos);
        EXPECT_NE(src.find("void main()"), std::string::npos);
    }
    EXPECT_NE(glfxtext::defaultFragmentShader().find("uniform sampler2D in0;"), std::string::npos);
}

TEST(Text, LoadFile)
{
    const std::string path = testing::TempDir() + "glfx_text_load.txt";
    const auto load = [&](const std::string& bytes) {
        std::ofstream(path, std::ios::binary) << bytes;
        return loadFile(path);
    };
    EXPECT_EQ(load("line1\nline2\n"), "line1\nline2\n");
    EXPECT_EQ(load(std::string("before\0after", 12)), "before");
    EXPECT_EQ(load(""), "");
    std::remove(path.c_str());
    EXPECT_EQ(loadFile(""), "");
    EXPECT_EQ(loadFile("/nonexistent/dir/file.glfx"), "");
    // A directory opens but is no file: nothing, and no exception.
    EXPECT_EQ(loadFile(testing::TempDir()), "");
    EXPECT_EQ(loadFile("/"), "");
}

} // namespace
