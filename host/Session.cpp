// One effect instance driven through the host's command sequence.
#include "host/HostInternal.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <iostream>
#include <stdexcept>

namespace glfxhost {

const char* hostModeName(HostMode mode) { return mode == HostMode::Premiere ? "premiere" : "ae"; }

const char* commandName(PF_Cmd cmd)
{
    static const char* const names[] = {"ABOUT",
                                        "GLOBAL_SETUP",
                                        "UNUSED_0",
                                        "GLOBAL_SETDOWN",
                                        "PARAMS_SETUP",
                                        "SEQUENCE_SETUP",
                                        "SEQUENCE_RESETUP",
                                        "SEQUENCE_FLATTEN",
                                        "SEQUENCE_SETDOWN",
                                        "DO_DIALOG",
                                        "FRAME_SETUP",
                                        "RENDER",
                                        "FRAME_SETDOWN",
                                        "USER_CHANGED_PARAM",
                                        "UPDATE_PARAMS_UI",
                                        "EVENT",
                                        "GET_EXTERNAL_DEPENDENCIES",
                                        "COMPLETELY_GENERAL",
                                        "QUERY_DYNAMIC_FLAGS",
                                        "AUDIO_RENDER",
                                        "AUDIO_SETUP",
                                        "AUDIO_SETDOWN",
                                        "ARBITRARY_CALLBACK",
                                        "SMART_PRE_RENDER",
                                        "SMART_RENDER"};
    if (cmd >= 0 && cmd < static_cast<PF_Cmd>(sizeof names / sizeof names[0]))
        return names[cmd];
    return "UNKNOWN";
}

const char* paramTypeName(PF_ParamType type)
{
    switch (type) {
    case PF_Param_LAYER: return "LAYER";
    case PF_Param_SLIDER: return "SLIDER";
    case PF_Param_FIX_SLIDER: return "FIX_SLIDER";
    case PF_Param_ANGLE: return "ANGLE";
    case PF_Param_CHECKBOX: return "CHECKBOX";
    case PF_Param_COLOR: return "COLOR";
    case PF_Param_POINT: return "POINT";
    case PF_Param_POPUP: return "POPUP";
    case PF_Param_CUSTOM: return "CUSTOM";
    case PF_Param_NO_DATA: return "NO_DATA";
    case PF_Param_FLOAT_SLIDER: return "FLOAT_SLIDER";
    case PF_Param_ARBITRARY_DATA: return "ARBITRARY_DATA";
    case PF_Param_PATH: return "PATH";
    case PF_Param_GROUP_START: return "GROUP_START";
    case PF_Param_GROUP_END: return "GROUP_END";
    case PF_Param_BUTTON: return "BUTTON";
    case PF_Param_POINT_3D: return "POINT_3D";
    default: return "UNKNOWN";
    }
}

// ---- Impl helpers ------------------------------------------------------------

Session* Session::Impl::fromRef(PF_ProgPtr ref)
{
    if (!ref || !isLiveSession(ref)) {
        noteProblem(currentSession(), "callback with an unknown effect_ref");
        return nullptr;
    }
    return static_cast<Session*>(ref);
}

void Session::Impl::problem(Session& s, const std::string& what)
{
    s.rec_.problems.push_back(std::string(commandName(s.currentCmd_)) + ": " + what);
}

void Session::Impl::recordSuite(Session& s, const char* name, bool acquired)
{
    if (acquired)
        ++s.rec_.suiteAcquires[name];
    else
        ++s.rec_.suiteReleases[name];
}

void Session::Impl::recordSuiteMiss(Session& s, const std::string& what)
{
    s.rec_.suiteMisses.push_back(what);
}

void Session::Impl::valueAt(Session& s, int index, PF_ParamDef& out)
{
    out = PF_ParamDef{};
    if (index == 0) {
        out.param_type = PF_Param_LAYER;
        out.u.ld = s.input_ ? *s.input_->def() : *s.emptyWorld_.def();
        return;
    }
    const AddedParam& p = s.params_[static_cast<size_t>(index - 1)];
    out = p.value;
    out.uu.id = p.def.uu.id;
    if (p.def.param_type == PF_Param_LAYER) {
        const World* w = p.layer;
        if (!p.layerSet && p.def.u.ld.dephault == PF_LayerDefault_MYSELF)
            w = s.input_;
        const A_long dephault = p.def.u.ld.dephault;
        out.u.ld = w ? *w->def() : *s.emptyWorld_.def();
        out.u.ld.dephault = dephault;
    }
}

// ---- interact callbacks -------------------------------------------------------

PF_Err Session::Impl::checkoutParam(PF_ProgPtr ref, PF_ParamIndex index, A_long what_time, A_long time_step,
                                    A_u_long time_scale, PF_ParamDef* param)
{
    Session* s = fromRef(ref);
    if (!s)
        return PF_Err_BAD_CALLBACK_PARAM;
    if (!param) {
        problem(*s, "checkout_param without a definition to fill");
        return PF_Err_BAD_CALLBACK_PARAM;
    }
    if (index < 0 || index > static_cast<PF_ParamIndex>(s->params_.size())) {
        problem(*s, "checkout_param of parameter " + std::to_string(index) + " that does not exist");
        return PF_Err_INVALID_INDEX;
    }
    if (time_scale == 0) {
        problem(*s, "checkout_param with a time scale of 0");
        return PF_Err_BAD_CALLBACK_PARAM;
    }
    s->rec_.paramCheckouts.push_back({index, what_time, time_step, time_scale, s->currentCmd_});
    valueAt(*s, index, *param);
    s->outstanding_.push_back(param);
    return PF_Err_NONE;
}

PF_Err Session::Impl::checkinParam(PF_ProgPtr ref, PF_ParamDef* param)
{
    Session* s = fromRef(ref);
    if (!s)
        return PF_Err_BAD_CALLBACK_PARAM;
    auto it = std::find(s->outstanding_.begin(), s->outstanding_.end(), param);
    if (it == s->outstanding_.end()) {
        problem(*s, "checkin_param of a definition that was not checked out");
        return PF_Err_BAD_CALLBACK_PARAM;
    }
    s->outstanding_.erase(it);
    ++s->rec_.paramCheckins;
    return PF_Err_NONE;
}

PF_Err Session::Impl::addParam(PF_ProgPtr ref, PF_ParamIndex index, PF_ParamDefPtr def)
{
    Session* s = fromRef(ref);
    if (!s)
        return PF_Err_BAD_CALLBACK_PARAM;
    if (s->currentCmd_ != PF_Cmd_PARAMS_SETUP) {
        problem(*s, "add_param outside PARAMS_SETUP");
        return PF_Err_INVALID_CALLBACK;
    }
    if (!def) {
        problem(*s, "add_param without a definition");
        return PF_Err_BAD_CALLBACK_PARAM;
    }
    const PF_ParamIndex next = static_cast<PF_ParamIndex>(s->params_.size() + 1);
    if (index != -1 && index != next) {
        problem(*s,
                "add_param at index " + std::to_string(index) + " (next is " + std::to_string(next) + ")");
        return PF_Err_INVALID_INDEX;
    }
    if (!std::memchr(def->name, 0, sizeof def->name)) {
        problem(*s, "add_param: name of parameter " + std::to_string(next) + " is not terminated within " +
                        std::to_string(sizeof def->name) + " bytes");
        return PF_Err_BAD_CALLBACK_PARAM;
    }
    switch (def->param_type) {
    case PF_Param_LAYER:
    case PF_Param_SLIDER:
    case PF_Param_FIX_SLIDER:
    case PF_Param_ANGLE:
    case PF_Param_CHECKBOX:
    case PF_Param_COLOR:
    case PF_Param_POINT:
    case PF_Param_POPUP:
    case PF_Param_FLOAT_SLIDER:
    case PF_Param_GROUP_START:
    case PF_Param_GROUP_END:
    case PF_Param_BUTTON:
    case PF_Param_POINT_3D:
    case PF_Param_NO_DATA: break;
    default:
        problem(*s, "add_param with unknown type " + std::to_string(def->param_type));
        return PF_Err_UNRECOGNIZED_PARAM_TYPE;
    }
    for (const AddedParam& p : s->params_)
        if (def->uu.id != 0 && p.def.uu.id == def->uu.id) {
            problem(*s, "add_param: id " + std::to_string(def->uu.id) + " used twice");
            return PF_Err_BAD_CALLBACK_PARAM;
        }
    if (def->param_type == PF_Param_POPUP) {
        const A_short n = def->u.pd.num_choices;
        if (n < 1 || def->u.pd.dephault < 1 || def->u.pd.dephault > n) {
            problem(*s, "add_param: popup " + std::to_string(next) + " default " +
                            std::to_string(def->u.pd.dephault) + " outside 1.." + std::to_string(n));
            return PF_Err_BAD_CALLBACK_PARAM;
        }
    }
    AddedParam p;
    p.hostIndex = next;
    p.descIndex = def->uu.id - 1;
    p.def = *def;
    p.name = def->name;
    if (def->param_type == PF_Param_POPUP && def->u.pd.u.namesptr)
        p.choices = def->u.pd.u.namesptr;
    if (def->param_type == PF_Param_CHECKBOX && def->u.bd.u.nameptr)
        p.choices = def->u.bd.u.nameptr;
    if (def->param_type == PF_Param_BUTTON && def->u.button_d.u.namesptr)
        p.choices = def->u.button_d.u.namesptr;
    p.value = p.def;
    if (def->param_type == PF_Param_POINT)
        p.pointInPercent = true;
    s->params_.push_back(std::move(p));
    // The copies of the texts moved with the vector: point every record at its own.
    for (AddedParam& q : s->params_) {
        const char* text = q.choices.empty() ? nullptr : q.choices.c_str();
        for (PF_ParamDef* d : {&q.def, &q.value}) {
            if (d->param_type == PF_Param_POPUP)
                d->u.pd.u.namesptr = text;
            if (d->param_type == PF_Param_CHECKBOX)
                d->u.bd.u.nameptr = text;
            if (d->param_type == PF_Param_BUTTON)
                d->u.button_d.u.namesptr = text;
        }
    }
    if (s->layerW_ > 0)
        s->convertPercentPoints();
    return PF_Err_NONE;
}

PF_Err Session::Impl::abortCheck(PF_ProgPtr ref)
{
    return fromRef(ref) ? PF_Err_NONE : PF_Err_BAD_CALLBACK_PARAM;
}

PF_Err Session::Impl::progress(PF_ProgPtr ref, A_long, A_long)
{
    return fromRef(ref) ? PF_Err_NONE : PF_Err_BAD_CALLBACK_PARAM;
}

// ---- smart render callbacks ---------------------------------------------------

PF_Err Session::Impl::checkoutLayer(PF_ProgPtr ref, PF_ParamIndex index, A_long checkout_id,
                                    const PF_RenderRequest* req, A_long what_time, A_long time_step,
                                    A_u_long time_scale, PF_CheckoutResult* result)
{
    Session* s = fromRef(ref);
    if (!s)
        return PF_Err_BAD_CALLBACK_PARAM;
    if (s->currentCmd_ != PF_Cmd_SMART_PRE_RENDER) {
        problem(*s, "checkout_layer outside SMART_PRE_RENDER");
        return PF_Err_INVALID_CALLBACK;
    }
    if (!req || !result) {
        problem(*s, "checkout_layer without a request or a result");
        return PF_Err_BAD_CALLBACK_PARAM;
    }
    if (index < 0 || index > static_cast<PF_ParamIndex>(s->params_.size()) ||
        (index > 0 && s->params_[static_cast<size_t>(index - 1)].def.param_type != PF_Param_LAYER)) {
        problem(*s, "checkout_layer of parameter " + std::to_string(index) + ", which is no layer");
        return PF_Err_INVALID_INDEX;
    }
    if (s->layerCheckoutIds_.count(checkout_id)) {
        problem(*s, "checkout_layer: checkout id " + std::to_string(checkout_id) + " used twice");
        return PF_Err_BAD_CALLBACK_PARAM;
    }
    s->rec_.layerCheckouts.push_back({index, checkout_id, what_time, time_step, time_scale});
    s->layerCheckoutIds_[checkout_id] = index;
    PF_ParamDef d{};
    valueAt(*s, index, d);
    *result = PF_CheckoutResult{};
    const A_long w = d.u.ld.data ? d.u.ld.width : 0, h = d.u.ld.data ? d.u.ld.height : 0;
    result->max_result_rect = {0, 0, w, h};
    result->result_rect = {std::max<A_long>(0, req->rect.left), std::max<A_long>(0, req->rect.top),
                           std::min(w, req->rect.right), std::min(h, req->rect.bottom)};
    if (result->result_rect.left >= result->result_rect.right ||
        result->result_rect.top >= result->result_rect.bottom)
        result->result_rect = {0, 0, 0, 0};
    result->par = {1, 1};
    result->ref_width = w;
    result->ref_height = h;
    return PF_Err_NONE;
}

PF_Err Session::Impl::guidMixIn(PF_ProgPtr ref, A_u_long, const void*)
{
    return fromRef(ref) ? PF_Err_NONE : PF_Err_BAD_CALLBACK_PARAM;
}

PF_Err Session::Impl::checkoutLayerPixels(PF_ProgPtr ref, A_long checkout_id, PF_EffectWorld** pixels)
{
    Session* s = fromRef(ref);
    if (!s)
        return PF_Err_BAD_CALLBACK_PARAM;
    if (!pixels)
        return PF_Err_BAD_CALLBACK_PARAM;
    *pixels = nullptr;
    if (s->currentCmd_ != PF_Cmd_SMART_RENDER) {
        problem(*s, "checkout_layer_pixels outside SMART_RENDER");
        return PF_Err_INVALID_CALLBACK;
    }
    auto it = s->layerCheckoutIds_.find(checkout_id);
    if (it == s->layerCheckoutIds_.end()) {
        problem(*s, "checkout_layer_pixels of id " + std::to_string(checkout_id) +
                        " not checked out at pre-render");
        return PF_Err_BAD_CALLBACK_PARAM;
    }
    PF_ParamDef d{};
    valueAt(*s, it->second, d);
    if (!d.u.ld.data)
        return PF_Err_NONE; // no layer chosen: no pixels
    s->pixelCopies_.push_back(std::make_unique<PF_LayerDef>(d.u.ld));
    *pixels = s->pixelCopies_.back().get();
    return PF_Err_NONE;
}

PF_Err Session::Impl::checkinLayerPixels(PF_ProgPtr ref, A_long checkout_id)
{
    Session* s = fromRef(ref);
    if (!s)
        return PF_Err_BAD_CALLBACK_PARAM;
    if (!s->layerCheckoutIds_.count(checkout_id)) {
        problem(*s, "checkin_layer_pixels of id " + std::to_string(checkout_id) + " not checked out");
        return PF_Err_BAD_CALLBACK_PARAM;
    }
    return PF_Err_NONE;
}

PF_Err Session::Impl::checkoutOutput(PF_ProgPtr ref, PF_EffectWorld** output)
{
    Session* s = fromRef(ref);
    if (!s || !output)
        return PF_Err_BAD_CALLBACK_PARAM;
    if (s->currentCmd_ != PF_Cmd_SMART_RENDER || !s->output_) {
        problem(*s, "checkout_output outside SMART_RENDER");
        *output = nullptr;
        return PF_Err_INVALID_CALLBACK;
    }
    *output = s->output_->def();
    return PF_Err_NONE;
}

// ---- Session -------------------------------------------------------------------

Session::Session(Plugin& plugin, HostMode mode) : plugin_(plugin), mode_(mode)
{
    registerSession(this);
    in_.inter.checkout_param = Impl::checkoutParam;
    in_.inter.checkin_param = Impl::checkinParam;
    in_.inter.add_param = Impl::addParam;
    in_.inter.abort = Impl::abortCheck;
    in_.inter.progress = Impl::progress;
    in_.utils = utilCallbacks();
    in_.effect_ref = this;
    in_.quality = PF_Quality_HI;
    in_.version = {PF_PLUG_IN_VERSION, PF_PLUG_IN_SUBVERS};
    in_.appl_id = applId();
    in_.field = PF_Field_FRAME;
    in_.downsample_x = {1, 1};
    in_.downsample_y = {1, 1};
    in_.pixel_aspect_ratio = {1, 1};
    in_.pica_basicP = basicSuite();
    setTimeBase(30000, 1000);
}

Session::~Session()
{
    // A host that closes the project or quits still sets the effect down.
    finish();
    disposeHandlesOf(this);
    releaseRefsOf(this);
    unregisterSession(this);
}

A_long Session::applId() const
{
    return mode_ == HostMode::Premiere ? PF_APPL_ID_PREMIERE : PF_APPL_ID_AFTER_FX;
}

void Session::setTimeBase(A_u_long timeScale, A_long timeStep)
{
    if (timeScale == 0 || timeStep <= 0)
        throw std::invalid_argument("time scale and time step must be positive");
    timeScale_ = timeScale;
    timeStep_ = timeStep;
    in_.time_scale = timeScale;
    in_.time_step = timeStep;
    in_.local_time_step = timeStep;
    in_.total_time = timeStep * 300; // a ten-second layer at 30 frames a second
}

void Session::setFrameRate(double fps)
{
    if (!(fps > 0.0) || fps > 1000.0)
        throw std::invalid_argument("frame rate must be in (0, 1000]");
    setTimeBase(static_cast<A_u_long>(std::llround(fps * 1000.0)), 1000);
}

A_long Session::timeAt(double seconds) const
{
    const double t = std::round(seconds * static_cast<double>(timeScale_));
    if (!(std::fabs(t) < 2147483647.0))
        throw std::invalid_argument("time out of range for this time scale");
    return static_cast<A_long>(t);
}

void Session::setLayerSize(int width, int height)
{
    if (width <= 0 || height <= 0)
        throw std::invalid_argument("layer size must be positive");
    layerW_ = width;
    layerH_ = height;
    in_.width = width;
    in_.height = height;
    in_.extent_hint = {0, 0, width, height};
    convertPercentPoints();
}

void Session::convertPercentPoints()
{
    for (AddedParam& p : params_) {
        if (p.def.param_type != PF_Param_POINT || !p.pointInPercent)
            continue;
        // The value is percent × 65536; pixels × 65536 = that × size / 100.
        auto conv = [](PF_Fixed v, int size) {
            return static_cast<PF_Fixed>(std::llround(static_cast<double>(v) * size / 100.0));
        };
        p.value.u.td.x_value = conv(p.value.u.td.x_value, layerW_);
        p.value.u.td.y_value = conv(p.value.u.td.y_value, layerH_);
        p.pointInPercent = false;
    }
}

size_t Session::sequenceDataSize() const
{
    return sequenceData_ && isLiveHandle(sequenceData_) ? static_cast<size_t>(handleSize(sequenceData_)) : 0;
}
int Session::liveHandles() const { return liveHandlesOf(this); }
int Session::liveMemHandles() const { return liveMemHandlesOf(this); }
int Session::liveEffectRefs() const { return liveEffectRefsOf(this); }
int Session::liveStreamRefs() const { return liveStreamRefsOf(this); }
int Session::outstandingCheckouts() const { return static_cast<int>(outstanding_.size()); }

void Session::clearRecords()
{
    Records keep;
    keep.version = rec_.version;
    keep.outFlags = rec_.outFlags;
    keep.outFlags2 = rec_.outFlags2;
    keep.numParams = rec_.numParams;
    keep.flatSize = rec_.flatSize;
    keep.formatClears = rec_.formatClears;
    keep.supportedFormats = rec_.supportedFormats;
    keep.registeredNames = rec_.registeredNames;
    rec_ = std::move(keep);
}

void Session::fillParamArray(std::vector<PF_ParamDef>& defs, std::vector<PF_ParamDef*>& ptrs, World* input)
{
    World* saved = input_;
    if (input)
        input_ = input;
    defs.assign(params_.size() + 1, PF_ParamDef{});
    for (size_t i = 0; i <= params_.size(); ++i) {
        Impl::valueAt(*this, static_cast<int>(i), defs[i]);
        defs[i].uu.change_flags = PF_ChangeFlag_NONE;
    }
    input_ = saved;
    ptrs.resize(defs.size());
    for (size_t i = 0; i < defs.size(); ++i)
        ptrs[i] = &defs[i];
}

PF_Err Session::call(PF_Cmd cmd, void* extra, PF_LayerDef* output, bool withParams)
{
    std::vector<PF_ParamDef> defs;
    std::vector<PF_ParamDef*> ptrs;
    if (withParams)
        fillParamArray(defs, ptrs, nullptr);

    in_.num_params = static_cast<A_long>(params_.size() + 1);
    in_.global_data = globalData_;
    in_.sequence_data = sequenceData_;
    PF_OutData out{};
    out.global_data = globalData_;
    out.sequence_data = sequenceData_;
    out.num_params = in_.num_params;
    out.flat_sdata_size = rec_.flatSize; // what the effect told before, unless it tells anew
    out.width = in_.width;
    out.height = in_.height;

    PF_Err err;
    {
        CurrentSessionScope scope(this);
        const PF_Cmd previous = currentCmd_;
        currentCmd_ = cmd;
        try {
            err = plugin_.entry()(cmd, &in_, &out, withParams ? ptrs.data() : nullptr, output, extra);
        } catch (const std::exception& e) {
            Impl::problem(*this, std::string("exception escaped the entry point: ") + e.what());
            err = PF_Err_INTERNAL_STRUCT_DAMAGED;
        } catch (...) {
            Impl::problem(*this, "exception escaped the entry point");
            err = PF_Err_INTERNAL_STRUCT_DAMAGED;
        }
        currentCmd_ = previous;
    }

    // Keep what the effect handed back, as the host does for later commands.
    if (out.global_data != globalData_)
        globalData_ = out.global_data;
    if (out.sequence_data != sequenceData_)
        sequenceData_ = out.sequence_data;
    if (cmd == PF_Cmd_SEQUENCE_SETUP || cmd == PF_Cmd_SEQUENCE_RESETUP || cmd == PF_Cmd_SEQUENCE_FLATTEN)
        rec_.flatSize = out.flat_sdata_size;

    CommandRecord r{cmd, err, out.out_flags, out.out_flags2, std::string()};
    if (std::memchr(out.return_msg, 0, sizeof out.return_msg))
        r.returnMsg = out.return_msg;
    else {
        r.returnMsg.assign(out.return_msg, sizeof out.return_msg);
        Impl::problem(*this, "return_msg is not terminated");
    }
    if (cmd == PF_Cmd_GLOBAL_SETUP) {
        rec_.version = out.my_version;
        rec_.outFlags = out.out_flags;
        rec_.outFlags2 = out.out_flags2;
    }
    if (cmd == PF_Cmd_PARAMS_SETUP) {
        rec_.numParams = out.num_params;
        const A_long added = static_cast<A_long>(params_.size() + 1);
        if (!err && out.num_params != added)
            Impl::problem(*this, "num_params is " + std::to_string(out.num_params) + " but " +
                                     std::to_string(added) + " parameters (the input included) were added");
    }
    if (cmd != PF_Cmd_ABOUT && !r.returnMsg.empty() && (out.out_flags & PF_OutFlag_DISPLAY_ERROR_MESSAGE))
        std::cerr << r.returnMsg << "\n";
    rec_.commands.push_back(r);

    // Values the effect changed in the parameter array during a user change.
    if (withParams && (cmd == PF_Cmd_USER_CHANGED_PARAM || cmd == PF_Cmd_UPDATE_PARAMS_UI)) {
        for (size_t i = 1; i < defs.size(); ++i) {
            if (!(defs[i].uu.change_flags & PF_ChangeFlag_CHANGED_VALUE))
                continue;
            AddedParam& p = params_[i - 1];
            if (defs[i].param_type != p.def.param_type) {
                Impl::problem(*this, "parameter " + std::to_string(i) + " changed to another type");
                continue;
            }
            if (p.def.param_type == PF_Param_LAYER)
                continue; // layers are chosen by the user only
            p.value.u = defs[i].u;
            if (p.def.param_type == PF_Param_POPUP)
                p.value.u.pd.u.namesptr = p.choices.empty() ? nullptr : p.choices.c_str();
            if (p.def.param_type == PF_Param_CHECKBOX)
                p.value.u.bd.u.nameptr = p.choices.empty() ? nullptr : p.choices.c_str();
            if (p.def.param_type == PF_Param_POINT)
                p.pointInPercent = false;
        }
    }
    return err;
}

PF_Err Session::globalSetup()
{
    PF_Err err = call(PF_Cmd_GLOBAL_SETUP, nullptr, nullptr, false);
    globalUp_ = true;
    return err;
}

PF_Err Session::paramsSetup()
{
    if (!params_.empty())
        throw std::logic_error("parameters were already set up in this session");
    return call(PF_Cmd_PARAMS_SETUP, nullptr, nullptr, true);
}

PF_Err Session::sequenceSetup()
{
    PF_Err err = call(PF_Cmd_SEQUENCE_SETUP, nullptr, nullptr, true);
    sequenceUp_ = true;
    return err;
}

PF_Err Session::updateParamsUI() { return call(PF_Cmd_UPDATE_PARAMS_UI, nullptr, nullptr, true); }

PF_Err Session::userChangedParam(int hostIndex)
{
    if (hostIndex < 1 || hostIndex > static_cast<int>(params_.size()))
        throw std::out_of_range("no parameter " + std::to_string(hostIndex));
    // The host tells the effect only of changes to the parameters it supervises.
    if (!(params_[static_cast<size_t>(hostIndex - 1)].def.flags & PF_ParamFlag_SUPERVISE))
        return PF_Err_NONE;
    PF_UserChangedParamExtra extra{hostIndex};
    return call(PF_Cmd_USER_CHANGED_PARAM, &extra, nullptr, true);
}

PF_Err Session::doDialog() { return call(PF_Cmd_DO_DIALOG, nullptr, nullptr, true); }

PF_Err Session::sendCommand(PF_Cmd cmd) { return call(cmd, nullptr, nullptr, true); }

PF_Err Session::about(std::string& text)
{
    PF_Err err = call(PF_Cmd_ABOUT, nullptr, nullptr, false);
    text = rec_.commands.back().returnMsg;
    return err;
}

PF_Err Session::flatten()
{
    PF_Err err = call(PF_Cmd_SEQUENCE_FLATTEN, nullptr, nullptr, true);
    if (err)
        return err;
    flat_.clear();
    if (sequenceData_ && isLiveHandle(sequenceData_)) {
        const size_t size = static_cast<size_t>(handleSize(sequenceData_));
        const auto* data = static_cast<const uint8_t*>(*sequenceData_);
        flat_.assign(data, data + size);
    }
    return err;
}

PF_Err Session::resetup()
{
    if (sequenceData_) {
        // The host lets go of the instance's live data when it reopens the saved
        // project; the handle is the host's memory, so the host frees it.
        if (isLiveHandle(sequenceData_))
            disposeHandle(sequenceData_);
        sequenceData_ = nullptr;
    }
    if (!flat_.empty()) {
        PF_Handle h = newHandle(flat_.size(), this);
        if (!h)
            return PF_Err_OUT_OF_MEMORY;
        std::memcpy(*h, flat_.data(), flat_.size());
        sequenceData_ = h;
    }
    PF_Err err = call(PF_Cmd_SEQUENCE_RESETUP, nullptr, nullptr, true);
    sequenceUp_ = true;
    return err;
}

PF_Err Session::sequenceSetdown()
{
    PF_Err err = call(PF_Cmd_SEQUENCE_SETDOWN, nullptr, nullptr, true);
    if (sequenceData_) {
        Impl::problem(*this, "sequence data left set after SEQUENCE_SETDOWN");
        sequenceData_ = nullptr; // the host drops it; a live handle shows up as a leak
    }
    sequenceUp_ = false;
    return err;
}

PF_Err Session::globalSetdown()
{
    PF_Handle old = globalData_;
    PF_Err err = call(PF_Cmd_GLOBAL_SETDOWN, nullptr, nullptr, false);
    if (old && isLiveHandle(old))
        Impl::problem(*this, "global data not disposed of at GLOBAL_SETDOWN");
    globalData_ = nullptr;
    globalUp_ = false;
    return err;
}

PF_Err Session::start()
{
    PF_Err err = globalSetup();
    if (!err)
        err = paramsSetup();
    if (!err)
        err = sequenceSetup();
    if (!err)
        err = updateParamsUI();
    return err;
}

PF_Err Session::finish()
{
    PF_Err err = PF_Err_NONE;
    if (sequenceUp_)
        err = sequenceSetdown();
    if (globalUp_) {
        PF_Err e2 = globalSetdown();
        if (!err)
            err = e2;
    }
    return err;
}

PF_Err Session::render(World& input, World& output, double seconds)
{
    if (input.empty() || output.empty())
        throw std::invalid_argument("render needs an input and an output world");
    if (input.depth() != output.depth())
        throw std::invalid_argument("input and output worlds differ in depth");
    if (isPremiere() && (input.depth() != 8 || !input.bgra() || !output.bgra()))
        throw std::invalid_argument("Premiere renders 8-bit BGRA worlds only");
    if (!isPremiere() && (input.bgra() || output.bgra()))
        throw std::invalid_argument("After Effects renders ARGB worlds (8, 16 or 32 bits)");
    if (layerW_ == 0)
        setLayerSize(input.width(), input.height());
    in_.current_time = timeAt(seconds);
    in_.width = input.width();
    in_.height = input.height();
    in_.extent_hint = {0, 0, output.width(), output.height()};
    in_.output_origin_x = 0;
    in_.output_origin_y = 0;
    layerCheckoutIds_.clear();
    pixelCopies_.clear();
    input_ = &input;
    output_ = &output;

    PF_Err err;
    if (isPremiere()) {
        err = call(PF_Cmd_RENDER, nullptr, output.def(), true);
    } else {
        PF_PreRenderInput pin{};
        pin.output_request.rect = {0, 0, output.width(), output.height()};
        pin.output_request.field = PF_Field_FRAME;
        pin.output_request.channel_mask = PF_ChannelMask_ARGB;
        pin.bitdepth = static_cast<short>(output.depth());
        PF_PreRenderOutput pout{};
        PF_PreRenderCallbacks pcb{Impl::checkoutLayer, Impl::guidMixIn};
        PF_PreRenderExtra pre{&pin, &pout, &pcb};
        err = call(PF_Cmd_SMART_PRE_RENDER, &pre, nullptr, false);
        if (!err) {
            PF_SmartRenderInput sin{};
            sin.output_request = pin.output_request;
            sin.bitdepth = pin.bitdepth;
            sin.pre_render_data = pout.pre_render_data;
            PF_SmartRenderCallbacks scb{Impl::checkoutLayerPixels, Impl::checkinLayerPixels,
                                        Impl::checkoutOutput};
            PF_SmartRenderExtra sre{&sin, &scb};
            err = call(PF_Cmd_SMART_RENDER, &sre, nullptr, false);
        }
        if (pout.pre_render_data && pout.delete_pre_render_data_func)
            pout.delete_pre_render_data_func(pout.pre_render_data);
    }
    if (!outstanding_.empty()) {
        Impl::problem(*this,
                      std::to_string(outstanding_.size()) + " parameter(s) not checked in after the render");
        outstanding_.clear();
    }
    input_ = nullptr;
    output_ = nullptr;
    layerCheckoutIds_.clear();
    pixelCopies_.clear();
    return err;
}

// ---- parameter values ----------------------------------------------------------

int Session::indexOfId(A_long id) const
{
    for (const AddedParam& p : params_)
        if (p.def.uu.id == id)
            return p.hostIndex;
    return -1;
}

const PF_ParamDef& Session::value(int hostIndex) const
{
    if (hostIndex < 1 || hostIndex > static_cast<int>(params_.size()))
        throw std::out_of_range("no parameter " + std::to_string(hostIndex));
    return params_[static_cast<size_t>(hostIndex - 1)].value;
}

AddedParam& Session::param(int hostIndex, PF_ParamType type)
{
    if (hostIndex < 1 || hostIndex > static_cast<int>(params_.size()))
        throw std::out_of_range("no parameter " + std::to_string(hostIndex));
    AddedParam& p = params_[static_cast<size_t>(hostIndex - 1)];
    if (p.def.param_type != type)
        throw std::invalid_argument("parameter " + std::to_string(hostIndex) + " (" + p.name + ") is a " +
                                    paramTypeName(p.def.param_type) + ", not a " + paramTypeName(type));
    return p;
}

void Session::setFloat(int hostIndex, double v)
{
    AddedParam& p = param(hostIndex, PF_Param_FLOAT_SLIDER);
    if (!std::isfinite(v))
        throw std::invalid_argument("slider value must be finite");
    // The host keeps a slider inside its valid range.
    const double lo = p.def.u.fs_d.valid_min, hi = p.def.u.fs_d.valid_max;
    if (lo <= hi)
        v = std::min(hi, std::max(lo, v));
    p.value.u.fs_d.value = v;
}

void Session::setCheckbox(int hostIndex, bool on)
{
    param(hostIndex, PF_Param_CHECKBOX).value.u.bd.value = on ? 1 : 0;
}

void Session::setPopup(int hostIndex, int oneBased)
{
    AddedParam& p = param(hostIndex, PF_Param_POPUP);
    if (oneBased < 1 || oneBased > p.def.u.pd.num_choices)
        throw std::invalid_argument("popup " + p.name + " has choices 1.." +
                                    std::to_string(p.def.u.pd.num_choices));
    p.value.u.pd.value = oneBased;
}

void Session::setColor(int hostIndex, PF_Pixel c) { param(hostIndex, PF_Param_COLOR).value.u.cd.value = c; }

void Session::setAngle(int hostIndex, double degrees)
{
    AddedParam& p = param(hostIndex, PF_Param_ANGLE);
    if (!(std::fabs(degrees) < 32767.0))
        throw std::invalid_argument("angle out of the 16.16 range");
    p.value.u.ad.value = static_cast<PF_Fixed>(std::llround(degrees * 65536.0));
}

void Session::setPoint(int hostIndex, double xPixels, double yPixels)
{
    AddedParam& p = param(hostIndex, PF_Param_POINT);
    if (!(std::fabs(xPixels) < 32767.0) || !(std::fabs(yPixels) < 32767.0))
        throw std::invalid_argument("point out of the 16.16 range");
    p.value.u.td.x_value = static_cast<PF_Fixed>(std::llround(xPixels * 65536.0));
    p.value.u.td.y_value = static_cast<PF_Fixed>(std::llround(yPixels * 65536.0));
    p.pointInPercent = false;
}

void Session::setLayer(int hostIndex, World* world)
{
    AddedParam& p = param(hostIndex, PF_Param_LAYER);
    if (world && world->empty())
        world = nullptr;
    p.layer = world;
    p.layerSet = true;
}

} // namespace glfxhost
