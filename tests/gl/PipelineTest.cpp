// Frames through the pass loop, checked pixel by pixel against values worked
// out here from the inputs.
#include <cstring>

#include "gl/Preamble.h"
#include "GlTestUtil.h"

using namespace gltest;

TEST(Pipeline, RoutesLayersAndPassesAndNothingBeyondThem)
{
    // Pass 0 doubles layer 0; pass 1 reads pass 0, layer 1 and layer 0:
    // out = p0 + l1 - l0 / 4.
    const int W = 4, H = 3;
    const std::string two = "uniform sampler2D in0; uniform sampler2D in1;";
    cglfx fx =
        makeEffect({samplingShader("uniform sampler2D in0;", "gl_FragColor = 2.0 * texture2D(in0, uv);"),
                    samplingShader(two + "uniform sampler2D in2;",
                                   "gl_FragColor = texture2D(in0, uv) + texture2D(in1, uv) - "
                                   "0.25 * texture2D(in2, uv);")},
                   2);
    fx.settings.routing[1][0] = 0;
    fx.settings.routing[1][1] = -2;
    fx.settings.routing[1][2] = -1;
    Instance inst(fx);
    std::vector<float> l0 = pattern(W, H, 0), l1 = pattern(W, H, 3);
    inst.setLayer(1, l1, W, H);
    ASSERT_TRUE(inst.frame(l0, W, H));
    inst.expectFrame(
        W * H, [&](int k, int c) { return 1.75f * l0[4 * k + c] + l1[4 * k + c]; }, 1e-6f);

    // Reparsed to one pass and one layer (textures kept), pass texture 1 and
    // input texture 1 still hold frames; a route to them, like one beyond
    // the tables, names nothing and samples (0, 0, 0, 1).
    cglfx& now = glfxDescription();
    now.settings.shaders = now.settings.layerCount = 1;
    now.shaders = {samplingShader(two, "gl_FragColor = texture2D(in0, uv) + 2.0 * texture2D(in1, uv);")};
    inst.ctx().InitGL("", false);
    ASSERT_TRUE(inst.ctx().ok) << inst.ctx().log;
    for (const auto& r : {std::pair<int, int>{1, -2}, {40, -41}}) {
        now.settings.routing[0][0] = r.first;
        now.settings.routing[0][1] = r.second;
        ASSERT_TRUE(inst.render());
        inst.expectFrame(W * H, [](int, int c) { return c == 3 ? 3.f : 0.f; });
    }
}

TEST(Pipeline, FilterAndWrapSettings)
{
    // Four texels a row, sampled at column s = 1.25 (texel 5 wrapped is 1),
    // or 1.0 in linear: half texel 3 and half the transparent border when
    // clamped (repeat 0), half texel 0 when wrapped.
    cglfx fx =
        makeEffect({"uniform sampler2D in0; uniform float sx;\n"
                    "void main() { gl_FragColor = texture2D(in0, vec2(sx, gl_FragCoord.y / 2.0)); }\n"});
    fx.settings.params = 2;
    fx.par[1].type = GLFX_FLOAT;
    fx.par[1].components = 1;
    fx.par[1].uniform = "sx";
    Instance inst(fx);
    std::vector<float> in = pattern(4, 2, 5);
    inst.setLayer(0, in, 4, 2);
    inst.setOutput(1, 2);
    ASSERT_TRUE(inst.build());
    const int cases[][4] = {
        {0, 0, 3, 3}, {0, 1, 1, 1}, {1, 0, 3, -1}, {1, 1, 3, 0}}; // interp, repeat, texels
    for (const auto& c : cases) {
        glfxDescription().settings.interp = c[0];
        glfxDescription().settings.repeat = c[1];
        inst.d.values[1][0] = c[0] ? 1.0f : 1.25f;
        ASSERT_TRUE(inst.render());
        const auto texel = [&](int i, int y, int ch) { return i < 0 ? 0.f : in[4 * (y * 4 + i) + ch]; };
        inst.expectFrame(
            2, [&](int y, int ch) { return 0.5f * (texel(c[2], y, ch) + texel(c[3], y, ch)); }, 1e-6f);
    }
}

