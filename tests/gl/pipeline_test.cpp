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
    const float fixed0[4] = {1.2345f, 3.f, 2.f, 0.9f};
    const float fixed1[4] = {0.5f, 0.25f, 3.f, 5.f};
    const float passes[4] = {1.f, 0.f, 0.f, 1.f};  // pass 1 running, pass 0 wrote 0
    for (int y = 0; y < H; ++y) {
        expectPixel(inst.pixel(0, y), fixed0, "time/resolution/pixelratio", 1e-6f);
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

    // No pass at all: the read-back takes the last input texture.
    cglfx fx = makeEffect({}, 32);
    Instance inst(fx);
    std::vector<float> last = pattern(W, H, 9);
    inst.setLayer(31, last, W, H);
    inst.setOutput(W, H);
    inst.ctx().InitGL("", true);
    ASSERT_TRUE(inst.ctx().ok);
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
    glfxDescription().settings.cellsx = 0;
    inst.ctx().UpdateData();
    EXPECT_TRUE(vert.empty() && tex.empty() && col.empty());
}
