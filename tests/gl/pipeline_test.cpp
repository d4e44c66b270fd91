// Frames through the pass loop, checked pixel by pixel against values
// worked out here from the inputs.
#include <cmath>
#include <cstdint>
#include <cstring>

#include "gl/ContextScope.h"
#include "gl/Defines.h"
#include "gl_test_util.h"
#include "glfx/strings.h"

using namespace gltest;

namespace {

const char* kCopy = "gl_FragColor = texture2D(in0, uv);";

// A W x H float image whose every channel differs per pixel and per layer;
// all values are exact in float and inside 0..1.
std::vector<float> pattern(int w, int h, int seed)
{
    std::vector<float> px(static_cast<std::size_t>(w) * h * 4);
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x)
            for (int c = 0; c < 4; ++c)
                px[4 * (y * w + x) + c] = static_cast<float>((x * 7 + y * 13 + c * 3 + seed * 5) % 32) / 64.f;
    return px;
}

void expectPixel(const float* got, const float* want, const std::string& where, float tol = 0.f)
{
    for (int c = 0; c < 4; ++c)
        EXPECT_NEAR(got[c], want[c], tol) << where << " channel " << c;
}

}  // namespace

TEST(Pipeline, RowsArePackedAndTheFirstRowIsBottom)
{
    const int W = 5, H = 3;
    Instance inst(makeEffect({samplingShader("uniform sampler2D in0;",
                                             "gl_FragColor = vec4(texture2D(in0, uv).rgb, gl_FragCoord.y);")}));
    std::vector<float> in = pattern(W, H, 1);
    inst.setLayer(0, in, W, H);
    inst.setOutput(W, H);
    inst.ctx().InitGL("", true);
    ASSERT_TRUE(inst.ctx().ok) << inst.ctx().log;
    ASSERT_TRUE(inst.render());
    for (int y = 0; y < H; ++y)
        for (int x = 0; x < W; ++x) {
            const float* i = &in[4 * (y * W + x)];
            const float want[4] = {i[0], i[1], i[2], static_cast<float>(y) + 0.5f};
            expectPixel(inst.pixel(x, y), want, "pixel " + std::to_string(x) + "," + std::to_string(y));
        }
}

TEST(Pipeline, RoutesLayersAndEarlierPasses)
{
    // Pass 0 doubles layer 0; pass 1 takes pass 0 in slot 0, layer 1 in slot
    // 1 and layer 0 again in slot 2: out = p0 + l1 - l0 / 4.
    const int W = 4, H = 3;
    cglfx fx = makeEffect(
        {samplingShader("uniform sampler2D in0;", "gl_FragColor = 2.0 * texture2D(in0, uv);"),
         samplingShader("uniform sampler2D in0; uniform sampler2D in1; uniform sampler2D in2;",
                        "gl_FragColor = texture2D(in0, uv) + texture2D(in1, uv) - 0.25 * texture2D(in2, uv);")},
        2);
    fx.settings.routing[1][0] = 0;
    fx.settings.routing[1][1] = -2;
    fx.settings.routing[1][2] = -1;
    Instance inst(fx);
    std::vector<float> l0 = pattern(W, H, 0), l1 = pattern(W, H, 3);
    inst.setLayer(0, l0, W, H);
    inst.setLayer(1, l1, W, H);
    inst.setOutput(W, H);
    inst.ctx().InitGL("", true);
    ASSERT_TRUE(inst.ctx().ok) << inst.ctx().log;
    ASSERT_TRUE(inst.render());
    for (int k = 0; k < W * H; ++k) {
        float want[4];
        for (int c = 0; c < 4; ++c)
            want[c] = 2.f * l0[4 * k + c] + l1[4 * k + c] - 0.25f * l0[4 * k + c];
        expectPixel(inst.d.outputBuffer + 4 * k, want, "pixel " + std::to_string(k), 1e-6f);
    }
}

