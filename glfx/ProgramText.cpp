#include "glfx/ProgramText.h"

#include "glfx/IsfPreamble.h"

#include <algorithm>

namespace glfxprogram {

namespace {

int lines(const std::string& s) { return static_cast<int>(std::count(s.begin(), s.end(), '\n')); }

bool isf(const cglfx& fx) { return fx.settings.dialect == glfxdialect::kIsf; }

} // namespace

std::string fragmentText(const cglfx& fx, int pass, const std::string& defines)
{
    const std::string& source = fx.passSource(pass);
    if (!isf(fx))
        return defines + source;
    return glfxisf::versionLine(source) + "\n" + defines + glfxisf::fragmentDeclarations(fx) +
           glfxisf::convertSource(source);
}

std::string vertexText(const cglfx& fx)
{
    if (!isf(fx))
        return fx.vertex;
    return glfxisf::versionLine(fx.vertex) + "\n" + glfxisf::vertexDeclarations(fx) +
           glfxisf::convertSource(fx.vertex) + glfxisf::vertexInitFunction(fx);
}

std::string fragmentSourceAsBuilt(const cglfx& fx, int pass)
{
    return isf(fx) ? glfxisf::convertSource(fx.passSource(pass)) : fx.passSource(pass);
}

std::string vertexSourceAsBuilt(const cglfx& fx)
{
    return isf(fx) ? glfxisf::convertSource(fx.vertex) : fx.vertex;
}

int fragmentOffset(const cglfx& fx, int defineLines)
{
    if (!isf(fx))
        return defineLines;
    return 1 + defineLines + lines(glfxisf::fragmentDeclarations(fx));
}

int vertexOffset(const cglfx& fx)
{
    if (!isf(fx))
        return 0;
    return 1 + lines(glfxisf::vertexDeclarations(fx));
}

} // namespace glfxprogram
