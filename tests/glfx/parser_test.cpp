#include "glfx/cglfx.h"
#include "glfx/strings.h"

#include <gtest/gtest.h>

#include <memory>
#include <random>
#include <string>

namespace {

std::unique_ptr<cglfx> parsed(std::string text)
{
    auto fx = std::make_unique<cglfx>();
    fx->parse(text);
    return fx;
}

// How many routing entries differ from a fresh table's.
int changedRoutes(const cglfx& fx)
{
    int changed = 0;
    for (int p = 0; p < 32; ++p)
        for (int i = 0; i < 32; ++i)
            changed += fx.settings.routing[p][i] != ((p == 0 && i == 0) ? -1 : 999);
    return changed;
}

TEST(Parser, ShortTextsGiveTheResetStateAndOthersTheDefaultShaders)
{
    for (const char* text : {"", "ab"}) {
        SCOPED_TRACE(text);
        auto fx = parsed(text);
        EXPECT_EQ(fx->settings.shaders, 1);
        EXPECT_EQ(fx->settings.params, 0);
        EXPECT_EQ(fx->settings.layerCount, 1);
        EXPECT_EQ(changedRoutes(*fx), 0);
        EXPECT_EQ(fx->par[0].uniform, "in0");
        EXPECT_EQ(fx->par[0].type, GLFX_LAYER);
        EXPECT_TRUE(fx->passSource(0).empty());
    }
    auto fx = parsed("[settings]\nname=x\n");
    EXPECT_EQ(fx->vertex, glfxtext::defaultVertexShader());
    EXPECT_EQ(fx->passSource(0), glfxtext::defaultFragmentShader());
    EXPECT_EQ(fx->shaders.size(), 32u);
    EXPECT_TRUE(fx->passSource(32).empty());
    EXPECT_TRUE(fx->passSource(-1).empty());
}

TEST(Parser, SettingsKeys)
{
    auto fx =
        parsed("[settings]\nname=0123456789012345678901234567890123456789\ndescription=A = B\ncategory=Blur\n"
               "uniqueid=first\nmatchname=second\nversion=2.1\nfast=1\ninterp=0\nedgeRepeat=1\ncellsx=4\n"
               "cellsy=3x\nnoinput=2\nName=ignored\n");
    const glfxsettings& s = fx->settings;
    EXPECT_EQ(s.name, "0123456789012345678901234567890");
    EXPECT_EQ(s.description, "A = B");
    EXPECT_EQ(s.category, "Blur");
    EXPECT_EQ(s.matchname, "second");
    EXPECT_EQ(s.version, "2.1");
    EXPECT_TRUE(s.fast);
    EXPECT_EQ(s.interp, 0);
    EXPECT_EQ(s.repeat, 1);
    EXPECT_EQ(s.cellsx, 4);
    EXPECT_EQ(s.cellsy, 3);
    EXPECT_EQ(s.noinput, 2);
    // fast needs exactly "1".
    EXPECT_FALSE(parsed("[settings]\nfast=1 \n")->settings.fast);
    EXPECT_FALSE(parsed("[settings]\nfast=true\n")->settings.fast);
}

TEST(Parser, ParameterHeaders)
{
    struct Case {
        const char* text;
        int index; // parameter expected to carry uniform "u"
        int params;
    };
    const Case cases[] = {
        {"[par07]\nparam=u\n", 7, 8},       {"[par]\nparam=u\n", 0, 1}, // first bare header: the input's slot
        {"[par3]\n[par]\nparam=u\n", 4, 5},                             // previous plus one
        {"[par99]\nparam=u\n", 99, 100},    {"[par5x]\nparam=u\n", 5, 6},
        {"[parx]\nparam=u\n", 0, 1}, // non-digits read as 0
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.text);
        auto fx = parsed(c.text);
        EXPECT_EQ(fx->par[c.index].uniform, "u");
        EXPECT_EQ(fx->settings.params, c.params);
    }
    // The header names the parameter; a bare [par] header's display name
    // follows the "param" line.
    auto fx = parsed("[par3]\ntype=float\n[par5]\nparam=named\n[par]\nparam=speed\n");
    EXPECT_EQ(fx->par[3].name, "par3");
    EXPECT_EQ(fx->par[3].uniform, "par3");
    EXPECT_EQ(fx->par[5].name, "par5");
    EXPECT_EQ(fx->par[6].name, "speed");
    // Keys with no current parameter are ignored.
    auto none = parsed("[misc]\nname=x\ntype=float\n");
    EXPECT_EQ(none->settings.params, 0);
    EXPECT_EQ(none->par[0].name, "in0");
    // [par99] then bare headers walk past 127: nothing may be written there.
    std::string text = "[par99]\nparam=a\n";
    for (int i = 0; i < 40; ++i)
        text += "[par]\nparam=p" + std::to_string(100 + i) + "\n";
    auto beyond = parsed(text);
    EXPECT_EQ(beyond->par[127].uniform, "p127");
    EXPECT_EQ(beyond->settings.params, 128);
}

