// Definitions that parameter values contribute to the shader preamble. The
// preamble text itself (fixed entries, key order, line ends) is checked where
// it is built, in the GL tests.
#include "glfx/paramdefines.h"

#include <gtest/gtest.h>

#include <cmath>
#include <memory>
#include <string>

namespace {

std::unique_ptr<cglfx> parsed(std::string text)
{
    auto fx = std::make_unique<cglfx>();
    fx->parse(text);
    return fx;
}

const char* kDescription = "[par0]\nparam=zero\ntype=check\nflags=1\n" // the input's slot: never defined
                           "[par1]\nparam=grain\ntype=check\nflags=1\n"
                           "[par2]\nparam=mode\ntype=popup\npopup=a|b|c\nflags=2\n"
                           "[par3]\nparam=count\ntype=popup\npopup=x|y\nflags=1\n"
                           "[par4]\nparam=plain\ntype=float\nflags=1\n"           // flags on a float: nothing
                           "[par5]\nparam=look\ntype=popup\npopup=p|q\nflags=3\n" // preset popup: nothing
                           "[par6]\nparam=empty\ntype=popup\nflags=2\n"           // no items: nothing
                           "[par7]\nparam=beyond\ntype=check\nflags=1\n"          // past the count: nothing
                           "[settings]\nparams=7\n";

TEST(Defines, ParameterDefinitions)
{
    auto fx = parsed(kDescription);
    ASSERT_EQ(fx->settings.params, 7);
    float values[8][4] = {};
    values[0][0] = 1.f;
    values[1][0] = 0.7f; // truncated to 0
    values[2][0] = 2.0f; // item "c"
    values[3][0] = 1.9f; // 1
    values[4][0] = 5.f;
    values[5][0] = 1.f;
    values[7][0] = 1.f;
    std::map<std::string, std::string> defines;
    updateParamDefines(*fx, values, defines);
    const std::map<std::string, std::string> expected = {
        {"#define _grain", "0"}, {"#define _mode", "c"}, {"#define _count", "1"}};
    EXPECT_EQ(defines, expected);

    values[1][0] = 1.0f;
    updateParamDefines(*fx, values, defines);
    EXPECT_EQ(defines["#define _grain"], "1");
}

TEST(Defines, PopupItemAndIntegerValuesAreClamped)
{
    auto fx = parsed(kDescription);
    float values[8][4] = {};
    std::map<std::string, std::string> defines;
    for (const auto& [value, item] :
         {std::pair<float, const char*>{-3.f, "a"}, {9.f, "c"}, {1.99f, "b"}, {NAN, "a"}, {1e20f, "c"}}) {
        values[2][0] = value;
        updateParamDefines(*fx, values, defines);
        EXPECT_EQ(defines["#define _mode"], item) << value;
    }
    EXPECT_EQ(popupItemClamped(fx->par[6], 0), "");

    EXPECT_EQ(valueToInt(2.9f), 2);
    EXPECT_EQ(valueToInt(-2.9f), -2);
    EXPECT_EQ(valueToInt(NAN), 0);
    EXPECT_EQ(valueToInt(3e9f), 2147483647);
    EXPECT_EQ(valueToInt(-3e9f), -2147483647 - 1);
}

} // namespace
