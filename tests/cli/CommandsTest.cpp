// glfx describe, about, pack and help, and the failures of every subcommand.
#include "CliRun.h"
#include "glfx/Cipher.h"
#include "glfx/Strings.h"
#include "glfx/Text.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <fstream>
#include <sstream>

using namespace clitest;
using Json = nlohmann::ordered_json;

namespace {

const std::string kLongName = "A parameter name that is much too long"; // 38 characters

// One parameter of each kind the host registers; "none" at index 4 adds
// nothing and leaves a gap in the ids.
const std::string kSmall =
    "[settings]\nname=Small\ndescription=First line\\rSecond line\nversion=2.5\nshaders=2\n"
    "[par1]\nname=Amount\nparam=amount\ntype=float\nmin=0\nmax=1\ndefault=0.5\ntext=0|100\n"
    "[par2]\nname=Mode\nparam=mode\ntype=popup\ntext=a|b|\ndefault=1\n"
    "[par3]\nname=Enable\nparam=enable\ntype=check\ntext=On\ndefault=true\n"
    "[par4]\nname=Gap\nparam=gap\ntype=none\ngroupswitch=2\nname1=N1\nname4=N4\ngroup1=7\n"
    "[par5]\nname=Centre\nparam=centre\ntype=point\ndefault=0.25|0.75\n"
    "[par6]\nname=Tint\nparam=tint\ntype=color\ndefault=1|0.5\n"
    "[par7]\nname=Spin\nparam=spin\ntype=angle\ndefault=45.9\n"
    "[par8]\nname=" +
    kLongName +
    "\nparam=steps\ntype=int\nmin=-5\nmax=5\ndefault=2\nflags=1\n[par9]\nname=Extra\nparam=extra\ntype="
    "layer\n" +
    "[par10]\nname=Group\nparam=grp\ntype=topic_start\nflags=0\n[par11]\nname=End\nparam=grpend\ntype=topic_"
    "end\n"
    "[ps1]\nps0\n[routing]\nps1_in1=layer0\n[preset_mode_1]\ntint=1|0|0.5\n[preset_mode_0]\ntint=0\n";

std::vector<std::string> keys(const Json& j)
{
    std::vector<std::string> k;
    for (auto it = j.begin(); it != j.end(); ++it)
        k.push_back(it.key());
    return k;
}

} // namespace

