#include "fuzz/session/Player.h"

#include "tests/support/GlCensus.h"

#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <set>
#include <stdexcept>

namespace sessionfuzz {
namespace {

using glfxhost::AddedParam;
using glfxhost::HostMode;
using glfxhost::Session;
using glfxhost::World;

// Bounds on one input's work (commands played, renders, renders larger than
// kSmallSide), so that an input costs tens of milliseconds: most of it is
// the driver creating an instance's context and compiling its programs.
constexpr int kMaxCommands = 48;
constexpr int kMaxRenders = 8;
constexpr int kMaxBigRenders = 1;
constexpr int kSmallSide = 24;
constexpr int kBigSide = 256;
// Worlds one instance keeps for its layer parameters (they must outlive the
// parameters that point at them, so they live as long as the instance).
constexpr std::size_t kMaxWorlds = 12;

const int kDepths[] = {8, 16, 32};
int depthIndex(int depth) { return depth == 8 ? 0 : depth == 16 ? 1 : 2; }
const double kFrameRates[] = {30.0, 24.0, 25.0, 29.97, 60.0, 1.0, 1000.0, 0.5};

// Selectors the effect does nothing with, sent without an extra record, and
// one past the last selector the host knows.
const PF_Cmd kOtherCommands[] = {PF_Cmd_UNUSED_0,
                                 PF_Cmd_FRAME_SETUP,
                                 PF_Cmd_FRAME_SETDOWN,
                                 PF_Cmd_EVENT,
                                 PF_Cmd_GET_EXTERNAL_DEPENDENCIES,
                                 PF_Cmd_COMPLETELY_GENERAL,
                                 PF_Cmd_QUERY_DYNAMIC_FLAGS,
                                 PF_Cmd_AUDIO_RENDER,
                                 PF_Cmd_AUDIO_SETUP,
                                 PF_Cmd_AUDIO_SETDOWN,
                                 PF_Cmd_ARBITRARY_CALLBACK,
                                 PF_Cmd_RESERVED1,
                                 PF_Cmd_GET_FLATTENED_SEQUENCE_DATA,
                                 PF_Cmd_TRANSLATE_PARAMS_TO_PREFS,
                                 PF_Cmd_GPU_DEVICE_SETDOWN,
                                 PF_Cmd_NUM_CMDS};

// The script's commands, in the order of their codes.
enum Command {
    kStart,
    kGlobalSetup,
    kParamsSetup,
    kSequenceSetup,
    kUpdateParamsUI,
    kRender,
    kRenderAgain,
    kUserChange,
    kSetLayer,
    kFlatten,
    kResetup,
    kTamperedResetup,
    kDoDialog,
    kAbout,
    kSequenceSetdown,
    kGlobalSetdown,
    kOtherCommand,
    kLayerSize,
    kFinish,
    kNewInstance,
    kCommands
};

const char* const kCommandNames[kCommands] = {
    "start",          "global-setup",     "params-setup", "sequence-setup", "update-params-ui",
    "render",         "render-again",     "user-change",  "set-layer",      "flatten",
    "resetup",        "tampered-resetup", "do-dialog",    "about",          "sequence-setdown",
    "global-setdown", "other-command",    "layer-size",   "finish",         "new-instance",
};

// A channel value from one byte: mostly 0..1; for float worlds also values
// out of range, and not-a-number.
float channel(std::uint8_t b, int depth)
{
    if (depth == 32 && b >= 0xF8)
        return b == 0xFF ? NAN : (b == 0xFE ? INFINITY : -2.5f);
    return depth == 32 ? (b - 32) / 160.0f : b / 255.0f;
}

} // namespace

struct Player::Instance {
    int slot = 0;
    HostMode mode = HostMode::AfterEffects;
    int depth = 8; // the project's depth: outputs and (normally) layers
    double fps = 30.0;
    std::unique_ptr<Session> session;
    std::vector<std::unique_ptr<World>> worlds; // layer worlds, see kMaxWorlds
    std::set<const World*> odd;                 // those of another format on purpose
    // Nothing was sent since the last flatten: the instance's record holds no
    // live object, so the host may let go of it (re-setup from saved bytes).
    bool flatClean = false;
};

Player::Player(glfxhost::Plugin& plugin, Bytes& input) : plugin_(plugin), in_(input)
{
    trace_ = std::getenv("GLFX_FUZZ_TRACE") != nullptr;
    if (const char* avoid = std::getenv("GLFX_FUZZ_AVOID"))
        avoid_ = std::string(",") + avoid + ",";

    const std::uint8_t setup = in_.byte();
    const std::uint8_t base = in_.byte();
    const int count = 1 + (setup & 3) % 3;
    for (int i = 0; i < count; ++i) {
        auto inst = std::make_unique<Instance>();
        inst->slot = i;
        inst->mode = (setup >> (2 + i)) & 1 ? HostMode::Premiere : HostMode::AfterEffects;
        inst->depth = inst->mode == HostMode::Premiere ? 8 : kDepths[(base + i) % 3];
        inst->session = std::make_unique<Session>(plugin_, inst->mode);
        inst->fps = kFrameRates[(base >> 2) % 8];
        inst->session->setFrameRate(inst->fps);
        instances_.push_back(std::move(inst));
    }
}

Player::~Player() = default;

void Player::fail(const std::string& message)
{
    std::fprintf(stderr, "fuzz_session: %s\n", message.c_str());
    std::fflush(stderr);
    std::abort();
}

void Player::trace(const char* what, const Instance& inst) const
{
    if (trace_)
        std::fprintf(stderr, "  [%d %s] %s\n", inst.slot, glfxhost::hostModeName(inst.mode), what);
}

void Player::checkSetdown(int droppedBefore)
{
    // Flatten leaves an instance's programs and textures to die with its
    // context; setdown deletes them first. Anything it leaves was lost by
    // the instance while it lived (or is not released by setdown).
    const int left = glcensus::dropped().objects() - droppedBefore;
    if (left != 0)
        fail("sequence setdown left " + std::to_string(left) + " GL object(s) to die with their context");
}

bool Player::avoided(const char* name) const
{
    return !avoid_.empty() && avoid_.find(std::string(",") + name + ",") != std::string::npos;
}

Player::Instance& Player::pickInstance()
{
    return *instances_[in_.pick(static_cast<int>(instances_.size()))];
}

void Player::play()
{
    for (int n = 0; n < kMaxCommands && !in_.done(); ++n) {
        const auto start = std::chrono::steady_clock::now();
        try {
            step();
            if (trace_)
                std::fprintf(
                    stderr, "    %.1f ms\n",
                    std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start)
                        .count());
        } catch (const std::logic_error& e) {
            // The host refused a request it would never make (a popup choice
            // out of range, parameters set up twice): not the effect's doing.
            if (trace_)
                std::fprintf(stderr, "  host refused: %s\n", e.what());
        }
    }
    for (auto& inst : instances_) {
        trace("finish", *inst);
        const int before = glcensus::dropped().objects();
        inst->session->finish();
        checkSetdown(before);
    }
    // Sessions go before their worlds (members destroyed after this).
    for (auto& inst : instances_)
        inst->session.reset();
}

