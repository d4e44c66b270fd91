#include "glfx/Cglfx.h"
#include "glfx/Strings.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <tuple>
#include <vector>

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

std::vector<int> groups(const glfxpar& p) { return std::vector<int>(std::begin(p.group), std::end(p.group)); }

TEST(Parser, ResetStateDefaultShadersAndReparsing)
{
    for (const char* text : {"", "ab"}) { // under three characters: the reset state only
        auto fx = parsed(text);
        EXPECT_TRUE(fx->settings.shaders == 1 && fx->par[0].uniform == "in0" && fx->passSource(0).empty())
            << text;
    }
    cglfx fx;
    std::string first = "[settings]\nname=one\nshaders=3\n[par1]\nparam=a\ntype=popup\npopup=x|y\nflags=3\n"
                        "[par2]\nparam=b\n[preset_a_1]\nb=1\n[ps1]\nfirst\n[vs]\nvs\n";
    fx.parse(first);
    ASSERT_EQ(fx.settings.presets.size(), 1u);
    std::string second = "[par2]\ntype=float\n";
    fx.parse(second); // nothing of the first description survives
    EXPECT_TRUE(fx.settings.name.empty() && fx.settings.presets.empty() && fx.par[1].items.empty());
    EXPECT_TRUE(fx.settings.shaders == 1 && fx.passSource(1).empty() && fx.par[2].uniform == "par2");
    EXPECT_EQ(fx.vertex, glfxtext::defaultVertexShader());
    EXPECT_EQ(fx.passSource(0), glfxtext::defaultFragmentShader());
    EXPECT_TRUE(fx.passSource(32).empty() && fx.passSource(-1).empty());
}

TEST(Parser, SettingsKeys)
{
    auto fx =
        parsed("[settings]\nname=0123456789012345678901234567890123456789\ndescription=A = B\ncategory=Blur\n"
               "uniqueid=first\nmatchname=second\nversion=2.1\nfast=1\ninterp=0\nedgeRepeat=1\ncellsx=4\n"
               "cellsy=3x\nnoinput=2\nName=ignored\n");
    const glfxsettings& s = fx->settings;
    EXPECT_EQ(std::tie(s.name, s.description, s.category, s.matchname, s.version),
              std::make_tuple(std::string("0123456789012345678901234567890"), std::string("A = B"),
                              std::string("Blur"), std::string("second"),
                              std::string("2.1"))); // 31 characters of the name kept
    EXPECT_EQ((std::vector<int>{s.fast, s.interp, s.repeat, s.cellsx, s.cellsy, s.noinput}),
              (std::vector<int>{1, 0, 1, 4, 3, 2}));
    for (const char* notFast : {"fast=1 \n", "fast=true\n"}) // exactly "1" only
        EXPECT_FALSE(parsed(std::string("[settings]\n") + notFast)->settings.fast) << notFast;
}

TEST(Parser, ParameterHeaders)
{
    // Two digits at most are read (non-digits as 0); a bare header is the
    // previous plus one, the input's slot first; keys under a negative
    // header or none go nowhere.
    const struct {
        const char* text;
        int index; // parameter expected to carry uniform "u"; -1: none
        int params;
    } cases[] = {{"[par07]\nparam=u\n", 7, 8},
                 {"[par]\nparam=u\n", 0, 1},
                 {"[par3]\n[par]\nparam=u\n", 4, 5},
                 {"[par99]\nparam=u\n", 99, 100},
                 {"[par5x]\nparam=u\n", 5, 6},
                 {"[parx]\nparam=u\n", 0, 1},
                 {"[par-5]\nparam=u\n[par]\nparam=y\ntype=layer\n", -1, 0},
                 {"[misc]\nname=x\nparam=u\n", -1, 0}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.text);
        auto fx = parsed(c.text);
        if (c.index >= 0) {
            EXPECT_EQ(fx->par[c.index].uniform, "u");
        } else {
            EXPECT_EQ(fx->par[0].uniform, "in0");
            EXPECT_EQ(fx->settings.layerCount, 1);
        }
        EXPECT_EQ(fx->settings.params, c.params);
    }
    // The header names the parameter; a bare header's name follows "param".
    auto fx = parsed("[par3]\ntype=float\n[par5]\nparam=named\n[par]\nparam=speed\n");
    EXPECT_EQ(
        std::tie(fx->par[3].name, fx->par[3].uniform, fx->par[5].name, fx->par[6].name),
        std::make_tuple(std::string("par3"), std::string("par3"), std::string("par5"), std::string("speed")));
    // [par99] then bare headers walk past 127: nothing is written there.
    std::string text = "[par99]\nparam=a\n";
    for (int i = 0; i < 40; ++i)
        text += "[par]\nparam=p" + std::to_string(100 + i) + "\n";
    auto beyond = parsed(text);
    EXPECT_EQ(beyond->par[127].uniform, "p127");
    EXPECT_EQ(beyond->settings.params, 128);
}

