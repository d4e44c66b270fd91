// ISF effects in the description model: what each input, pass and import
// becomes, version 1 upgrades, the reader's errors (with their lines and
// JSON keys), the round trip through the .glfx writer, and the built
// program texts (lines kept, IMG_* calls expanded).
#include "glfx/Cglfx.h"
#include "glfx/GlfxWrite.h"
#include "glfx/IsfBundle.h"
#include "glfx/IsfPreamble.h"
#include "glfx/Lint.h"
#include "glfx/ProgramText.h"

#include <gtest/gtest.h>

#include <fstream>
#include <memory>
#include <sstream>

namespace {

std::string dataFile(const std::string& name)
{
    std::ifstream in(std::string(GLFX_SOURCE_DIR) + "/tests/data/isf/" + name, std::ios::binary);
    std::ostringstream s;
    s << in.rdbuf();
    return s.str();
}

std::unique_ptr<cglfx> readIsf(const std::string& fs, const std::string& vs = std::string(),
                               const std::string& name = "t.fs")
{
    glfxisf::Bundle b;
    b.fragment = fs;
    b.fragmentName = name;
    b.hasVertex = !vs.empty();
    b.vertex = vs;
    b.vertexName = "t.vs";
    b.folder = "/fx/";
    std::string text = glfxisf::makeBundle(b);
    auto fx = std::make_unique<cglfx>();
    fx->parse(text);
    return fx;
}

std::unique_ptr<cglfx> readGlfx(std::string text)
{
    auto fx = std::make_unique<cglfx>();
    fx->parse(text);
    return fx;
}

// Everything a model says, where its lines came from aside.
void expectSameModel(const cglfx& a, const cglfx& b)
{
    const glfxsettings &s = a.settings, &t = b.settings;
    EXPECT_EQ(s.name, t.name);
    EXPECT_EQ(s.description, t.description);
    EXPECT_EQ(s.category, t.category);
    EXPECT_EQ(s.version, t.version);
    EXPECT_EQ(s.params, t.params);
    EXPECT_EQ(s.shaders, t.shaders);
    EXPECT_EQ(s.layerCount, t.layerCount);
    EXPECT_EQ(s.noinput, t.noinput);
    EXPECT_EQ(s.dialect, t.dialect);
    EXPECT_EQ(s.preroll, t.preroll);
    for (int p = 0; p < glfxlimits::kMaxPasses; ++p)
        for (int k = 0; k < glfxlimits::kMaxInputs; ++k)
            EXPECT_EQ(s.routing[p][k], t.routing[p][k]) << "pass " << p << " input " << k;
    for (int i = 0; i < glfxlimits::kMaxParams; ++i) {
        const glfxpar &p = a.par[i], &q = b.par[i];
        SCOPED_TRACE("parameter " + std::to_string(i));
        EXPECT_EQ(p.type, q.type);
        EXPECT_EQ(p.components, q.components);
        EXPECT_EQ(p.name, q.name);
        EXPECT_EQ(p.uniform, q.uniform);
        for (int k = 0; k < 3; ++k)
            EXPECT_EQ(p.def[k], q.def[k]);
        EXPECT_EQ(p.min, q.min);
        EXPECT_EQ(p.max, q.max);
        EXPECT_EQ(p.items, q.items);
        EXPECT_EQ(p.itemValues, q.itemValues);
        EXPECT_EQ(p.defAlpha, q.defAlpha);
        EXPECT_EQ(p.pointSpace, q.pointSpace);
        EXPECT_EQ(p.rangeMin[0], q.rangeMin[0]);
        EXPECT_EQ(p.rangeMax[1], q.rangeMax[1]);
        EXPECT_EQ(p.flags, q.flags);
    }
    EXPECT_EQ(a.passes, b.passes);
    EXPECT_EQ(a.samplerNames, b.samplerNames);
    EXPECT_EQ(a.imports, b.imports);
    for (int p = 0; p < s.shaders; ++p)
        EXPECT_EQ(a.passSource(p), b.passSource(p));
    EXPECT_EQ(a.vertex, b.vertex);
}

TEST(Isf, InputsBecomeParameters)
{
    const auto fx = readIsf(dataFile("values.fs"), "", "dir/values.fs");
    ASSERT_EQ(fx->loadError, "");
    const glfxsettings& s = fx->settings;
    EXPECT_EQ(s.name, "values");
    EXPECT_EQ(s.dialect, glfxdialect::kIsf);
    EXPECT_EQ(s.category, "Test");
    EXPECT_EQ(s.description, "Test: float, bool, long and color inputs on an image (glfx tests)");
    EXPECT_EQ(s.noinput, 0);
    EXPECT_EQ(s.params, 5); // the input image is parameter 0
    EXPECT_EQ(fx->baseDir, "/fx/");

    const glfxpar& gain = fx->par[1];
    EXPECT_EQ(gain.type, GLFX_FLOAT);
    EXPECT_EQ(gain.name, "Gain"); // LABEL
    EXPECT_EQ(gain.uniform, "gain");
    EXPECT_FLOAT_EQ(gain.def[0], 0.8f);
    EXPECT_FLOAT_EQ(gain.max, 2.f);
    EXPECT_EQ(fx->par[2].type, GLFX_CHECK);
    const glfxpar& channel = fx->par[3];
    EXPECT_EQ(channel.type, GLFX_POPUP);
    EXPECT_EQ(channel.items, (std::vector<std::string>{"Red", "Green", "Blue"}));
    EXPECT_EQ(channel.itemValues, (std::vector<float>{0.f, 5.f, 10.f}));
    EXPECT_FLOAT_EQ(channel.def[0], 1.f); // DEFAULT 5 is the second item
    const glfxpar& tint = fx->par[4];
    EXPECT_EQ(tint.type, GLFX_COLOR);
    EXPECT_EQ(tint.components, 4);
    EXPECT_FLOAT_EQ(tint.defAlpha, 0.8f);

    // The input image is sampled in slot 0 under its own name.
    EXPECT_EQ(s.routing[0][0], glfxroute::layer(0));
    EXPECT_EQ(fx->samplerNames[0][0], "inputImage");
}

TEST(Isf, ImagesTransitionsAndGenerators)
{
    struct Case {
        const char* file;
        int noinput, layers;
        std::vector<std::string> samplers;
    };
    for (const Case& c :
         {Case{"images.fs", 0, 2, {"inputImage", "overlay"}},
          Case{"transition.fs", 0, 2, {"startImage", "endImage"}}, Case{"builtins.fs", 1, 1, {}},
          Case{"multipass.fs", 0, 1, {"inputImage", "across", "down"}}}) {
        SCOPED_TRACE(c.file);
        const auto fx = readIsf(dataFile(c.file));
        ASSERT_EQ(fx->loadError, "");
        EXPECT_EQ(fx->settings.noinput, c.noinput);
        EXPECT_EQ(fx->settings.layerCount, c.layers);
        EXPECT_EQ(glfxisf::samplerSet(*fx), c.samplers);
    }
    // A transition's start is the effect's input, its end a layer.
    const auto t = readIsf(dataFile("transition.fs"));
    EXPECT_EQ(t->settings.routing[0][0], glfxroute::layer(0));
    EXPECT_EQ(t->settings.routing[0][1], glfxroute::layer(1));
    EXPECT_EQ(t->par[1].type, GLFX_LAYER);
    EXPECT_EQ(t->par[1].uniform, "endImage");
    // Every pass samples every target: this frame's, by pass number.
    const auto m = readIsf(dataFile("multipass.fs"));
    EXPECT_EQ(m->settings.shaders, 3);
    for (int p = 0; p < 3; ++p) {
        EXPECT_EQ(m->settings.routing[p][1], 0);
        EXPECT_EQ(m->settings.routing[p][2], 1);
    }
    EXPECT_EQ(m->passes[0].target, "across");
    EXPECT_FALSE(m->passes[0].floatTarget); // ISF's targets are 8-bit unless FLOAT says so
    EXPECT_EQ(m->passes[2].target, "");
}

TEST(Isf, PassesImportsAndAudio)
{
    const auto fx = readIsf(dataFile("unhonoured.fs"));
    ASSERT_EQ(fx->loadError, "");
    EXPECT_EQ(fx->passes[0].width, "floor($WIDTH/$size)");
    EXPECT_EQ(fx->passes[0].height, "$HEIGHT/2");
    EXPECT_TRUE(fx->passes[0].floatTarget);
    EXPECT_TRUE(fx->passes[1].persistent);
    ASSERT_EQ(fx->imports.size(), 1u);
    EXPECT_EQ(fx->imports[0].name, "grain");
    EXPECT_EQ(fx->imports[0].path, "grain.png");
    EXPECT_EQ(fx->par[1].type, GLFX_AUDIO);
    EXPECT_FLOAT_EQ(fx->par[1].max, 256.f);
    EXPECT_EQ(fx->par[2].type, GLFX_AUDIOFFT);
    // Slots: input, audio inputs, targets, imports.
    const int* row = fx->settings.routing[0];
    EXPECT_EQ(row[1], glfxroute::audioOf(1));
    EXPECT_EQ(row[2], glfxroute::audioOf(2));
    EXPECT_EQ(row[3], 0);
    EXPECT_EQ(row[4], 1);
    EXPECT_EQ(row[5], glfxroute::importOf(0));
    EXPECT_EQ(fx->samplerNames[0][5], "grain");
}

TEST(Isf, PointsKeepTheirMeaning)
{
    const auto fx = readIsf(dataFile("points.fs"));
    ASSERT_EQ(fx->loadError, "");
    const glfxpar& spot = fx->par[1];
    EXPECT_EQ(spot.pointSpace, glfxpoint::kFrame);
    // Pixels from the bottom-left of a 1920x1080 frame, kept as the host's
    // fractions from the top-left.
    EXPECT_FLOAT_EQ(spot.def[0], 40.f / 1920.f);
    EXPECT_FLOAT_EQ(spot.def[1], 1.f - 30.f / 1080.f);
    const glfxpar& where = fx->par[2];
    EXPECT_EQ(where.pointSpace, glfxpoint::kRange);
    EXPECT_FLOAT_EQ(where.def[0], 0.25f);
    EXPECT_FLOAT_EQ(where.def[1], 0.25f);
}

TEST(Isf, Version1IsUpgraded)
{
    const auto fx = readIsf(dataFile("version1.fs"));
    ASSERT_EQ(fx->loadError, "");
    EXPECT_TRUE(fx->passes[0].persistent); // named in PERSISTENT_BUFFERS
    EXPECT_EQ(fx->passSource(1).find("vv_FragNormCoord"), std::string::npos);
    EXPECT_NE(fx->passSource(1).find("isf_FragNormCoord"), std::string::npos);

    // The object form carries the buffer's size and format to its pass.
    const auto sized =
        readIsf("/*{\"PERSISTENT_BUFFERS\": {\"acc\": {\"WIDTH\": \"$WIDTH/4\", \"FLOAT\": true}},"
                "\"PASSES\": [{\"TARGET\": \"acc\"}]}*/\nvoid main() { vv_vertShaderInit; }\n",
                "void main() { vv_vertShaderInit(); }\n");
    ASSERT_EQ(sized->loadError, "");
    EXPECT_EQ(sized->passes[0].width, "$WIDTH/4");
    EXPECT_TRUE(sized->passes[0].floatTarget);
    EXPECT_NE(sized->vertex.find("isf_vertShaderInit()"), std::string::npos);
    // A version 2 file is left as written.
    const auto v2 = readIsf(
        "/*{\"ISFVSN\": \"2\", \"PERSISTENT_BUFFERS\": [\"x\"], \"PASSES\": [{\"TARGET\": \"x\"}]}*/\n"
        "void main() {}\n");
    EXPECT_FALSE(v2->passes[0].persistent);
}

TEST(Isf, BadHeadersNameTheLineAndKey)
{
    struct Case {
        std::string fs, vs;
        std::string message;
    };
    const Case cases[] = {
        {"void main() {}\n", "", "t.fs:1: no ISF header"},
        {"/*{\n\"INPUTS\": [\n{\"NAME\": \"a\" \"TYPE\": \"float\"}\n]\n}*/\nvoid main() {}\n", "",
         "t.fs:3: the ISF header is not JSON: expected ',' or '}' in an object"},
        {"/*{\"INPUTS\": [\n{\"NAME\": \"a\"}]}*/\nvoid main() {}\n", "",
         "t.fs:2: INPUTS[0] \"a\" has no TYPE"},
        {"/*{\"INPUTS\": [\n{\"NAME\": \"a\",\n\"TYPE\": \"slider\"}]}*/\nvoid main() {}\n", "",
         "t.fs:3: INPUTS[0] \"a\": TYPE \"slider\" is not an ISF input type"},
        {"/*{\"INPUTS\": [{\"NAME\": \"a\", \"TYPE\": \"long\"}]}*/\n", "", "a long input needs VALUES"},
        {"/*{\"INPUTS\": [{\"NAME\": \"TIME\", \"TYPE\": \"float\"}]}*/\n", "", "is an ISF built-in name"},
        {"/*{\"PASSES\": [{\"TARGET\": \"a\"}, {\"TARGET\": \"a\"}]}*/\n", "",
         "rendered by an earlier pass too"},
        {"/*{}*/\nvoid main()\n{\n  gl_FragColor = IMG_PIXEL(missing, gl_FragCoord.xy);\n}\n", "",
         "t.fs:4: IMG_PIXEL(missing, ...) names no image input, pass TARGET or IMPORTED image"},
        {"/*{}*/\nvarying vec2 uv;\nvoid main() {}\n", "",
         "t.fs:2: the varying \"uv\" needs a vertex shader to write it, and t.vs was not found beside t.fs"},
        {"/*{\"INPUTS\": [{\"NAME\": \"c\", \"TYPE\": \"color\", \"DEFAULT\": [1, 2]}]}*/\n", "",
         "INPUTS[0] \"c\" DEFAULT should be an array of 3 or 4 numbers"},
        {"/*{\"IMPORTED\": {\"noise\": {}}}*/\n", "", "IMPORTED \"noise\" has no PATH"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.fs);
        const auto fx = readIsf(c.fs, c.vs);
        EXPECT_NE(fx->loadError.find(c.message), std::string::npos) << fx->loadError;
        // What is left is an empty description that passes its input.
        EXPECT_EQ(fx->settings.params, 0);
        EXPECT_EQ(fx->settings.dialect, glfxdialect::kGlfx);
    }
    // The varying is fine with a vertex shader, and with IMG_* in a #define.
    EXPECT_EQ(readIsf("/*{}*/\nvarying vec2 uv;\nvoid main() {}\n", "void main() {}\n")->loadError, "");
    EXPECT_EQ(readIsf("/*{}*/\n#define S(i) IMG_THIS_PIXEL(i)\nvoid main() {}\n")->loadError, "");
}

TEST(Isf, LenientJsonIsToldByCheck)
{
    const std::string fs =
        "/*{\n\"INPUTS\": [\n{\"NAME\": \"a\", \"TYPE\": \"float\",},\n],\n\"AUTHOR\": \"x\"\n}*/\n"
        "void main() { gl_FragColor = vec4(a); }\n";
    const auto fx = readIsf(fs);
    EXPECT_EQ(fx->loadError, "");
    const auto found = glfxlint::lint(glfxisf::makeBundle({fs, "t.fs", false, "", "", ""}));
    std::vector<int> lines;
    for (const auto& d : found)
        lines.push_back(d.line);
    EXPECT_EQ(lines, (std::vector<int>{3, 4, 5})) << found.size();
    // And an unreadable file is one error at its line.
    const auto bad = glfxlint::lint("/*{\"INPUTS\": 3}*/\n");
    ASSERT_EQ(bad.size(), 1u);
    EXPECT_EQ(bad[0].severity, glfxlint::Severity::kError);
    EXPECT_EQ(bad[0].line, 1);
}

TEST(Isf, WrittenAsGlfxReadsBackTheSame)
{
    for (const char* file : {"values.fs", "points.fs", "builtins.fs", "images.fs", "transition.fs",
                             "version1.fs", "multipass.fs", "event.fs", "unhonoured.fs", "varyings.fs"}) {
        SCOPED_TRACE(file);
        const std::string name = file;
        const std::string vs = name == "varyings.fs" ? dataFile("varyings.vs") : std::string();
        const auto fx = readIsf(dataFile(file), vs);
        ASSERT_EQ(fx->loadError, "");
        const std::string text = glfxwrite::writeGlfx(*fx, file);
        const auto back = readGlfx(text);
        expectSameModel(*fx, *back);
        // Written again, the text is the same.
        EXPECT_EQ(glfxwrite::writeGlfx(*back, file), text);
        // The .glfx form needs no ISF file to be checked: no errors.
        for (const auto& d : glfxlint::lint(text))
            EXPECT_NE(d.severity, glfxlint::Severity::kError) << d.line << ": " << d.message;
    }
    // A .glfx description of the glfx dialect survives the writer too.
    std::ifstream in(std::string(GLFX_SOURCE_DIR) + "/effects/cinematic.glfx");
    std::ostringstream s;
    s << in.rdbuf();
    const auto cinematic = readGlfx(s.str());
    expectSameModel(*cinematic, *readGlfx(glfxwrite::writeGlfx(*cinematic)));
}

TEST(Isf, ProgramTextsKeepLinesAndExpandCalls)
{
    const auto fx = readIsf(dataFile("multipass.fs"));
    const std::string defines = "#define A 1\r\n#define B 2\r\n";
    const std::string text = glfxprogram::fragmentText(*fx, 1, defines);
    EXPECT_EQ(text.rfind("#version 150 compatibility\n#define A 1", 0), 0u);
    // The source's first line sits right after the offset the log mapping uses.
    const int offset = glfxprogram::fragmentOffset(*fx, 2);
    std::size_t at = 0;
    for (int i = 0; i < offset; ++i)
        at = text.find('\n', at) + 1;
    const std::string& source = fx->passSource(1);
    EXPECT_EQ(text.substr(at, source.find('\n')), source.substr(0, source.find('\n')));
    EXPECT_EQ(std::count(text.begin() + static_cast<std::ptrdiff_t>(at), text.end(), '\n'),
              std::count(source.begin(), source.end(), '\n'));
    EXPECT_NE(text.find("uniform sampler2D across;"), std::string::npos);
    EXPECT_NE(text.find("uniform float reach;"), std::string::npos);
    EXPECT_EQ(text.find("IMG_"), std::string::npos);

    struct Case {
        std::string in, out;
    };
    for (const Case& c : {
             Case{"IMG_THIS_PIXEL(a)", "texture2D(a, isf_FragNormCoord)"},
             Case{"IMG_PIXEL(a, f(b, c))", "texture2D(a, ( f(b, c)) / RENDERSIZE)"},
             Case{"IMG_NORM_PIXEL( a ,\n uv)",
                  "isf_sampleByNorm( a , _a_imgRect, _a_imgSize, _a_flip, \n uv)"},
             Case{"IMG_SIZE(IMG_SIZE_X)", "_IMG_SIZE_X_imgSize"},
             Case{"MY_IMG_PIXEL(a, b)", "MY_IMG_PIXEL(a, b)"},
             Case{"IMG_PIXEL(a, IMG_SIZE(a))", "texture2D(a, ( _a_imgSize) / RENDERSIZE)"},
             Case{"#version 300 es\nx", "\nx"},
         })
        EXPECT_EQ(glfxisf::convertSource(c.in), c.out) << c.in;
    struct Version {
        const char* source;
        const char* line;
    };
    for (const Version& v : {Version{"void main(){}", "#version 150 compatibility"},
                             Version{"#version 330 core\n", "#version 330 compatibility"},
                             Version{"  #  version 120\n", "#version 120"},
                             Version{"#version 300 es\n", "#version 330 compatibility"},
                             Version{"#version 100\n", "#version 150 compatibility"}})
        EXPECT_EQ(glfxisf::versionLine(v.source), v.line) << v.source;
}

TEST(Isf, BundleCarriesAnyText)
{
    glfxisf::Bundle b{"/*{}*/\npart vertex 3\nx", "a b.fs", true, "\n\npart x\n", "a b.vs", "/d/"};
    glfxisf::Bundle out;
    std::string why;
    ASSERT_TRUE(glfxisf::readBundle(glfxisf::makeBundle(b), out, why)) << why;
    EXPECT_EQ(out.fragment, b.fragment);
    EXPECT_EQ(out.fragmentName, b.fragmentName);
    EXPECT_EQ(out.vertex, b.vertex);
    EXPECT_EQ(out.folder, b.folder);
    std::string damaged = glfxisf::makeBundle(b);
    damaged.resize(damaged.size() - 4);
    EXPECT_FALSE(glfxisf::readBundle(damaged, out, why));
    auto fx = std::make_unique<cglfx>();
    fx->parse(damaged);
    EXPECT_NE(fx->loadError.find("damaged ISF bundle"), std::string::npos);
}

} // namespace
