// glfx describe's host_params, glfx about and the subcommands' help, through
// the real plug-in.
#include "cli_run.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

using namespace clitest;

namespace {

const std::string kLongName = "A parameter name that is much too long"; // 38 characters

const std::string kSmall =
    "[settings]\nname=Small\ndescription=First line\\rSecond line\nversion=2.5\n"
    "[par1]\nname=Amount\nparam=amount\ntype=float\nmin=0\nmax=1\ndefault=0.5\ntext=0|100\n"
    "[par2]\nname=Mode\nparam=mode\ntype=popup\ntext=a|b|c\ndefault=1\n"
    "[par3]\nname=Enable\nparam=enable\ntype=check\ntext=On\ndefault=true\n"
    "[par4]\nname=Gap\nparam=gap\ntype=none\n"
    "[par5]\nname=Centre\nparam=centre\ntype=point\ndefault=0.25|0.75\n"
    "[par6]\nname=Tint\nparam=tint\ntype=color\ndefault=1|0.5|0\n"
    "[par7]\nname=Spin\nparam=spin\ntype=angle\ndefault=45.9\n"
    "[par8]\nname=" +
    kLongName +
    "\nparam=steps\ntype=int\nmin=-5\nmax=5\ndefault=2\nflags=1\n"
    "[par9]\nname=Extra\nparam=extra\ntype=layer\n"
    "[par10]\nname=Group\nparam=grp\ntype=topic_start\nflags=0\n"
    "[par11]\nname=End\nparam=grpend\ntype=topic_end\n";

} // namespace

// Expected host values follow the host's rules for each type: ids are the
// description index + 1 (the "none" at index 4 adds nothing and leaves a
// gap), popups count from 1, colours are 8-bit, angles and points 16.16
// fixed, points in percent as added; flags 64 is "supervise", 32 "start
// collapsed" (a group with flags 0), display flag 1 "percent".
TEST(Describe, HostParamsOfASmallDescription)
{
    NEED_PLUGIN();
    Scratch s;
    const Result r = glfx("describe --effect " + q(s.write("small.glfx", kSmall)));
    ASSERT_EQ(r.status, 0) << r.err;
    const nlohmann::json j = nlohmann::json::parse(r.out);
    ASSERT_TRUE(j.contains("params"));
    const nlohmann::json& h = j.at("host_params");
    nlohmann::json want = R"([
      {"index": 1, "id": 2, "type": "FLOAT_SLIDER", "name": "Amount", "valid_min": 0, "valid_max": 100,
       "slider_min": 0, "slider_max": 1, "value": 0.5, "dephault": 0.5, "precision": 2, "display_flags": 0,
       "curve_tolerance": 0.05, "flags": 0},
      {"index": 2, "id": 3, "type": "POPUP", "name": "Mode", "num_choices": 3, "dephault": 2, "value": 2,
       "names": "a|b|c", "flags": 64},
      {"index": 3, "id": 4, "type": "CHECKBOX", "name": "Enable", "value": 1, "dephault": 1, "nameptr": "On",
       "flags": 64},
      {"index": 5, "id": 6, "type": "POINT", "name": "Centre", "x_dephault": 1638400, "y_dephault": 4915200,
       "x_value": 1638400, "y_value": 4915200, "restrict_bounds": 0},
      {"index": 6, "id": 7, "type": "COLOR", "name": "Tint", "value": {"alpha": 255, "red": 255, "green": 127, "blue": 0},
       "dephault": {"alpha": 255, "red": 255, "green": 127, "blue": 0}},
      {"index": 7, "id": 8, "type": "ANGLE", "name": "Spin", "value": 2949120, "dephault": 2949120},
      {"index": 8, "id": 9, "type": "FLOAT_SLIDER", "precision": 0, "display_flags": 1, "valid_min": -5,
       "valid_max": 5, "name_truncated": true},
      {"index": 9, "id": 10, "type": "LAYER", "name": "Extra", "dephault": -1},
      {"index": 10, "id": 11, "type": "GROUP_START", "name": "Group", "flags": 32},
      {"index": 11, "id": 12, "type": "GROUP_END"}
    ])"_json;
    // The host keeps 31 characters of a name; describe reports the cut.
    want[6]["name"] = kLongName.substr(0, 31);
    want[6]["full_name"] = kLongName;
    ASSERT_EQ(h.size(), want.size());
    for (size_t i = 0; i < want.size(); ++i) {
        SCOPED_TRACE(i);
        for (const auto& [key, value] : want[i].items())
            EXPECT_EQ(h[i].at(key), value) << key;
        EXPECT_EQ(h[i].at("ui_flags"), 0);
        EXPECT_EQ(h[i].contains("name_truncated"), i == 6);
    }
    EXPECT_NE(r.err.find("warning"), std::string::npos);
    EXPECT_NE(r.err.find(kLongName), std::string::npos);
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
    NEED_PLUGIN();
    Scratch s;
    const std::string fx = q(s.write("small.glfx", kSmall));
    const struct {
        const char* args;
        const char* text;
    } cases[] = {
        {"", "Small 2.5\nFirst line\nSecond line\n"},
        {"--raw ", "Small 2.5\rFirst line\rSecond line"},
        {"--host premiere ", ""}, // Premiere shows no About text of the plug-in
    };
    for (const auto& c : cases) {
        const Result r = glfx(std::string("about ") + c.args + "--effect " + fx);
        EXPECT_EQ(r.status, 0) << c.args << r.err;
        EXPECT_EQ(r.out, c.text) << c.args;
    }
}

TEST(Help, EverySubcommandHasItsOwnHelp)
{
    const Result top = glfx("--help");
    EXPECT_EQ(top.status, 0);
    const std::pair<const char*, const char*> subs[] = {
        {"render", "--set"}, {"describe", "--host"}, {"about", "--raw"}, {"pack", "--output"}};
    for (const auto& [sub, option] : subs) {
        EXPECT_NE(top.out.find(sub), std::string::npos) << sub;
        const Result r = glfx(std::string(sub) + " --help");
        EXPECT_EQ(r.status, 0) << sub;
        EXPECT_NE(r.out.find(option), std::string::npos) << sub << " " << option;
    }
}
