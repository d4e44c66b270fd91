// Runs the built glfx command: describe, pack and their error paths; and the
// description part of describe's JSON, built in-process. (describe's host
// parameters, through the plug-in, are checked in the command-line tests.)
#include "cli/describe_json.h"
#include "glfx/cipher.h"
#include "glfx/strings.h"
#include "glfx/text.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>
#include <memory>
#include <string>
#include <sys/wait.h>
#include <vector>

namespace {

struct Result {
    int status;
    std::string out;
};

Result run(const std::string& args)
{
    const std::string cmd = std::string(GLFX_BINARY_DIR) + "/glfx " + args + " 2>/dev/null";
    Result r{-1, {}};
    FILE* pipe = popen(cmd.c_str(), "r");
    if (!pipe)
        return r;
    char buf[4096];
    std::size_t n;
    while ((n = fread(buf, 1, sizeof buf, pipe)) > 0)
        r.out.append(buf, n);
    const int st = pclose(pipe);
    r.status = WIFEXITED(st) ? WEXITSTATUS(st) : -1;
    return r;
}

// Reads back the bytes of the C string literal in a packed source by
// interpreting the octal escapes independently of the writer.
std::string literalBytes(const std::string& source)
{
    std::string bytes;
    bool inString = false;
    const std::size_t start = source.find('=');
    for (std::size_t i = start; i < source.size(); ++i) {
        const char c = source[i];
        if (c == '"') {
            inString = !inString;
        } else if (inString && c == '\\') {
            int v = 0, digits = 0;
            while (digits < 3 && i + 1 < source.size() && source[i + 1] >= '0' && source[i + 1] <= '7') {
                v = v * 8 + (source[++i] - '0');
                ++digits;
            }
            bytes.push_back(static_cast<char>(v));
        } else if (inString) {
            bytes.push_back(c);
        }
    }
    return bytes;
}

TEST(Cli, DescribeKeepsBytesThatAreNotUtf8)
{
    // A Latin-1 "e acute" in the name: the JSON carries U+FFFD in its place.
    const std::string path = testing::TempDir() + "glfx_cli_latin1.glfx";
    std::ofstream(path, std::ios::binary) << "[settings]\nname=Caf\xe9\n";
    const Result r = run("describe --effect " + path);
    EXPECT_EQ(r.status, 0);
    EXPECT_NE(r.out.find("\"name\": \"Caf\xef\xbf\xbd\""), std::string::npos);
    std::remove(path.c_str());
}

DescribeJson describeText(std::string text)
{
    auto fx = std::make_unique<cglfx>();
    fx->parse(text);
    return describeDescription(*fx);
}

// The expected objects are ordered JSON written in the documented key order;
// comparing ordered objects compares their key order too.
TEST(DescribeJson, SchemaValuesAndKeyOrder)
{
    const DescribeJson j =
        describeText("[settings]\nname=Schema\nshaders=2\n"
                     "[par1]\nparam=look\ntype=popup\npopup=a|b|\nflags=3\ngroupswitch=2\n"
                     "[par2]\nparam=tint\nname1=N1\nname4=N4\ntype=color\ndefault=0.5|0.25\ngroup1=7\n"
                     "[ps1]\nps0\n"
                     "[routing]\nps1_in0=ps0\nps1_in1=layer0\n"
                     "[preset_look_1]\ntint=1|0|0.5\n"
                     "[preset_look_0]\ntint=0\n");
    std::vector<std::string> keys;
    for (auto it = j.begin(); it != j.end(); ++it)
        keys.push_back(it.key());
    EXPECT_EQ(keys,
              (std::vector<std::string>{"settings", "params", "routing", "presets", "passes", "vertex"}));

    const DescribeJson expectedSettings = {
        {"name", "Schema"}, {"description", ""}, {"category", ""}, {"matchname", ""}, {"version", ""},
        {"interp", 1},      {"repeat", 0},       {"params", 3},    {"cellsx", 1},     {"cellsy", 1},
        {"layers", 1},      {"fast", false},     {"shaders", 2},   {"noinput", 0}};
    EXPECT_EQ(j.at("settings"), expectedSettings);

    auto param = [](int index, int type, int components, const char* name, std::vector<std::string> names,
                    const char* uniform, std::vector<double> def, double min, double max,
                    const char* itemtext, std::vector<std::string> items, std::vector<int> groups,
                    int flags) {
        return DescribeJson{{"index", index},     {"type", type},         {"components", components},
                            {"visibility", 0},    {"name", name},         {"names", names},
                            {"uniform", uniform}, {"default", def},       {"min", min},
                            {"max", max},         {"itemtext", itemtext}, {"items", items},
                            {"groups", groups},   {"flags", flags}};
    };
    const DescribeJson expectedParams = {
        param(0, 3, 0, "in0", {"", "", "", ""}, "in0", {0, 0, 0}, 0, 0, "", {}, {0, 0, 0, 0, 0}, 0),
        // popup: max = 2 items - 1; flags 3 drops the shader value; group switch 2 -> -2
        param(1, 2, 0, "par1", {"", "", "", ""}, "look", {0, 0, 0}, 0, 1, "a|b|", {"a", "b"},
              {-2, 0, 0, 0, 0}, 3),
        param(2, 5, 3, "par2", {"N1", "", "", "N4"}, "tint", {0.5, 0.25, 0.25}, 0, 0, "", {}, {0, 7, 0, 0, 0},
              0),
    };
    EXPECT_EQ(j.at("params"), expectedParams);

    std::vector<int> row0(32, 999), row1(32, 999);
    row0[0] = -1;
    row1[0] = 0;
    row1[1] = -1;
    EXPECT_EQ(j.at("routing"), DescribeJson({row0, row1}));

    // Map order: (1, 0) before (1, 1).
    const DescribeJson expectedPresets = {
        {{"param", 1}, {"number", 0}, {"values", {{{"param", 2}, {"value", {0.0, 0.0, 0.0}}}}}},
        {{"param", 1}, {"number", 1}, {"values", {{{"param", 2}, {"value", {1.0, 0.0, 0.5}}}}}},
    };
    EXPECT_EQ(j.at("presets"), expectedPresets);

    // Pass 1 aliases pass 0, which holds the default program.
    const std::string fragment = glfxtext::defaultFragmentShader();
    EXPECT_EQ(j.at("passes"), DescribeJson({fragment, fragment}));
    EXPECT_EQ(j.at("vertex"), glfxtext::defaultVertexShader());
}

TEST(DescribeJson, CountsOutsideTheTablesAreClamped)
{
    struct Case {
        const char* settings;
        std::size_t params, passes;
    };
    const Case cases[] = {
        {"shaders=1000\nparams=100000\n", 128, 32},
        {"shaders=-5\nparams=-9\n", 0, 0},
        {"shaders=0\nparams=0\n", 0, 0},
        {"shaders=2147483647\nparams=-2147483648\n", 0, 32},
    };
    for (const auto& c : cases) {
        const DescribeJson j = describeText(std::string("[settings]\n") + c.settings);
        EXPECT_EQ(j.at("params").size(), c.params) << c.settings;
        EXPECT_EQ(j.at("routing").size(), c.passes) << c.settings;
        EXPECT_EQ(j.at("passes").size(), c.passes) << c.settings;
        for (const auto& row : j.at("routing"))
            EXPECT_EQ(row.size(), 32u);
    }
}

TEST(Cli, PackRoundTrips)
{
    const std::string input = std::string(GLFX_SOURCE_DIR) + "/effects/cinematic.glfx";
    const std::string output = testing::TempDir() + "glfx_cli_packed.cpp";
    std::remove(output.c_str());
    ASSERT_EQ(run("pack " + input + " -o " + output).status, 0);
    std::ifstream in(output, std::ios::binary);
    const std::string source((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    EXPECT_NE(source.find("const char* _GLFX_CODE"), std::string::npos);
    EXPECT_EQ(source.find("??"), std::string::npos);
    std::string key = glfxtext::descriptionKey();
    EXPECT_EQ(decrypt(literalBytes(source), key), loadFile(input));
    std::remove(output.c_str());
}

TEST(Cli, MissingInputFailsAndWritesNothing)
{
    const Result described = run("describe --effect /nonexistent/effect.glfx");
    EXPECT_NE(described.status, 0);
    EXPECT_TRUE(described.out.empty());
    const std::string output = testing::TempDir() + "glfx_cli_never.cpp";
    std::remove(output.c_str());
    EXPECT_NE(run("pack /nonexistent.glfx -o " + output).status, 0);
    EXPECT_FALSE(std::ifstream(output).good());
}

} // namespace