void Player::step()
{
    const int code = in_.pick(kCommands);
    Instance& inst = pickInstance();
    const char* name = kCommandNames[code];
    Session& s = *inst.session;
    if (avoided(name))
        return;
    if ((code == kStart || code == kSequenceSetup) && s.hasSequenceData() && avoided("sequence-setup-twice"))
        return;
    trace(name, inst);
    const std::size_t sent = s.records().commands.size();
    const int dropped = glcensus::dropped().objects();
    // Whatever is sent besides a flatten may leave live objects in the
    // record (a re-setup looks at the flag first and clears it itself).
    if (code != kFlatten && code != kAbout && code != kLayerSize && code != kResetup &&
        code != kTamperedResetup)
        inst.flatClean = false;

    switch (code) {
    case kStart: s.start(); break;
    case kGlobalSetup: s.globalSetup(); break;
    case kParamsSetup: s.paramsSetup(); break;
    case kSequenceSetup: s.sequenceSetup(); break;
    case kUpdateParamsUI: s.updateParamsUI(); break;
    case kRender:
    case kRenderAgain: render(inst); break;
    case kUserChange: userChange(inst); break;
    case kSetLayer: setLayer(inst); break;
    case kFlatten: inst.flatClean = s.flatten() == PF_Err_NONE; break;
    case kResetup: resetup(inst, false); break;
    case kTamperedResetup: resetup(inst, true); break;
    case kDoDialog: s.doDialog(); break;
    case kAbout: {
        std::string text;
        s.about(text);
        break;
    }
    case kSequenceSetdown:
        s.sequenceSetdown();
        checkSetdown(dropped);
        break;
    case kGlobalSetdown: s.globalSetdown(); break;
    case kOtherCommand:
        s.sendCommand(kOtherCommands[in_.pick(sizeof kOtherCommands / sizeof kOtherCommands[0])]);
        break;
    case kLayerSize: s.setLayerSize(1 + in_.byte(), 1 + in_.byte()); break;
    case kFinish:
        s.finish();
        checkSetdown(dropped);
        break;
    case kNewInstance: {
        // The user deletes the effect and applies it again: the old session is
        // set down, a new one starts from nothing.
        s.finish();
        checkSetdown(dropped);
        inst.session.reset();
        inst.worlds.clear();
        inst.odd.clear();
        inst.session = std::make_unique<Session>(plugin_, inst.mode);
        inst.session->setFrameRate(inst.fps);
        return;
    }
    default: break;
    }
    if (trace_)
        for (std::size_t i = sent; i < s.records().commands.size(); ++i) {
            const glfxhost::CommandRecord& c = s.records().commands[i];
            std::fprintf(stderr, "    %s -> %d\n", glfxhost::commandName(c.cmd), static_cast<int>(c.err));
        }
}