TEST(Pipeline, RoutingBeyondTheTablesBindsNothing)
{
    // Slot 0 names pass 40, slot 1 layer 40: both read the empty texture 0,
    // which samples as (0, 0, 0, 1).
    const int W = 2, H = 2;
    cglfx fx = makeEffect({samplingShader("uniform sampler2D in0; uniform sampler2D in1;",
                                          "gl_FragColor = texture2D(in0, uv) + texture2D(in1, uv);")});
    fx.settings.routing[0][0] = 40;
    fx.settings.routing[0][1] = -41;
    Instance inst(fx);
    std::vector<float> in = pattern(W, H, 2);
    inst.setLayer(0, in, W, H);
    inst.setOutput(W, H);
    inst.ctx().InitGL("", true);
    ASSERT_TRUE(inst.render());
    const float want[4] = {0.f, 0.f, 0.f, 2.f};
    expectPixel(inst.pixel(1, 1), want, "unbound inputs");
}

TEST(Pipeline, RoutingToPassesAndLayersTheDescriptionLacks)
{
    // A first description with two passes and two layers leaves content in
    // pass texture 1 and input texture 1. Reparsed to one pass and one layer
    // (textures kept, as the options dialog does), a route to pass 1 or to
    // layer 1 names nothing: both sample as (0, 0, 0, 1).
    const int W = 3, H = 2;
    cglfx fx = makeEffect({samplingShader("uniform sampler2D in0;", kCopy),
                           samplingShader("uniform sampler2D in0; uniform sampler2D in1;",
                                          "gl_FragColor = texture2D(in0, uv) + texture2D(in1, uv);")},
                          2);
    fx.settings.routing[1][0] = 0;
    fx.settings.routing[1][1] = -2;
    Instance inst(fx);
    std::vector<float> l0 = pattern(W, H, 1), l1 = pattern(W, H, 2);
    inst.setLayer(0, l0, W, H);
    inst.setLayer(1, l1, W, H);
    inst.setOutput(W, H);
    inst.ctx().InitGL("", true);
    ASSERT_TRUE(inst.ctx().ok) << inst.ctx().log;
    ASSERT_TRUE(inst.render());

    cglfx& now = glfxDescription();
    now.settings.shaders = 1;
    now.settings.layerCount = 1;
    now.shaders = {samplingShader("uniform sampler2D in0; uniform sampler2D in1;",
                                  "gl_FragColor = texture2D(in0, uv) + 2.0 * texture2D(in1, uv);")};
    now.settings.routing[0][0] = 1;
    now.settings.routing[0][1] = -2;
    inst.ctx().InitGL("", false);
    ASSERT_TRUE(inst.ctx().ok) << inst.ctx().log;
    ASSERT_TRUE(inst.render());
    const float want[4] = {0.f, 0.f, 0.f, 3.f};
    for (int y = 0; y < H; ++y)
        for (int x = 0; x < W; ++x)
            expectPixel(inst.pixel(x, y), want, "stale texture read at " + std::to_string(x));
}

