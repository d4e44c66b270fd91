/* One instance of an effect in one host, driven through the host's command
   sequence: global setup to global setdown.

   Threading: a Session is driven from one thread. The host callbacks find
   their session through effect_ref or, for callbacks without one (handles,
   suites, AEGP memory), through the session whose command is running on the
   calling thread. */
#pragma once

#include "host/AddedParam.h"
#include "host/HostFaults.h"
#include "host/HostMode.h"
#include "host/Names.h"
#include "host/Plugin.h"
#include "host/Records.h"
#include "host/World.h"
#include "sdk/AE_Effect.h"
#include "sdk/AE_EffectCB.h"
#include "sdk/AE_GeneralPlug.h"

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace glfxhost {

/* One instance of the effect in one host, from global setup to setdown. */
class Session {
public:
    Session(Plugin& plugin, HostMode mode);
    /* Sets the effect down (finish()) when that was not done, then disposes of
       what the plug-in left in host handles. */
    ~Session();
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;

    HostMode mode() const { return mode_; }
    bool isPremiere() const { return mode_ == HostMode::Premiere; }
    A_long applId() const;

    /* Time base: time_scale units a second and time_step units a frame.
       Default 30000 and 1000 (30 frames a second). setFrameRate(fps) sets
       time_scale = kTimeUnitsPerSecond (10000, so that the shaders' time,
       current time × 0.0001, reads seconds) and time_step = the frame
       duration rounded to that unit. */
    static constexpr A_u_long kTimeUnitsPerSecond = 10000;
    void setTimeBase(A_u_long timeScale, A_long timeStep);
    void setFrameRate(double fps);
    A_u_long timeScale() const { return timeScale_; }
    A_long timeStep() const { return timeStep_; }
    A_long timeAt(double seconds) const; // round(seconds × time_scale)

    /* Size of the effect's input layer. Point values still in percent (the
       defaults as added) become layer pixels now: percent / 100 × size. The
       first render sets it from its input when it was not set. */
    void setLayerSize(int width, int height);
    int layerWidth() const { return layerW_; }
    int layerHeight() const { return layerH_; }

    // ---- commands (each returns the plug-in's PF_Err) ----
    PF_Err globalSetup();
    PF_Err paramsSetup();
    PF_Err sequenceSetup();
    PF_Err updateParamsUI();
    /* The user changed parameter `hostIndex` (set it first with a setter):
       for a parameter added with PF_ParamFlag_SUPERVISE, sends
       USER_CHANGED_PARAM, then applies the values the plug-in wrote back with
       PF_ChangeFlag_CHANGED_VALUE; for any other parameter the effect is told
       nothing and PF_Err_NONE is returned. */
    PF_Err userChangedParam(int hostIndex);
    /* Renders one frame at `seconds` from `input` into `output` (same depth;
       8-bit BGRA for Premiere, else std::invalid_argument). */
    PF_Err render(World& input, World& output, double seconds = 0.0);
    PF_Err doDialog();
    /* ABOUT; `text` receives out_data->return_msg. */
    PF_Err about(std::string& text);
    /* SEQUENCE_FLATTEN; keeps a copy of the flat bytes as a saved project. */
    PF_Err flatten();
    /* The project saved and opened again: a live instance is set down first
       (SEQUENCE_SETDOWN, as when the project closes), then SEQUENCE_RESETUP
       gets a new handle holding the saved bytes (flatData(); no handle when
       there are none). The host never frees a sequence handle itself. */
    PF_Err resetup();
    PF_Err sequenceSetdown();
    PF_Err globalSetdown();
    /* Any selector with no extra record (for selectors the host never sends
       with data, e.g. FRAME_SETUP); the parameter array is passed. */
    PF_Err sendCommand(PF_Cmd cmd);

    /* globalSetup, paramsSetup, sequenceSetup, updateParamsUI in order,
       stopping at the first error. */
    PF_Err start();
    /* sequenceSetdown then globalSetdown, as far as they were set up. */
    PF_Err finish();

    // ---- parameters ----
    const std::vector<AddedParam>& added() const { return params_; }
    /* Host index of the parameter whose uu.id is `id`, or -1. */
    int indexOfId(A_long id) const;
    /* The current value record of a host index (1..added().size()); throws
       std::out_of_range. */
    const PF_ParamDef& value(int hostIndex) const;

    /* Setters by type; each throws std::out_of_range for a bad index and
       std::invalid_argument when the parameter has another type. */
    void setFloat(int hostIndex, double v);
    void setCheckbox(int hostIndex, bool on);
    void setPopup(int hostIndex, int oneBased); // 1..num_choices
    void setColor(int hostIndex, PF_Pixel c);
    void setAngle(int hostIndex, double degrees);                 // stored 16.16 fixed
    void setPoint(int hostIndex, double xPixels, double yPixels); // 16.16 layer pixels
    void setLayer(int hostIndex, World* world);                   // null: no layer

    // ---- state and records ----
    const Records& records() const { return rec_; }
    void clearRecords(); // keeps the set-up answers (version, flags) and the limit
    /* Entries each record list keeps (see RecordList); 0 records nothing but
       the totals. Applies from the next entry on. */
    void setRecordLimit(size_t entries) { rec_.limit = entries; }
    size_t recordLimit() const { return rec_.limit; }

    /* Host misbehaviour to play (see HostFaults); change it at any time. */
    HostFaults& faults() { return faults_; }
    const HostFaults& faults() const { return faults_; }
    const std::vector<uint8_t>& flatData() const { return flat_; }
    /* Replaces the saved project's bytes that the next resetup() hands to the
       effect: a project written by another build, or tampered with. */
    void setFlatData(std::vector<uint8_t> bytes) { flat_ = std::move(bytes); }
    bool hasGlobalData() const { return globalData_ != nullptr; }
    bool hasSequenceData() const { return sequenceData_ != nullptr; }
    size_t sequenceDataSize() const;
    /* Host handles allocated by this session and not yet disposed of. */
    int liveHandles() const;
    /* Worlds the effect got from the world suites and has not disposed of. */
    int liveWorlds() const { return static_cast<int>(createdWorlds_.size()); }
    /* AEGP memory handles, effect and stream references still held. */
    int liveMemHandles() const;
    int liveEffectRefs() const;
    int liveStreamRefs() const;
    /* Checked-out parameters not yet checked in. */
    int outstandingCheckouts() const;
    AEGP_PluginID registeredPluginId() const { return pluginId_; }
    const PF_InData& inData() const { return in_; }

private:
    // The callbacks the host hands the effect work on the session's state.
    friend struct SessionAccess;
    friend struct InteractCallbacks;
    friend struct SmartRenderCallbacks;
    friend struct SuiteCallbacks;

    PF_Err call(PF_Cmd cmd, void* extra, PF_LayerDef* output, bool withParams);
    void fillParamArray(std::vector<PF_ParamDef>& defs, std::vector<PF_ParamDef*>& ptrs, World* input);
    AddedParam& param(int hostIndex, PF_ParamType type);
    void applyFaults(); // utils_ from the host's callbacks and faults_
    void convertPercentPoints();

    Plugin& plugin_; // the caller's; outlives the session
    HostMode mode_;
    PF_InData in_{};           // handed to every command; utils points at utils_
    PF_UtilCallbacks utils_{}; // the host's callbacks with faults_ applied, refreshed each command
    HostFaults faults_;        // set by the caller
    A_u_long timeScale_ = 30000;
    A_long timeStep_ = 1000;
    int layerW_ = 0, layerH_ = 0;
    /* The effect's handles: created and disposed of by the effect through the
       host's handle callbacks; the session only keeps the latest it handed
       back, and disposes of what is left when it ends. */
    PF_Handle globalData_ = nullptr;
    PF_Handle sequenceData_ = nullptr;
    bool globalUp_ = false, sequenceUp_ = false;
    std::vector<uint8_t> flat_;              // the saved project's sequence bytes
    std::vector<AddedParam> params_;         // from parameter setup to the session's end
    World emptyWorld_;                       // what an unset layer shows
    World* input_ = nullptr;                 // the caller's, during a render only
    World* output_ = nullptr;                // the caller's, during a smart render only
    std::map<A_long, int> layerCheckoutIds_; // checkout id -> host index, during one render
    std::vector<PF_ParamDef*> outstanding_;  // the effect's checked-out records, until checked in
    PF_Cmd currentCmd_ = -1;
    AEGP_PluginID pluginId_ = 0;
    bool pluginRegistered_ = false;
    std::map<int, AEGP_DynStreamFlags> streamFlags_; // per param index
    std::map<const World*, std::unique_ptr<World>>
        createdWorlds_; // world suite worlds, until the effect disposes of them
    std::vector<std::unique_ptr<PF_LayerDef>> pixelCopies_; // handed out during one smart render
    Records rec_;
    CommandRecord lastCommand_{}; // the latest command's record, kept whatever the record limit
};

/* Host handles of all sessions not yet disposed of. */
int liveHandlesTotal();

} // namespace glfxhost