World* Player::makeWorld(Instance& inst, int w, int h, int depth, bool bgra, std::uint8_t fill, bool odd)
{
    if (inst.worlds.size() >= kMaxWorlds) {
        // Full: one already made in the same format, else none.
        for (const auto& world : inst.worlds)
            if (world->depth() == depth && world->bgra() == bgra &&
                inst.odd.count(world.get()) == (odd ? 1u : 0u))
                return world.get();
        return nullptr;
    }
    auto world = std::make_unique<World>(w, h, depth, bgra, (fill & 2) ? 0 : World::kDefaultPadding);
    world->fill(channel(fill, depth), channel(fill * 7, depth), channel(fill * 13, depth),
                channel(~fill, depth));
    if (odd)
        inst.odd.insert(world.get());
    inst.worlds.push_back(std::move(world));
    return inst.worlds.back().get();
}

World* Player::newWorld(Instance& inst, bool otherFormat)
{
    const std::uint8_t w = in_.byte(), h = in_.byte(), fill = in_.byte();
    if (avoided("layer-of-another-format"))
        otherFormat = false;
    int depth = inst.depth;
    bool bgra = inst.mode == HostMode::Premiere;
    if (otherFormat) {
        // A layer of another depth than the output, or Premiere's order in an
        // After Effects session and the other way round: what no host hands
        // out, so the effect must check or at least not read past the world.
        if (bgra) {
            bgra = false;
            depth = kDepths[fill % 3];
        } else if (fill & 1) {
            bgra = depth == 8;
            depth = bgra ? 8 : kDepths[(depthIndex(depth) + 1 + (fill >> 1) % 2) % 3];
        } else {
            depth = kDepths[(depthIndex(depth) + 1 + (fill >> 1) % 2) % 3];
        }
    }
    return makeWorld(inst, 1 + w % kSmallSide, 1 + h % kSmallSide, depth, bgra, fill, otherFormat);
}

void Player::followDepth(Instance& inst)
{
    // The host hands layers out at the project's depth: a layer parameter
    // that points at a world of the old depth now sees one of the new depth
    // (a world of another format chosen on purpose stays).
    for (const AddedParam& p : inst.session->added()) {
        if (p.def.param_type != PF_Param_LAYER || !p.layer || inst.odd.count(p.layer))
            continue;
        if (p.layer->depth() == inst.depth)
            continue;
        World* world = makeWorld(inst, p.layer->width(), p.layer->height(), inst.depth, false,
                                 static_cast<std::uint8_t>(p.hostIndex * 37), false);
        inst.session->setLayer(p.hostIndex, world);
    }
}

void Player::render(Instance& inst)
{
    const std::uint8_t flags = in_.byte();
    const std::uint8_t w = in_.byte(), h = in_.byte(), fill = in_.byte();
    if (renders_ >= kMaxRenders)
        return;
    ++renders_;
    // Bit 0: a big frame (once an input); bit 1: the project changes depth;
    // bit 2: the output has another size than the input; bits 4..7: time.
    int side = kSmallSide;
    if ((flags & 1) && bigRenders_ < kMaxBigRenders) {
        ++bigRenders_;
        side = kBigSide;
    }
    if ((flags & 2) && inst.mode == HostMode::AfterEffects) {
        inst.depth = kDepths[(fill >> 4) % 3];
        followDepth(inst);
    }
    const bool bgra = inst.mode == HostMode::Premiere;
    const int inW = 1 + w % side, inH = 1 + h % side;
    const int outW = (flags & 4) ? 1 + (w * 7 + 3) % side : inW;
    const int outH = (flags & 4) ? 1 + (h * 5 + 1) % side : inH;
    World input(inW, inH, inst.depth, bgra);
    World output(outW, outH, inst.depth, bgra);
    input.fill(channel(fill, inst.depth), channel(fill ^ 0x5A, inst.depth), channel(fill * 3, inst.depth),
               channel(~fill, inst.depth));
    const double seconds = (flags >> 4) * 0.37;
    inst.session->render(input, output, seconds);
    if (!output.paddingIntact())
        fail("the render wrote into the output world's row padding");
    if (!input.paddingIntact())
        fail("the render wrote into the input world's row padding");
}