TEST(Parser, TypeTableAndComponentCounts)
{
    struct Case {
        const char* lines;
        int type;
        int components;
    };
    const Case cases[] = {
        {"type=float", GLFX_FLOAT, 1},
        {"type=int", GLFX_INT, 1},
        {"type=none", GLFX_NONE, 1},
        {"type=check", GLFX_CHECK, 1},
        {"type=popup", GLFX_POPUP, 1},
        {"type=layer", GLFX_LAYER, 0},
        {"type=color", GLFX_COLOR, 3},
        {"type=angle", GLFX_ANGLE, 1},
        {"type=point", GLFX_POINT, 2},
        {"type=float2", GLFX_FLOAT2, 1},
        {"type=topic_start", GLFX_TOPIC_START, 1},
        {"type=topic_end", GLFX_TOPIC_END, 1},
        // An unknown word keeps the type but still resets the component count.
        {"type=color\ntype=Float", GLFX_COLOR, 1},
        // Popup flags of 1 or more drop the shader value; the type line sets
        // the count again.
        {"type=popup\nflags=2", GLFX_POPUP, 0},
        {"type=popup\nflags=0", GLFX_POPUP, 1},
        {"type=check\nflags=1", GLFX_CHECK, 1},
        {"flags=3\ntype=popup", GLFX_POPUP, 1},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.lines);
        auto fx = parsed(std::string("[par1]\n") + c.lines + "\n");
        EXPECT_EQ(fx->par[1].type, c.type);
        EXPECT_EQ(fx->par[1].components, c.components);
    }
}

TEST(Parser, LayerParametersRaiseTheLayerCountUpTo32)
{
    std::string text;
    for (int i = 1; i <= 40; ++i)
        text += "[par" + std::to_string(i) + "]\ntype=layer\n";
    EXPECT_EQ(parsed(text)->settings.layerCount, 32);
    // A layer at index 0 does not count; every extra layer reaches pass 0.
    auto two = parsed("[par]\ntype=layer\n[par1]\ntype=layer\n[par2]\ntype=layer\n");
    EXPECT_EQ(two->settings.layerCount, 3);
    EXPECT_EQ(two->settings.routing[0][0], -1);
    EXPECT_EQ(two->settings.routing[0][1], -2);
    EXPECT_EQ(two->settings.routing[0][2], -3);
    EXPECT_EQ(two->settings.routing[0][3], 999);
}

TEST(Parser, PopupItemsAndRange)
{
    struct Case {
        const char* text;
        std::vector<std::string> items;
        float min, max;
    };
    const Case cases[] = {
        {"type=popup\npopup=a|b|\n", {"a", "b"}, 0.f, 1.f},
        {"type=popup\npopup=a|b|c\n", {"a", "b", "c"}, 0.f, 2.f},
        {"type=popup\ntext=\n", {}, 0.f, -1.f},
        {"type=popup\npopup=x|| y\n", {"x", "", " y"}, 0.f, 2.f},
        {"min=5\nmax=9\npopup=a|b|c\ntype=popup\n", {"a", "b", "c"}, 5.f, 9.f}, // type after the items
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.text);
        auto fx = parsed(std::string("[par1]\n") + c.text);
        const glfxpar& p = fx->par[1];
        EXPECT_EQ(p.items, c.items);
        EXPECT_FLOAT_EQ(p.min, c.min);
        EXPECT_FLOAT_EQ(p.max, c.max);
    }
    EXPECT_EQ(parsed("[par1]\npopup=x|| y\n")->par[1].itemtext, "x|| y");
}