// The description part: documented keys in documented order, the values of
// the description, tables cut to the counts, bytes that are not UTF-8 kept
// as U+FFFD; then the parameters as the host added them.
TEST(Describe, DescriptionAndHostParams)
{
    NEED_PLUGIN();
    Scratch s;
    const Result r = glfx("describe --effect " + q(s.write("s.glfx", kSmall)));
    ASSERT_EQ(r.status, 0) << r.err;
    const Json j = Json::parse(r.out);
    EXPECT_EQ(keys(j), (std::vector<std::string>{"settings", "params", "routing", "pass_specs", "images",
                                                 "base_dir", "presets", "passes", "vertex", "host_params"}));
    EXPECT_EQ(keys(j["settings"]),
              (std::vector<std::string>{"name", "description", "category", "matchname", "version", "interp",
                                        "repeat", "params", "cellsx", "cellsy", "layers", "fast", "shaders",
                                        "noinput", "dialect", "preroll"}));
    EXPECT_EQ(
        keys(j["params"][2]),
        (std::vector<std::string>{"index", "type", "components", "visibility", "name", "names", "uniform",
                                  "default", "min", "max", "itemtext", "items", "groups", "flags", "values",
                                  "alpha", "point_space", "range"}));
    EXPECT_EQ(j["settings"]["layers"], 2);
    ASSERT_EQ(j["params"].size(), 12u);
    EXPECT_EQ(j["params"][4]["groups"], Json({-2, 7, 0, 0, 0}));
    EXPECT_EQ(j["params"][4]["names"], Json({"N1", "", "", "N4"}));
    EXPECT_EQ(j["params"][6]["default"], Json({1.0, 0.5, 0.5}));
    ASSERT_EQ(j["routing"].size(), 2u);
    EXPECT_EQ(j["routing"][0][1], -2);
    EXPECT_EQ(j["routing"][1][1], -1);
    EXPECT_EQ(j["routing"][1].size(), 32u);
    EXPECT_EQ(j["presets"],
              Json::parse(R"([{"param": 2, "number": 0, "values": [{"param": 6, "value": [0, 0, 0]}]},
        {"param": 2, "number": 1, "values": [{"param": 6, "value": [1, 0, 0.5]}]}])"));
    EXPECT_EQ(j["passes"], Json({glfxtext::defaultFragmentShader(), glfxtext::defaultFragmentShader()}));
    EXPECT_EQ(j["vertex"], glfxtext::defaultVertexShader());

    const Result big = glfx("describe --effect " +
                            q(s.write("b.glfx", "[settings]\nname=Caf\xe9\nshaders=1000\nparams=100000\n")));
    ASSERT_EQ(big.status, 0) << big.err;
    const Json b = Json::parse(big.out);
    EXPECT_EQ(b["settings"]["name"], "Caf\xef\xbf\xbd");
    EXPECT_EQ(b["params"].size(), 128u);
    EXPECT_EQ(b["routing"].size(), 32u);
    EXPECT_EQ(b["passes"].size(), 32u);

    // host_params as the host stores them: ids are the description index + 1,
    // popups count from 1, colours are 8-bit, angles and points 16.16 fixed,
    // points in percent as added; flags 64 is "supervise", 32 "start
    // collapsed"; display flag 1 "percent"; a name is cut to 31 characters,
    // with a warning.
    const Json h = j.at("host_params");
    Json want =
        Json::parse(R"([{"id": 2, "type": "FLOAT_SLIDER", "name": "Amount", "valid_max": 100, "slider_max": 1,
       "value": 0.5, "dephault": 0.5, "precision": 2, "display_flags": 0},
      {"id": 3, "type": "POPUP", "num_choices": 2, "dephault": 2, "value": 2, "names": "a|b|", "flags": 64},
      {"id": 4, "type": "CHECKBOX", "value": 1, "dephault": 1, "nameptr": "On", "flags": 64},
      {"id": 6, "type": "POINT", "x_dephault": 1638400, "y_dephault": 4915200, "y_value": 4915200},
      {"id": 7, "type": "COLOR", "value": {"alpha": 255, "red": 255, "green": 127, "blue": 127}},
      {"id": 8, "type": "ANGLE", "value": 2949120, "dephault": 2949120},
      {"id": 9, "type": "FLOAT_SLIDER", "precision": 0, "display_flags": 1, "valid_min": -5},
      {"id": 10, "type": "LAYER", "name": "Extra", "dephault": -1},
      {"id": 11, "type": "GROUP_START", "name": "Group", "flags": 32}, {"id": 12, "type": "GROUP_END"}])");
    want[6]["name"] = kLongName.substr(0, 31);
    want[6]["full_name"] = kLongName;
    ASSERT_EQ(h.size(), want.size());
    for (size_t i = 0; i < want.size(); ++i) {
        EXPECT_EQ(h[i].at("index"), want[i]["id"].get<int>() - 1) << i;
        for (const auto& [key, value] : want[i].items())
            EXPECT_EQ(h[i].at(key), value) << i << " " << key;
        EXPECT_EQ(h[i].at("ui_flags"), 0) << i;
        EXPECT_EQ(h[i].contains("name_truncated"), i == 6) << i;
    }
    EXPECT_NE(r.err.find("glfx: warning"), std::string::npos);
    EXPECT_NE(r.err.find(kLongName), std::string::npos);
}

TEST(About, TextAsTheHostShowsIt)
{
    NEED_PLUGIN();
    Scratch s;
    const std::string fx = q(s.write("small.glfx", kSmall));
    const std::pair<const char*, const char*> cases[] = {{"", "Small 2.5\nFirst line\nSecond line\n"},
                                                         {"--raw ", "Small 2.5\rFirst line\rSecond line"},
                                                         {"--host premiere ", ""}};
    for (const auto& [args, text] : cases) {
        const Result r = glfx(std::string("about ") + args + "--effect " + fx);
        EXPECT_EQ(r.status, 0) << args << r.err;
        EXPECT_EQ(r.out, text) << args;
    }
}

