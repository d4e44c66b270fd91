// glfx frei0r: writes one self-contained frei0r module file for one effect:
// the prebuilt module template followed by the plug-in library and the
// effect description, which the module reads from its own file when a host
// loads it. No compiler is needed.
#include "cli/Commands.h"
#include "cli/EffectFile.h"
#include "cli/EffectHost.h"
#include "frei0r/Payload.h"
#include "glfx/Source.h"

#include <CLI/CLI.hpp>

#include <cctype>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iostream>
#include <memory>

#include <sys/stat.h>

namespace glfxcli {

namespace {

constexpr char kTemplateName[] = "glfxfrei0r.so";
constexpr char kInstallDir[] = "/.frei0r-1/lib"; // under $HOME: where ffmpeg and MLT look
constexpr mode_t kModuleMode = 0755;

std::string besideExecutable(const std::string& name)
{
    const std::string plugin = glfxhost::Plugin::defaultPath();
    const size_t slash = plugin.rfind('/');
    return (slash == std::string::npos ? std::string() : plugin.substr(0, slash + 1)) + name;
}

// "dir/NAME.so" -> "NAME".
std::string moduleName(const std::string& path)
{
    const size_t slash = path.rfind('/');
    std::string base = slash == std::string::npos ? path : path.substr(slash + 1);
    if (base.size() > 3 && base.compare(base.size() - 3, 3, ".so") == 0)
        base.resize(base.size() - 3);
    return base;
}

// A module name made of an effect's display name: lower case letters,
// digits and underscores.
std::string nameFromEffect(const std::string& text)
{
    auto fx = parseDescription(text);
    std::string name;
    for (char c : fx->settings.name) {
        const auto u = static_cast<unsigned char>(c);
        name += std::isalnum(u) ? static_cast<char>(std::tolower(u)) : '_';
    }
    return name.empty() ? "glfx_effect" : name;
}

void writeModule(const std::string& out, const std::string& templateBytes, const glfxfrei0r::Payload& payload)
{
    const std::string bytes = glfxfrei0r::appendPayload(templateBytes, payload);
    const std::string tmp = out + ".tmp";
    {
        std::ofstream f(tmp, std::ios::binary | std::ios::trunc);
        if (!f)
            throw CommandError("cannot write '" + out + "': " + std::strerror(errno));
        f.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
        f.close();
        if (!f) {
            std::remove(tmp.c_str());
            throw CommandError("cannot write '" + out + "'");
        }
    }
    if (chmod(tmp.c_str(), kModuleMode) != 0 || std::rename(tmp.c_str(), out.c_str()) != 0) {
        const std::string why = std::strerror(errno);
        std::remove(tmp.c_str());
        throw CommandError("cannot write '" + out + "': " + why);
    }
}

} // namespace

void addFrei0rCommand(CLI::App& app)
{
    struct Options {
        std::vector<std::string> effects;
        std::string plugin, templ, output;
        bool install = false;
    };
    auto o = std::make_shared<Options>();
    CLI::App* cmd = app.add_subcommand(
        "frei0r",
        "Write a frei0r module (NAME.so) for one effect, for ffmpeg (-vf frei0r=NAME), MLT (frei0r.NAME) "
        "and GStreamer (frei0r-filter-NAME). The module carries its own copy of the plug-in and the "
        "description; no compiler is needed.");
    cmd->add_option("--effect", o->effects,
                    "Effect description file (default: the plug-in's built-in effect); with --install, "
                    "repeatable")
        ->check(CLI::ExistingFile);
    cmd->add_option("--plugin", o->plugin,
                    "Plug-in library to carry (default: glfxplugin.so beside the glfx executable)");
    cmd->add_option("--template", o->templ,
                    "Module template (default: glfxfrei0r.so beside the glfx executable)");
    cmd->add_option("-o,--output", o->output,
                    "Module file to write, DIR/NAME.so; NAME is the effect's name "
                    "in the hosts");
    cmd->add_flag("--install", o->install,
                  "Write modules for the built-in effect and the given ones into ~/.frei0r-1/lib/, named "
                  "after each effect");
    cmd->callback([o]() {
        if (o->output.empty() == !o->install)
            throw CommandError("frei0r: give either -o DIR/NAME.so or --install");
        if (!o->output.empty() && o->effects.size() > 1)
            throw CommandError("frei0r: -o writes one module; give one --effect");
        const std::string templPath = o->templ.empty() ? besideExecutable(kTemplateName) : o->templ;
        const std::string templ = readTextFile(templPath);
        HostOptions host;
        host.plugin = o->plugin;
        const std::string pluginFile = pluginPath(host);
        glfxfrei0r::Payload payload;
        payload.plugin = readTextFile(pluginFile);

        std::vector<std::string> effects = o->effects;
        if (o->install || effects.empty())
            effects.insert(effects.begin(), std::string()); // the built-in effect
        std::string dir;
        if (o->install) {
            const char* home = std::getenv("HOME");
            if (!home || !*home)
                throw CommandError("frei0r: HOME is not set; cannot find ~/.frei0r-1/lib");
            dir = std::string(home) + kInstallDir;
            const std::string parent = dir.substr(0, dir.rfind('/'));
            mkdir(parent.c_str(), 0755);
            mkdir(dir.c_str(), 0755);
        }
        for (const std::string& effect : effects) {
            if (!o->install && effects.size() > 1 && effect.empty())
                continue;
            std::string text;
            if (effect.empty()) {
                payload.description.clear();
                auto plugin = openPlugin(host);
                text = pluginDescriptionText(*plugin);
            } else {
                payload.description = effectFileText(effect);
                if (payload.description.find('\0') != std::string::npos)
                    throw CommandError("effect file '" + effect +
                                       "' holds a zero byte; it is not a description");
                text = payload.description;
                parseDescription(text); // a description that cannot be read gives no module
            }
            const std::string out = o->install ? dir + "/" + nameFromEffect(text) + ".so" : o->output;
            payload.name = moduleName(out);
            writeModule(out, templ, payload);
            if (o->install)
                std::cout << out << "\n";
        }
    });
}

} // namespace glfxcli