TEST(Parser, Defaults)
{
    struct Case {
        const char* value;
        float d0, d1, d2;
    };
    const Case cases[] = {
        {"0.25", 0.25f, 0.25f, 0.25f}, {"0.2|0.4", 0.2f, 0.4f, 0.4f},    {"1|2|3", 1.f, 2.f, 3.f},
        {"1|2|3|4", 1.f, 2.f, 3.f},    {"true", 1.f, 1.f, 1.f},          {"false|true", 0.f, 1.f, 1.f},
        {"abc", 0.f, 0.f, 0.f},        {"-1.5e1x", -15.f, -15.f, -15.f},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.value);
        auto fx = parsed(std::string("[par1]\ndefault=") + c.value + "\n");
        const glfxpar& p = fx->par[1];
        const float expected[4] = {c.d0, c.d1, c.d2, c.d0};
        for (int k = 0; k < 4; ++k) {
            if (k < 3) {
                EXPECT_FLOAT_EQ(p.def[k], expected[k]) << k;
            }
            EXPECT_FLOAT_EQ(p.coldef[k], expected[k]) << k;
        }
    }
    auto time = parsed("[par1]\ndefault=1|2|3\ntime=7\n");
    EXPECT_FLOAT_EQ(time->par[1].def[0], 7.f);
    EXPECT_FLOAT_EQ(time->par[1].coldef[0], 1.f);
}

TEST(Parser, VisibilityGroupsNames)
{
    auto fx = parsed("[par1]\ndisabled=0\n"
                     "[par2]\nhidden=no\n"
                     "[par3]\nvisibility=7\ngroup=2\ngroup1=3\ngroup4=9\n"
                     "[par4]\ngroupswitch=3\ngroup2=5\n"
                     "[par5]\nname0=Shown\nname1=A\nname4=D\ndisplay=Final\n");
    EXPECT_EQ(fx->par[1].visibility, 1);
    EXPECT_EQ(fx->par[2].visibility, 2);
    EXPECT_EQ(fx->par[3].visibility, 7);
    EXPECT_EQ(fx->par[3].group[0], 2);
    EXPECT_EQ(fx->par[3].group[1], 3);
    EXPECT_EQ(fx->par[3].group[4], 9);
    EXPECT_EQ(fx->par[4].group[0], -3);
    EXPECT_EQ(fx->par[4].group[2], 5);
    EXPECT_EQ(fx->par[5].name, "Final");
    EXPECT_EQ(fx->par[5].names[0], "A");
    EXPECT_EQ(fx->par[5].names[3], "D");
    // A group switch is stored negated, without overflow at the int limits.
    const std::pair<const char*, int> switches[] = {
        {"-4", 4}, {"0", 0}, {"2147483647", -2147483647}, {"-2147483648", -2147483647 - 1}};
    for (const auto& [value, group] : switches)
        EXPECT_EQ(parsed(std::string("[par1]\ngroupswitch=") + value + "\n")->par[1].group[0], group)
            << value;
}

TEST(Parser, Routing)
{
    struct Case {
        const char* line;
        int pass, input, value;
    };
    const Case cases[] = {
        {"ps1_in0=layer2", 1, 0, -3}, {"ps1_in0=ps0", 1, 0, 0},   {"ps1_in0=foo", 1, 0, 999},
        {"ps3_in5=layer0", 3, 5, -1}, {"ps2_in1=ps32", 2, 1, 32}, {"ps2_in1=ps33", 2, 1, 999}, // not below 33
        {"ps31_in31=ps4", 31, 31, 4}, {"ps0_in0=ps2", 0, 0, 2},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.line);
        auto fx = parsed(std::string("[routing]\n") + c.line + "\n");
        EXPECT_EQ(fx->settings.routing[c.pass][c.input], c.value);
        EXPECT_EQ(changedRoutes(*fx), c.value == 999 ? 0 : 1);
    }
    // Pass and input numbers outside 0..31 are ignored.
    for (const char* line :
         {"ps32_in0=ps0", "ps0_in32=ps1", "ps-1_in0=ps0", "ps1_in-2=ps0", "ps100000_in0=layer1"})
        EXPECT_EQ(changedRoutes(*parsed(std::string("[routing]\n") + line + "\n")), 0) << line;
}