TEST(Pipeline, FilterAndWrapSettings)
{
    // One row of four texels per frame row; the pass samples column
    // coordinate s at the centre of its own row. Linear filtering weighs
    // texels i and i + 1 around u - 0.5 with u = s * 4. Clamping (repeat 0)
    // is GL_CLAMP: s is clamped to [0, 1] and a linear sample at the edge
    // takes half of the transparent black border; repeat 1 wraps s.
    const int W = 4, H = 2;
    cglfx fx = makeEffect({"uniform sampler2D in0; uniform float sx;\n"
                           "void main() { gl_FragColor = texture2D(in0, vec2(sx, gl_FragCoord.y / 2.0)); }\n"});
    fx.settings.params = 2;
    fx.par[1].type = GLFX_FLOAT;
    fx.par[1].components = 1;
    fx.par[1].uniform = "sx";
    Instance inst(fx);
    std::vector<float> in = pattern(W, H, 5);
    inst.setLayer(0, in, W, H);
    inst.setOutput(1, H);
    inst.ctx().InitGL("", true);
    ASSERT_TRUE(inst.ctx().ok) << inst.ctx().log;

    struct Case {
        int interp, repeat;
        float s;
        int i0, i1;  // texels mixed half and half; -1 is the border
        const char* what;
    };
    const Case cases[] = {
        {0, 0, 1.25f, 3, 3, "nearest, clamped past the right edge"},
        {0, 0, -0.5f, 0, 0, "nearest, clamped past the left edge"},
        {0, 0, 1.0f, 3, 3, "nearest at s = 1"},
        {0, 1, 1.25f, 1, 1, "nearest, wrapped"},
        {1, 0, 0.5f, 1, 2, "linear inside"},
        {1, 0, 1.25f, 3, -1, "linear, clamped: half border"},
        {1, 0, -0.5f, -1, 0, "linear, clamped left: half border"},
        {1, 1, 1.25f, 0, 1, "linear, wrapped"},
        {1, 1, 1.0f, 3, 0, "linear, wrapped across the edge"},
    };
    for (const Case& c : cases) {
        glfxDescription().settings.interp = c.interp;
        glfxDescription().settings.repeat = c.repeat;
        inst.d.values[1][0] = c.s;
        ASSERT_TRUE(inst.render()) << c.what;
        for (int y = 0; y < H; ++y) {
            float want[4];
            for (int ch = 0; ch < 4; ++ch) {
                const float a = c.i0 < 0 ? 0.f : in[4 * (y * W + c.i0) + ch];
                const float b = c.i1 < 0 ? 0.f : in[4 * (y * W + c.i1) + ch];
                want[ch] = 0.5f * a + 0.5f * b;
            }
            expectPixel(inst.pixel(0, y), want, std::string(c.what) + " row " + std::to_string(y), 1e-6f);
        }
    }
}

TEST(Pipeline, LazyBuildUsesNoPreambleAndNoTextureNames)
{
    // Rendered without any build: the frame builds the programs itself with
    // an empty preamble (the fixed definition is absent) and keeps the
    // all-bits-set texture names. An empty frame still builds.
    const std::string fixedOn = glfxtext::defineFixedOn();
    ASSERT_EQ(fixedOn.rfind("#define ", 0), 0u);
    const std::string macro = fixedOn.substr(8);
    Instance inst(makeEffect({"void main() {\n#ifdef " + macro +
                              "\n gl_FragColor = vec4(1.0, 0.0, 0.0, 1.0);\n#else\n"
                              " gl_FragColor = vec4(0.0, 0.0, 1.0, 0.5);\n#endif\n}\n"}));
    ASSERT_NE(getDefines(&inst.d).find(macro), std::string::npos);
    inst.setOutput(0, 0);
    EXPECT_FALSE(inst.render());
    EXPECT_TRUE(inst.ctx().initialised);
    EXPECT_TRUE(inst.ctx().ok) << inst.ctx().log;

    inst.setOutput(2, 2);
    ASSERT_TRUE(inst.render());
    const float want[4] = {0.f, 0.f, 1.f, 0.5f};
    expectPixel(inst.pixel(1, 1), want, "no preamble");
    for (int i = 0; i < AE_GL_Context::kSlots; ++i) {
        EXPECT_EQ(inst.ctx().inputTextures[i], AE_GL_Context::kNoTexture);
        EXPECT_EQ(inst.ctx().passTextures[i], AE_GL_Context::kNoTexture);
    }
}

TEST(Pipeline, NoFragmentSourcesRunFixedFunction)
{
    // Without any fragment source (and without a vertex shader) the pass
    // program holds no shader: it links, and fixed-function texturing of
    // unit 0 (enabled by the build) copies the routed layer.
    const int W = 3, H = 2;
    cglfx fx = makeEffect({});
    fx.settings.shaders = 1;
    fx.settings.routing[0][0] = -1;
    Instance inst(fx);
    std::vector<float> in = pattern(W, H, 6);
    inst.setLayer(0, in, W, H);
    inst.setOutput(W, H);
    inst.ctx().InitGL("#define UNUSED 1\r\n", true);
    ASSERT_TRUE(inst.ctx().ok) << inst.ctx().log;
    ASSERT_TRUE(inst.render());
    for (int k = 0; k < W * H * 4; ++k)
        EXPECT_EQ(inst.d.outputBuffer[k], in[k]) << k;
}