// The packed source holds the enciphered text as octal escapes; read back
// escape by escape and deciphered, it is the file.
TEST(Pack, RoundTrips)
{
    Scratch s;
    const std::string input = std::string(GLFX_SOURCE_DIR) + "/effects/cinematic.glfx";
    ASSERT_EQ(glfx("pack " + q(input) + " -o " + q(s.path("p.cpp"))).status, 0);
    std::stringstream source;
    source << std::ifstream(s.path("p.cpp")).rdbuf();
    const std::string text = source.str();
    EXPECT_NE(text.find("const char* _GLFX_CODE"), std::string::npos);
    EXPECT_EQ(text.find("??"), std::string::npos); // no trigraphs
    std::string bytes;
    for (size_t at = text.find("\"\\"); at != std::string::npos && at + 4 < text.size(); ++at)
        if (text[at] == '\\')
            bytes += static_cast<char>(std::stoi(text.substr(at + 1, 3), nullptr, 8));
    std::string key = glfxtext::descriptionKey();
    EXPECT_EQ(decrypt(bytes, key), loadFile(input));
    EXPECT_EQ(s.files(), std::vector<std::string>{"p.cpp"});
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

// Every failure: exit status not 0, nothing on standard output, a last line
// from glfx naming the problem, and the folder as it was. @NAME@ stands for a
// file of the scratch folder; "R" for "render --effect FX IN -o OUT".
TEST(Glfx, FailuresSayWhyAndLeaveNothingBehind)
{
    const struct {
        const char *args, *message;
    } cases[] = {
        {"R --no-such-option", "--no-such-option"},
        {"R --depth 7", "--depth"},
        {"frobnicate", "frobnicate"},
        {"R --set levle=1", "unknown parameter 'levle'"},
        {"R --set level=abc", "bad value 'abc'"},
        {"R --set level=1.5", "bad value '1.5'"},
        {"R --set tint=1,0", "bad value '1,0'"},
        {"R --set tint=1,0,2", "bad value '1,0,2'"},
        {"R --set mode=double", "bad value 'double'"},
        {"R --set level", "expected NAME=VALUE"},
        {"R --layer level=@IN@", "is not a layer"},
        {"R --layer nosuch=@IN@", "unknown parameter 'nosuch'"},
        {"R --layer level=@MISSING@", "missing.png"},
        {"R --host premiere --depth 16", "8-bit"},
        {"R --frames 1-3", "'#'"},
        {"R --plugin @MISSING@", "plug-in"},
        {"render --effect @FX@ @MISSING@ -o @OUT@", "missing.png"},
        {"render --effect @FX@ @CORRUPT@ -o @OUT@", "cannot read image"},
        {"render --effect @FX@ @EMPTY@ -o @OUT@", "not a 2D image with pixels"},
        {"render --effect @FX@ @IN@ -o @NODIR@", "nodir"},
        {"render --effect @FX@ @IN@ -o @OUT@.nosuchformat", "no image format"},
        {"render --effect @FX@ --size 10by5 -o @OUT@", "--size"},
        {"render --effect @BAD@ @IN@ -o @OUT@", "shader build failed"},
        {"render --effect @BAD@ @IN@ -o @OUT@ --host premiere", "shader build failed"},
        {"describe --effect @MISSING@", "missing.png"},
        {"describe --plugin @MISSING@ --effect @FX@", "missing.png"},
        {"pack @MISSING@ -o @OUT@", "missing.png"},
    };
    Scratch s;
    const std::pair<std::string, std::string> files[] = {
        {"@IN@", s.path("in.png")},
        {"@OUT@", s.path("out.png")},
        {"@MISSING@", s.path("missing.png")},
        {"@NODIR@", s.path("nodir/out.png")},
        {"@FX@",
         s.write("fx.glfx", "[settings]\nname=F\n[par1]\nparam=level\ntype=float\nmin=0\nmax=1\n"
                            "[par2]\nparam=tint\ntype=color\n[par3]\nparam=mode\ntype=popup\ntext=a|b\n")},
        {"@BAD@", s.write("bad.glfx", "[settings]\nname=Bad\n[ps0]\nvoid main() { gl_FragColor = nope; }\n")},
        {"@CORRUPT@", s.write("corrupt.png", "not an image at all")},
        {"@EMPTY@", s.write("empty.ppm", "P6\n0 0\n255\n")}};
    writePixels(s.path("in.png"), 5, 3, std::vector<float>(60, 0.5f), "uint8");
    const std::vector<std::string> before = s.files();
    for (const auto& c : cases) {
        std::string args = c.args[0] == 'R' ? std::string("render --effect @FX@ @IN@ -o @OUT@") + (c.args + 1)
                                            : std::string(c.args);
        if (args.find("--plugin") == std::string::npos && !pluginBuilt())
            continue;
        for (const auto& [key, value] : files)
            for (size_t p; (p = args.find(key)) != std::string::npos;)
                args.replace(p, key.size(), q(value));
        const Result r = glfx(args);
        EXPECT_NE(r.status, 0) << args;
        EXPECT_TRUE(r.out.empty()) << args;
        const std::string err = r.err.substr(0, r.err.find_last_not_of('\n') + 1);
        EXPECT_NE(err.find(c.message), std::string::npos) << args << "\n" << r.err;
        // The first line is the one error line; details are indented under it.
        EXPECT_EQ(err.rfind("glfx: ", 0), 0u) << args << "\n" << r.err;
        for (size_t nl = err.find('\n'); nl != std::string::npos; nl = err.find('\n', nl + 1))
            EXPECT_EQ(err[nl + 1], ' ') << args << "\n" << r.err;
        EXPECT_EQ(s.files(), before) << args;
    }
}
