// glfx about: the effect's About text as the host shows it.
#include "cli/Commands.h"
#include "cli/EffectHost.h"

#include <CLI/CLI.hpp>

#include <iostream>
#include <memory>

namespace glfxcli {

void addAboutCommand(CLI::App& app)
{
    struct Options {
        HostOptions host;
        bool raw = false;
    };
    auto opts = std::make_shared<Options>();
    CLI::App* cmd = app.add_subcommand(
        "about",
        "Print the effect's About text as the host shows it: the plug-in's answer to the About command "
        "after global setup, with its carriage returns shown as line breaks. Under --host premiere the "
        "plug-in shows nothing and the output is empty.");
    addHostOptions(cmd, opts->host);
    cmd->add_flag("--raw", opts->raw,
                  "Print the text exactly as the plug-in returned it (carriage returns kept, no final "
                  "line break)");
    cmd->callback([opts]() {
        std::unique_ptr<glfxhost::Plugin> plugin = openPlugin(opts->host);
        std::string text;
        {
            glfxhost::Session session(*plugin, hostMode(opts->host));
            PF_Err err = session.globalSetup();
            if (err != PF_Err_NONE)
                throw CommandError(commandFailure(session, "global setup", err));
            err = session.about(text);
            if (err != PF_Err_NONE)
                throw CommandError(commandFailure(session, "the About command", err));
        }
        if (opts->raw) {
            std::cout << text;
            return;
        }
        if (text.empty())
            return;
        for (size_t i = 0; i < text.size(); ++i) {
            if (text[i] == '\r') {
                // "\r\n" is one break, a lone "\r" another.
                if (i + 1 < text.size() && text[i + 1] == '\n')
                    continue;
                text[i] = '\n';
            }
        }
        std::string out;
        out.reserve(text.size());
        for (char c : text)
            if (c != '\r')
                out += c;
        std::cout << out;
        if (out.back() != '\n')
            std::cout << '\n';
    });
}

} // namespace glfxcli
