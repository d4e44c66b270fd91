// glfx describe [--effect FILE]: the parsed description as JSON.
#include "cli/Commands.h"
#include "cli/DescribeJson.h"
#include "cli/EffectFile.h"
#include "cli/EffectHost.h"
#include "cli/HostParamsJson.h"

#include <CLI/CLI.hpp>

#include <iostream>
#include <memory>

namespace glfxcli {

void addDescribeCommand(CLI::App& app)
{
    auto effect = std::make_shared<std::string>();
    CLI::App* cmd = app.add_subcommand(
        "describe", "Print the parsed effect description (settings, parameters, routing, presets, "
                    "shader sources) and the host parameters the plug-in registers at parameter setup "
                    "(host_params) as one JSON object on standard output");
    cmd->add_option(
        "--effect", *effect,
        "Effect description file to describe (default: the built-in effect, deciphered from the plug-in)");
    auto host = std::make_shared<HostOptions>();
    addPluginOptions(cmd, *host);
    cmd->callback([effect, host]() {
        // The built-in effect is the one the plug-in embeds, deciphered as
        // the plug-in does at global setup.
        host->effect = *effect;
        const std::string text =
            effect->empty() ? pluginDescriptionText(*openPlugin(*host)) : effectFileText(*effect);
        const std::unique_ptr<cglfx> fx = parseDescription(text);
        DescribeJson json = describeDescription(*fx);
        addHostParams(json, *host);
        // Descriptions are byte strings (often Latin-1); bytes that are not
        // UTF-8 print as U+FFFD instead of failing the whole output.
        std::cout << json.dump(2, ' ', false, DescribeJson::error_handler_t::replace) << "\n";
    });
}

} // namespace glfxcli
