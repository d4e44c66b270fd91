#include "cli/EffectHost.h"

#include "cli/Commands.h"
#include "cli/EffectFile.h"
#include "glfx/Source.h"
#include "glfx/Text.h"

#include <CLI/CLI.hpp>

#include <sys/stat.h>

namespace glfxcli {

void addHostOptions(CLI::App* cmd, HostOptions& opts, bool withHost)
{
    cmd->add_option("--effect", opts.effect,
                    "Effect description file given to the plug-in in place of its built-in effect")
        ->check(CLI::ExistingFile);
    cmd->add_option("--plugin", opts.plugin,
                    "Plug-in library to load (default: glfxplugin.so beside the glfx executable)");
    if (withHost)
        cmd->add_option("--host", opts.host,
                        "Host to play: ae (After Effects: 8, 16 and 32-bit worlds, smart render) or "
                        "premiere (8-bit BGRA worlds, classic render)")
            ->check(CLI::IsMember({"ae", "premiere"}))
            ->capture_default_str();
}

glfxhost::HostMode hostMode(const HostOptions& opts)
{
    return opts.host == "premiere" ? glfxhost::HostMode::Premiere : glfxhost::HostMode::AfterEffects;
}

std::string pluginPath(const HostOptions& opts)
{
    return opts.plugin.empty() ? glfxhost::Plugin::defaultPath() : opts.plugin;
}

std::unique_ptr<glfxhost::Plugin> openPlugin(const HostOptions& opts)
{
    const std::string path = pluginPath(opts);
    struct stat st {};
    if (stat(path.c_str(), &st) != 0)
        throw CommandError("plug-in '" + path + "' not found" +
                           (opts.plugin.empty() ? " (build it, or name one with --plugin)" : ""));
    std::unique_ptr<glfxhost::Plugin> plugin;
    try {
        plugin = std::make_unique<glfxhost::Plugin>(path);
    } catch (const std::exception& e) {
        throw CommandError("cannot load plug-in '" + path + "': " + e.what());
    }
    if (!opts.effect.empty()) {
        std::string text = effectFileText(opts.effect);
        if (text.find('\0') != std::string::npos)
            throw CommandError("effect file '" + opts.effect +
                               "' holds a zero byte; it is not a description");
        parseDescription(text); // a description that cannot be read fails here, before any work
        try {
            plugin->setEffectText(std::move(text));
        } catch (const std::exception& e) {
            throw CommandError("plug-in '" + path + "' cannot take --effect: " + e.what());
        }
    }
    return plugin;
}

std::string pluginDescriptionText(const glfxhost::Plugin& plugin)
{
    return descriptionText(plugin.effectText());
}

std::unique_ptr<cglfx> parseDescription(std::string text)
{
    auto fx = std::make_unique<cglfx>();
    fx->parse(text);
    if (!fx->loadError.empty())
        throw CommandError(fx->loadError);
    return fx;
}

std::string errorName(PF_Err err)
{
    const char* name = nullptr;
    switch (err) {
    case PF_Err_NONE: name = "PF_Err_NONE"; break;
    case PF_Err_OUT_OF_MEMORY: name = "PF_Err_OUT_OF_MEMORY"; break;
    case PF_Err_INTERNAL_STRUCT_DAMAGED: name = "PF_Err_INTERNAL_STRUCT_DAMAGED"; break;
    case PF_Err_INVALID_INDEX: name = "PF_Err_INVALID_INDEX"; break;
    case PF_Err_UNRECOGNIZED_PARAM_TYPE: name = "PF_Err_UNRECOGNIZED_PARAM_TYPE"; break;
    case PF_Err_INVALID_CALLBACK: name = "PF_Err_INVALID_CALLBACK"; break;
    case PF_Err_BAD_CALLBACK_PARAM: name = "PF_Err_BAD_CALLBACK_PARAM"; break;
    default: break;
    }
    return name ? std::string(name) + " (" + std::to_string(err) + ")" : "error " + std::to_string(err);
}

std::string commandFailure(const glfxhost::Session& session, const std::string& what, PF_Err err)
{
    std::string msg = what + " failed with " + errorName(err);
    const auto& cmds = session.records().commands;
    if (!cmds.empty() && !cmds.back().returnMsg.empty()) {
        std::string text = cmds.back().returnMsg;
        for (char& c : text)
            if (c == '\r' || c == '\n')
                c = ' ';
        msg += ": " + text;
    }
    return msg;
}

} // namespace glfxcli
