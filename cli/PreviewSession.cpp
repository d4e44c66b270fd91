#include "cli/PreviewSession.h"

#include "cli/Commands.h"
#include "cli/ParamText.h"

#include <algorithm>
#include <set>
#include <sstream>

namespace glfxcli {

const char* const kLayerInput = "input";
const char* const kLayerNone = "none";

namespace {

constexpr double kFixedOne = 65536.0; // 16.16 fixed point

std::string numberText(double v)
{
    std::ostringstream out;
    out.precision(17);
    out << v;
    return out.str();
}

} // namespace

void chooseLayer(glfxhost::Session& session, glfxhost::World& input, LayerChoices& layers, int hostIndex,
                 const std::string& label)
{
    glfxhost::World* world = nullptr;
    if (label == kLayerInput) {
        world = &input;
    } else if (label != kLayerNone) {
        for (auto& [name, image] : layers.images)
            if (name == label)
                world = image.get();
        if (!world)
            throw CommandError("no layer image '" + label + "' (give it with --layer)");
    }
    session.setLayer(hostIndex, world);
    layers.chosen[hostIndex] = label;
}

nlohmann::json currentValue(const glfxhost::Session& session, int hostIndex)
{
    const PF_ParamDef& v = session.value(hostIndex);
    switch (v.param_type) {
    case PF_Param_FLOAT_SLIDER: return v.u.fs_d.value;
    case PF_Param_CHECKBOX: return v.u.bd.value != 0;
    case PF_Param_POPUP: return v.u.pd.value;
    case PF_Param_ANGLE: return v.u.ad.value / kFixedOne;
    case PF_Param_POINT: return {v.u.td.x_value / kFixedOne, v.u.td.y_value / kFixedOne};
    case PF_Param_COLOR: {
        const PF_Pixel& c = v.u.cd.value;
        return {c.red / 255.0, c.green / 255.0, c.blue / 255.0};
    }
    default: return nullptr;
    }
}

std::unique_ptr<glfxhost::Session> startPreviewSession(glfxhost::Plugin& plugin, const HostOptions& host,
                                                       double fps, int width, int height)
{
    auto session = std::make_unique<glfxhost::Session>(plugin, hostMode(host));
    session->setFrameRate(fps);
    session->setRecordLimit(256);
    const PF_Err err = session->start();
    if (err != PF_Err_NONE)
        throw CommandError(commandFailure(*session, "setting up the effect", err));
    session->setLayerSize(width, height);
    return session;
}

std::string paramSignature(const cglfx& fx)
{
    std::ostringstream out;
    out << fx.settings.params << ' ' << fx.settings.layerCount << '\n';
    const int count = std::min(fx.settings.params, glfxlimits::kMaxParams);
    for (int i = 0; i < count; ++i) {
        const glfxpar& p = fx.par[i];
        out << p.type << ' ' << p.components << ' ' << p.visibility << ' ' << p.flags << ' ' << p.min << ' '
            << p.max;
        for (float d : p.def)
            out << ' ' << d;
        for (int g : p.group)
            out << ' ' << g;
        out << '\n' << p.name << '\n' << p.uniform << '\n' << p.itemtext << '\n';
        for (const std::string& n : p.names)
            out << n << '\n';
        out << p.defAlpha << ' ' << p.pointSpace << ' ' << p.rangeMin[0] << ' ' << p.rangeMin[1] << ' '
            << p.rangeMax[0] << ' ' << p.rangeMax[1];
        for (float v : p.itemValues)
            out << ' ' << v;
        out << '\n';
    }
    return out.str();
}

std::map<std::string, KeptValue> keepValues(const glfxhost::Session& session, const cglfx& fx,
                                            const LayerChoices& layers)
{
    std::map<std::string, KeptValue> kept;
    for (const glfxhost::AddedParam& p : session.added()) {
        if (p.descIndex < 0 || p.descIndex >= glfxlimits::kMaxParams)
            continue;
        const std::string& uniform = fx.par[p.descIndex].uniform;
        const int type = p.def.param_type;
        const nlohmann::json v = currentValue(session, p.hostIndex);
        std::string text;
        switch (type) {
        case PF_Param_FLOAT_SLIDER:
        case PF_Param_ANGLE: text = numberText(v.get<double>()); break;
        case PF_Param_CHECKBOX: text = v.get<bool>() ? "true" : "false"; break;
        case PF_Param_POPUP: {
            const std::vector<std::string> items = p.popupChoices();
            const int at = v.get<int>() - 1;
            if (at < 0 || at >= static_cast<int>(items.size()))
                continue;
            text = items[static_cast<std::size_t>(at)];
            break;
        }
        case PF_Param_POINT:
            text = numberText(v[0].get<double>()) + "," + numberText(v[1].get<double>());
            break;
        case PF_Param_COLOR:
            text = numberText(v[0].get<double>()) + "," + numberText(v[1].get<double>()) + "," +
                   numberText(v[2].get<double>());
            break;
        case PF_Param_LAYER: {
            const auto chosen = layers.chosen.find(p.hostIndex);
            text = chosen == layers.chosen.end() ? std::string(kLayerInput) : chosen->second;
            break;
        }
        default: continue;
        }
        kept[uniform] = {type, text};
    }
    return kept;
}

void restoreValues(glfxhost::Session& session, const cglfx& fx, const std::map<std::string, KeptValue>& kept,
                   glfxhost::World& input, LayerChoices& layers)
{
    layers.chosen.clear();
    std::vector<int> restored; // host indices given their kept value
    for (const glfxhost::AddedParam& p : session.added()) {
        if (p.descIndex < 0 || p.descIndex >= glfxlimits::kMaxParams)
            continue;
        const std::string& uniform = fx.par[p.descIndex].uniform;
        const auto k = kept.find(uniform);
        if (k == kept.end() || k->second.type != p.def.param_type)
            continue;
        try {
            if (p.def.param_type == PF_Param_LAYER)
                chooseLayer(session, input, layers, p.hostIndex, k->second.text);
            else
                applyValue(session, p.hostIndex, uniform, k->second.text, false);
            restored.push_back(p.hostIndex);
        } catch (const CommandError&) {
            // The new parameter does not take the old value: its default stays.
        }
    }
    // The values were set quietly; now the plug-in is told of the changes
    // it watches, in order, so that switches disable and hide what they
    // should, except those that choose presets (which would write their
    // values over the ones just carried).
    std::set<int> presetChoosers;
    for (const auto& entry : fx.settings.presets)
        presetChoosers.insert(entry.first.first);
    for (const int hostIndex : restored) {
        const glfxhost::AddedParam& p = session.added()[static_cast<std::size_t>(hostIndex - 1)];
        if (!(p.def.flags & PF_ParamFlag_SUPERVISE) || presetChoosers.count(p.descIndex))
            continue;
        const PF_Err err = session.userChangedParam(hostIndex);
        if (err != PF_Err_NONE)
            throw CommandError(
                commandFailure(session, "carrying the value of '" + fx.par[p.descIndex].uniform + "'", err));
    }
}

} // namespace glfxcli
