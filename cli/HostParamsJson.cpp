#include "cli/HostParamsJson.h"

#include "cli/Commands.h"

#include <CLI/CLI.hpp>

#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <sys/stat.h>

namespace glfxcli {

namespace {

// A single-precision host field as the shortest decimal that reads back as
// the same float, so that 0.05f prints as 0.05 rather than 0.0500000007.
double shortest(float f)
{
    char buf[32];
    for (int precision = 6; precision <= 9; ++precision) {
        std::snprintf(buf, sizeof buf, "%.*g", precision, static_cast<double>(f));
        if (std::strtof(buf, nullptr) == f)
            break;
    }
    return std::strtod(buf, nullptr);
}

DescribeJson pixel(const PF_Pixel& p)
{
    return {{"alpha", p.alpha}, {"red", p.red}, {"green", p.green}, {"blue", p.blue}};
}

} // namespace

DescribeJson hostParamsJson(const glfxhost::Session& session, const cglfx& fx,
                            std::vector<std::string>& warnings)
{
    DescribeJson list = DescribeJson::array();
    for (const glfxhost::AddedParam& p : session.added()) {
        const PF_ParamDef& d = p.def;
        DescribeJson j;
        j["index"] = p.descIndex;
        j["id"] = d.uu.id;
        j["type"] = glfxhost::paramTypeName(d.param_type);
        j["name"] = p.name;
        j["ui_flags"] = d.ui_flags;
        j["flags"] = d.flags;
        switch (d.param_type) {
        case PF_Param_FLOAT_SLIDER: {
            const PF_FloatSliderDef& s = d.u.fs_d;
            j["value"] = s.value;
            j["dephault"] = shortest(s.dephault);
            j["valid_min"] = shortest(s.valid_min);
            j["valid_max"] = shortest(s.valid_max);
            j["slider_min"] = shortest(s.slider_min);
            j["slider_max"] = shortest(s.slider_max);
            j["precision"] = s.precision;
            j["display_flags"] = s.display_flags;
            j["fs_flags"] = s.fs_flags;
            j["curve_tolerance"] = shortest(s.curve_tolerance);
            break;
        }
        case PF_Param_CHECKBOX:
            j["value"] = d.u.bd.value;
            j["dephault"] = d.u.bd.dephault;
            j["nameptr"] = p.choices;
            break;
        case PF_Param_POPUP:
            j["value"] = d.u.pd.value;
            j["dephault"] = d.u.pd.dephault;
            j["num_choices"] = d.u.pd.num_choices;
            j["names"] = p.choices;
            break;
        case PF_Param_COLOR:
            j["value"] = pixel(d.u.cd.value);
            j["dephault"] = pixel(d.u.cd.dephault);
            break;
        case PF_Param_ANGLE:
            j["value"] = d.u.ad.value;
            j["dephault"] = d.u.ad.dephault;
            break;
        case PF_Param_POINT:
            j["x_value"] = d.u.td.x_value;
            j["y_value"] = d.u.td.y_value;
            j["x_dephault"] = d.u.td.x_dephault;
            j["y_dephault"] = d.u.td.y_dephault;
            j["restrict_bounds"] = d.u.td.restrict_bounds;
            break;
        case PF_Param_LAYER: j["dephault"] = d.u.ld.dephault; break;
        default: break;
        }
        // The host keeps 31 characters of a name; a longer display name
        // arrives cut.
        if (d.param_type != PF_Param_GROUP_END && p.descIndex >= 0 && p.descIndex < glfxlimits::kMaxParams) {
            const std::string& full = fx.par[p.descIndex].name;
            if (full.size() > p.name.size() && p.name.size() == glfxlimits::kMaxNameLength &&
                full.compare(0, p.name.size(), p.name) == 0) {
                j["name_truncated"] = true;
                j["full_name"] = full;
                warnings.push_back("parameter " + std::to_string(p.descIndex) + " name '" + full +
                                   "' was cut to " + std::to_string(glfxlimits::kMaxNameLength) +
                                   " characters by the host: '" + p.name + "'");
            }
        }
        list.push_back(std::move(j));
    }
    return list;
}

void addHostParams(DescribeJson& json, const HostOptions& opts)
{
    const std::string path = pluginPath(opts);
    struct stat st {};
    if (opts.plugin.empty() && stat(path.c_str(), &st) != 0) {
        std::cerr << "glfx: warning: no plug-in at '" << path
                  << "': host_params left null (build the plug-in or give --plugin)\n";
        json["host_params"] = nullptr;
        return;
    }
    std::unique_ptr<glfxhost::Plugin> plugin = openPlugin(opts);
    const std::unique_ptr<cglfx> fx = parseDescription(pluginDescriptionText(*plugin));
    std::vector<std::string> warnings;
    {
        glfxhost::Session session(*plugin, hostMode(opts));
        PF_Err err = session.globalSetup();
        if (err != PF_Err_NONE)
            throw CommandError(commandFailure(session, "global setup", err));
        err = session.paramsSetup();
        if (err != PF_Err_NONE)
            throw CommandError(commandFailure(session, "parameter setup", err));
        json["host_params"] = hostParamsJson(session, *fx, warnings);
    }
    for (const std::string& w : warnings)
        std::cerr << "glfx: warning: " << w << "\n";
}

void addPluginOptions(CLI::App* cmd, HostOptions& opts)
{
    cmd->add_option("--plugin", opts.plugin,
                    "Plug-in library that registers host_params (default: glfxplugin.so beside the glfx "
                    "executable; when that is missing, host_params is null)");
    cmd->add_option("--host", opts.host, "Host whose parameter setup fills host_params: ae or premiere")
        ->check(CLI::IsMember({"ae", "premiere"}))
        ->capture_default_str();
}

} // namespace glfxcli