TEST(Pipeline, FixedUniforms)
{
    // Two passes; pixel column 0..2 of each pass carries some of the fixed
    // values, pass 1 adds its own pass number and pass 0's.
    const int W = 3, H = 2;
    const std::string decl =
        "uniform sampler2D in0; uniform int shadernum; uniform float time; uniform float pixelratio;"
        "uniform vec2 downsample; uniform vec2 cells;";
    const std::string body =
        "int col = int(gl_FragCoord.x);\n"
        "if (col == 0) gl_FragColor = vec4(time, resolution, pixelratio);\n"
        "else if (col == 1) gl_FragColor = vec4(downsample, cells);\n"
        "else gl_FragColor = vec4(float(shadernum), texture2D(in0, uv).x, 0.0, 1.0);";
    cglfx fx = makeEffect({samplingShader(decl, body), samplingShader(decl, body)});
    fx.settings.routing[1][0] = 0;
    fx.settings.cellsx = 3;
    fx.settings.cellsy = 5;
    Instance inst(fx);
    std::vector<float> in = pattern(W, H, 0);
    inst.setLayer(0, in, W, H);
    inst.setOutput(W, H);
    inst.d.time = 12345;
    inst.d.pixelRatio = 0.9f;
    inst.d.downsampleX = 0.5f;
    inst.d.downsampleY = 0.25f;
    inst.ctx().InitGL("", true);
    ASSERT_TRUE(inst.ctx().ok) << inst.ctx().log;
    ASSERT_TRUE(inst.render());
    // 12345 * 0.0001 rounded once to float is the float nearest 1.2345; a
    // product taken in float would give the float below it.
    const float fixed0[4] = {1.2345f, 3.f, 2.f, 0.9f};
    const float fixed1[4] = {0.5f, 0.25f, 3.f, 5.f};
    const float passes[4] = {1.f, 0.f, 0.f, 1.f};  // pass 1 running, pass 0 wrote 0
    for (int y = 0; y < H; ++y) {
        expectPixel(inst.pixel(0, y), fixed0, "time/resolution/pixelratio");
        expectPixel(inst.pixel(1, y), fixed1, "downsample/cells");
        expectPixel(inst.pixel(2, y), passes, "shadernum");
    }
}

TEST(Pipeline, ParameterUniformsByTypeAndComponents)
{
    struct P {
        const char* uniform;
        int type;
        int components;
        float v[3];
    };
    const P params[] = {
        {"pi", GLFX_INT, 1, {2.9f}},          {"pn", GLFX_INT, 1, {-0.5f}},
        {"pm", GLFX_INT, 1, {-1.7f}},         {"pc", GLFX_CHECK, 1, {1.f}},
        {"pp", GLFX_POPUP, 1, {2.7f}},        {"pf", GLFX_FLOAT, 1, {0.375f}},
        {"pcol", GLFX_COLOR, 3, {0.25f, 0.5f, 0.75f}},
        {"ppt", GLFX_POINT, 2, {3.5f, -1.25f}},
        {"pf2", GLFX_FLOAT2, 1, {0.125f}},    {"pf2b", GLFX_FLOAT, 1, {0.625f}},
        {"pa", GLFX_ANGLE, 1, {90.f}},        {"pnone", GLFX_FLOAT, 0, {7.f}},
    };
    const std::string decl =
        "uniform int pi; uniform int pn; uniform int pm; uniform int pc; uniform int pp;"
        "uniform float pf; uniform vec3 pcol; uniform vec2 ppt; uniform vec2 pf2; uniform float pf2b;"
        "uniform float pa; uniform float pnone;";
    const std::string body =
        "int col = int(gl_FragCoord.x);\n"
        "if (col == 0) gl_FragColor = vec4(float(pi), float(pn), float(pm), float(pc));\n"
        "else if (col == 1) gl_FragColor = vec4(float(pp), pf, ppt);\n"
        "else if (col == 2) gl_FragColor = vec4(pcol, pa);\n"
        "else gl_FragColor = vec4(pf2, pf2b, pnone);";
    cglfx fx = makeEffect({samplingShader(decl, body)});
    const int count = static_cast<int>(sizeof(params) / sizeof(params[0]));
    fx.settings.params = count + 1;
    Instance inst(fx);
    for (int i = 0; i < count; ++i) {
        glfxpar& par = glfxDescription().par[i + 1];
        par.uniform = params[i].uniform;
        par.type = params[i].type;
        par.components = params[i].components;
        std::memcpy(inst.d.values[i + 1], params[i].v, sizeof(params[i].v));
    }
    const int W = 4, H = 1;
    std::vector<float> in = pattern(W, H, 0);
    inst.setLayer(0, in, W, H);
    inst.setOutput(W, H);
    inst.ctx().InitGL("", true);
    ASSERT_TRUE(inst.ctx().ok) << inst.ctx().log;
    ASSERT_TRUE(inst.render());
    // Integers truncate toward zero; float2 pairs its value with the next
    // parameter, which sends nothing itself; no components, no uniform.
    const float ints[4] = {2.f, 0.f, -1.f, 1.f};
    const float mixed[4] = {2.f, 0.375f, 3.5f, -1.25f};
    const float color[4] = {0.25f, 0.5f, 0.75f, 90.f};
    const float pairs[4] = {0.125f, 0.625f, 0.f, 0.f};
    expectPixel(inst.pixel(0, 0), ints, "int/check");
    expectPixel(inst.pixel(1, 0), mixed, "popup/float/point");
    expectPixel(inst.pixel(2, 0), color, "color/angle");
    expectPixel(inst.pixel(3, 0), pairs, "float2");
}

