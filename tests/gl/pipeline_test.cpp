// Frames through the pass loop, checked pixel by pixel against values
// worked out here from the inputs.
#include <cmath>
#include <cstdint>
#include <cstring>

#include "gl/Preamble.h"
#include "gl_test_util.h"
#include "glfx/strings.h"

using namespace gltest;

namespace {

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

// The first `pixels` pixels of the result against want(pixel, channel).
template <class F>
void expectFrame(const Instance& inst, int pixels, F want, float tol = 0.f)
{
    int bad = 0;
    for (int k = 0; k < pixels; ++k)
        for (int c = 0; c < 4; ++c) {
            const float got = inst.d.outputBuffer[4 * k + c], w = want(k, c);
            if (!(std::fabs(got - w) <= tol) && bad++ < 5)
                ADD_FAILURE() << "pixel " << k << " channel " << c << ": " << got << ", want " << w;
        }
    EXPECT_EQ(bad, 0);
}

// The definition macro behind a "#define NAME" text.
std::string macroOf(const std::string& define)
{
    EXPECT_EQ(define.rfind("#define ", 0), 0u) << define;
    return define.substr(8);
}

} // namespace

TEST(Pipeline, RoutesLayersAndPassesAndNothingBeyondThem)
{
    // Pass 0 doubles layer 0; pass 1 takes pass 0 in slot 0, layer 1 in slot
    // 1 and layer 0 again in slot 2: out = p0 + l1 - l0 / 4.
    const int W = 4, H = 3;
    const std::string twoInputs = "uniform sampler2D in0; uniform sampler2D in1;";
    cglfx fx = makeEffect(
        {samplingShader("uniform sampler2D in0;", "gl_FragColor = 2.0 * texture2D(in0, uv);"),
         samplingShader(
             twoInputs + "uniform sampler2D in2;",
             "gl_FragColor = texture2D(in0, uv) + texture2D(in1, uv) - 0.25 * texture2D(in2, uv);")},
        2);
    fx.settings.routing[1][0] = 0;
    fx.settings.routing[1][1] = -2;
    fx.settings.routing[1][2] = -1;
    Instance inst(fx);
    std::vector<float> l0 = pattern(W, H, 0), l1 = pattern(W, H, 3);
    inst.setLayer(1, l1, W, H);
    ASSERT_TRUE(inst.frame(l0, W, H));
    expectFrame(
        inst, W * H,
        [&](int k, int c) { return 2.f * l0[4 * k + c] + l1[4 * k + c] - 0.25f * l0[4 * k + c]; }, 1e-6f);

    // Reparsed to one pass and one layer (textures kept, as the options
    // dialog does), pass texture 1 and input texture 1 still hold frames; a
    // route to pass 1 or layer 1, like one beyond the tables, names nothing:
    // it reads texture 0, which samples as (0, 0, 0, 1).
    cglfx& now = glfxDescription();
    now.settings.shaders = 1;
    now.settings.layerCount = 1;
    now.shaders = {
        samplingShader(twoInputs, "gl_FragColor = texture2D(in0, uv) + 2.0 * texture2D(in1, uv);")};
    inst.ctx().InitGL("", false);
    ASSERT_TRUE(inst.ctx().ok) << inst.ctx().log;
    const int routes[][2] = {{1, -2}, {40, -41}};
    for (const auto& r : routes) {
        SCOPED_TRACE(r[0]);
        now.settings.routing[0][0] = r[0];
        now.settings.routing[0][1] = r[1];
        ASSERT_TRUE(inst.render());
        expectFrame(inst, W * H, [](int, int c) { return c == 3 ? 3.f : 0.f; });
    }
}

