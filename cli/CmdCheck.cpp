// glfx check [--effect FILE] [--json]: the diagnostics of a description,
// one line each ("FILE:LINE: severity: message [code]") or as JSON; exit
// status 1 when any is an error.
#include "cli/Commands.h"
#include "cli/EffectFile.h"
#include "cli/EffectHost.h"
#include "glfx/Lint.h"

#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <iostream>
#include <memory>

namespace glfxcli {

void addCheckCommand(CLI::App& app)
{
    struct Options {
        HostOptions host;
        bool json = false;
    };
    auto opts = std::make_shared<Options>();
    CLI::App* cmd = app.add_subcommand(
        "check", "Report what the parser accepts silently but an author would want to know (sections read "
                 "as others, dropped presets, unknown keys and types, uniforms nobody feeds, routing to "
                 "passes or layers that do not exist, ...), each with its line; exit status 1 when any "
                 "is an error");
    addHostOptions(cmd, opts->host, false);
    cmd->add_flag("--json", opts->json,
                  "Print one JSON object: {\"file\", \"errors\", \"warnings\", \"diagnostics\": [{\"line\", "
                  "\"severity\", \"code\", \"message\"}]}");
    cmd->callback([opts]() {
        const std::string& file = opts->host.effect;
        const std::string text =
            file.empty() ? pluginDescriptionText(*openPlugin(opts->host)) : effectFileText(file);
        const std::vector<glfxlint::Diagnostic> found = glfxlint::lint(text);
        const auto errors = std::count_if(found.begin(), found.end(), [](const glfxlint::Diagnostic& d) {
            return d.severity == glfxlint::Severity::kError;
        });
        const std::string where = file.empty() ? "(built-in)" : file;
        if (opts->json) {
            nlohmann::json list = nlohmann::json::array();
            for (const glfxlint::Diagnostic& d : found)
                list.push_back({{"line", d.line},
                                {"severity", glfxlint::severityName(d.severity)},
                                {"code", d.code},
                                {"message", d.message}});
            nlohmann::json out = {{"file", where},
                                  {"errors", errors},
                                  {"warnings", static_cast<long>(found.size()) - errors},
                                  {"diagnostics", list}};
            std::cout << out.dump(2, ' ', false, nlohmann::json::error_handler_t::replace) << "\n";
        } else {
            for (const glfxlint::Diagnostic& d : found)
                std::cout << where << ":" << d.line << ": " << glfxlint::severityName(d.severity) << ": "
                          << d.message << " [" << d.code << "]\n";
        }
        if (errors > 0)
            throw CommandError(where + ": " + std::to_string(errors) + " error(s)");
    });
}

} // namespace glfxcli
