#include "glfx/Lint.h"
#include "glfx/Text.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

namespace {

using glfxlint::Diagnostic;
using glfxlint::Severity;
namespace code = glfxlint::code;

// A clean description: two parameters, both used, a second pass routed from
// the first. Each case below appends to it or replaces a line of it, so the
// lines of the base are fixed: the text added starts on line 20.
const char* const kBase = "[settings]\n"                                                 // 1
                          "name=Base\n"                                                  // 2
                          "shaders=2\n"                                                  // 3
                          "[par1]\n"                                                     // 4
                          "name=Amount\n"                                                // 5
                          "param=amount\n"                                               // 6
                          "type=float\n"                                                 // 7
                          "[par2]\n"                                                     // 8
                          "param=mode\n"                                                 // 9
                          "type=popup\n"                                                 // 10
                          "text=one|two|three\n"                                         // 11
                          "default=2\n"                                                  // 12
                          "[routing]\n"                                                  // 13
                          "ps1_in0=ps0\n"                                                // 14
                          "[ps0]\n"                                                      // 15
                          "uniform float amount; uniform int mode;\n"                    // 16
                          "void main() { gl_FragColor = vec4(amount * float(mode)); }\n" // 17
                          "[ps1]\n"                                                      // 18
                          "uniform sampler2D in0; uniform float time;\n";                // 19

std::string replaced(std::string text, const std::string& from, const std::string& to)
{
    const std::size_t at = text.find(from);
    EXPECT_NE(at, std::string::npos) << from;
    if (at != std::string::npos)
        text.replace(at, from.size(), to);
    return text;
}

struct Expected {
    const char* code;
    int line;
    Severity severity;
};

std::string describe(const std::vector<Diagnostic>& found)
{
    std::string s;
    for (const Diagnostic& d : found)
        s += std::to_string(d.line) + " " + d.code + ": " + d.message + "\n";
    return s;
}

TEST(Lint, BaseDescriptionAndShippedEffectsAreClean)
{
    EXPECT_TRUE(glfxlint::lint(kBase).empty()) << describe(glfxlint::lint(kBase));
    for (const char* name : {"cinematic.glfx", "invert.glfx", "lensdirt.glfx", "passthrough.glfx"}) {
        const std::string text = loadFile(std::string(GLFX_SOURCE_DIR) + "/effects/" + name);
        ASSERT_FALSE(text.empty()) << name;
        const auto found = glfxlint::lint(text);
        EXPECT_TRUE(found.empty()) << name << "\n" << describe(found);
    }
}

// One description per finding: exactly the findings listed, on their lines.
TEST(Lint, EachFindingOnItsLine)
{
    const std::string base = kBase;
    const std::vector<std::pair<std::string, std::vector<Expected>>> cases = {
        // The third digit is not read: [par100] lands on par10.
        {base + "[par100]\nparam=extra\n",
         {{code::kParDigits, 20, Severity::kError}, {code::kUnusedParam, 20, Severity::kWarning}}},
        // A preset before its parameter is dropped, and so is one naming nothing.
        {replaced(base, "[par1]\n", "[preset_mode_1]\namount=1\n[par1]\n"),
         {{code::kPresetOrder, 4, Severity::kError}}},
        {base + "[preset_mode_1]\namount=1\nghost=2\n", {{code::kPresetUnknown, 22, Severity::kError}}},
        {base + "[preset_nothing_1]\namount=1\n", {{code::kPresetUnknown, 20, Severity::kError}}},
        // A preset line naming a parameter described later.
        {replaced(base, "[routing]\n",
                  "[preset_mode_0]\nlater=1\n[par3]\nparam=later\ntype=check\n[routing]\n") +
             "uniform bool later;\n",
         {{code::kPresetOrder, 14, Severity::kError}}},
        {base + "[options]\nname=x\n", {{code::kUnknownSection, 20, Severity::kWarning}}},
        {replaced(base, "[par2]", "[parameters]"), {{code::kUnknownSection, 8, Severity::kWarning}}},
        {replaced(base, "[ps1]", "[ps32]"), {{code::kUnknownSection, 18, Severity::kWarning}}},
        // ([ps1] alone makes two passes.)
        {replaced(base, "shaders=2\n", "shader=2\n"), {{code::kUnknownKey, 3, Severity::kWarning}}},
        {replaced(base, "type=float\n", "type=float\nmaximum=3\n"),
         {{code::kUnknownKey, 8, Severity::kWarning}}},
        {replaced(base, "ps1_in0=ps0\n", "ps1_input0=ps0\n"), {{code::kUnknownKey, 14, Severity::kWarning}}},
        {replaced(base, "type=float\n", "type=slider\n"), {{code::kUnknownType, 7, Severity::kError}}},
        {replaced(base, "param=mode\n", "param=amount\n"),
         {{code::kDuplicateUniform, 8, Severity::kError}, {code::kUnfedUniform, 16, Severity::kWarning}}},
        {replaced(base, "name=Amount\n", "name=An amount far too long for the panel\n"),
         {{code::kLongName, 5, Severity::kWarning}}},
        {replaced(base, "name=Amount\n", "name=Amount\nname3=Thirty-two characters, and then some\n"),
         {{code::kLongName, 6, Severity::kWarning}}},
        {replaced(base, "name=Base\n", "name=An effect name of over thirty-one\n"),
         {{code::kLongName, 2, Severity::kWarning}}},
        {replaced(base, "ps1_in0=ps0\n", "ps1_in0=ps2\n"), {{code::kBadRoute, 14, Severity::kError}}},
        {replaced(base, "ps1_in0=ps0\n", "ps1_in0=layer1\n"), {{code::kBadRoute, 14, Severity::kError}}},
        {replaced(base, "ps1_in0=ps0\n", "ps2_in0=ps0\n"), {{code::kBadRoute, 14, Severity::kError}}},
        {replaced(base, "ps1_in0=ps0\n", "ps1_in0=output\n"), {{code::kBadRoute, 14, Severity::kError}}},
        {base + "uniform vec3 tint;\n", {{code::kUnfedUniform, 20, Severity::kWarning}}},
        {replaced(base, "uniform float amount; ", "uniform float amount, strength; "),
         {{code::kUnfedUniform, 16, Severity::kWarning}}},
        {replaced(replaced(base, "uniform float amount; ", ""), "amount * ", ""),
         {{code::kUnusedParam, 4, Severity::kWarning}}},
        {replaced(base, "default=2\n", "default=3\n"), {{code::kPopupDefault, 8, Severity::kError}}},
        {replaced(base, "[ps1]\n", "@@helper float twice(float x) { return 2.0 * x; }@@\n[ps1]\n"),
         {{code::kUnusedBlock, 18, Severity::kWarning}}},
    };
    for (const auto& [text, expected] : cases) {
        const std::vector<Diagnostic> found = glfxlint::lint(text);
        std::vector<std::pair<std::string, int>> got, want;
        for (const Diagnostic& d : found)
            got.emplace_back(d.code, d.line);
        for (const Expected& e : expected)
            want.emplace_back(e.code, e.line);
        std::sort(got.begin(), got.end());
        std::sort(want.begin(), want.end());
        EXPECT_EQ(got, want) << text << "\n" << describe(found);
        for (const Expected& e : expected)
            for (const Diagnostic& d : found)
                if (d.code == e.code && d.line == e.line) {
                    EXPECT_EQ(d.severity, e.severity) << e.code;
                    EXPECT_FALSE(d.message.empty());
                }
    }
}

// What the parser does take must not be reported.
TEST(Lint, AcceptedFormsAreQuiet)
{
    const std::string base = kBase;
    const std::vector<std::string> quiet = {
        // A used block, in a pass; a comment line; keys with every spelling.
        replaced(base, "[ps1]\n", "@@pair uniform float amount;\n@@\n[ps1]\n@@pair\n") +
            "; not a comment in code\n",
        replaced(base, "name=Base\n", "name=Base\n; a comment\n/ another\nedgeRepeat=1\nuniqueid=x\n"),
        // A popup used through its define instead of a uniform.
        replaced(replaced(base, "default=2\n", "default=2\nflags=1\n"), "uniform int mode;", "") +
            "#if _mode == 2\n#endif\n",
        // A float2 sends the next parameter as its second component.
        replaced(base, "[routing]\n",
                 "[par3]\nparam=offset\ntype=float2\n[par4]\nparam=offsetY\ntype=float\n[routing]\n") +
            "uniform vec2 offset;\n",
        // A preset popup chooses presets and feeds no shader.
        base + "[par3]\nparam=look\ntype=popup\ntext=a|b\nflags=3\n[preset_look_0]\namount=0.5\n",
        // Layers and groups feed no uniform of their own.
        replaced(base, "[routing]\n",
                 "[par3]\nparam=g\ntype=topic_start\n[par4]\nparam=dirt\ntype=layer\n[par5]\ntype=topic_end\n"
                 "param=gend\n[routing]\nps0_in1=layer1\n"),
    };
    for (const std::string& text : quiet) {
        const auto found = glfxlint::lint(text);
        EXPECT_TRUE(found.empty()) << text << "\n" << describe(found);
    }
}

} // namespace
