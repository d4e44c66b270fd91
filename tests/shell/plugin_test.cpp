// The plug-in binary: what it exports, and the shell's rules seen from the
// reference host through a real session.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "gl/EffectData.h"
#include "host/Host.h"

using namespace glfxhost;

namespace {

const char* const kPassThrough =
    "[settings]\nname=Shell Check\ndescription=Copies its input.\nversion=1.0\n"
    "[par1]\nname=A parameter name far longer than the host allows\nparam=gain\ntype=float\n"
    "min=0\nmax=1\ndefault=0.5\n";

const char* const kBrokenShader = "[settings]\nname=Broken\ndescription=Does not compile.\nversion=1.0\n"
                                  "[ps0]\nvoid main() { this is not a shader; }\n";

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

void fillPattern(World& w)
{
    for (int y = 0; y < w.height(); ++y)
        for (int x = 0; x < w.width(); ++x) {
            const float c[4] = {x / 15.f, y / 15.f, (x + y) % 2 ? 1.f : 0.f, 1.f};
            w.setPixel(x, y, c);
        }
}

// Equal within one 8-bit step (linear sampling may blend a neighbour in).
void expectSamePixels(const World& a, const World& b)
{
    const std::vector<float> p = a.toRGBA(), q = b.toRGBA();
    ASSERT_EQ(p.size(), q.size());
    for (std::size_t i = 0; i < p.size(); ++i)
        ASSERT_NEAR(p[i], q[i], 1.0 / 255) << "pixel " << i / 4 << " channel " << i % 4;
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

    // ...and reads back as a working effect. An instance that never rendered
    // is set down with nothing left behind.
    Session s(plugin, HostMode::AfterEffects);
    ASSERT_EQ(s.start(), PF_Err_NONE);
    std::string about;
    ASSERT_EQ(s.about(about), PF_Err_NONE);
    EXPECT_FALSE(about.empty());
    EXPECT_GT(s.added().size(), 0u);
    ASSERT_EQ(s.sequenceSetdown(), PF_Err_NONE);
    EXPECT_FALSE(s.hasSequenceData());
    ASSERT_EQ(s.globalSetdown(), PF_Err_NONE);
    EXPECT_EQ(s.liveHandles(), 0);
    EXPECT_TRUE(s.records().problems.empty()) << s.records().problems.front();
}

// A long parameter name reaches the host cut to its field; after a flatten
// and re-setup (a project saved and opened again) the instance renders again.
TEST(PluginSession, RendersAgainAfterFlattenAndResetup)
{
    for (HostMode mode : {HostMode::AfterEffects, HostMode::Premiere}) {
        SCOPED_TRACE(hostModeName(mode));
        Plugin plugin(GLFX_PLUGIN_PATH);
        plugin.setEffectText(kPassThrough);
        Session s(plugin, mode);
        ASSERT_EQ(s.start(), PF_Err_NONE);
        ASSERT_EQ(s.added().size(), 1u);
        EXPECT_EQ(s.added()[0].name, "A parameter name far longer tha"); // 31 characters
        const bool bgra = mode == HostMode::Premiere;
        World in(16, 16, 8, bgra), out(16, 16, 8, bgra);
        fillPattern(in);
        ASSERT_EQ(s.render(in, out), PF_Err_NONE);
        expectSamePixels(in, out);

        ASSERT_EQ(s.flatten(), PF_Err_NONE);
        ASSERT_EQ(s.flatData().size(), sizeof(EffectData));
        // The saved bytes carry no pointers of this process.
        EffectData flat;
        std::memcpy(&flat, s.flatData().data(), sizeof flat);
        EXPECT_EQ(flat.glContext, nullptr);
        EXPECT_EQ(flat.outputBuffer, nullptr);
        EXPECT_EQ(flat.layerBuffers[0], nullptr);
        EXPECT_EQ(flat.defines, nullptr);

        ASSERT_EQ(s.resetup(), PF_Err_NONE);
        World out2(16, 16, 8, bgra);
        ASSERT_EQ(s.render(in, out2), PF_Err_NONE);
        expectSamePixels(in, out2);
        ASSERT_EQ(s.finish(), PF_Err_NONE);
        EXPECT_EQ(s.liveHandles(), 0);
        EXPECT_TRUE(s.records().problems.empty()) << s.records().problems.front();
    }
}

// The build log of a broken shader is shown only outside Premiere (the
// alert itself is checked through the real plug-in in the host tests).
TEST(PluginSession, NoBuildLogAlertUnderPremiere)
{
    Plugin plugin(GLFX_PLUGIN_PATH);
    plugin.setEffectText(kBrokenShader);
    Session s(plugin, HostMode::Premiere);
    ASSERT_EQ(s.start(), PF_Err_NONE);
    World in(8, 8, 8, true), out(8, 8, 8, true);
    s.render(in, out);
    ASSERT_EQ(s.doDialog(), PF_Err_NONE);
    EXPECT_TRUE(s.records().scripts.empty());
    ASSERT_EQ(s.finish(), PF_Err_NONE);
}

} // namespace