TEST(Parser, TypesComponentsAndLayers)
{
    // An unknown word keeps the type but resets the count; popup flags of 1
    // or more drop the shader value, and a type line sets the count again.
    // clang-format off
    const struct {
        const char* lines;
        int type, components;
    } cases[] = {{"float", GLFX_FLOAT, 1},   {"int", GLFX_INT, 1},       {"none", GLFX_NONE, 1},
                 {"check", GLFX_CHECK, 1},   {"popup", GLFX_POPUP, 1},   {"layer", GLFX_LAYER, 0},
                 {"color", GLFX_COLOR, 3},   {"angle", GLFX_ANGLE, 1},   {"point", GLFX_POINT, 2},
                 {"float2", GLFX_FLOAT2, 1}, {"topic_start", GLFX_TOPIC_START, 1},
                 {"topic_end", GLFX_TOPIC_END, 1},                       {"color\ntype=Float", GLFX_COLOR, 1},
                 {"popup\nflags=2", GLFX_POPUP, 0}, {"popup\nflags=0", GLFX_POPUP, 1},
                 {"check\nflags=1", GLFX_CHECK, 1}, {"check\nflags=3\ntype=popup", GLFX_POPUP, 1}};
    // clang-format on
    for (const auto& c : cases) {
        auto fx = parsed(std::string("[par1]\ntype=") + c.lines + "\n");
        EXPECT_EQ(fx->par[1].type, c.type) << c.lines;
        EXPECT_EQ(fx->par[1].components, c.components) << c.lines;
    }
    std::string many;
    for (int i = 1; i <= 40; ++i)
        many += "[par" + std::to_string(i) + "]\ntype=layer\n";
    EXPECT_EQ(parsed(many)->settings.layerCount, 32);
    // A layer at index 0 does not count; every extra layer reaches pass 0.
    auto two =
        parsed("[par]\ntype=layer\n[par1]\ntype=layer\n[par2]\ntype=layer\n[routing]\nps0_in1=layer0\n");
    EXPECT_EQ(two->settings.layerCount, 3);
    const int want[] = {-1, -1, -3, 999}; // input 1 routed by hand, input 2 by default
    for (int i = 0; i < 4; ++i)
        EXPECT_EQ(two->settings.routing[0][i], want[i]) << i;
}

