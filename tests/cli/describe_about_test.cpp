// glfx describe's host_params and glfx about, through the real plug-in.
#include "cli_run.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

using namespace clitest;

namespace {

const std::string kLongName = "A parameter name that is much too long";   // 38 characters

// Expected host values below follow the host's rules for each type: ids are
// the description index + 1 (the "none" at index 4 leaves a gap), popups
// count from 1, colours are 8-bit, angles and points are 16.16 fixed, points
// in percent of the layer as added.
const std::string kSmall =
    "[settings]\n"
    "name=Small\n"
    "description=First line\\rSecond line\n"
    "version=2.5\n"
    "[par1]\nname=Amount\nparam=amount\ntype=float\nmin=0\nmax=1\ndefault=0.5\ntext=0|100\n"
    "[par2]\nname=Mode\nparam=mode\ntype=popup\ntext=a|b|c\ndefault=1\n"
    "[par3]\nname=Enable\nparam=enable\ntype=check\ntext=On\ndefault=true\n"
    "[par4]\nname=Gap\nparam=gap\ntype=none\n"
    "[par5]\nname=Centre\nparam=centre\ntype=point\ndefault=0.25|0.75\n"
    "[par6]\nname=Tint\nparam=tint\ntype=color\ndefault=1|0.5|0\n"
    "[par7]\nname=Spin\nparam=spin\ntype=angle\ndefault=45.9\n"
    "[par8]\nname=" + kLongName + "\nparam=steps\ntype=int\nmin=-5\nmax=5\ndefault=2\nflags=1\n"
    "[par9]\nname=Extra\nparam=extra\ntype=layer\n"
    "[par10]\nname=Group\nparam=grp\ntype=topic_start\nflags=0\n"
    "[par11]\nname=End\nparam=grpend\ntype=topic_end\n";

constexpr int kSupervise = 1 << 6;
constexpr int kPercent = 1 << 0;
constexpr int kCollapsed = 1 << 5;

}  // namespace

TEST(Describe, HostParamsOfASmallDescription)
{
    if (!pluginBuilt())
        GTEST_SKIP() << "glfxplugin.so is not built beside glfx";
    Scratch s;
    const std::string fx = s.write("small.glfx", kSmall);
    const Result r = glfx("describe --effect " + q(fx));
    ASSERT_EQ(r.status, 0) << r.err;
    const nlohmann::json j = nlohmann::json::parse(r.out);
    ASSERT_TRUE(j.contains("params"));
    const nlohmann::json& h = j.at("host_params");
    ASSERT_EQ(h.size(), 10u);

    struct Row {
        int index, id;
        const char* type;
        const char* name;
    };
    const Row rows[] = {{1, 2, "FLOAT_SLIDER", "Amount"}, {2, 3, "POPUP", "Mode"},    {3, 4, "CHECKBOX", "Enable"},
                        {5, 6, "POINT", "Centre"},        {6, 7, "COLOR", "Tint"},    {7, 8, "ANGLE", "Spin"},
                        {8, 9, "FLOAT_SLIDER", nullptr},  {9, 10, "LAYER", "Extra"}, {10, 11, "GROUP_START", "Group"},
                        {11, 12, "GROUP_END", nullptr}};
    for (size_t i = 0; i < 10; ++i) {
        SCOPED_TRACE(i);
        EXPECT_EQ(h[i].at("index"), rows[i].index);
        EXPECT_EQ(h[i].at("id"), rows[i].id);
        EXPECT_EQ(h[i].at("type"), rows[i].type);
        if (rows[i].name) {
            EXPECT_EQ(h[i].at("name"), rows[i].name);
        }
        EXPECT_EQ(h[i].at("ui_flags"), 0);
    }

    const nlohmann::json& amount = h[0];
    EXPECT_EQ(amount.at("valid_min"), 0.0);
    EXPECT_EQ(amount.at("valid_max"), 100.0);   // from the item text 0|100
    EXPECT_EQ(amount.at("slider_min"), 0.0);
    EXPECT_EQ(amount.at("slider_max"), 1.0);
    EXPECT_EQ(amount.at("value"), 0.5);
    EXPECT_EQ(amount.at("dephault"), 0.5);
    EXPECT_EQ(amount.at("precision"), 2);
    EXPECT_EQ(amount.at("display_flags"), 0);
    EXPECT_EQ(amount.at("curve_tolerance"), 0.05);
    EXPECT_EQ(amount.at("flags"), 0);

    const nlohmann::json& mode = h[1];
    EXPECT_EQ(mode.at("num_choices"), 3);
    EXPECT_EQ(mode.at("dephault"), 2);
    EXPECT_EQ(mode.at("value"), 2);
    EXPECT_EQ(mode.at("names"), "a|b|c");
    EXPECT_EQ(mode.at("flags"), kSupervise);

    const nlohmann::json& enable = h[2];
    EXPECT_EQ(enable.at("value"), 1);
    EXPECT_EQ(enable.at("dephault"), 1);
    EXPECT_EQ(enable.at("nameptr"), "On");
    EXPECT_EQ(enable.at("flags"), kSupervise);

    const nlohmann::json& centre = h[3];
    EXPECT_EQ(centre.at("x_dephault"), 25 * 65536);
    EXPECT_EQ(centre.at("y_dephault"), 75 * 65536);
    EXPECT_EQ(centre.at("x_value"), 25 * 65536);
    EXPECT_EQ(centre.at("y_value"), 75 * 65536);
    EXPECT_EQ(centre.at("restrict_bounds"), 0);

    const nlohmann::json tint = {{"alpha", 255}, {"red", 255}, {"green", 127}, {"blue", 0}};
    EXPECT_EQ(h[4].at("value"), tint);
    EXPECT_EQ(h[4].at("dephault"), tint);

    EXPECT_EQ(h[5].at("value"), 45 * 65536);
    EXPECT_EQ(h[5].at("dephault"), 45 * 65536);

    const nlohmann::json& steps = h[6];
    EXPECT_EQ(steps.at("precision"), 0);
    EXPECT_EQ(steps.at("display_flags"), kPercent);
    EXPECT_EQ(steps.at("valid_min"), -5.0);
    EXPECT_EQ(steps.at("valid_max"), 5.0);
    EXPECT_EQ(steps.at("name"), kLongName.substr(0, 31));
    EXPECT_EQ(steps.at("name_truncated"), true);
    EXPECT_EQ(steps.at("full_name"), kLongName);
    EXPECT_NE(r.err.find("warning"), std::string::npos);
    EXPECT_NE(r.err.find(kLongName), std::string::npos);
    for (size_t i = 0; i < 10; ++i)
        if (i != 6) {
            EXPECT_FALSE(h[i].contains("name_truncated")) << i;
        }

    EXPECT_EQ(h[7].at("dephault"), -1);   // the layer defaults to the effect's own input
    EXPECT_EQ(h[8].at("flags"), kCollapsed);   // description flags 0: the group starts collapsed
}