TEST(Parser, PassSectionsCommentsAndLineEndings)
{
    auto fx = parsed("[settings]\r\n; comment\nname=n\r\n/ other\n\r\n"
                     "[vs]\n// dropped\nvoid main(){}\n"
                     "[ps0]\n// kept\n; kept too\nline\r\n"
                     "[ps1]\nold\n[ps1]\nnew\n" // a repeated header starts the source again
                     "[ps2]\nps0\n"             // alias of a pass in use
                     "[ps3]\nps5\n"             // pass 5 is not in use: no alias
                     "[ps40]\nnever\n");
    EXPECT_EQ(fx->settings.name, "n");
    EXPECT_EQ(fx->vertex, "void main(){}\n");
    EXPECT_EQ(fx->passSource(0), "// kept\n; kept too\nline\n");
    EXPECT_EQ(fx->passSource(1), "new\n");
    EXPECT_EQ(fx->passSource(2), fx->passSource(0));
    EXPECT_EQ(fx->passSource(3), "ps5\n");
    EXPECT_EQ(fx->settings.shaders, 4);
}

TEST(Parser, Presets)
{
    auto fx = parsed("[par1]\nparam=a\n[preset]\na=1\n[presetx]\na=2\n" // before any resolved header: ignored
                     "[par2]\nparam=look\ntype=popup\npopup=a|b\nflags=3\n"
                     "[par3]\nparam=amount\n"
                     "[par4]\nparam=tint\ntype=color\n"
                     "[preset_look_1]\namount=0.5\ntint=0.1|0.2|0.3\nmissing=1\n=2\n"
                     "[preset_nobody_0]\namount=9\n"
                     "[preset_look_0]\namount=0.25\n"
                     "[preset_later_0]\namount=3\n"
                     "[par5]\nparam=later\n");
    const auto& presets = fx->settings.presets;
    ASSERT_EQ(presets.size(), 2u);
    const auto& p1 = presets.at({2, 1}).values;
    ASSERT_EQ(p1.size(), 2u);
    EXPECT_FLOAT_EQ(p1.at(3).v[0], 0.5f);
    EXPECT_FLOAT_EQ(p1.at(3).v[2], 0.5f);
    EXPECT_FLOAT_EQ(p1.at(4).v[1], 0.2f);
    EXPECT_FLOAT_EQ(p1.at(4).v[2], 0.3f);
    ASSERT_EQ(presets.at({2, 0}).values.size(), 1u);
    EXPECT_FLOAT_EQ(presets.at({2, 0}).values.at(3).v[0], 0.25f);
}

TEST(Parser, BlocksExpandBeforeLinesAreRead)
{
    auto fx = parsed("@@head [settings]\nname=fromblock\n@@"
                     "\n@@head\n[ps0]\n@@body\n");
    EXPECT_EQ(fx->settings.name, "fromblock");
    // A later "@@" is a definition too; unclosed, it runs to the end.
    EXPECT_EQ(fx->passSource(0), glfxtext::defaultFragmentShader());

    EXPECT_EQ(parsed("@@x a=1@@\n[ps0]\n@@x @@x\n")->passSource(0), "a=1 a=1\n");
}

TEST(Parser, BlockExpansionIsBoundedInSize)
{
    // A 64 KiB block used 100 times (6.4 MiB) is expanded; used 300 times
    // (19.2 MiB, past the 16 MiB bound) it is not, and the first unexpanded
    // use is then read as an unclosed definition that runs to the end.
    const std::string block = "@@a " + std::string(65536, 'x') + "@@\n[settings]\nname=";
    auto uses = [](int n) {
        std::string s;
        for (int i = 0; i < n; ++i)
            s += "@@a";
        return s + "\n";
    };
    std::string small = block + uses(100);
    cglfx fx;
    fx.parse(small);
    EXPECT_EQ(fx.settings.name, std::string(31, 'x'));
    EXPECT_EQ(small.size(), std::string("\n[settings]\nname=\n").size() + 100u * 65536u);

    std::string large = block + uses(300);
    fx.parse(large);
    EXPECT_EQ(large, "\n[settings]\nname=");
    EXPECT_TRUE(fx.settings.name.empty());
}