TEST(Pipeline, FilterAndWrapSettings)
{
    // One row of four texels per frame row; the pass samples column
    // coordinate s at the centre of its own row. Linear filtering weighs
    // texels i and i + 1 around u - 0.5 with u = s * 4. Clamping (repeat 0)
    // is GL_CLAMP: s is clamped to [0, 1] and a linear sample at the edge
    // takes half of the transparent black border; repeat 1 wraps s.
    const int W = 4, H = 2;
    cglfx fx =
        makeEffect({"uniform sampler2D in0; uniform float sx;\n"
                    "void main() { gl_FragColor = texture2D(in0, vec2(sx, gl_FragCoord.y / 2.0)); }\n"});
    fx.settings.params = 2;
    fx.par[1].type = GLFX_FLOAT;
    fx.par[1].components = 1;
    fx.par[1].uniform = "sx";
    Instance inst(fx);
    std::vector<float> in = pattern(W, H, 5);
    inst.setLayer(0, in, W, H);
    inst.setOutput(1, H);
    ASSERT_TRUE(inst.build());

    struct Case {
        int interp, repeat;
        float s;
        int i0, i1; // texels mixed half and half; -1 is the border
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
        SCOPED_TRACE(c.what);
        glfxDescription().settings.interp = c.interp;
        glfxDescription().settings.repeat = c.repeat;
        inst.d.values[1][0] = c.s;
        ASSERT_TRUE(inst.render());
        expectFrame(
            inst, H,
            [&](int y, int ch) {
                const float a = c.i0 < 0 ? 0.f : in[4 * (y * W + c.i0) + ch];
                const float b = c.i1 < 0 ? 0.f : in[4 * (y * W + c.i1) + ch];
                return 0.5f * a + 0.5f * b;
            },
            1e-6f);
    }
}

TEST(Pipeline, UniformInterface)
{
    // Two passes, pass 1 reading pass 0; each pixel column carries some of
    // the values. Parameters: integer types truncate toward zero; float2
    // pairs its value with the next parameter, which sends nothing itself;
    // no components, no uniform.
    struct P {
        const char* uniform;
        int type;
        int components;
        float v[3];
    };
    const P params[] = {
        {"pi", GLFX_INT, 1, {2.9f}},
        {"pn", GLFX_INT, 1, {-0.5f}},
        {"pm", GLFX_INT, 1, {-1.7f}},
        {"pc", GLFX_CHECK, 1, {1.f}},
        {"pp", GLFX_POPUP, 1, {2.7f}},
        {"pf", GLFX_FLOAT, 1, {0.375f}},
        {"pcol", GLFX_COLOR, 3, {0.25f, 0.5f, 0.75f}},
        {"ppt", GLFX_POINT, 2, {3.5f, -1.25f}},
        {"pf2", GLFX_FLOAT2, 1, {0.125f}},
        {"pf2b", GLFX_FLOAT, 1, {0.625f}},
        {"pa", GLFX_ANGLE, 1, {90.f}},
        {"pnone", GLFX_FLOAT, 0, {7.f}},
    };
    const std::string decl =
        "uniform sampler2D in0; uniform int shadernum; uniform float time; uniform float pixelratio;"
        "uniform vec2 downsample; uniform vec2 cells;"
        "uniform int pi; uniform int pn; uniform int pm; uniform int pc; uniform int pp;"
        "uniform float pf; uniform vec3 pcol; uniform vec2 ppt; uniform vec2 pf2; uniform float pf2b;"
        "uniform float pa; uniform float pnone;";
    const std::string body =
        "int col = int(gl_FragCoord.x);\n"
        "if (col == 0) gl_FragColor = vec4(time, resolution, pixelratio);\n"
        "else if (col == 1) gl_FragColor = vec4(downsample, cells);\n"
        "else if (col == 2) gl_FragColor = vec4(float(shadernum), texture2D(in0, uv).x, 0.0, 1.0);\n"
        "else if (col == 3) gl_FragColor = vec4(float(pi), float(pn), float(pm), float(pc));\n"
        "else if (col == 4) gl_FragColor = vec4(float(pp), pf, ppt);\n"
        "else if (col == 5) gl_FragColor = vec4(pcol, pa);\n"
        "else gl_FragColor = vec4(pf2, pf2b, pnone);";
    cglfx fx = makeEffect({samplingShader(decl, body), samplingShader(decl, body)});
    fx.settings.routing[1][0] = 0;
    fx.settings.cellsx = 3;
    fx.settings.cellsy = 5;
    const int count = static_cast<int>(sizeof(params) / sizeof(params[0]));
    fx.settings.params = count + 1;
    for (int i = 0; i < count; ++i) {
        fx.par[i + 1].uniform = params[i].uniform;
        fx.par[i + 1].type = params[i].type;
        fx.par[i + 1].components = params[i].components;
    }
    Instance inst(fx);
    for (int i = 0; i < count; ++i)
        std::memcpy(inst.d.values[i + 1], params[i].v, sizeof(params[i].v));
    inst.d.time = 12345;
    inst.d.pixelRatio = 0.9f;
    inst.d.downsampleX = 0.5f;
    inst.d.downsampleY = 0.25f;
    const int W = 7, H = 2;
    std::vector<float> in = pattern(W, H, 0);
    ASSERT_TRUE(inst.frame(in, W, H));
    // 12345 * 0.0001 rounded once to float is the float nearest 1.2345; a
    // product taken in float would give the float below it. Column 2: pass
    // 1 running, reading the 0 that pass 0 wrote.
    const float want[W][4] = {{1.2345f, 7.f, 2.f, 0.9f},   {0.5f, 0.25f, 3.f, 5.f},
                              {1.f, 0.f, 0.f, 1.f},        {2.f, 0.f, -1.f, 1.f},
                              {2.f, 0.375f, 3.5f, -1.25f}, {0.25f, 0.5f, 0.75f, 90.f},
                              {0.125f, 0.625f, 0.f, 0.f}};
    expectFrame(inst, W * H, [&](int k, int c) { return want[k % W][c]; });
}