TEST(Pipeline, DefinitionsSwitchCodeAfterARebuild)
{
    // A checkbox with flags 1 reaches the shader only as a definition.
    const std::string prefix = glfxtext::definePrefix();
    ASSERT_EQ(prefix.rfind("#define ", 0), 0u);
    const std::string macro = prefix.substr(8) + "mode";
    cglfx fx = makeEffect({samplingShader(
        "uniform sampler2D in0;",
        "#if " + macro + " == 1\n gl_FragColor = vec4(1.0, 0.0, 0.0, 1.0);\n#else\n gl_FragColor = "
        "vec4(0.0, 1.0, 0.0, 1.0);\n#endif")});
    fx.settings.params = 2;
    fx.par[1].type = GLFX_CHECK;
    fx.par[1].flags = 1;
    fx.par[1].uniform = "mode";
    Instance inst(fx);
    std::vector<float> in = pattern(2, 2, 0);
    inst.setLayer(0, in, 2, 2);
    inst.setOutput(2, 2);

    for (float value : {0.f, 1.f, 0.f}) {
        inst.d.values[1][0] = value;
        inst.ctx().InitGL(getDefines(&inst.d), true);
        ASSERT_TRUE(inst.ctx().ok) << inst.ctx().log;
        ASSERT_TRUE(inst.render());
        const float on[4] = {1.f, 0.f, 0.f, 1.f}, off[4] = {0.f, 1.f, 0.f, 1.f};
        expectPixel(inst.pixel(1, 0), value == 1.f ? on : off, "mode " + std::to_string(value));
    }
}

TEST(Pipeline, CompileErrorLeavesLaterPassesUnlinked)
{
    cglfx fx = makeEffect({"void main() { gl_FragColor = vec4(1.0) }\n",  // missing ';'
                           samplingShader("uniform sampler2D in0;", kCopy),
                           samplingShader("uniform sampler2D in0;", kCopy)});
    Instance inst(fx);
    AE_GL_Context& c = inst.ctx();
    c.InitGL("", true);
    EXPECT_FALSE(c.ok);
    EXPECT_FALSE(c.log.empty());
    withContext(c.gl, [&] {
        for (int p = 1; p < 3; ++p) {
            ASSERT_NE(c.programs[p], 0u);
            EXPECT_TRUE(glIsProgram(c.programs[p]));
            GLint linked = GL_TRUE;
            glGetProgramiv(c.programs[p], GL_LINK_STATUS, &linked);
            EXPECT_EQ(linked, GL_FALSE) << "pass " << p;
        }
    });
    std::vector<float> in = pattern(2, 2, 0);
    inst.setLayer(0, in, 2, 2);
    inst.setOutput(2, 2);
    EXPECT_FALSE(inst.render());
    EXPECT_EQ(inst.d.outputBuffer, nullptr);

    // Fixing the source and rebuilding brings the effect back.
    glfxDescription().shaders[0] = samplingShader("uniform sampler2D in0;", kCopy);
    c.InitGL("", false);
    EXPECT_TRUE(c.ok) << c.log;
    EXPECT_TRUE(c.log.empty());
    EXPECT_TRUE(inst.render());
}