TEST(Describe, GroupStartCollapsesOnlyWithFlagsZero)
{
    if (!pluginBuilt())
        GTEST_SKIP() << "glfxplugin.so is not built beside glfx";
    Scratch s;
    const std::string fx = s.write("g.glfx",
                                   "[settings]\nname=G\n"
                                   "[par1]\nname=Closed\nparam=a\ntype=topic_start\nflags=0\n"
                                   "[par2]\nparam=b\ntype=topic_end\n"
                                   "[par3]\nname=Open\nparam=c\ntype=topic_start\nflags=1\n"
                                   "[par4]\nparam=d\ntype=topic_end\n");
    const Result r = glfx("describe --host premiere --effect " + q(fx));
    ASSERT_EQ(r.status, 0) << r.err;
    const nlohmann::json h = nlohmann::json::parse(r.out).at("host_params");
    ASSERT_EQ(h.size(), 4u);
    EXPECT_EQ(h[0].at("flags"), kCollapsed);
    EXPECT_EQ(h[2].at("flags"), 0);
}

TEST(Describe, MissingPluginIsAnError)
{
    Scratch s;
    const Result r = glfx("describe --plugin " + q(s.path("none.so")) + " --effect " +
                          q(std::string(GLFX_SOURCE_DIR) + "/effects/invert.glfx"));
    EXPECT_NE(r.status, 0);
    EXPECT_TRUE(r.out.empty());
    EXPECT_NE(r.err.find("none.so"), std::string::npos);
}

TEST(About, TextAsTheHostShowsIt)
{
    if (!pluginBuilt())
        GTEST_SKIP() << "glfxplugin.so is not built beside glfx";
    Scratch s;
    const std::string fx = s.write("small.glfx", kSmall);
    const Result shown = glfx("about --effect " + q(fx));
    ASSERT_EQ(shown.status, 0) << shown.err;
    EXPECT_EQ(shown.out, "Small 2.5\nFirst line\nSecond line\n");

    const Result raw = glfx("about --raw --effect " + q(fx));
    ASSERT_EQ(raw.status, 0) << raw.err;
    EXPECT_EQ(raw.out, "Small 2.5\rFirst line\rSecond line");

    const Result premiere = glfx("about --host premiere --effect " + q(fx));
    EXPECT_EQ(premiere.status, 0) << premiere.err;
    EXPECT_EQ(premiere.out, "");
}

TEST(Help, EverySubcommandDescribesItsOptions)
{
    const Result top = glfx("--help");
    EXPECT_EQ(top.status, 0);
    for (const char* sub : {"render", "describe", "about", "pack"})
        EXPECT_NE(top.out.find(sub), std::string::npos) << sub;
    struct Sub {
        const char* name;
        std::vector<const char*> options;
    };
    const Sub subs[] = {
        {"render", {"--output", "--effect", "--plugin", "--host", "--size", "--set", "--layer", "--depth", "--time",
                    "--frames", "--fps", "--quiet", "INPUT"}},
        {"describe", {"--effect", "--plugin", "--host"}},
        {"about", {"--effect", "--plugin", "--host", "--raw"}},
    };
    for (const Sub& sub : subs) {
        const Result r = glfx(std::string(sub.name) + " --help");
        EXPECT_EQ(r.status, 0) << sub.name;
        for (const char* o : sub.options)
            EXPECT_NE(r.out.find(o), std::string::npos) << sub.name << " " << o;
    }
}
