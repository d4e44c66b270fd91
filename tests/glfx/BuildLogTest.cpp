// A shader build log told in the description's lines: which pass failed and
// which line of the file each driver message points at, through blank lines
// the parser drops, "@@" blocks, repeated sections, the vertex shader and the
// preamble in front of each fragment source.
#include "glfx/BuildLog.h"
#include "tests/support/Crlf.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

// Two passes; pass 1 has blank lines the parser drops. Lines are numbered
// on the right for reading the expectations.
const char* kTwoPasses = "[par1]\n"                                               // 1
                         "param=mode\n"                                           // 2
                         "type=popup\n"                                           // 3
                         "popup=a|b\n"                                            // 4
                         "flags=1\n"                                              // 5
                         "[ps0]\n"                                                // 6
                         "void main()\n"                                          // 7
                         "{\n"                                                    // 8
                         "gl_FragColor = vec4(1.0);\n"                            // 9
                         "}\n"                                                    // 10
                         "[ps1]\n"                                                // 11
                         "uniform sampler2D pass0;\n"                             // 12
                         "\n"                                                     // 13
                         "\n"                                                     // 14
                         "float gain(float x) { return x * 2.0; }\n"              // 15
                         "void main()\n"                                          // 16
                         "{\n"                                                    // 17
                         "    vec4 c = texture2D(pass0, gl_TexCoord[0].st);\n"    // 18
                         "    gl_FragColor = vec4(gain(c.r)) + undefinedThing;\n" // 19
                         "}\n";                                                   // 20

// A block defined at the top and used inside pass 0.
const char* kBlock = "@@tint\n"                                                                     // 1
                     "vec3 tint(vec3 c) {\n"                                                        // 2
                     "    return c * vec3(1.0, 0.9, 0.8)\n"                                         // 3
                     "}\n"                                                                          // 4
                     "@@\n"                                                                         // 5
                     "[ps0]\n"                                                                      // 6
                     "uniform sampler2D in0;\n"                                                     // 7
                     "@@tint\n"                                                                     // 8
                     "void main()\n"                                                                // 9
                     "{\n"                                                                          // 10
                     "    gl_FragColor = vec4(tint(texture2D(in0, gl_TexCoord[0].st).rgb), 1.0);\n" // 11
                     "}\n";                                                                         // 12

// A vertex shader longer than the fragment source.
const char* kVertex = "[vs]\n"                                       // 1
                      "void main()\n"                                // 2
                      "{\n"                                          // 3
                      "    gl_Position = ftransform()\n"             // 4
                      "    gl_TexCoord[0] = gl_MultiTexCoord0;\n"    // 5
                      "}\n"                                          // 6
                      "[ps0]\n"                                      // 7
                      "void main() { gl_FragColor = vec4(1.0); }\n"; // 8

// A section given twice: the second replaces the first.
const char* kRepeated = "[ps0]\n"                         // 1
                        "void main() { old }\n"           // 2
                        "[ps0]\n"                         // 3
                        "void main()\n"                   // 4
                        "{ gl_FragColor = vec4(1.0) }\n"; // 5

struct Case {
    const char* what;
    const char* description;
    int preamble;
    std::string log;
    int pass;
    bool vertex;
    std::vector<int> lines;
    std::string firstLine; // the rewritten log's first line
};

using testsupport::crlf;

