#include "cli/PreviewEffect.h"

#include "cli/BuildFailure.h"
#include "cli/Commands.h"
#include "cli/EffectFile.h"
#include "cli/HostParamsJson.h"
#include "cli/ParamText.h"
#include "cli/RenderPipeline.h"
#include "cli/RenderPlan.h"
#include "glfx/Lint.h"
#include "glfx/ParamDefines.h"
#include "media/ImageFile.h"
#include "media/Source.h"

#include <algorithm>
#include <map>
#include <vector>

namespace glfxcli {

namespace {

nlohmann::json lintJson(const std::string& text)
{
    nlohmann::json list = nlohmann::json::array();
    int errors = 0;
    for (const glfxlint::Diagnostic& d : glfxlint::lint(text)) {
        errors += d.severity == glfxlint::Severity::kError;
        list.push_back({{"line", d.line},
                        {"severity", glfxlint::severityName(d.severity)},
                        {"code", d.code},
                        {"message", d.message}});
    }
    return {{"errors", errors}, {"warnings", static_cast<int>(list.size()) - errors}, {"diagnostics", list}};
}

} // namespace

nlohmann::json setUpPreview(PreviewEffect& e, const PreviewOptions& opts)
{
    e.fps = opts.fps;
    e.plugin = openPlugin(opts.host);
    const std::string text = pluginDescriptionText(*e.plugin);
    e.fx = parseDescription(text);
    nlohmann::json diag = lintJson(text);
    std::unique_ptr<media::Source> source;
    if (opts.input.empty()) {
        parseSize(opts.size, e.width, e.height);
        source = media::openPattern(e.width, e.height);
    } else {
        source = media::openSource(opts.input);
    }
    e.width = source->info().width;
    e.height = source->info().height;
    // The Premiere host renders 8-bit BGRA worlds only.
    const bool premiere = opts.host.host == "premiere";
    if (premiere && opts.depth != media::kDepth8)
        throw CommandError("--host premiere renders 8-bit BGRA only; --depth " + std::to_string(opts.depth) +
                           " needs --host ae");
    e.input = std::make_unique<glfxhost::World>(e.width, e.height, opts.depth, premiere);
    e.output = std::make_unique<glfxhost::World>(e.width, e.height, opts.depth, premiere);
    media::FrameView view = viewOf(*e.input);
    double seconds = 0.0;
    if (source->info().video) {
        if (source->info().fps > 0.0)
            e.fps = source->info().fps;
        source.reset();
        e.video = std::make_unique<VideoFrames>(opts.input, opts.depth, premiere);
        e.video->frameAt(0.0, view);
    } else if (!source->read(&view, seconds)) {
        throw CommandError("'" + opts.input + "' has no frame");
    }
    e.session = startPreviewSession(*e.plugin, opts.host, e.fps, e.width, e.height);
    for (const std::string& arg : opts.layers) {
        const Assignment a = splitAssignment(arg, "--layer");
        const int hostIndex = findParam(*e.session, *e.fx, a.name);
        if (e.session->added()[static_cast<std::size_t>(hostIndex - 1)].def.param_type != PF_Param_LAYER)
            throw CommandError("--layer " + a.name + ": parameter '" + a.name + "' is not a layer");
        const media::ImageHeader h = media::readImageHeader(a.value);
        auto world = std::make_unique<glfxhost::World>(h.width, h.height, opts.depth, premiere);
        media::readImage(a.value, viewOf(*world));
        const std::size_t slash = a.value.rfind('/');
        const std::string label = slash == std::string::npos ? a.value : a.value.substr(slash + 1);
        e.layers.images.emplace_back(label, std::move(world));
        chooseLayer(*e.session, *e.input, e.layers, hostIndex, label);
    }
    e.defineKeys = preambleKeys(*e.fx);
    e.checkBuild = true;
    return diag;
}

nlohmann::json reloadPreview(PreviewEffect& e, const PreviewOptions& opts, std::string& buildLog)
{
    buildLog.clear();
    const std::string text = effectFileText(opts.host.effect);
    std::unique_ptr<cglfx> next = parseDescription(text);
    nlohmann::json diag = lintJson(text);
    e.plugin->setEffectText(text);
    if (paramSignature(*next) != paramSignature(*e.fx)) {
        // Parameters added, removed or changed: the host's list comes from
        // parameter setup, so a new instance takes over, with the values of
        // the parameters that stayed.
        const std::map<std::string, KeptValue> kept = keepValues(*e.session, *e.fx, e.layers);
        e.session.reset();
        e.fx = std::move(next);
        e.session = startPreviewSession(*e.plugin, opts.host, e.fps, e.width, e.height);
        restoreValues(*e.session, *e.fx, kept, *e.input, e.layers);
        e.defineKeys = preambleKeys(*e.fx);
        e.checkBuild = true; // the new instance builds on its first render
    } else {
        e.fx = std::move(next);
        const std::set<std::string> keys = preambleKeys(*e.fx);
        e.defineKeys.insert(keys.begin(), keys.end());
        buildLog = rebuildLog(*e.session);
    }
    return diag;
}

nlohmann::json panelParams(const PreviewEffect& e)
{
    std::vector<std::string> warnings;
    nlohmann::json params = hostParamsJson(*e.session, *e.fx, warnings);
    const glfxhost::Records& rec = e.session->records();
    for (std::size_t k = 0; k < params.size(); ++k) {
        const glfxhost::AddedParam& p = e.session->added()[k];
        nlohmann::json& j = params[k];
        j["host_index"] = p.hostIndex;
        if (p.descIndex >= 0 && p.descIndex < glfxlimits::kMaxParams)
            j["uniform"] = e.fx->par[p.descIndex].uniform;
        j["current"] = currentValue(*e.session, p.hostIndex);
        if (p.def.param_type == PF_Param_LAYER) {
            const auto chosen = e.layers.chosen.find(p.hostIndex);
            j["current"] = chosen != e.layers.chosen.end() ? chosen->second : std::string(kLayerInput);
        }
        const auto flags = rec.uiFlags.find(p.hostIndex);
        j["current_ui_flags"] = flags == rec.uiFlags.end() ? p.def.ui_flags : flags->second;
        const auto hidden = rec.hidden.find(p.hostIndex);
        j["hidden"] = hidden != rec.hidden.end() && hidden->second;
        const auto stream = rec.streamNames.find(p.hostIndex);
        j["stream_name"] = stream == rec.streamNames.end() ? p.name : stream->second;
    }
    return params;
}

} // namespace glfxcli
