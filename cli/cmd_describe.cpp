// glfx describe [--effect FILE]: the parsed description as JSON.
#include "cli/commands.h"
#include "cli/describe_json.h"
#include "cli/host_params_json.h"

#include <CLI/CLI.hpp>

#include <iostream>
#include <memory>

namespace glfxcli {

namespace {

#ifdef GLFX_BUILTIN_EFFECT
constexpr const char* kBuiltinEffect = GLFX_BUILTIN_EFFECT;
#else
constexpr const char* kBuiltinEffect = "effects/cinematic.glfx";
#endif

}  // namespace

void addDescribeCommand(CLI::App& app)
{
    auto effect = std::make_shared<std::string>();
    CLI::App* cmd = app.add_subcommand(
        "describe",
        "Print the parsed effect description (settings, parameters, routing, presets, "
        "shader sources) and the host parameters the plug-in registers at parameter setup "
        "(host_params) as one JSON object on standard output");
    cmd->add_option("--effect", *effect,
                    "Effect description file to describe (default: the built-in effect)");
    auto host = std::make_shared<HostOptions>();
    addPluginOptions(cmd, *host);
    cmd->callback([effect, host]() {
        const std::string path = effect->empty() ? std::string(kBuiltinEffect) : *effect;
        std::string text = readTextFile(path);
        auto fx = std::make_unique<cglfx>();  // large: keep it off the stack
        fx->parse(text);
        nlohmann::json json = describeDescription(*fx);
        host->effect = *effect;
        addHostParams(json, *host);
        std::cout << json.dump(2) << "\n";
    });
}

}  // namespace glfxcli