TEST(BuildLog, MapsDriverLinesToTheDescription)
{
    const std::vector<Case> cases = {
        {"pass 1, past pass 0's length",
         kTwoPasses,
         3,
         "0:9(40): error: `undefinedThing' undeclared\n",
         1,
         false,
         {19},
         "fx.glfx:19:40: error: `undefinedThing' undeclared"},
        {"pass 1, a column pass 0's line does not have",
         kTwoPasses,
         3,
         "0:5(30): error: bad\n",
         1,
         false,
         {15},
         "fx.glfx:15:30: error: bad"},
        {"pass 0 fits first",
         kTwoPasses,
         3,
         "0:5(1): error: x\n0:6(2): error: y\n",
         0,
         false,
         {8, 9},
         "fx.glfx:8:1: error: x"},
        {"end of text on the last line",
         kTwoPasses,
         3,
         "0:10(1): error: unexpected end\n",
         1,
         false,
         {20},
         "fx.glfx:20:1: error: unexpected end"},
        {"one past pass 0's last line is not pass 0",
         kTwoPasses,
         3,
         "0:8(2): error: v\n",
         1,
         false,
         {18},
         "fx.glfx:18:2: error: v"},
        {"another driver's form",
         kTwoPasses,
         3,
         "0(9) : error C1008: undefined variable\n",
         1,
         false,
         {19},
         "fx.glfx:19 : error C1008: undefined variable"},
        {"inside an @@ block",
         kBlock,
         1,
         "0:5(1): error: syntax error, unexpected '}'\n",
         0,
         false,
         {4},
         "fx.glfx:4:1: error: syntax error, unexpected '}'"},
        {"after an @@ block's use",
         kBlock,
         1,
         "0:8(5): error: z\n",
         0,
         false,
         {11},
         "fx.glfx:11:5: error: z"},
        {"vertex shader",
         kVertex,
         1,
         "0:4(5): error: syntax error\n",
         0,
         true,
         {5},
         "fx.glfx:5:5: error: syntax error"},
        {"repeated section", kRepeated, 2, "0:4(28): error: w\n", 0, false, {5}, "fx.glfx:5:28: error: w"},
        {"no line reference",
         kTwoPasses,
         3,
         "error: linking failed\n",
         -1,
         false,
         {},
         "error: linking failed"},
        {"fits no shader", kTwoPasses, 3, "0:90(1): error: far\n", -1, false, {0}, "0:90(1): error: far"},
    };
    for (const Case& c : cases) {
        for (const bool windows : {false, true}) {
            SCOPED_TRACE(std::string(c.what) + (windows ? " (CRLF)" : ""));
            cglfx fx;
            std::string text = windows ? crlf(c.description) : std::string(c.description);
            fx.parse(text);
            const glfxbuildlog::MappedLog m = glfxbuildlog::mapBuildLog(c.log, fx, c.preamble, "fx.glfx");
            EXPECT_EQ(m.pass, c.pass);
            EXPECT_EQ(m.vertex, c.vertex);
            EXPECT_EQ(m.lines, c.lines);
            EXPECT_EQ(m.text.substr(0, m.text.find('\n')), c.firstLine);
        }
    }
}

TEST(BuildLog, ReadsReferences)
{
    struct Ref {
        const char* line;
        bool found;
        int lineNo, column;
    };
    for (const Ref& r : std::vector<Ref>{{"0:12(7): error: x", true, 12, 7},
                                         {"  0:3(1): warning", true, 3, 1},
                                         {"0(44) : error C0000", true, 44, 0},
                                         {"0:12: error", false, 0, 0},
                                         {"0:12(7) error", false, 0, 0},
                                         {"error: 0:1(1):", false, 0, 0},
                                         {"", false, 0, 0}}) {
        SCOPED_TRACE(r.line);
        const glfxbuildlog::LogRef got = glfxbuildlog::readRef(r.line);
        EXPECT_EQ(got.found, r.found);
        if (r.found) {
            EXPECT_EQ(got.line, r.lineNo);
            EXPECT_EQ(got.column, r.column);
        }
    }
}

TEST(BuildLog, SourceLinesOfDefaultShadersPointNowhere)
{
    cglfx fx;
    std::string text = "[settings]\nname=Plain\n";
    fx.parse(text);
    ASSERT_FALSE(fx.vertexLines.empty());
    for (int line : fx.vertexLines)
        EXPECT_EQ(line, 0);
    const glfxbuildlog::MappedLog m = glfxbuildlog::mapBuildLog("0:2(1): error: e\n", fx, 1, "fx.glfx");
    EXPECT_EQ(m.text, "0:2(1): error: e\n");
}

} // namespace