void Player::setLayer(Instance& inst)
{
    std::vector<int> layers;
    for (const AddedParam& p : inst.session->added())
        if (p.def.param_type == PF_Param_LAYER)
            layers.push_back(p.hostIndex);
    const std::uint8_t choice = in_.byte();
    if (layers.empty())
        return;
    const int index = layers[choice % layers.size()];
    // Bits 4..5 of the choice: 0 no layer, 3 a world of another format.
    const int kind = (choice >> 4) & 3;
    inst.session->setLayer(index, kind == 0 ? nullptr : newWorld(inst, kind == 3));
}

void Player::setValue(Instance& inst, const AddedParam& p)
{
    Session& s = *inst.session;
    const std::uint8_t a = in_.byte(), b = in_.byte(), c = in_.byte();
    switch (p.def.param_type) {
    case PF_Param_FLOAT_SLIDER: {
        // Across the valid range and a little past it (the host clamps), or
        // one of the ends exactly.
        const double lo = p.def.u.fs_d.valid_min, hi = p.def.u.fs_d.valid_max;
        double v = lo + (hi - lo) * ((a - 16) / 223.0);
        if (b == 0)
            v = lo;
        else if (b == 1)
            v = hi;
        s.setFloat(p.hostIndex, v);
        break;
    }
    case PF_Param_CHECKBOX: s.setCheckbox(p.hostIndex, a & 1); break;
    case PF_Param_POPUP:
        s.setPopup(p.hostIndex, 1 + (p.def.u.pd.num_choices > 0 ? a % p.def.u.pd.num_choices : 0));
        break;
    case PF_Param_COLOR: s.setColor(p.hostIndex, PF_Pixel{c, a, b, static_cast<A_u_char>(a ^ c)}); break;
    case PF_Param_ANGLE: s.setAngle(p.hostIndex, (static_cast<int>(a) - 128) * 7.5 + b / 256.0); break;
    case PF_Param_POINT:
        s.setPoint(p.hostIndex, (static_cast<int>(a) - 64) * 1.5, (static_cast<int>(b) - 64) * 1.5);
        break;
    case PF_Param_LAYER: {
        const int kind = (c >> 4) & 3;
        s.setLayer(p.hostIndex, kind == 0 ? nullptr : newWorld(inst, kind == 3));
        break;
    }
    default: break; // groups carry no value
    }
}

void Player::userChange(Instance& inst)
{
    Session& s = *inst.session;
    const std::uint8_t which = in_.byte();
    if (s.added().empty())
        return;
    const AddedParam& p = s.added()[which % s.added().size()];
    setValue(inst, p);
    s.userChangedParam(p.hostIndex);
}

void Player::resetup(Instance& inst, bool tamper)
{
    Session& s = *inst.session;
    if (tamper) {
        // Bits 0..1: flip bytes, cut short, grow, or bytes from nowhere.
        const std::uint8_t how = in_.byte(), n = in_.byte(), seed = in_.byte();
        std::vector<std::uint8_t> bytes = s.flatData();
        std::uint32_t r = 0x9E3779B9u * (seed + 1u);
        auto next = [&r]() {
            r ^= r << 13;
            r ^= r >> 17;
            r ^= r << 5;
            return r;
        };
        switch (how & 3) {
        case 0:
            for (int i = 0; i < n % 16 + 1 && !bytes.empty(); ++i)
                bytes[next() % bytes.size()] = static_cast<std::uint8_t>(next());
            break;
        case 1: bytes.resize(bytes.size() * n / 256); break;
        case 2: bytes.resize(bytes.size() + n, static_cast<std::uint8_t>(seed)); break;
        default:
            bytes.assign(static_cast<std::size_t>(n) * 8, 0);
            for (auto& v : bytes)
                v = static_cast<std::uint8_t>(next());
            break;
        }
        s.setFlatData(std::move(bytes));
    }
    // A host lets go of an instance's record only when it holds nothing
    // live (the project was saved just before): flatten first otherwise.
    if (s.hasSequenceData() && !inst.flatClean) {
        trace("flatten (before resetup)", inst);
        const std::vector<std::uint8_t> keep = s.flatData();
        if (s.flatten() != PF_Err_NONE)
            return;
        if (tamper)
            s.setFlatData(keep);
    }
    inst.flatClean = false;
    s.resetup();
}

} // namespace sessionfuzz
