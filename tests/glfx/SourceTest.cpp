// Where the description text comes from: plain, enciphered, or the user's
// description file named by the marker word.
#include "glfx/Cipher.h"
#include "glfx/Source.h"
#include "glfx/Strings.h"
#include "glfx/Text.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

namespace {

TEST(DescriptionSource, PlainEncipheredAndUserFile)
{
    const char* plain = "[settings]\nname=Plain Look\n[par1]\nparam=gain\ntype=float\n";
    EXPECT_EQ(descriptionText(nullptr), "");
    EXPECT_EQ(descriptionText(plain), plain);
    std::string key = glfxtext::descriptionKey();
    EXPECT_EQ(descriptionText(encrypt(plain, key).c_str()), plain);

    // The marker word sends the plug-in to the user's description file, in
    // $XDG_CONFIG_HOME, else in $HOME/.config. (Each test runs in a process
    // of its own, so the environment is not restored.)
    namespace fs = std::filesystem;
    const fs::path dir = fs::temp_directory_path() / ("glfx_user_" + std::to_string(::getpid()));
    ::setenv("XDG_CONFIG_HOME", dir.c_str(), 1);
    EXPECT_EQ(GetUserPath(), dir.string() + "/");
    const fs::path file = dir / glfxtext::userFileName();
    fs::create_directories(file.parent_path());
    std::ofstream(file) << "[settings]\nname=From the user\n";
    const std::string marked = glfxtext::markerWord() + " anything after the word";
    EXPECT_EQ(descriptionText(marked.c_str()), "[settings]\nname=From the user\n");
    fs::remove_all(dir);
    EXPECT_EQ(descriptionText(marked.c_str()), ""); // missing file: empty text

    ::setenv("HOME", "/home/someone", 1);
    ::setenv("XDG_CONFIG_HOME", "", 1);
    EXPECT_EQ(GetUserPath(), "/home/someone/.config/");
    ::unsetenv("XDG_CONFIG_HOME");
    EXPECT_EQ(GetUserPath(), "/home/someone/.config/");
}

} // namespace
