#include "cli/DescribeJson.h"

#include <algorithm>

using json = DescribeJson;

namespace {

json settingsJson(const glfxsettings& s)
{
    return json{
        {"name", s.name},
        {"description", s.description},
        {"category", s.category},
        {"matchname", s.matchname},
        {"version", s.version},
        {"interp", s.interp},
        {"repeat", s.repeat},
        {"params", s.params},
        {"cellsx", s.cellsx},
        {"cellsy", s.cellsy},
        {"layers", s.layerCount},
        {"fast", s.fast},
        {"shaders", s.shaders},
        {"noinput", s.noinput},
        {"dialect", s.dialect == glfxdialect::kIsf ? "isf" : "glfx"},
        {"preroll", s.preroll},
    };
}

json paramJson(const glfxpar& p, int index)
{
    return json{
        {"index", index},
        {"type", p.type},
        {"components", p.components},
        {"visibility", p.visibility},
        {"name", p.name},
        {"names", json::array({p.names[0], p.names[1], p.names[2], p.names[3]})},
        {"uniform", p.uniform},
        {"default", json::array({double(p.def[0]), double(p.def[1]), double(p.def[2])})},
        {"min", double(p.min)},
        {"max", double(p.max)},
        {"itemtext", p.itemtext},
        {"items", p.items},
        {"groups", json::array({p.group[0], p.group[1], p.group[2], p.group[3], p.group[4]})},
        {"flags", p.flags},
        {"values", p.itemValues},
        {"alpha", double(p.defAlpha)},
        {"point_space", p.pointSpace == glfxpoint::kFrame   ? "frame"
                        : p.pointSpace == glfxpoint::kRange ? "range"
                                                            : "layer"},
        {"range", json::array({double(p.rangeMin[0]), double(p.rangeMin[1]), double(p.rangeMax[0]),
                               double(p.rangeMax[1])})},
    };
}

json passSpecJson(const cglfx& fx, int p)
{
    const glfxpass plain;
    const glfxpass& s = static_cast<std::size_t>(p) < fx.passes.size() ? fx.passes[p] : plain;
    json samplers = json::array();
    for (int k = 0; k < glfxlimits::kMaxInputs; ++k) {
        const bool named =
            static_cast<std::size_t>(p) < fx.samplerNames.size() && !fx.samplerNames[p][k].empty();
        samplers.push_back(named ? fx.samplerNames[p][k] : "in" + std::to_string(k));
    }
    return json{{"target", s.target},         {"width", s.width},       {"height", s.height},
                {"persistent", s.persistent}, {"float", s.floatTarget}, {"line", s.line},
                {"samplers", samplers}};
}

} // namespace

json describeDescription(const cglfx& fx)
{
    const glfxsettings& s = fx.settings;
    json out;
    out["settings"] = settingsJson(s);

    json params = json::array();
    const int paramCount = std::clamp(s.params, 0, glfxlimits::kMaxParams);
    for (int i = 0; i < paramCount; ++i)
        params.push_back(paramJson(fx.par[i], i));
    out["params"] = params;

    const int passes = std::clamp(s.shaders, 0, glfxlimits::kMaxPasses);
    json routing = json::array();
    json sources = json::array();
    for (int p = 0; p < passes; ++p) {
        routing.push_back(std::vector<int>(s.routing[p], s.routing[p] + glfxlimits::kMaxInputs));
        sources.push_back(fx.passSource(p));
    }
    out["routing"] = routing;
    json specs = json::array();
    for (int p = 0; p < passes; ++p)
        specs.push_back(passSpecJson(fx, p));
    out["pass_specs"] = specs;
    json images = json::array();
    for (const glfximport& i : fx.imports)
        images.push_back(json{{"name", i.name}, {"path", i.path}, {"line", i.line}});
    out["images"] = images;
    out["base_dir"] = fx.baseDir;

    json presets = json::array();
    for (const auto& [key, preset] : s.presets) {
        json values = json::array();
        for (const auto& [target, def] : preset.values)
            values.push_back(
                json{{"param", target}, {"value", {double(def.v[0]), double(def.v[1]), double(def.v[2])}}});
        presets.push_back(json{{"param", key.first}, {"number", key.second}, {"values", values}});
    }
    out["presets"] = presets;
    out["passes"] = sources;
    out["vertex"] = fx.vertex;
    return out;
}