TEST(Pipeline, BuildLogKeepsAtMost1023BytesOfEachInfoLog)
{
    // Many errors give an info log far longer than the 1024-byte buffer the
    // build reads it into; the log keeps its first 1023 bytes. The full log
    // is read here with a buffer of its own size.
    std::string source = "void main() {\n";
    for (int i = 0; i < 200; ++i)
        source += " undeclared_" + std::to_string(i) + " = 1.0;\n";
    source += "}\n";
    Instance inst(makeEffect({source}));
    AE_GL_Context& c = inst.ctx();
    c.InitGL("", true);
    EXPECT_FALSE(c.ok);
    std::string full;
    withContext(c.gl, [&] {
        const GLuint shader = glCreateShader(GL_FRAGMENT_SHADER);
        const GLchar* text = source.c_str();
        glShaderSource(shader, 1, &text, nullptr);
        glCompileShader(shader);
        GLint length = 0;
        glGetShaderiv(shader, GL_INFO_LOG_LENGTH, &length);
        std::vector<char> buffer(static_cast<std::size_t>(length) + 1, '\0');
        glGetShaderInfoLog(shader, length, nullptr, buffer.data());
        full = buffer.data();
        glDeleteShader(shader);
    });
    ASSERT_GT(full.size(), 1023u) << "the driver reported too short a log for this test";
    EXPECT_EQ(c.log, full.substr(0, 1023));
}

TEST(Pipeline, FrameSizeLimits)
{
    Instance inst(makeEffect({"void main() { gl_FragColor = vec4(0.5, 0.25, 1.0, 1.0); }\n"}));
    AE_GL_Context& c = inst.ctx();
    c.InitGL("", true);
    ASSERT_TRUE(c.ok) << c.log;
    GLint maxSize = 0;
    withContext(c.gl, [&] { glGetIntegerv(GL_MAX_TEXTURE_SIZE, &maxSize); });
    ASSERT_GT(maxSize, 1);
    // The input is left empty: only the frame size matters here.
    const float want[4] = {0.5f, 0.25f, 1.f, 1.f};

    inst.setOutput(maxSize + 1, 1);
    EXPECT_FALSE(inst.render());
    EXPECT_EQ(inst.d.outputBuffer, nullptr) << "refused before anything was allocated";
    EXPECT_EQ(eglGetCurrentContext(), EGL_NO_CONTEXT) << "ours released after the refusal";
    inst.setOutput(1, maxSize + 1);
    EXPECT_FALSE(inst.render());
    inst.setOutput(0, 0);
    EXPECT_FALSE(inst.render());
    inst.setOutput(-3, 4);
    EXPECT_FALSE(inst.render());

    inst.setOutput(1, 1);
    ASSERT_TRUE(inst.render());
    expectPixel(inst.pixel(0, 0), want, "1x1");

    inst.setOutput(maxSize, 1);
    ASSERT_TRUE(inst.render());
    expectPixel(inst.pixel(maxSize - 1, 0), want, "at the limit");
    EXPECT_EQ(inst.d.outputBufferWidth, maxSize);

    // A smaller frame keeps the larger buffer and its recorded size.
    float* buffer = inst.d.outputBuffer;
    inst.setOutput(3, 2);
    ASSERT_TRUE(inst.render());
    EXPECT_EQ(inst.d.outputBuffer, buffer);
    EXPECT_EQ(inst.d.outputBufferWidth, maxSize);
    EXPECT_EQ(inst.d.outputBufferHeight, 1);
    expectPixel(inst.pixel(2, 1), want, "smaller frame");
}

