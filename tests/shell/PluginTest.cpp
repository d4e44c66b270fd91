// The plug-in binary: what it exports, and its built-in description.
#include "PluginFixture.h"

#include <cstdio>
#include <set>
#include <sstream>

using namespace plugintest;

namespace {

// Defined dynamic symbols of a library: (type letter, name).
std::set<std::pair<char, std::string>> definedSymbols(const std::string& path)
{
    std::set<std::pair<char, std::string>> symbols;
    FILE* p = popen(("nm -D --defined-only '" + path + "'").c_str(), "r");
    if (!p)
        return symbols;
    char line[1024];
    while (std::fgets(line, sizeof line, p)) {
        std::istringstream in(line);
        std::string address, type, name;
        if (in >> address >> type >> name)
            symbols.insert({type[0], name});
    }
    pclose(p);
    return symbols;
}

TEST(PluginBinary, ExportsOnlyTheEntryPointAndTheDescriptionPointer)
{
    const auto symbols = definedSymbols(GLFX_PLUGIN_PATH);
    ASSERT_FALSE(symbols.empty()) << "nm gave nothing for " << GLFX_PLUGIN_PATH;
    std::set<std::string> names;
    for (const auto& s : symbols)
        names.insert(s.second);
    EXPECT_EQ(names, (std::set<std::string>{"EntryPointFunc", "_GLFX_CODE"}));
    // A text symbol and a writable data symbol (the pointer can be redirected).
    EXPECT_TRUE(symbols.count({'T', "EntryPointFunc"}));
    EXPECT_TRUE(symbols.count({'D', "_GLFX_CODE"}));
}

TEST(PluginBinary, BuiltInDescriptionIsEncipheredAndWorks)
{
    Plugin plugin(GLFX_PLUGIN_PATH);
    ASSERT_TRUE(plugin.hasEffectTextSymbol());
    const char* text = plugin.effectText();
    ASSERT_NE(text, nullptr);
    EXPECT_EQ(std::string(text, 3), std::string("\x12\x14\x18"));
    // ...and reads back as a working effect that renders.
    Session s(plugin, HostMode::AfterEffects);
    ASSERT_EQ(s.start(), PF_Err_NONE);
    EXPECT_GT(s.added().size(), 0u);
    World in(8, 8, 8), out(8, 8, 8);
    EXPECT_EQ(s.render(in, out), PF_Err_NONE);
    ASSERT_EQ(s.finish(), PF_Err_NONE);
    EXPECT_EQ(problems(s), "");
}

} // namespace
