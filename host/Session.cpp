// One effect instance driven through the host's command sequence.
#include "host/Session.h"

#include "host/AegpRefs.h"
#include "host/Broker.h"
#include "host/HandleStore.h"
#include "host/InteractCallbacks.h"
#include "host/SessionAccess.h"
#include "host/SessionRegistry.h"
#include "host/SmartRenderCallbacks.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <iostream>
#include <stdexcept>

namespace glfxhost {

// ---- Session -------------------------------------------------------------------

Session::Session(Plugin& plugin, HostMode mode) : plugin_(plugin), mode_(mode)
{
    registerSession(this);
    in_.inter.checkout_param = InteractCallbacks::checkoutParam;
    in_.inter.checkin_param = InteractCallbacks::checkinParam;
    in_.inter.add_param = InteractCallbacks::addParam;
    in_.inter.abort = InteractCallbacks::abortCheck;
    in_.inter.progress = InteractCallbacks::progress;
    utils_ = *utilCallbacks();
    in_.utils = &utils_;
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
    // The host counts in 1/10000 s, so that current time × 0.0001 (the
    // shaders' time) reads seconds; a frame lasts its duration rounded to
    // that unit.
    setTimeBase(kTimeUnitsPerSecond,
                static_cast<A_long>(std::max(1LL, std::llround(kTimeUnitsPerSecond / fps))));
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
    keep.limit = rec_.limit;
    rec_ = std::move(keep);
}

void Session::fillParamArray(std::vector<PF_ParamDef>& defs, std::vector<PF_ParamDef*>& ptrs, World* input)
{
    World* saved = input_;
    if (input)
        input_ = input;
    defs.assign(params_.size() + 1, PF_ParamDef{});
    for (size_t i = 0; i <= params_.size(); ++i) {
        SessionAccess::valueAt(*this, static_cast<int>(i), defs[i]);
        defs[i].uu.change_flags = PF_ChangeFlag_NONE;
    }
    input_ = saved;
    ptrs.resize(defs.size());
    for (size_t i = 0; i < defs.size(); ++i)
        ptrs[i] = &defs[i];
}

void Session::applyFaults()
{
    utils_ = *utilCallbacks();
    if (faults_.nullHandleCallbacks) {
        utils_.host_new_handle = nullptr;
        utils_.host_lock_handle = nullptr;
        utils_.host_unlock_handle = nullptr;
        utils_.host_dispose_handle = nullptr;
        utils_.host_get_handle_size = nullptr;
        utils_.host_resize_handle = nullptr;
    }
    if (faults_.nullAnsiStrcpy)
        utils_.ansi.strcpy = nullptr;
    in_.utils = &utils_;
}

PF_Err Session::call(PF_Cmd cmd, void* extra, PF_LayerDef* output, bool withParams)
{
    std::vector<PF_ParamDef> defs;
    std::vector<PF_ParamDef*> ptrs;
    if (withParams)
        fillParamArray(defs, ptrs, nullptr);

    applyFaults();
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
            SessionAccess::problem(*this, std::string("exception escaped the entry point: ") + e.what());
            err = PF_Err_INTERNAL_STRUCT_DAMAGED;
        } catch (...) {
            SessionAccess::problem(*this, "exception escaped the entry point");
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
        SessionAccess::problem(*this, "return_msg is not terminated");
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
            SessionAccess::problem(*this, "num_params is " + std::to_string(out.num_params) + " but " +
                                              std::to_string(added) +
                                              " parameters (the input included) were added");
    }
    if (cmd != PF_Cmd_ABOUT && !r.returnMsg.empty() && (out.out_flags & PF_OutFlag_DISPLAY_ERROR_MESSAGE))
        std::cerr << r.returnMsg << "\n";
    lastCommand_ = r;
    rec_.add(rec_.commands, std::move(r));

    // Values the effect changed in the parameter array during a user change.
    if (withParams && (cmd == PF_Cmd_USER_CHANGED_PARAM || cmd == PF_Cmd_UPDATE_PARAMS_UI)) {
        for (size_t i = 1; i < defs.size(); ++i) {
            if (!(defs[i].uu.change_flags & PF_ChangeFlag_CHANGED_VALUE))
                continue;
            AddedParam& p = params_[i - 1];
            if (defs[i].param_type != p.def.param_type) {
                SessionAccess::problem(*this, "parameter " + std::to_string(i) + " changed to another type");
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
    text = lastCommand_.returnMsg;
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
    // Closing the project sets the live instance down; the effect disposes of
    // its own handle then. The host never frees a sequence handle behind the
    // effect's back (a live record holds the effect's GPU context).
    PF_Err setdownErr = PF_Err_NONE;
    if (sequenceUp_)
        setdownErr = sequenceSetdown();
    sequenceData_ = nullptr;
    if (!flat_.empty()) {
        PF_Handle h = newHandle(flat_.size(), this);
        if (!h)
            return PF_Err_OUT_OF_MEMORY;
        std::memcpy(*h, flat_.data(), flat_.size());
        sequenceData_ = h;
    }
    PF_Err err = call(PF_Cmd_SEQUENCE_RESETUP, nullptr, nullptr, true);
    sequenceUp_ = true;
    return err ? err : setdownErr;
}

PF_Err Session::sequenceSetdown()
{
    PF_Err err = call(PF_Cmd_SEQUENCE_SETDOWN, nullptr, nullptr, true);
    if (sequenceData_) {
        SessionAccess::problem(*this, "sequence data left set after SEQUENCE_SETDOWN");
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
        SessionAccess::problem(*this, "global data not disposed of at GLOBAL_SETDOWN");
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
        PF_PreRenderCallbacks pcb{SmartRenderCallbacks::checkoutLayer, SmartRenderCallbacks::guidMixIn};
        PF_PreRenderExtra pre{&pin, &pout, &pcb};
        err = call(PF_Cmd_SMART_PRE_RENDER, &pre, nullptr, false);
        if (!err) {
            PF_SmartRenderInput sin{};
            sin.output_request = pin.output_request;
            sin.bitdepth = pin.bitdepth;
            sin.pre_render_data = pout.pre_render_data;
            PF_SmartRenderCallbacks scb{SmartRenderCallbacks::checkoutLayerPixels,
                                        SmartRenderCallbacks::checkinLayerPixels,
                                        SmartRenderCallbacks::checkoutOutput};
            PF_SmartRenderExtra sre{&sin, &scb};
            err = call(PF_Cmd_SMART_RENDER, &sre, nullptr, false);
        }
        if (pout.pre_render_data && pout.delete_pre_render_data_func)
            pout.delete_pre_render_data_func(pout.pre_render_data);
    }
    if (!outstanding_.empty()) {
        SessionAccess::problem(*this, std::to_string(outstanding_.size()) +
                                          " parameter(s) not checked in after the render");
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
