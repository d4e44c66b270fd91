/* The reference host: loads an effect plug-in (a shared library exporting
   EntryPointFunc) and plays the compositing host's side of every command for
   real: the command records, the parameter array and its values, worlds with
   padded rows, checkouts, handles and the suites the effect acquires by name.
   Everything the effect does through the host is recorded so that callers
   (tests, the glfx command) can look at it afterwards.

   Threading: a Session is driven from one thread. The host callbacks find
   their session through effect_ref or, for callbacks without one (handles,
   suites, AEGP memory), through the session whose command is running on the
   calling thread. */
#pragma once

#include "sdk/AE_Effect.h"
#include "sdk/AE_EffectCB.h"
#include "sdk/AE_GeneralPlug.h"
#include "sdk/PrSDKPixelFormat.h"

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace glfxhost {

/* Which host the session plays. AfterEffects: appl_id 'FXTC', worlds of 8,
   16 or 32 bits, smart pre-render then smart render. Premiere: appl_id
   'PrMr', 8-bit BGRA worlds only, the classic render command. */
enum class HostMode { AfterEffects, Premiere };

const char* hostModeName(HostMode mode);

/* Name of a command selector ("GLOBAL_SETUP", ...), "UNKNOWN" otherwise. */
const char* commandName(PF_Cmd cmd);

/* Name of a parameter type without its prefix ("FLOAT_SLIDER", "POPUP", ...),
   "UNKNOWN" for other values. */
const char* paramTypeName(PF_ParamType type);

/* ---- Plug-in ----------------------------------------------------------- */

/* A loaded plug-in library. Loading uses RTLD_NOW | RTLD_LOCAL; failures
   throw std::runtime_error with the loader's message. */
class Plugin {
public:
    explicit Plugin(const std::string& path);
    ~Plugin();
    Plugin(const Plugin&) = delete;
    Plugin& operator=(const Plugin&) = delete;

    /* glfxplugin.so beside the running executable (from /proc/self/exe), or in
       `dir` when one is given. The file need not exist. */
    static std::string defaultPath(const std::string& dir = std::string());

    const std::string& path() const { return path_; }
    PF_CmdFuncPtr entry() const { return entry_; }

    /* Whether the library exports the description pointer _GLFX_CODE. */
    bool hasEffectTextSymbol() const { return code_ != nullptr; }

    /* Points the plug-in's _GLFX_CODE at an owned copy of `text`; the plug-in
       reads it at its next global setup as a plain description. Throws
       std::runtime_error when the library has no _GLFX_CODE. */
    void setEffectText(std::string text);

    /* The text _GLFX_CODE points at now (null when there is no symbol or it
       points nowhere). */
    const char* effectText() const;

private:
    std::string path_;
    void* lib_ = nullptr;
    PF_CmdFuncPtr entry_ = nullptr;
    const char** code_ = nullptr;
    const char* originalCode_ = nullptr;
    std::unique_ptr<std::string> text_;
};

/* ---- Worlds ------------------------------------------------------------ */

/* An image buffer the host owns, with its PF_LayerDef. Rows are `rowbytes`
   apart: width × pixel size plus a padding (16 bytes unless told otherwise),
   so an effect that assumes packed rows goes wrong visibly. Depth 8
   (PF_Pixel, 0..255), 16 (PF_Pixel16, 0..32768) or 32 (PF_PixelFloat).
   Memory order alpha, red, green, blue; an 8-bit world may instead be in
   Premiere's blue, green, red, alpha order. A default-constructed World is
   empty: data null, size 0 × 0 (what an unset layer parameter shows). */
class World {
public:
    static constexpr int kDefaultPadding = 16;

    World();
    /* Throws std::invalid_argument for a bad size or depth, a BGRA world that
       is not 8-bit, or a padding that is negative or not a whole number of
       channels. Pixels start transparent black. */
    World(int width, int height, int depth, bool bgra = false, int padding = kDefaultPadding);
    World(World&& other) noexcept;
    World& operator=(World&& other) noexcept;
    World(const World&) = delete;
    World& operator=(const World&) = delete;
    ~World();

    bool empty() const { return def_.data == nullptr; }
    int width() const { return def_.width; }
    int height() const { return def_.height; }
    int depth() const { return depth_; }
    bool bgra() const { return bgra_; }
    int rowbytes() const { return def_.rowbytes; }
    /* Bytes of one pixel: 4, 8 or 16. */
    int pixelSize() const;

    PF_LayerDef* def() { return &def_; }
    const PF_LayerDef* def() const { return &def_; }

    /* The code PF_GetPixelFormat of the world suite answers: ARGB32, ARGB64 or
       ARGB128 (an 8-bit BGRA world also answers ARGB32, as Premiere does; its
       real layout is told by premierePixelFormat). */
    PF_PixelFormat pixelFormat() const;
    /* The code of the pixel format suite: PrPixelFormat_BGRA_4444_8u for a
       BGRA world, the world suite's code otherwise. */
    PrPixelFormat premierePixelFormat() const;

    uint8_t* row(int y);
    const uint8_t* row(int y) const;

    /* One pixel as normalised red, green, blue, alpha (8-bit / 255, 16-bit /
       32768, float as stored). Out-of-range coordinates throw
       std::out_of_range. Writing rounds to the nearest step and clamps
       integer depths to their range; floats are stored as given. */
    void getPixel(int x, int y, float rgba[4]) const;
    void setPixel(int x, int y, const float rgba[4]);

    /* The whole image as packed normalised RGBA floats, top row first, and
       back (the vector must hold width × height × 4 floats, else
       std::invalid_argument). */
    std::vector<float> toRGBA() const;
    void fromRGBA(const std::vector<float>& rgba);
    void fill(float r, float g, float b, float a);

    /* The padding bytes after each row are set to this value at creation; a
       caller can check they were not written (see paddingIntact). */
    static constexpr uint8_t kPaddingByte = 0xA5;
    bool paddingIntact() const;

private:
    void reset();
    PF_LayerDef def_{};
    int depth_ = 8;
    bool bgra_ = false;
    uint8_t* storage_ = nullptr;
};

/* ---- Parameters -------------------------------------------------------- */

/* One add_param call of the plug-in and the host's current value of it. */
struct AddedParam {
    int hostIndex = 0;           // position in the host's parameter array (1..)
    int descIndex = 0;           // the effect's own index: uu.id - 1
    PF_ParamDef def{};           // as added (pointers redirected to the copies below)
    std::string name;            // def.name as the plug-in wrote it
    std::string choices;         // popup names / checkbox label text, when given
    PF_ParamDef value{};         // current value record (the host's units)
    World* layer = nullptr;      // layer parameters: the world chosen, or none
    bool layerSet = false;       // setLayer was called; before that a default of
                                 // PF_LayerDefault_MYSELF shows the effect's input
    bool pointInPercent = false; // point value still in percent (no layer size yet)
};

/* ---- Records ----------------------------------------------------------- */

struct CommandRecord {
    PF_Cmd cmd;
    PF_Err err;
    PF_OutFlags outFlags;
    PF_OutFlags2 outFlags2;
    std::string returnMsg;
};

struct ParamCheckout {
    PF_ParamIndex index;
    A_long time;
    A_long timeStep;
    A_u_long timeScale;
    PF_Cmd during; // command that was running
};

struct LayerCheckout {
    PF_ParamIndex index;
    A_long checkoutId;
    A_long time;
    A_long timeStep;
    A_u_long timeScale;
};

struct UIUpdate {
    PF_ParamIndex index;
    PF_ParamUIFlags uiFlags;
    std::string name;
};

struct StreamFlagSet {
    PF_ParamIndex index;
    AEGP_DynStreamFlags flag;
    bool set;
};

struct StreamRename {
    PF_ParamIndex index;
    std::string name;
};

struct Records {
    std::vector<CommandRecord> commands;
    // Global setup answers.
    A_u_long version = 0;
    PF_OutFlags outFlags = 0;
    PF_OutFlags2 outFlags2 = 0;
    A_long numParams = -1; // out_data->num_params of PARAMS_SETUP
    A_long flatSize = 0;   // out_data->flat_sdata_size last reported
    // Pixel format suite.
    int formatClears = 0;
    std::vector<PrPixelFormat> supportedFormats;
    // AEGP.
    std::vector<std::string> registeredNames; // AEGP_RegisterWithAEGP names
    std::vector<std::string> scripts;         // every AEGP_ExecuteScript text
    std::vector<std::string> alerts;          // message texts of alert() calls
    std::vector<StreamFlagSet> streamFlagSets;
    std::map<int, bool> hidden; // last HIDDEN state per index
    std::vector<StreamRename> streamRenames;
    std::map<int, std::string> streamNames; // last name per index
    // Param utils.
    std::vector<UIUpdate> uiUpdates;
    std::map<int, PF_ParamUIFlags> uiFlags; // last ui_flags per index
    // Checkouts.
    std::vector<ParamCheckout> paramCheckouts;
    std::vector<LayerCheckout> layerCheckouts;
    int paramCheckins = 0;
    // Suites: name -> number of AcquireSuite successes / ReleaseSuite calls.
    std::map<std::string, int> suiteAcquires;
    std::map<std::string, int> suiteReleases;
    std::vector<std::string> suiteMisses; // "name v<version>" not offered
    // Callback misuse seen (bad handle, bad index, unterminated name, ...).
    std::vector<std::string> problems;
};

/* ---- Session ----------------------------------------------------------- */

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
       time_scale = round(fps × 1000) and time_step = 1000. */
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
    /* SEQUENCE_RESETUP with a new handle holding the flat bytes (as a project
       being opened); the old sequence handle is disposed of first. */
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
    void clearRecords(); // keeps the set-up answers (version, flags)
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

    struct Impl; // callback glue, defined in the implementation

private:
    friend struct Impl;
    PF_Err call(PF_Cmd cmd, void* extra, PF_LayerDef* output, bool withParams);
    void fillParamArray(std::vector<PF_ParamDef>& defs, std::vector<PF_ParamDef*>& ptrs, World* input);
    AddedParam& param(int hostIndex, PF_ParamType type);
    void convertPercentPoints();

    Plugin& plugin_;
    HostMode mode_;
    PF_InData in_{};
    A_u_long timeScale_ = 30000;
    A_long timeStep_ = 1000;
    int layerW_ = 0, layerH_ = 0;
    PF_Handle globalData_ = nullptr;
    PF_Handle sequenceData_ = nullptr;
    bool globalUp_ = false, sequenceUp_ = false;
    std::vector<uint8_t> flat_;
    std::vector<AddedParam> params_;
    World emptyWorld_;
    World* input_ = nullptr;                 // during a render
    World* output_ = nullptr;                // during a smart render
    std::map<A_long, int> layerCheckoutIds_; // checkout id -> host index (smart render)
    std::vector<PF_ParamDef*> outstanding_;
    PF_Cmd currentCmd_ = -1;
    AEGP_PluginID pluginId_ = 0;
    bool pluginRegistered_ = false;
    std::map<int, AEGP_DynStreamFlags> streamFlags_;               // per param index
    std::map<const World*, std::unique_ptr<World>> createdWorlds_; // world suite worlds
    std::vector<std::unique_ptr<PF_LayerDef>> pixelCopies_;        // handed out at smart render
    Records rec_;
};

/* Host handles of all sessions not yet disposed of. */
int liveHandlesTotal();

} // namespace glfxhost