TEST(Parser, PopupItemsAndDefaults)
{
    // A trailing "|" adds no item; the range follows the items unless the
    // type comes after them.
    const struct {
        const char* text;
        std::vector<std::string> items;
        float min, max;
    } popups[] = {{"type=popup\npopup=a|b|\n", {"a", "b"}, 0.f, 1.f},
                  {"type=popup\npopup=a|b|c\n", {"a", "b", "c"}, 0.f, 2.f},
                  {"type=popup\ntext=\n", {}, 0.f, -1.f},
                  {"type=popup\npopup=x|| y\n", {"x", "", " y"}, 0.f, 2.f},
                  {"min=5\nmax=9\npopup=a|b|c\ntype=popup\n", {"a", "b", "c"}, 5.f, 9.f}};
    for (const auto& c : popups) {
        SCOPED_TRACE(c.text);
        const glfxpar p = parsed(std::string("[par1]\n") + c.text)->par[1];
        EXPECT_EQ(p.items, c.items);
        EXPECT_FLOAT_EQ(p.min, c.min);
        EXPECT_FLOAT_EQ(p.max, c.max);
    }
    EXPECT_EQ(parsed("[par1]\npopup=x|| y\n")->par[1].itemtext, "x|| y");

    const struct {
        const char* value;
        float d[3];
    } defaults[] = {{"0.25", {0.25f, 0.25f, 0.25f}}, {"0.2|0.4", {0.2f, 0.4f, 0.4f}},
                    {"1|2|3", {1.f, 2.f, 3.f}},      {"1|2|3|4", {1.f, 2.f, 3.f}},
                    {"true", {1.f, 1.f, 1.f}},       {"false|true", {0.f, 1.f, 1.f}},
                    {"abc", {0.f, 0.f, 0.f}},        {"-1.5e1x", {-15.f, -15.f, -15.f}}};
    for (const auto& c : defaults) {
        const glfxpar p = parsed(std::string("[par1]\ndefault=") + c.value + "\n")->par[1];
        for (int k = 0; k < 4; ++k) {
            EXPECT_FLOAT_EQ(p.coldef[k], c.d[k % 3]) << c.value << " " << k; // colour form: (d0, d1, d2, d0)
            EXPECT_FLOAT_EQ(p.def[k % 3], c.d[k % 3]) << c.value << " " << k;
        }
    }
    const glfxpar timed = parsed("[par1]\ndefault=1|2|3\ntime=7\n")->par[1];
    EXPECT_FLOAT_EQ(timed.def[0], 7.f);
    EXPECT_FLOAT_EQ(timed.coldef[0], 1.f);
}

TEST(Parser, VisibilityGroupsNames)
{
    auto fx =
        parsed("[par1]\ndisabled=0\n[par2]\nhidden=no\n[par3]\nvisibility=7\ngroup=2\ngroup1=3\ngroup4=9\n"
               "[par4]\ngroupswitch=3\ngroup2=5\n[par5]\nname0=Shown\nname1=A\nname4=D\ndisplay=Final\n");
    EXPECT_EQ((std::vector<int>{fx->par[1].visibility, fx->par[2].visibility, fx->par[3].visibility}),
              (std::vector<int>{1, 2, 7}));
    EXPECT_EQ(groups(fx->par[3]), (std::vector<int>{2, 3, 0, 0, 9}));
    EXPECT_EQ(groups(fx->par[4]), (std::vector<int>{-3, 0, 5, 0, 0}));
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
    const struct {
        const char* line;
        int pass, input, value; // value 999: the line changes nothing
    } cases[] = {{"ps1_in0=layer2", 1, 0, -3},      {"ps1_in0=ps0", 1, 0, 0},    {"ps1_in0=foo", 1, 0, 999},
                 {"ps3_in5=layer0", 3, 5, -1},      {"ps2_in1=ps32", 2, 1, 32},  {"ps2_in1=ps33", 2, 1, 999},
                 {"ps31_in31=ps4", 31, 31, 4},      {"ps0_in0=ps2", 0, 0, 2},    {"ps32_in0=ps0", 0, 0, 999},
                 {"ps0_in32=ps1", 0, 0, 999},       {"ps-1_in0=ps0", 0, 0, 999}, {"ps1_in-2=ps0", 0, 0, 999},
                 {"ps100000_in0=layer1", 0, 0, 999}};
    for (const auto& c : cases) {
        auto fx = parsed(std::string("[routing]\n") + c.line + "\n");
        EXPECT_EQ(fx->settings.routing[c.pass][c.input], c.value == 999 && !c.pass && !c.input ? -1 : c.value)
            << c.line;
        EXPECT_EQ(changedRoutes(*fx), c.value == 999 ? 0 : 1) << c.line;
    }
}