TEST(Pipeline, UniformInterface)
{
    // Integer types truncate toward zero; float2 pairs its value with the
    // next parameter, which sends nothing itself; no components, no uniform.
    // clang-format off
    const struct {
        const char* uniform;
        int type, components;
        float v[3];
    } params[] = {{"pi", GLFX_INT, 1, {2.9f}}, {"pn", GLFX_INT, 1, {-0.5f}}, {"pm", GLFX_INT, 1, {-1.7f}},
                  {"pc", GLFX_CHECK, 1, {1.f}}, {"pp", GLFX_POPUP, 1, {2.7f}},
                  {"pf", GLFX_FLOAT, 1, {0.375f}},
                  {"pcol", GLFX_COLOR, 3, {0.25f, 0.5f, 0.75f}}, {"ppt", GLFX_POINT, 2, {3.5f, -1.25f}},
                  {"pf2", GLFX_FLOAT2, 1, {0.125f}}, {"pf2b", GLFX_FLOAT, 1, {0.625f}},
                  {"pa", GLFX_ANGLE, 1, {90.f}}, {"pnone", GLFX_FLOAT, 0, {7.f}}};
    // clang-format on
    const std::string decl = "uniform sampler2D in0; uniform int shadernum; uniform float time, pixelratio;"
                             "uniform vec2 downsample, cells; uniform int pi, pn, pm, pc, pp;"
                             "uniform float pf, pf2b, pa, pnone; uniform vec3 pcol; uniform vec2 ppt, pf2;";
    const std::string body =
        "int col = int(gl_FragCoord.x);\n"
        "if (col == 0) gl_FragColor = vec4(time, resolution, pixelratio);\n"
        "else if (col == 1) gl_FragColor = vec4(downsample, cells);\n"
        "else if (col == 2) gl_FragColor = vec4(float(shadernum), texture2D(in0, uv).x, 0, 1);\n"
        "else if (col == 3) gl_FragColor = vec4(float(pi), float(pn), float(pm), float(pc));\n"
        "else if (col == 4) gl_FragColor = vec4(float(pp), pf, ppt);\n"
        "else if (col == 5) gl_FragColor = vec4(pcol, pa);\n"
        "else gl_FragColor = vec4(pf2, pf2b, pnone);";
    cglfx fx = makeEffect({samplingShader(decl, body), samplingShader(decl, body)});
    fx.settings.routing[1][0] = 0;
    fx.settings.cellsx = 3;
    fx.settings.cellsy = 5;
    const int count = static_cast<int>(std::size(params));
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
    const int W = 7;
    std::vector<float> in = pattern(W, 2, 0);
    ASSERT_TRUE(inst.frame(in, W, 2));
    // time: 12345 * 0.0001 rounded once to float (a product in float gives
    // the float below). Column 2: pass 1 running, reading pass 0's 0.
    const float want[W][4] = {{1.2345f, 7.f, 2.f, 0.9f},   {0.5f, 0.25f, 3.f, 5.f},
                              {1.f, 0.f, 0.f, 1.f},        {2.f, 0.f, -1.f, 1.f},
                              {2.f, 0.375f, 3.5f, -1.25f}, {0.25f, 0.5f, 0.75f, 90.f},
                              {0.125f, 0.625f, 0.f, 0.f}};
    inst.expectFrame(2 * W, [&](int k, int c) { return want[k % W][c]; });
}

TEST(Pipeline, BuildFailuresAndFrameSizes)
{
    // A failed pass leaves the passes after it unlinked; its log is kept
    // up to the 1023 bytes of the build's buffer; no frame until fixed.
    std::string broken = "void main() {\n";
    for (int i = 0; i < 200; ++i)
        broken += " undeclared_" + std::to_string(i) + " = 1.0;\n";
    cglfx fx = makeEffect({broken + "}\n", copyShader()});
    fx.settings.routing[1][0] = 0;
    Instance inst(fx);
    AE_GL_Context& c = inst.ctx();
    EXPECT_FALSE(inst.build());
    EXPECT_EQ(c.log.size(), 1023u);
    withContext(c.gl, [&] {
        GLint linked = GL_TRUE;
        glGetProgramiv(c.programs[1], GL_LINK_STATUS, &linked);
        EXPECT_EQ(linked, GL_FALSE);
    });
    inst.setOutput(2, 2);
    EXPECT_FALSE(inst.render());
    EXPECT_EQ(inst.d.outputBuffer, nullptr);

    glfxDescription().shaders[0] = "void main() { gl_FragColor = vec4(0.5, 0.25, 1.0, 1.0); }\n";
    ASSERT_TRUE(inst.build());
    EXPECT_TRUE(c.log.empty());
    GLint maxSize = 0;
    withContext(c.gl, [&] { glGetIntegerv(GL_MAX_TEXTURE_SIZE, &maxSize); });
    // Frames beyond the driver's limit, or empty, are refused before any
    // allocation; a smaller frame after a larger keeps the larger buffer.
    for (const auto& size : {std::pair<int, int>{maxSize + 1, 1}, {1, maxSize + 1}, {0, 0}, {-3, 4}}) {
        inst.setOutput(size.first, size.second);
        EXPECT_FALSE(inst.render()) << size.first << "x" << size.second;
        EXPECT_EQ(inst.d.outputBuffer, nullptr);
        EXPECT_EQ(eglGetCurrentContext(), EGL_NO_CONTEXT) << "ours released after the refusal";
    }
    const auto colour = [](int, int ch) { return ch == 0 ? 0.5f : ch == 1 ? 0.25f : 1.f; };
    for (const auto& size : {std::pair<int, int>{maxSize, 1}, {3, 2}}) {
        inst.setOutput(size.first, size.second);
        ASSERT_TRUE(inst.render());
        inst.expectFrame(size.first * size.second, colour);
        EXPECT_EQ(inst.d.outputBufferWidth, maxSize);
    }
}
