#include "cli/build_failure.h"

#include "glfx/buildlog.h"

namespace glfxcli {

BuildFailure describeBuildFailure(const std::string& log, const cglfx& fx,
                                  const std::set<std::string>& preambleKeys, const std::string& effectPath)
{
    const std::size_t slash = effectPath.rfind('/');
    const std::string name = effectPath.empty()           ? "effect"
                             : slash == std::string::npos ? effectPath
                                                          : effectPath.substr(slash + 1);
    const glfxbuildlog::MappedLog m =
        glfxbuildlog::mapBuildLog(log, fx, static_cast<int>(preambleKeys.size()), name);
    BuildFailure f;
    f.pass = m.pass;
    f.vertex = m.vertex;
    f.lines = m.lines;
    f.log = m.text;
    f.headline = "shader build failed";
    if (m.pass >= 0)
        f.headline += (m.vertex ? " in the vertex shader of pass " : " in pass ") + std::to_string(m.pass);
    return f;
}

} // namespace glfxcli
