// A shader that does not build: glfx render names the failing pass and
// points each driver message at its line of the description file, through
// the preamble the plug-in puts in front of every pass (one line a
// definition), blank lines, "@@" blocks and CRLF line ends. Real driver, real
// plug-in.
#include "CliRun.h"
#include "tests/support/Crlf.h"

#include <gtest/gtest.h>

#include <string>

namespace {

using clitest::glfx;
using clitest::q;
using clitest::Scratch;

using testsupport::crlf;

TEST(BuildFailure, NamesThePassAndTheDescriptionLine)
{
    // Each description has one fault; `line` is the file line the driver's
    // message must end up on (counted by hand, see the numbers on the right).
    const struct {
        const char* what;
        std::string text;
        const char* headline;
        int line;
    } cases[] = {
        {"one pass, no definitions",
         "[ps0]\n"                                   // 1
         "void main()\n"                             // 2
         "{\n"                                       // 3
         "    gl_FragColor = vec4(1.0) * nothing;\n" // 4
         "}\n",
         "shader build failed in pass 0", 4},
        {"pass 1 after blank lines, with three definitions in the preamble",
         "[settings]\n"                                            // 1
         "name=Two\n"                                              // 2
         "fast=1\n"                                                // 3
         "[par1]\n"                                                // 4
         "param=grain\n"                                           // 5
         "type=check\n"                                            // 6
         "flags=1\n"                                               // 7
         "[ps0]\n"                                                 // 8
         "uniform sampler2D in0;\n"                                // 9
         "void main()\n"                                           // 10
         "{\n"                                                     // 11
         "    gl_FragColor = texture2D(in0, gl_TexCoord[0].st);\n" // 12
         "}\n"                                                     // 13
         "\n"                                                      // 14
         "[ps1]\n"                                                 // 15
         "uniform sampler2D in0;\n"                                // 16
         "\n"                                                      // 17
         "void main()\n"                                           // 18
         "{\n"                                                     // 19
         "    vec4 c = texture2D(in0, gl_TexCoord[0].st);\n"       // 20
         "    gl_FragColor = c * undefinedGain;\n"                 // 21
         "}\n",
         "shader build failed in pass 1", 21},
        {"inside an @@ block used by pass 1",
         "@@helper\n"                                  // 1
         "float helper(float x)\n"                     // 2
         "{\n"                                         // 3
         "    return x * missingScale;\n"              // 4
         "}\n"                                         // 5
         "@@\n"                                        // 6
         "[ps0]\n"                                     // 7
         "void main() { gl_FragColor = vec4(0.5); }\n" // 8
         "[ps1]\n"                                     // 9
         "@@helper\n"                                  // 10
         "void main()\n"                               // 11
         "{\n"                                         // 12
         "    gl_FragColor = vec4(helper(0.5));\n"     // 13
         "}\n",
         "shader build failed in pass 1", 4},
    };
    NEED_PLUGIN();
    for (const auto& c : cases) {
        for (const bool windows : {false, true}) {
            SCOPED_TRACE(std::string(c.what) + (windows ? " (CRLF)" : ""));
            Scratch s;
            const std::string fx = s.write("fault.glfx", windows ? crlf(c.text) : c.text);
            const clitest::Result r =
                glfx("render --effect " + q(fx) + " --size 8x8 -o " + q(s.path("out.png")));
            EXPECT_NE(r.status, 0);
            EXPECT_EQ(r.err.rfind(std::string("glfx: ") + c.headline + "\n", 0), 0u) << r.err;
            EXPECT_NE(r.err.find("    fault.glfx:" + std::to_string(c.line) + ":"), std::string::npos)
                << r.err;
        }
    }
}

} // namespace
