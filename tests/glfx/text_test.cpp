#include "glfx/scrambled.h"
#include "glfx/strings.h"
#include "glfx/text.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <fstream>
#include <random>
#include <string>

namespace {

struct ReplaceCase {
    const char* text;
    const char* search;
    const char* repl;
    const char* expected;
};

TEST(Text, StrReplace)
{
    const ReplaceCase cases[] = {
        {"true|true", "true", "1.0", "1.0|1.0"},
        {"a", "a", "aa", "aa"},                 // replacement is not searched again
        {"aaa", "aa", "b", "ba"},
        {"xyz", "q", "r", "xyz"},
        {"abc", "", "X", "abc"},                // empty search: unchanged, terminates
        {"abab", "ab", "", ""},
        {"", "a", "b", ""},
        {"aab", "ab", "b", "ab"},               // a match formed with the text before is not taken
        {"abb", "ab", "a", "ab"},               // nor one formed with the text after
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

TEST(Text, IntToString)
{
    EXPECT_EQ(intToString(0), "0");
    EXPECT_EQ(intToString(-42), "-42");
    EXPECT_EQ(intToString(2147483647), "2147483647");
    EXPECT_EQ(intToString(-2147483647 - 1), "-2147483648");
}

TEST(Text, DecodeString)
{
    EXPECT_EQ(decodeString("?afk"), "abc");
    EXPECT_EQ(decodeString("xabc"), "abc");      // no '?': only the marker goes
    EXPECT_EQ(decodeString(""), "");
    EXPECT_EQ(decodeString("?"), "");
    // Control characters and DEL stay; shifting wraps within 32..126.
    EXPECT_EQ(decodeString(std::string("?\n\x7f\t", 4)), std::string("\n\x7f\t", 3));
    EXPECT_EQ(decodeString("?  "), std::string(" ") + char(32 - 4 + 95));
}

TEST(Text, ScramblerRoundTripsEveryPrintableCharacter)
{
    static constexpr char kAll[] =
        " !\"#$%&'()*+,-./0123456789:;<=>?@ABCDEFGHIJKLMNOPQRSTUVWXYZ[\\]^_`abcdefghijklmnopqrstuvwxyz{|}~\n\t";
    static constexpr auto scrambled = glfxscramble::scramble(kAll);
    static_assert(glfxscramble::roundTrips(scrambled, kAll), "compile-time round trip");
    EXPECT_EQ(decodeString(scrambled.str()), std::string(kAll));
    // The stored form differs from the plain text where shifted.
    EXPECT_NE(scrambled.str().substr(1), std::string(kAll));
    EXPECT_EQ(scrambled.str()[0], '?');
}

TEST(Text, StoredTexts)
{
    EXPECT_EQ(glfxtext::markerWord(), "#USER_GLFX#");
    EXPECT_EQ(glfxtext::userFileName(), "glfx/user.glfx");
    EXPECT_EQ(glfxtext::definePrefix(), "#define _");
    EXPECT_EQ(glfxtext::definePrefix().size(), 9u);
    EXPECT_EQ(glfxtext::defineFixedOn(), "#define GLFX_PREVIEW");
    EXPECT_EQ(glfxtext::defineFixedOff(), "#define GLFX_DEBUG");
    EXPECT_EQ(glfxtext::defineFast(), "#define GLFX_FAST");
    EXPECT_EQ(glfxtext::outOfMemoryMessage(), "Not enough memory for the effect instance.");
    EXPECT_GE(glfxtext::descriptionKey().size(), 8u);
    for (const std::string& src : {glfxtext::defaultVertexShader(), glfxtext::defaultFragmentShader()}) {
        EXPECT_EQ(src.find("#version"), std::string::npos);
        EXPECT_NE(src.find("void main()"), std::string::npos);
    }
    EXPECT_NE(glfxtext::defaultFragmentShader().find("uniform sampler2D in0;"), std::string::npos);
    EXPECT_NE(glfxtext::defaultVertexShader().find("ftransform()"), std::string::npos);
}

class TempFile {
public:
    explicit TempFile(const std::string& bytes)
    {
        path_ = testing::TempDir() + "glfx_text_" + std::to_string(std::random_device{}()) + ".txt";
        std::ofstream(path_, std::ios::binary) << bytes;
    }
    ~TempFile() { std::remove(path_.c_str()); }
    const std::string& path() const { return path_; }

private:
    std::string path_;
};

TEST(Text, LoadFile)
{
    TempFile plain("line1\nline2\n");
    EXPECT_EQ(loadFile(plain.path()), "line1\nline2\n");
    TempFile zero(std::string("before\0after", 12));
    EXPECT_EQ(loadFile(zero.path()), "before");
    TempFile empty("");
    EXPECT_EQ(loadFile(empty.path()), "");
    EXPECT_EQ(loadFile(""), "");
    EXPECT_EQ(loadFile("/nonexistent/dir/file.glfx"), "");
    // A directory opens but is no file: nothing, and no exception.
    EXPECT_EQ(loadFile(testing::TempDir()), "");
    EXPECT_EQ(loadFile("/"), "");
}

TEST(Text, GetUserPath)
{
    const char* oldXdg = std::getenv("XDG_CONFIG_HOME");
    const std::string savedXdg = oldXdg ? oldXdg : "";
    const char* oldHome = std::getenv("HOME");
    const std::string savedHome = oldHome ? oldHome : "";

    setenv("XDG_CONFIG_HOME", "/cfg", 1);
    EXPECT_EQ(GetUserPath(), "/cfg/");
    setenv("XDG_CONFIG_HOME", "", 1);
    setenv("HOME", "/home/someone", 1);
    EXPECT_EQ(GetUserPath(), "/home/someone/.config/");
    unsetenv("XDG_CONFIG_HOME");
    EXPECT_EQ(GetUserPath(), "/home/someone/.config/");

    if (oldXdg) setenv("XDG_CONFIG_HOME", savedXdg.c_str(), 1);
    if (oldHome) setenv("HOME", savedHome.c_str(), 1); else unsetenv("HOME");
}

}  // namespace