TEST(Parser, PassSectionsCommentsAndLineEndings)
{
    auto fx = parsed("[settings]\r\n; comment\nname=n\r\n/ other\n\r\n"
                     "[vs]\n// dropped\nvoid main(){}\n"
                     "[ps0]\n// kept\n; kept too\nline\r\n"
                     "[ps1]\nold\n[ps1]\nnew\n" // a repeated header starts the source again
                     "[ps2]\nps0\n"             // alias of a pass in use
                     "[ps3]\nps5\n"             // pass 5 is not in use: no alias
                     "[ps40]\nnever\n[ps-1]\nnever\n[ps2147483647]\nnever\n");
    EXPECT_EQ(fx->settings.name, "n");
    EXPECT_EQ(fx->vertex, "void main(){}\n");
    EXPECT_EQ(fx->settings.shaders, 4);
    std::vector<std::string> want(32);
    want[0] = want[2] = "// kept\n; kept too\nline\n";
    want[1] = "new\n";
    want[3] = "ps5\n";
    EXPECT_EQ(fx->shaders, want);

    // Counts from the settings: aliases copy only passes of the table (as
    // they stand), a negative alias is none, a pass header raises a count.
    auto big =
        parsed("[settings]\nshaders=1000\nparams=100000\n[ps0]\nA\n[ps1]\nps999\n[ps2]\nps-1\n[ps3]\nps1\n");
    EXPECT_EQ(std::vector<std::string>(big->shaders.begin() + 1, big->shaders.begin() + 4),
              (std::vector<std::string>{"ps999\n", "ps-1\n", "ps999\n"}));
    auto negative = parsed("[settings]\nshaders=-3\nparams=-7\n[ps1]\nB\n[par2]\nparam=u\n");
    EXPECT_EQ((std::vector<int>{big->settings.shaders, big->settings.params, negative->settings.shaders,
                                negative->settings.params}),
              (std::vector<int>{1000, 100000, 2, 3}));
}

TEST(Parser, Presets)
{
    auto fx = parsed("[par1]\nparam=a\n[preset]\na=1\n[presetx]\na=2\n" // no parameter named: ignored
                     "[par2]\nparam=look\ntype=popup\npopup=a|b\nflags=3\n[par3]\nparam=amount\n"
                     "[par4]\nparam=tint\ntype=color\n"
                     "[preset_look_1]\namount=0.5\ntint=0.1|0.2|0.3\nmissing=1\n=2\n"
                     "[preset_nobody_0]\namount=9\n[preset_look_0]\namount=0.25\n"
                     "[preset_later_0]\namount=3\n[par5]\nparam=later\n"); // declared after its preset
    const auto& presets = fx->settings.presets;
    ASSERT_EQ(presets.size(), 2u);
    const auto& p1 = presets.at({2, 1}).values;
    ASSERT_EQ(p1.size(), 2u);
    EXPECT_EQ((std::vector<float>{p1.at(3).v[0], p1.at(3).v[2], p1.at(4).v[1], p1.at(4).v[2]}),
              (std::vector<float>{0.5f, 0.5f, 0.2f, 0.3f}));
    ASSERT_EQ(presets.at({2, 0}).values.size(), 1u);
    EXPECT_FLOAT_EQ(presets.at({2, 0}).values.at(3).v[0], 0.25f);
}

TEST(Parser, BlocksExpandBeforeLinesAreReadWithinABound)
{
    auto fx = parsed("@@head [settings]\nname=fromblock\n@@\n@@head\n[ps0]\n@@body\n");
    EXPECT_EQ(fx->settings.name, "fromblock");
    // A later "@@" is a definition too; unclosed, it runs to the end.
    EXPECT_EQ(fx->passSource(0), glfxtext::defaultFragmentShader());
    EXPECT_EQ(parsed("@@x a=1@@\n[ps0]\n@@x @@x\n")->passSource(0), "a=1 a=1\n");

    // A 64 KiB block used 100 times (6.4 MiB) is expanded; used 300 times
    // (19.2 MiB, past the 16 MiB bound) it is not, and its first use is then
    // read as an unclosed definition that runs to the end.
    const std::string block = "@@a " + std::string(65536, 'x') + "@@\n[settings]\nname=";
    std::string small = block, large = block;
    for (int i = 0; i < 300; ++i) {
        large += "@@a";
        small += i < 100 ? "@@a" : "";
    }
    small += "\n";
    large += "\n";
    cglfx big;
    big.parse(small);
    EXPECT_EQ(big.settings.name, std::string(31, 'x'));
    EXPECT_EQ(small.size(), std::string("\n[settings]\nname=\n").size() + 100u * 65536u);
    big.parse(large);
    EXPECT_EQ(large, "\n[settings]\nname=");
    EXPECT_TRUE(big.settings.name.empty());
}

} // namespace
