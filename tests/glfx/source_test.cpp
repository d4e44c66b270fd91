// Where the description text comes from: plain, enciphered, or the user's
// description file named by the marker word.
#include "glfx/cipher.h"
#include "glfx/source.h"
#include "glfx/strings.h"
#include "glfx/text.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

namespace {

const char* kPlain = "[settings]\nname=Plain Look\nversion=1.2\n[par1]\nname=Gain\nparam=gain\ntype=float\n";

TEST(DescriptionSource, PlainEncipheredAndUserFile)
{
    EXPECT_EQ(descriptionText(nullptr), "");
    EXPECT_EQ(descriptionText(kPlain), kPlain);

    std::string key = glfxtext::descriptionKey();
    const std::string sealed = encrypt(kPlain, key);
    ASSERT_EQ(sealed.substr(0, 3), std::string("\x12\x14\x18"));
    EXPECT_EQ(descriptionText(sealed.c_str()), kPlain);

    // The marker word sends the plug-in to the user's description file, in
    // $XDG_CONFIG_HOME, else in $HOME/.config.
    namespace fs = std::filesystem;
    const fs::path dir = fs::temp_directory_path() / ("glfx_user_" + std::to_string(::getpid()));
    const char* oldXdg = std::getenv("XDG_CONFIG_HOME");
    const char* oldHome = std::getenv("HOME");
    const std::string savedXdg = oldXdg ? oldXdg : "", savedHome = oldHome ? oldHome : "";
    ::setenv("XDG_CONFIG_HOME", dir.c_str(), 1);
    EXPECT_EQ(GetUserPath(), dir.string() + "/");
    const fs::path file = dir / glfxtext::userFileName();
    fs::create_directories(file.parent_path());
    const std::string userText = "[settings]\nname=From the user\n";
    std::ofstream(file) << userText;

    const std::string marked = glfxtext::markerWord() + " anything after the word";
    EXPECT_EQ(descriptionText(marked.c_str()), userText);
    fs::remove(file);
    EXPECT_EQ(descriptionText(marked.c_str()), ""); // missing file: empty text

    ::setenv("XDG_CONFIG_HOME", "", 1);
    ::setenv("HOME", "/home/someone", 1);
    EXPECT_EQ(GetUserPath(), "/home/someone/.config/");
    ::unsetenv("XDG_CONFIG_HOME");
    EXPECT_EQ(GetUserPath(), "/home/someone/.config/");

    if (oldXdg)
        ::setenv("XDG_CONFIG_HOME", savedXdg.c_str(), 1);
    if (oldHome)
        ::setenv("HOME", savedHome.c_str(), 1);
    else
        ::unsetenv("HOME");
    fs::remove_all(dir);
}

} // namespace