TEST(Pipeline, PassCountsFromZeroToThirtyTwo)
{
    const int W = 3, H = 2;
    std::vector<float> in = pattern(W, H, 4);
    for (int passes : {1, 2, 17, 32}) {
        // Each pass adds 1/32 to what the pass before it produced.
        std::vector<std::string> sources(passes, samplingShader("uniform sampler2D in0;",
                                                                "gl_FragColor = texture2D(in0, uv) + 0.03125;"));
        cglfx fx = makeEffect(sources);
        for (int p = 1; p < passes; ++p)
            fx.settings.routing[p][0] = p - 1;
        Instance inst(fx);
        inst.setLayer(0, in, W, H);
        inst.setOutput(W, H);
        inst.ctx().InitGL("", true);
        ASSERT_TRUE(inst.ctx().ok) << inst.ctx().log;
        ASSERT_TRUE(inst.render());
        for (int k = 0; k < W * H; ++k) {
            float want[4];
            for (int c = 0; c < 4; ++c)
                want[c] = in[4 * k + c] + 0.03125f * static_cast<float>(passes);
            expectPixel(inst.d.outputBuffer + 4 * k, want, std::to_string(passes) + " passes");
        }
    }

    {
        // A pass count beyond the 32 slots runs the 32 passes there are.
        std::vector<std::string> sources(32, samplingShader("uniform sampler2D in0;",
                                                            "gl_FragColor = texture2D(in0, uv) + 0.03125;"));
        cglfx fx = makeEffect(sources);
        for (int p = 1; p < 32; ++p)
            fx.settings.routing[p][0] = p - 1;
        fx.settings.shaders = 40;
        Instance inst(fx);
        inst.setLayer(0, in, W, H);
        inst.setOutput(W, H);
        inst.ctx().InitGL("", true);
        ASSERT_TRUE(inst.ctx().ok) << inst.ctx().log;
        ASSERT_TRUE(inst.render());
        for (int k = 0; k < W * H * 4; ++k)
            EXPECT_EQ(inst.d.outputBuffer[k], in[k] + 1.f) << "40 passes, value " << k;
    }

    // No pass at all: the read-back takes the last input texture, which
    // must then be a frame of the output's size.
    cglfx fx = makeEffect({}, 1);
    Instance inst(fx);
    std::vector<float> first = pattern(W, H, 8);
    inst.setLayer(0, first, W, H);
    inst.setOutput(W, H);
    inst.ctx().InitGL("", true);
    ASSERT_TRUE(inst.ctx().ok);
    EXPECT_FALSE(inst.render()) << "last input texture never filled";
    glfxDescription().settings.shaders = -2;
    EXPECT_FALSE(inst.render()) << "a negative pass count is no pass";
    glfxDescription().settings.shaders = 0;
    glfxDescription().settings.layerCount = 32;
    std::vector<float> last = pattern(W, H, 9);
    inst.setLayer(31, last, W - 1, H);
    EXPECT_FALSE(inst.render()) << "last input narrower than the frame";
    inst.setLayer(31, last, W, H);
    ASSERT_TRUE(inst.render());
    for (int k = 0; k < W * H * 4; ++k)
        EXPECT_EQ(inst.d.outputBuffer[k], last[k]) << k;
}

TEST(Pipeline, EightBitPackedPixels)
{
    // Words as GL_UNSIGNED_INT_8_8_8_8_REV: red in the low byte. The pass
    // swaps red and blue and inverts green.
    const int W = 4, H = 2;
    std::vector<std::uint32_t> in(W * H);
    for (int k = 0; k < W * H; ++k)
        in[k] = static_cast<std::uint32_t>(k * 17) | static_cast<std::uint32_t>(200 - k * 9) << 8 |
                static_cast<std::uint32_t>(k * 31 + 5) << 16 | static_cast<std::uint32_t>(255 - k) << 24;
    Instance inst(makeEffect({samplingShader(
        "uniform sampler2D in0;", "vec4 c = texture2D(in0, uv); gl_FragColor = vec4(c.b, 1.0 - c.g, c.r, c.a);")}));
    inst.d.layerBuffers[0] = reinterpret_cast<float*>(in.data());
    inst.d.layerWidth[0] = W;
    inst.d.layerHeight[0] = H;
    inst.setOutput(W, H);
    inst.ctx().InitGL("", true);
    ASSERT_TRUE(inst.render(GL_UNSIGNED_INT_8_8_8_8_REV));
    const std::uint32_t* out = reinterpret_cast<const std::uint32_t*>(inst.d.outputBuffer);
    for (int k = 0; k < W * H; ++k) {
        const std::uint32_t r = in[k] & 0xff, g = (in[k] >> 8) & 0xff, b = (in[k] >> 16) & 0xff, a = in[k] >> 24;
        const std::uint32_t want = b | (255 - g) << 8 | r << 16 | a << 24;
        EXPECT_EQ(out[k], want) << "pixel " << k;
    }
}

