// What the host-driven subcommands (render, about, describe's host
// parameters) share: loading the plug-in, giving it a description file, the
// text the plug-in will parse, and readable names for its error codes.
#pragma once

#include "glfx/Cglfx.h"
#include "host/Host.h"

#include <memory>
#include <string>

namespace CLI {
class App;
}

namespace glfxcli {

struct HostOptions {
    std::string plugin;      // --plugin PATH; empty: glfxplugin.so beside glfx
    std::string effect;      // --effect FILE; empty: the plug-in's built-in effect
    std::string host = "ae"; // --host ae|premiere
};

// Adds --effect and --plugin (and --host when `withHost`) to a subcommand.
void addHostOptions(CLI::App* cmd, HostOptions& opts, bool withHost = true);

glfxhost::HostMode hostMode(const HostOptions& opts);

// The plug-in path the options name: --plugin, or the default beside the
// running executable.
std::string pluginPath(const HostOptions& opts);

// Loads the plug-in and, with --effect, points it at that file's text (an
// ISF shader as a bundle with its .vs). Throws CommandError naming the file
// on any failure, a description that cannot be read included.
std::unique_ptr<glfxhost::Plugin> openPlugin(const HostOptions& opts);

// The description the loaded plug-in will parse at global setup: its
// embedded text deciphered (or the file that text refers to), or the text
// given with --effect.
std::string pluginDescriptionText(const glfxhost::Plugin& plugin);

// Parses a description into a heap object (the model is large). Throws
// CommandError with the loader's "FILE:LINE: what" when it cannot be read.
std::unique_ptr<cglfx> parseDescription(std::string text);

// "PF_Err_INTERNAL_STRUCT_DAMAGED (512)" and the like.
std::string errorName(PF_Err err);

// Message of a failed command: its error name and the plug-in's return
// message when it left one.
std::string commandFailure(const glfxhost::Session& session, const std::string& what, PF_Err err);

} // namespace glfxcli
