#include "glfx/Strings.h"

#include "glfx/Scrambled.h"
#include "glfx/Text.h"

namespace {

GLFX_SCRAMBLED(kMarkerWord, "#USER_GLFX#");
GLFX_SCRAMBLED(kUserFileName, "glfx/user.glfx");
GLFX_SCRAMBLED(kDefinePrefix, "#define _");
GLFX_SCRAMBLED(kDefineFixedOn, "#define GLFX_PREVIEW");
GLFX_SCRAMBLED(kDefineFixedOff, "#define GLFX_DEBUG");
GLFX_SCRAMBLED(kDefineFast, "#define GLFX_FAST");
GLFX_SCRAMBLED(kOutOfMemory, "Not enough memory for the effect instance.");

GLFX_SCRAMBLED(kVertexShader, "void main()\n"
                              "{\n"
                              "    gl_TexCoord[0] = gl_MultiTexCoord0;\n"
                              "    gl_FrontColor = gl_Color;\n"
                              "    gl_Position = ftransform();\n"
                              "}\n");

GLFX_SCRAMBLED(kFragmentShader, "uniform sampler2D in0;\n"
                                "void main()\n"
                                "{\n"
                                "    gl_FragColor = texture2D(in0, gl_TexCoord[0].st);\n"
                                "}\n");

// The description key is never stored whole: three scrambled pieces are
// joined at run time.
GLFX_SCRAMBLED(kKeyPart1, "mV7#qe");
GLFX_SCRAMBLED(kKeyPart2, "Lk9!zT");
GLFX_SCRAMBLED(kKeyPart3, "w2$Rp~");

} // namespace

namespace glfxtext {

std::string markerWord() { return decodeString(kMarkerWord.str()); }
std::string userFileName() { return decodeString(kUserFileName.str()); }
std::string defaultVertexShader() { return decodeString(kVertexShader.str()); }
std::string defaultFragmentShader() { return decodeString(kFragmentShader.str()); }
std::string definePrefix() { return decodeString(kDefinePrefix.str()); }
std::string defineFixedOn() { return decodeString(kDefineFixedOn.str()); }
std::string defineFixedOff() { return decodeString(kDefineFixedOff.str()); }
std::string defineFast() { return decodeString(kDefineFast.str()); }
std::string outOfMemoryMessage() { return decodeString(kOutOfMemory.str()); }

std::string descriptionKey()
{
    return decodeString(kKeyPart1.str()) + decodeString(kKeyPart2.str()) + decodeString(kKeyPart3.str());
}

} // namespace glfxtext
