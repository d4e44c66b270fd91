// Definitions that parameter values contribute to the shader preamble, and
// the preamble text built from them.
#include "glfx/ParamDefines.h"

#include <gtest/gtest.h>

#include <cmath>
#include <string>

namespace {

const char* kDescription = "[par0]\nparam=zero\ntype=check\nflags=1\n" // the input's slot: never defined
                           "[par1]\nparam=grain\ntype=check\nflags=1\n"
                           "[par2]\nparam=mode\ntype=popup\npopup=a|b|c\nflags=2\n"
                           "[par3]\nparam=count\ntype=popup\npopup=x|y\nflags=1\n"
                           "[par4]\nparam=plain\ntype=float\nflags=1\n"           // flags on a float: nothing
                           "[par5]\nparam=look\ntype=popup\npopup=p|q\nflags=3\n" // preset popup: nothing
                           "[par6]\nparam=empty\ntype=popup\nflags=2\n"           // no items: nothing
                           "[par7]\nparam=beyond\ntype=check\nflags=1\n"          // past the count: nothing
                           "[settings]\nparams=7\n";

TEST(Defines, ParameterDefinitionsAndTheirText)
{
    cglfx fx;
    std::string text = kDescription;
    fx.parse(text);
    float values[8][4] = {{1.f}, {0.7f}, {2.f}, {1.9f}, {5.f}, {1.f}, {0.f}, {1.f}};
    std::map<std::string, std::string> defines = {{"#define _grain", "9"}, {"#define KEEP", "x"}};
    updateParamDefines(fx, values, defines);
    const std::map<std::string, std::string> expected = {
        {"#define KEEP", "x"}, {"#define _count", "1"}, {"#define _grain", "0"}, {"#define _mode", "c"}};
    EXPECT_EQ(defines, expected); // values truncated toward zero; other entries kept
    EXPECT_EQ(definesText(defines),
              "#define KEEP x\r\n#define _count 1\r\n#define _grain 0\r\n#define _mode c\r\n");
    EXPECT_EQ(definesText({}), "");

    // The popup item is clamped to the list; integers are truncated and clamped.
    for (const auto& [value, item] :
         {std::pair<float, const char*>{-3.f, "a"}, {9.f, "c"}, {1.99f, "b"}, {NAN, "a"}, {1e20f, "c"}}) {
        values[2][0] = value;
        updateParamDefines(fx, values, defines);
        EXPECT_EQ(defines["#define _mode"], item) << value;
    }
    EXPECT_EQ(popupItemClamped(fx.par[6], 0), "");
    const std::pair<float, int> ints[] = {
        {2.9f, 2}, {-2.9f, -2}, {NAN, 0}, {3e9f, 2147483647}, {-3e9f, -2147483647 - 1}};
    for (const auto& [value, integer] : ints)
        EXPECT_EQ(valueToInt(value), integer) << value;
}

TEST(Defines, PreambleKeysOfAFreshInstance)
{
    // The fixed entry, then one key a parameter that defines something;
    // the fast mode adds its own.
    for (const bool fast : {false, true}) {
        cglfx fx;
        std::string text = std::string(kDescription) + (fast ? "fast=1\n" : "");
        fx.parse(text);
        std::set<std::string> expected = {"#define GLFX_PREVIEW", "#define _count", "#define _grain",
                                          "#define _mode"};
        if (fast)
            expected.insert("#define GLFX_FAST");
        EXPECT_EQ(preambleKeys(fx), expected) << fast;
    }
}

} // namespace
