// The `host_params` part of glfx describe: the parameters the plug-in added
// at parameter setup, as the reference host recorded them.
#pragma once

#include "cli/EffectHost.h"

#include "cli/DescribeJson.h"

#include <string>
#include <vector>

namespace glfxcli {

// One object per add_param call, in order, with the host's field names and
// the values as the host stores them. A name the plug-in cut to the host's 31
// characters is marked with "name_truncated" and "full_name" (the
// description's display name), and a line for it is added to `warnings`.
DescribeJson hostParamsJson(const glfxhost::Session& session, const cglfx& fx,
                            std::vector<std::string>& warnings);

// Loads the plug-in named by `opts`, runs global and parameter setup in the
// chosen host and sets json["host_params"]. Without --plugin and with no
// plug-in built beside glfx, host_params is null and a warning is printed.
void addHostParams(DescribeJson& json, const HostOptions& opts);

// Adds --plugin and --host to a subcommand that has its own --effect.
void addPluginOptions(CLI::App* cmd, HostOptions& opts);

} // namespace glfxcli