TEST(Parser, ParsingAgainForgetsThePreviousDescription)
{
    cglfx fx;
    std::string first = "[settings]\nname=one\nshaders=3\n[par1]\nparam=a\ntype=popup\npopup=x|y\nflags=3\n"
                        "[par2]\nparam=b\n[preset_a_1]\nb=1\n[ps1]\nfirst\n[vs]\nvs\n";
    fx.parse(first);
    ASSERT_EQ(fx.settings.presets.size(), 1u);
    std::string second = "[par2]\ntype=float\n";
    fx.parse(second);
    EXPECT_TRUE(fx.settings.name.empty());
    EXPECT_TRUE(fx.settings.presets.empty());
    EXPECT_TRUE(fx.par[1].items.empty());
    EXPECT_EQ(fx.par[2].uniform, "par2");
    EXPECT_EQ(fx.settings.shaders, 1);
    EXPECT_TRUE(fx.passSource(1).empty());
    EXPECT_EQ(fx.vertex, glfxtext::defaultVertexShader());
}

TEST(Parser, HostileNumbersWriteNothingOutsideTheTables)
{
    // Pass headers outside 0..31: no pass count change, no source.
    for (const char* text : {"[ps-1]\nx\n", "[ps32]\nx\n", "[ps2147483647]\nx\n"}) {
        SCOPED_TRACE(text);
        auto fx = parsed(text);
        EXPECT_EQ(fx->settings.shaders, 1);
        EXPECT_EQ(fx->passSource(0), glfxtext::defaultFragmentShader());
        for (int p = 1; p < 32; ++p)
            EXPECT_TRUE(fx->passSource(p).empty()) << "pass " << p;
    }
    // Negative parameter headers: the keys have no parameter to go to.
    auto neg = parsed("[par-5]\nparam=x\n[par]\nparam=y\ntype=layer\n");
    EXPECT_EQ(neg->settings.params, 0);
    EXPECT_EQ(neg->settings.layerCount, 1);
    EXPECT_EQ(neg->par[0].uniform, "in0");

    // A large shader count from the settings: aliases still only copy passes
    // of the table, and a negative alias is no alias.
    auto big =
        parsed("[settings]\nshaders=1000\nparams=100000\n[ps0]\nA\n[ps1]\nps999\n[ps2]\nps-1\n[ps3]\nps1\n");
    EXPECT_EQ(big->settings.shaders, 1000);
    EXPECT_EQ(big->settings.params, 100000);
    EXPECT_EQ(big->passSource(1), "ps999\n");
    EXPECT_EQ(big->passSource(2), "ps-1\n");
    EXPECT_EQ(big->passSource(3), "ps999\n"); // copy of pass 1 as it stands

    // A negative shader count from the settings: a later pass header raises it.
    auto negShaders = parsed("[settings]\nshaders=-3\nparams=-7\n[ps1]\nB\n[par2]\nparam=u\n");
    EXPECT_EQ(negShaders->settings.shaders, 2);
    EXPECT_EQ(negShaders->settings.params, 3);
}

// Any byte string parses into a description within the model's bounds (run
// under the sanitizers, an access outside a table fails the test too).
TEST(Parser, RandomBytesGiveADescriptionWithinBounds)
{
    const char* pieces[] = {
        "[par", "[ps", "[vs]", "[settings]", "[routing]", "[preset_", "]",        "=", "|",  "_in", "layer",
        "ps",   "@@",  "\n",   "\r",         "type=",     "popup",    "default=", "-", "99", "31",  "128"};
    std::mt19937 rng(2024);
    for (int round = 0; round < 2000; ++round) {
        std::string text;
        const int parts = static_cast<int>(rng() % 200);
        for (int k = 0; k < parts; ++k) {
            if (rng() % 3 == 0)
                text += static_cast<char>(rng() % 256);
            else
                text += pieces[rng() % std::size(pieces)];
        }
        SCOPED_TRACE(round);
        auto fx = parsed(text);
        if (text.size() >= 3) {
            EXPECT_EQ(fx->shaders.size(), 32u);
        }
        EXPECT_GE(fx->settings.layerCount, 1);
        EXPECT_LE(fx->settings.layerCount, 32);
        EXPECT_EQ(fx->par[0].type, GLFX_LAYER);
        for (const auto& row : fx->settings.routing)
            for (int v : row)
                EXPECT_TRUE(v == 999 || v < 33) << v;
    }
}

} // namespace
