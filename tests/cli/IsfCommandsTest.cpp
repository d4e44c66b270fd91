// ISF effects through the glfx command: bad files are one "glfx:" line
// naming the file and line, a non-zero exit and nothing written, whatever
// the subcommand; a shader that does not build points at the .fs (or .vs)
// line; glfx import writes a .glfx that renders the same pixels; check
// tells what is not honoured yet; DATE is today's date.
#include "CliRun.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <ctime>
#include <fstream>
#include <sstream>

using namespace clitest;

namespace {

std::string dataPath(const std::string& name)
{
    return std::string(GLFX_SOURCE_DIR) + "/tests/data/isf/" + name;
}

int lineCount(const std::string& s)
{
    int n = 0;
    for (char c : s)
        n += c == '\n';
    return n;
}

struct BadFile {
    const char* what;
    std::string fs;
    std::string message; // after "glfx: FILE:"
};

const BadFile kBadFiles[] = {
    {"not JSON", "/*{\n  \"INPUTS\": [\n    {\"NAME\": \"a\", \"TYPE\": }\n  ]\n}*/\nvoid main() {}\n",
     "3: the ISF header is not JSON: unexpected character '}'"},
    {"no TYPE", "/*{\"INPUTS\": [\n{\"NAME\": \"amount\"}\n]}*/\nvoid main() {}\n",
     "2: INPUTS[0] \"amount\" has no TYPE"},
    {"unknown TYPE", "/*{\"INPUTS\": [\n{\"NAME\": \"amount\",\n \"TYPE\": \"slider\"}]}*/\nvoid main() {}\n",
     "3: INPUTS[0] \"amount\": TYPE \"slider\" is not an ISF input type"},
    {"unknown target",
     "/*{\"PASSES\": [{\"TARGET\": \"a\"}, {}]}*/\nvoid main()\n{\n"
     "    gl_FragColor = IMG_THIS_PIXEL(b);\n}\n",
     "4: IMG_THIS_PIXEL(b, ...) names no image input, pass TARGET or IMPORTED image"},
    {"missing .vs", "/*{}*/\nvarying vec2 pos;\nvoid main() { gl_FragColor = vec4(pos, 0.0, 1.0); }\n",
     "2: the varying \"pos\" needs a vertex shader to write it"},
};

TEST(IsfCommands, BadFilesFailEverywhereAndWriteNothing)
{
    NEED_PLUGIN();
    for (const BadFile& b : kBadFiles) {
        SCOPED_TRACE(b.what);
        Scratch dir;
        const std::string fs = dir.write("bad.fs", b.fs);
        const std::string expected = "glfx: " + fs + ":" + b.message;
        const std::string commands[] = {
            "render --effect " + q(fs) + " --size 16x16 -o " + q(dir.path("out.png")),
            "describe --effect " + q(fs),
            "about --effect " + q(fs),
            "import " + q(fs) + " -o " + q(dir.path("out.glfx")),
            "frei0r --effect " + q(fs) + " -o " + q(dir.path("out.so")),
        };
        for (const std::string& cmd : commands) {
            const Result r = glfx(cmd);
            EXPECT_EQ(r.status, 1) << cmd;
            EXPECT_EQ(r.err.rfind(expected, 0), 0u) << cmd << "\n" << r.err;
            EXPECT_EQ(lineCount(r.err), 1) << r.err;
        }
        EXPECT_EQ(dir.files(), std::vector<std::string>{"bad.fs"});
        // check reports it as an error at its line.
        const Result check = glfx("check --json --effect " + q(fs));
        EXPECT_EQ(check.status, 1);
        const auto j = nlohmann::json::parse(check.out);
        ASSERT_EQ(j["errors"], 1);
        EXPECT_EQ(std::to_string(j["diagnostics"].back()["line"].get<int>()),
                  std::string(b.message).substr(0, std::string(b.message).find(':')));
    }
}

TEST(IsfCommands, BuildFailuresPointAtTheShaderFiles)
{
    NEED_PLUGIN();
    Scratch dir;
    // Line 6 of the .fs, and line 4 of the .vs.
    const std::string fs = dir.write(
        "broken.fs", "/*{\n  \"INPUTS\": [{\"NAME\": \"inputImage\", \"TYPE\": \"image\"}]\n}*/\n"
                     "void main()\n{\n    gl_FragColor = IMG_THIS_PIXEL(inputImage) * nothing;\n}\n");
    const Result r = glfx("render --effect " + q(fs) + " --size 16x16 -o " + q(dir.path("out.png")));
    EXPECT_EQ(r.status, 1);
    EXPECT_EQ(r.err.rfind("glfx: shader build failed in pass 0\n", 0), 0u) << r.err;
    EXPECT_NE(r.err.find("    broken.fs:6:"), std::string::npos) << r.err;
    EXPECT_FALSE(std::ifstream(dir.path("out.png")).good());

    const std::string good = dir.write("moved.fs", "/*{}*/\nvoid main() { gl_FragColor = vec4(1.0); }\n");
    dir.write("moved.vs",
              "void main()\n{\n    isf_vertShaderInit();\n    gl_Position.x += undefinedShift;\n}\n");
    const Result v = glfx("render --effect " + q(good) + " --size 16x16 -o " + q(dir.path("out.png")));
    EXPECT_EQ(v.status, 1);
    EXPECT_NE(v.err.find("in the vertex shader of pass 0"), std::string::npos) << v.err;
    EXPECT_NE(v.err.find("    moved.vs:4:"), std::string::npos) << v.err;
}

TEST(IsfCommands, ImportedDescriptionRendersTheSamePixels)
{
    NEED_PLUGIN();
    Scratch dir;
    const std::string input = dir.path("in.png");
    std::vector<float> rgba;
    for (int y = 0; y < 24; ++y)
        for (int x = 0; x < 32; ++x)
            rgba.insert(rgba.end(), {x / 31.f, y / 23.f, (x * y % 7) / 6.f, 1.f});
    writePixels(input, 32, 24, rgba, "uint8");
    struct Case {
        const char* file;
        std::string args;
    };
    for (const Case& c :
         {Case{"values.fs", "--set channel=Blue --set tint=0.1,0.2,0.3,0.4"},
          Case{"varyings.fs", "--set shift=0.25"}, Case{"multipass.fs", ""}, Case{"version1.fs", ""}}) {
        SCOPED_TRACE(c.file);
        const std::string glfxFile = dir.path(std::string(c.file) + ".glfx");
        const Result imp = glfx("import " + q(dataPath(c.file)) + " -o " + q(glfxFile));
        ASSERT_EQ(imp.status, 0) << imp.err;
        for (const char* effect : {"fs", "glfx"}) {
            const std::string e = std::string(effect) == "fs" ? dataPath(c.file) : glfxFile;
            const Result r = glfx("render --effect " + q(e) + " " + q(input) + " " + c.args + " -o " +
                                  q(dir.path(std::string(c.file) + "." + effect + ".png")));
            ASSERT_EQ(r.status, 0) << r.err;
        }
        const Pixels a = readPixels(dir.path(std::string(c.file) + ".fs.png"));
        const Pixels b = readPixels(dir.path(std::string(c.file) + ".glfx.png"));
        EXPECT_EQ(a.v, b.v);
        // It packs like any other description.
        EXPECT_EQ(glfx("pack " + q(glfxFile) + " -o " + q(dir.path("packed.cpp"))).status, 0);
    }
    // Without -o the .glfx goes beside the .fs.
    const std::string fs = dir.write("beside.fs", "/*{}*/\nvoid main() { gl_FragColor = vec4(0.5); }\n");
    EXPECT_EQ(glfx("import " + q(fs)).status, 0);
    EXPECT_TRUE(std::ifstream(dir.path("beside.glfx")).good());
}

TEST(IsfCommands, CheckTellsWhatIsNotHonouredYet)
{
    const Result r = glfx("check --json --effect " + q(dataPath("unhonoured.fs")));
    EXPECT_EQ(r.status, 0) << r.err;
    const auto j = nlohmann::json::parse(r.out);
    EXPECT_EQ(j["errors"], 0);
    std::string all;
    for (const auto& d : j["diagnostics"]) {
        EXPECT_GT(d["line"].get<int>(), 0);
        all += d["message"].get<std::string>() + "\n";
    }
    for (const char* said : {"audio inputs get no audio yet", "imported images are not loaded yet",
                             "WIDTH and HEIGHT are not honoured yet", "PERSISTENT is not honoured yet"})
        EXPECT_NE(all.find(said), std::string::npos) << said << "\n" << all;
    // The test shaders that render fully have nothing to say.
    const Result clean = glfx("check --effect " + q(dataPath("multipass.fs")));
    EXPECT_EQ(clean.status, 0);
    EXPECT_EQ(clean.out, "");
}

TEST(IsfCommands, DescribeShowsTheHostParameters)
{
    NEED_PLUGIN();
    const Result r = glfx("describe --effect " + q(dataPath("unhonoured.fs")));
    ASSERT_EQ(r.status, 0) << r.err;
    const auto j = nlohmann::json::parse(r.out);
    EXPECT_EQ(j["settings"]["dialect"], "isf");
    EXPECT_EQ(j["images"][0]["name"], "grain");
    EXPECT_EQ(j["pass_specs"][0]["width"], "floor($WIDTH/$size)");
    EXPECT_EQ(j["pass_specs"][1]["samplers"][5], "grain");
    // Audio inputs have no control; the float slider does.
    ASSERT_EQ(j["host_params"].size(), 1u);
    EXPECT_EQ(j["host_params"][0]["type"], "FLOAT_SLIDER");
    const Result e = glfx("describe --effect " + q(dataPath("event.fs")));
    EXPECT_EQ(nlohmann::json::parse(e.out)["host_params"][0]["type"], "CHECKBOX");
}

TEST(IsfCommands, DateIsToday)
{
    NEED_PLUGIN();
    Scratch dir;
    const std::string fs =
        dir.write("date.fs", "/*{}*/\nvoid main()\n{\n"
                             "    gl_FragColor = vec4((DATE.x - 2000.0) / 255.0, DATE.y / 255.0, "
                             "DATE.z / 255.0, 1.0);\n}\n");
    const std::time_t before = std::time(nullptr);
    const Result r = glfx("render --effect " + q(fs) + " --size 4x4 -o " + q(dir.path("d.png")));
    ASSERT_EQ(r.status, 0) << r.err;
    std::tm t{};
    localtime_r(&before, &t);
    const Pixels p = readPixels(dir.path("d.png"));
    EXPECT_NEAR(p.at(0, 0, 0) * 255.f, t.tm_year + 1900 - 2000, 0.5f);
    EXPECT_NEAR(p.at(0, 0, 1) * 255.f, t.tm_mon + 1, 0.5f);
    EXPECT_NEAR(p.at(0, 0, 2) * 255.f, t.tm_mday, 1.5f); // midnight may pass
}

} // namespace
