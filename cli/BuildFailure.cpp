#include "cli/BuildFailure.h"

#include "cli/Commands.h"
#include "cli/EffectHost.h"
#include "glfx/BuildLog.h"

#include <algorithm>
#include <iostream>
#include <sstream>

namespace glfxcli {

std::string rebuildLog(glfxhost::Session& session)
{
    // The alert list keeps only its latest entries: new alerts are told by
    // the running total, and they are the list's last entries.
    const uint64_t before = session.records().alerts.total();
    std::ostringstream held;
    std::streambuf* const terminal = std::cerr.rdbuf(held.rdbuf());
    const PF_Err err = session.doDialog();
    std::cerr.rdbuf(terminal);
    if (err != PF_Err_NONE)
        throw CommandError(commandFailure(session, "rebuilding the effect's shaders", err));
    const auto& alerts = session.records().alerts;
    const std::size_t fresh = std::size_t(std::min<uint64_t>(alerts.total() - before, alerts.size()));
    std::string log;
    for (std::size_t i = alerts.size() - fresh; i < alerts.size(); ++i)
        log += alerts[i] + "\n";
    return log;
}

BuildFailure describeBuildFailure(const std::string& log, const cglfx& fx,
                                  const std::set<std::string>& preambleKeys, const std::string& effectPath)
{
    const std::size_t slash = effectPath.rfind('/');
    const std::string name = effectPath.empty()           ? "effect"
                             : slash == std::string::npos ? effectPath
                                                          : effectPath.substr(slash + 1);
    // An ISF effect's vertex shader is the .vs file beside its .fs.
    std::string vertexName;
    if (fx.settings.dialect == glfxdialect::kIsf && name.size() > 3 &&
        name.compare(name.size() - 3, 3, ".fs") == 0)
        vertexName = name.substr(0, name.size() - 3) + ".vs";
    const glfxbuildlog::MappedLog m =
        glfxbuildlog::mapBuildLog(log, fx, static_cast<int>(preambleKeys.size()), name, vertexName);
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