TEST(Pipeline, DefinitionsReachTheShaderOnlyThroughABuild)
{
    // Red: the fixed definition is present; green: the checkbox "mode"
    // (flags 1, so a definition and no uniform) is 1.
    const std::string fixedOn = macroOf(glfxtext::defineFixedOn());
    const std::string mode = macroOf(glfxtext::definePrefix()) + "mode";
    cglfx fx = makeEffect({"void main() {\n float r = 0.0, g = 0.0;\n#ifdef " + fixedOn +
                           "\n r = 1.0;\n#endif\n"
                           "#ifdef " +
                           mode + "\n#if " + mode +
                           " == 1\n g = 1.0;\n#endif\n#endif\n"
                           " gl_FragColor = vec4(r, g, 1.0, 0.5);\n}\n"});
    fx.settings.params = 2;
    fx.par[1].type = GLFX_CHECK;
    fx.par[1].flags = 1;
    fx.par[1].uniform = "mode";
    Instance inst(fx);
    inst.d.values[1][0] = 1.f;
    ASSERT_NE(getDefines(&inst.d).find(mode + " 1"), std::string::npos);

    // Rendered without any build: the frame builds the programs itself with
    // an empty preamble and keeps the all-bits-set texture names. An empty
    // frame still builds.
    inst.setOutput(0, 0);
    EXPECT_FALSE(inst.render());
    EXPECT_TRUE(inst.ctx().initialised);
    EXPECT_TRUE(inst.ctx().ok) << inst.ctx().log;
    inst.setOutput(2, 2);
    ASSERT_TRUE(inst.render());
    expectFrame(inst, 4, [](int, int c) { return c == 2 ? 1.f : c == 3 ? 0.5f : 0.f; });
    for (int i = 0; i < AE_GL_Context::kSlots; ++i) {
        EXPECT_EQ(inst.ctx().inputTextures[i], AE_GL_Context::kNoTexture);
        EXPECT_EQ(inst.ctx().passTextures[i], AE_GL_Context::kNoTexture);
    }

    // Each rebuild with the definitions of the current values switches code.
    for (float value : {1.f, 0.f, 1.f}) {
        SCOPED_TRACE(value);
        inst.d.values[1][0] = value;
        ASSERT_TRUE(inst.build(getDefines(&inst.d)));
        ASSERT_TRUE(inst.render());
        const float want[4] = {1.f, value, 1.f, 0.5f};
        expectFrame(inst, 4, [&](int, int c) { return want[c]; });
    }
}

