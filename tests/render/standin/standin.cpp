#include "gl/AE_GL_Context.h"
#include "gl/Defines.h"
#include "gl/Description.h"
#include "glfx/defines.h"

cglfx& glfxDescription()
{
    static cglfx fx;
    return fx;
}

std::string getDefines(EffectData* d)
{
    if (!d || !d->defines) return std::string();
    return definesText(*d->defines);
}

int AE_GL_Context::InitGL(std::string preamble, bool createTextures)
{
    builds.push_back(preamble);
    buildTextures.push_back(createTextures);
    initialised = true;
    ok = true;
    return 0;
}

bool AE_GL_Context::ProcessGL(EffectData*, int format, int type)
{
    processed.push_back({format, type});
    return true;
}