TEST(Pipeline, CellGeometryFollowsTheFrameSize)
{
    cglfx fx = makeEffect({samplingShader("uniform sampler2D in0;", kCopy)});
    fx.settings.cellsx = 2;
    fx.settings.cellsy = 3;
    Instance inst(fx);
    std::vector<float> in = pattern(8, 6, 0);
    inst.setLayer(0, in, 8, 6);
    inst.setOutput(8, 6);
    inst.ctx().InitGL("", true);
    ASSERT_TRUE(inst.render());
    ASSERT_EQ(vert.size(), 24u);
    ASSERT_EQ(tex.size(), 24u);
    ASSERT_EQ(col.size(), 24u);
    // Column-major: cell (x=1, y=0) is the fourth cell; its index is 1.
    const std::size_t at = 3 * 4;
    EXPECT_FLOAT_EQ(vert[at].x, 4.f);
    EXPECT_FLOAT_EQ(vert[at].y, 0.f);
    EXPECT_FLOAT_EQ(vert[at + 2].x, 8.f);
    EXPECT_FLOAT_EQ(vert[at + 2].y, 2.f);
    EXPECT_FLOAT_EQ(tex[at + 2].s, 1.f);
    EXPECT_FLOAT_EQ(tex[at + 2].t, 2.f / 6.f);
    EXPECT_FLOAT_EQ(tex[at + 3].s, 0.5f);
    EXPECT_FLOAT_EQ(tex[at].cell, 1.f);
    EXPECT_FLOAT_EQ(tex[at + 3].corner, 3.f);
    EXPECT_FLOAT_EQ(col[at].a, 1.f);

    inst.ctx().width = 0;
    inst.ctx().height = 0;
    glfxDescription().settings.cellsx = 1;
    glfxDescription().settings.cellsy = 1;
    inst.ctx().UpdateData();
    ASSERT_EQ(vert.size(), 4u);
    EXPECT_FLOAT_EQ(vert[2].x, 1.f) << "a zero width counts as one";
    // The last corner's s comes from x1 - cw, which rounds differently
    // from x0 here: width 1 in three cells, third cell, cw = 1/3 and
    // x1 = 2 cw + cw = 1 exactly.
    glfxDescription().settings.cellsx = 3;
    inst.ctx().UpdateData();
    ASSERT_EQ(tex.size(), 12u);
    const float third = 1.f / 3.f;
    ASSERT_NE(1.f - third, 2.f * third);
    EXPECT_EQ(tex[11].s, 1.f - third);
    EXPECT_EQ(tex[8].s, 2.f * third);
    EXPECT_EQ(tex[9].s, 1.f);
    glfxDescription().settings.cellsx = 0;
    inst.ctx().UpdateData();
    EXPECT_TRUE(vert.empty() && tex.empty() && col.empty());

    // A 256 x 256 grid is built; one cell more, or a grid whose count
    // overflows 32 bits, builds nothing instead of exhausting memory.
    glfxDescription().settings.cellsx = 256;
    glfxDescription().settings.cellsy = 256;
    inst.ctx().UpdateData();
    ASSERT_EQ(vert.size(), 4u * 65536u);
    EXPECT_FLOAT_EQ(tex.back().cell, 65535.f);
    glfxDescription().settings.cellsx = 65537;
    glfxDescription().settings.cellsy = 1;
    inst.ctx().UpdateData();
    EXPECT_TRUE(vert.empty());
    glfxDescription().settings.cellsx = 100000;
    glfxDescription().settings.cellsy = 100000;
    inst.ctx().UpdateData();
    EXPECT_TRUE(vert.empty());
}