TEST(Pipeline, CompileErrorLeavesLaterPassesUnlinked)
{
    // Pass 0 fails with an info log far longer than the 1024-byte buffer the
    // build reads it into: the log keeps its first 1023 bytes (the full log
    // is read here with a buffer of its own size).
    std::string broken = "void main() {\n";
    for (int i = 0; i < 200; ++i)
        broken += " undeclared_" + std::to_string(i) + " = 1.0;\n";
    broken += "}\n";
    Instance inst(makeEffect({broken, copyShader(), copyShader()}));
    AE_GL_Context& c = inst.ctx();
    EXPECT_FALSE(inst.build());
    std::string full;
    withContext(c.gl, [&] {
        for (int p = 1; p < 3; ++p) {
            ASSERT_TRUE(glIsProgram(c.programs[p])) << "pass " << p;
            GLint linked = GL_TRUE;
            glGetProgramiv(c.programs[p], GL_LINK_STATUS, &linked);
            EXPECT_EQ(linked, GL_FALSE) << "pass " << p;
        }
        const GLuint shader = glCreateShader(GL_FRAGMENT_SHADER);
        const GLchar* text = broken.c_str();
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
    std::vector<float> in = pattern(2, 2, 0);
    inst.setLayer(0, in, 2, 2);
    inst.setOutput(2, 2);
    EXPECT_FALSE(inst.render());
    EXPECT_EQ(inst.d.outputBuffer, nullptr);

    // Fixing the source and rebuilding brings the effect back.
    glfxDescription().shaders[0] = copyShader();
    c.InitGL("", false);
    EXPECT_TRUE(c.ok) << c.log;
    EXPECT_TRUE(c.log.empty());
    EXPECT_TRUE(inst.render());
}

TEST(Pipeline, FrameSizeLimits)
{
    Instance inst(makeEffect({"void main() { gl_FragColor = vec4(0.5, 0.25, 1.0, 1.0); }\n"}));
    ASSERT_TRUE(inst.build());
    GLint maxSize = 0;
    withContext(inst.ctx().gl, [&] { glGetIntegerv(GL_MAX_TEXTURE_SIZE, &maxSize); });
    ASSERT_GT(maxSize, 1);
    // The input is left empty: only the frame size matters here.
    auto colour = [](int, int c) { return c == 0 ? 0.5f : c == 1 ? 0.25f : 1.f; };

    const int refused[][2] = {{maxSize + 1, 1}, {1, maxSize + 1}, {0, 0}, {-3, 4}};
    for (const auto& size : refused) {
        inst.setOutput(size[0], size[1]);
        EXPECT_FALSE(inst.render()) << size[0] << "x" << size[1];
        EXPECT_EQ(inst.d.outputBuffer, nullptr) << "refused before anything was allocated";
        EXPECT_EQ(eglGetCurrentContext(), EGL_NO_CONTEXT) << "ours released after the refusal";
    }
    // A smaller frame keeps the larger buffer and its recorded size.
    const int rendered[][4] = {{1, 1, 1, 1}, {maxSize, 1, maxSize, 1}, {3, 2, maxSize, 1}}; // frame, buffer
    for (const auto& size : rendered) {
        SCOPED_TRACE(size[0]);
        const float* before = inst.d.outputBuffer;
        inst.setOutput(size[0], size[1]);
        ASSERT_TRUE(inst.render());
        expectFrame(inst, size[0] * size[1], colour);
        EXPECT_EQ(inst.d.outputBufferWidth, size[2]);
        EXPECT_EQ(inst.d.outputBufferHeight, size[3]);
        EXPECT_TRUE(size[0] != 3 || inst.d.outputBuffer == before) << "buffer replaced";
    }
}

TEST(Pipeline, PassCountsFromOneToThirtyTwo)
{
    // Each pass adds 1/32 to what the pass before it produced. A pass count
    // beyond the 32 slots runs the 32 passes there are.
    const int W = 3, H = 2;
    std::vector<float> in = pattern(W, H, 4);
    const int cases[][2] = {{1, 1}, {2, 2}, {17, 17}, {32, 32}, {32, 40}}; // sources, declared count
    for (const auto& c : cases) {
        SCOPED_TRACE(std::to_string(c[1]) + " passes");
        cglfx fx = makeEffect(std::vector<std::string>(
            c[0], samplingShader("uniform sampler2D in0;", "gl_FragColor = texture2D(in0, uv) + 0.03125;")));
        for (int p = 1; p < c[0]; ++p)
            fx.settings.routing[p][0] = p - 1;
        fx.settings.shaders = c[1];
        Instance inst(fx);
        ASSERT_TRUE(inst.frame(in, W, H));
        expectFrame(inst, W * H,
                    [&](int k, int ch) { return in[4 * k + ch] + 0.03125f * static_cast<float>(c[0]); });
    }
}

TEST(Pipeline, PassesWithoutShadersAndNoPassAtAll)
{
    // Without any fragment source (and without a vertex shader) the pass
    // program holds no shader: it links, and fixed-function texturing of
    // unit 0 (enabled by the build) copies the routed layer.
    const int W = 3, H = 2;
    cglfx fx = makeEffect({});
    fx.settings.shaders = 1;
    fx.settings.routing[0][0] = -1;
    Instance inst(fx);
    std::vector<float> first = pattern(W, H, 8), last = pattern(W, H, 9);
    ASSERT_TRUE(inst.frame(first, W, H));
    expectFrame(inst, W * H, [&](int k, int c) { return first[4 * k + c]; });

    // No pass: the read-back takes the last input texture, which must be a
    // frame of the output's size.
    glfxDescription().settings.shaders = 0;
    EXPECT_FALSE(inst.render()) << "last input texture never filled";
    glfxDescription().settings.shaders = -2;
    EXPECT_FALSE(inst.render()) << "a negative pass count is no pass";
    glfxDescription().settings.shaders = 0;
    glfxDescription().settings.layerCount = 32;
    inst.setLayer(31, last, W - 1, H);
    EXPECT_FALSE(inst.render()) << "last input narrower than the frame";
    inst.setLayer(31, last, W, H);
    ASSERT_TRUE(inst.render());
    expectFrame(inst, W * H, [&](int k, int c) { return last[4 * k + c]; });
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
    Instance inst(makeEffect(
        {samplingShader("uniform sampler2D in0;",
                        "vec4 c = texture2D(in0, uv); gl_FragColor = vec4(c.b, 1.0 - c.g, c.r, c.a);")}));
    inst.d.layerBuffers[0] = reinterpret_cast<float*>(in.data());
    inst.d.layerWidth[0] = W;
    inst.d.layerHeight[0] = H;
    inst.setOutput(W, H);
    ASSERT_TRUE(inst.build());
    ASSERT_TRUE(inst.render(GL_UNSIGNED_INT_8_8_8_8_REV));
    const std::uint32_t* out = reinterpret_cast<const std::uint32_t*>(inst.d.outputBuffer);
    for (int k = 0; k < W * H; ++k) {
        const std::uint32_t r = in[k] & 0xff, g = (in[k] >> 8) & 0xff, b = (in[k] >> 16) & 0xff,
                            a = in[k] >> 24;
        EXPECT_EQ(out[k], b | (255 - g) << 8 | r << 16 | a << 24) << "pixel " << k;
    }
}

TEST(Pipeline, CellGeometryFollowsTheFrameSize)
{
    cglfx fx = makeEffect({copyShader()});
    fx.settings.cellsx = 2;
    fx.settings.cellsy = 3;
    Instance inst(fx);
    std::vector<float> in = pattern(8, 6, 0);
    ASSERT_TRUE(inst.frame(in, 8, 6));
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

    // A zero width counts as one. The last corner's s comes from x1 - cw,
    // which rounds differently from x0 here: width 1 in three cells, third
    // cell, cw = 1/3 and x1 = 2 cw + cw = 1 exactly.
    inst.ctx().width = 0;
    inst.ctx().height = 0;
    glfxsettings& s = glfxDescription().settings;
    s.cellsx = 3;
    s.cellsy = 1;
    inst.ctx().UpdateData();
    ASSERT_EQ(tex.size(), 12u);
    EXPECT_FLOAT_EQ(vert[2].x, 1.f / 3.f);
    const float third = 1.f / 3.f;
    ASSERT_NE(1.f - third, 2.f * third);
    EXPECT_EQ(tex[11].s, 1.f - third);
    EXPECT_EQ(tex[8].s, 2.f * third);
    EXPECT_EQ(tex[9].s, 1.f);

    // Up to a 256 x 256 grid is built; cellsx 0, one cell more, or a grid
    // whose count overflows 32 bits, builds nothing.
    s.cellsx = 256;
    s.cellsy = 256;
    inst.ctx().UpdateData();
    ASSERT_EQ(vert.size(), 4u * 65536u);
    EXPECT_FLOAT_EQ(tex.back().cell, 65535.f);
    const int none[][2] = {{0, 1}, {65537, 1}, {100000, 100000}};
    for (const auto& cells : none) {
        s.cellsx = cells[0];
        s.cellsy = cells[1];
        inst.ctx().UpdateData();
        EXPECT_TRUE(vert.empty() && tex.empty() && col.empty()) << cells[0] << " x " << cells[1];
    }
}
