#include "frei0r/Instance.h"

extern "C" {
#include <frei0r.h>
}

#include "media/Frame.h"

#include <cstring>

namespace glfxfrei0r {

namespace {

// The session's frame rate: the time step only; times reach the effect in
// seconds whatever it is (glfx render uses the same default).
constexpr double kFramesPerSecond = 30.0;
constexpr int kWorldDepth = 8;
// Times past this (a day) or below zero are not a frame's time: hosts pass
// them for frames without a timestamp (ffmpeg's "no value" scaled).
constexpr double kMaxSeconds = 86400.0;

// frei0r RGBA8888 is bytes red, green, blue, alpha; a world's 8-bit pixels
// are alpha, red, green, blue. Read as little-endian words, the world's
// pixel is the frei0r pixel rotated left by 8 bits (and back by 24): one
// rotate a pixel, which the compiler vectorises.
static_assert(__BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__, "pixels are moved as little-endian words");

inline uint32_t rotl(uint32_t v, int n) { return (v << n) | (v >> (32 - n)); }

void toWorld(const uint32_t* src, glfxhost::World& w)
{
    const size_t width = static_cast<size_t>(w.width());
    for (int y = 0; y < w.height(); ++y, src += width) {
        uint8_t* d = w.row(y);
        for (size_t x = 0; x < width; ++x) {
            const uint32_t v = rotl(src[x], 8);
            std::memcpy(d + 4 * x, &v, 4);
        }
    }
}

void fromWorld(const glfxhost::World& w, uint32_t* dst)
{
    const size_t width = static_cast<size_t>(w.width());
    for (int y = 0; y < w.height(); ++y, dst += width) {
        const uint8_t* s = w.row(y);
        for (size_t x = 0; x < width; ++x) {
            uint32_t v;
            std::memcpy(&v, s + 4 * x, 4);
            dst[x] = rotl(v, 24);
        }
    }
}

} // namespace

Instance::Instance(std::shared_ptr<Module> module, unsigned width, unsigned height)
    : module_(std::move(module)), width_(width), height_(height), lastSet_(module_->defaults()),
      pending_(module_->defaults().size(), false)
{}

Instance::~Instance()
{
    if (!session_)
        return;
    std::lock_guard<std::mutex> g(module_->lock());
    session_->finish();
    session_.reset();
}

void Instance::setParam(int index, const void* value)
{
    const auto& params = module_->params();
    if (index < 0 || index >= static_cast<int>(params.size()) || !value)
        return;
    const F0rParam& p = params[static_cast<size_t>(index)];
    F0rValue v;
    switch (p.f0rType) {
    case F0R_PARAM_BOOL:
    case F0R_PARAM_DOUBLE: v.number = *static_cast<const double*>(value); break;
    case F0R_PARAM_COLOR: {
        const auto* c = static_cast<const f0r_param_color_t*>(value);
        v.color[0] = c->r;
        v.color[1] = c->g;
        v.color[2] = c->b;
        break;
    }
    case F0R_PARAM_STRING: {
        const char* s = *static_cast<const char* const*>(value);
        v.text = s ? s : "";
        break;
    }
    default: return;
    }
    // MLT and GStreamer set every parameter before every frame: only a value
    // that differs from the host's last one is a change.
    if (v == lastSet_[static_cast<size_t>(index)])
        return;
    lastSet_[static_cast<size_t>(index)] = v;
    pending_[static_cast<size_t>(index)] = true;
}

void Instance::getParam(int index, void* value) const
{
    const auto& params = module_->params();
    if (index < 0 || index >= static_cast<int>(params.size()) || !value)
        return;
    const F0rValue& v = lastSet_[static_cast<size_t>(index)];
    switch (params[static_cast<size_t>(index)].f0rType) {
    case F0R_PARAM_BOOL:
    case F0R_PARAM_DOUBLE: *static_cast<double*>(value) = v.number; break;
    case F0R_PARAM_COLOR: {
        auto* c = static_cast<f0r_param_color_t*>(value);
        c->r = v.color[0];
        c->g = v.color[1];
        c->b = v.color[2];
        break;
    }
    case F0R_PARAM_STRING: *static_cast<const char**>(value) = v.text.c_str(); break;
    default: break;
    }
}

bool Instance::ensureSession()
{
    if (session_ || broken_)
        return !broken_;
    try {
        auto s = std::make_unique<glfxhost::Session>(module_->plugin(), glfxhost::HostMode::AfterEffects);
        s->setFrameRate(kFramesPerSecond);
        s->setLayerSize(static_cast<int>(width_), static_cast<int>(height_));
        const PF_Err err = s->start();
        if (err != PF_Err_NONE) {
            module_->warnOnce("the effect did not start (error " + std::to_string(err) +
                              "); frames pass through unchanged");
            broken_ = true;
            return false;
        }
        inputs_.clear();
        for (size_t i = 0; i <= module_->layers().size(); ++i)
            inputs_.emplace_back(static_cast<int>(width_), static_cast<int>(height_), kWorldDepth);
        output_ = glfxhost::World(static_cast<int>(width_), static_cast<int>(height_), kWorldDepth);
        for (size_t i = 0; i < module_->layers().size(); ++i)
            s->setLayer(module_->layers()[i], &inputs_[i + 1]);
        session_ = std::move(s);
    } catch (const std::exception& e) {
        module_->warnOnce(std::string("cannot start the effect: ") + e.what());
        broken_ = true;
        return false;
    }
    return true;
}

void Instance::applyPending()
{
    const auto& params = module_->params();
    for (size_t i = 0; i < params.size(); ++i) {
        if (!pending_[i])
            continue;
        const F0rParam& p = params[i];
        // A point's two axes are one change.
        size_t partner = i;
        if (p.hostType == PF_Param_POINT)
            partner = p.axis == 0 ? i + 1 : i - 1;
        pending_[i] = false;
        if (partner != i)
            pending_[partner] = false;
        const F0rValue& other = lastSet_[partner];
        if (!applyValue(*session_, p, lastSet_[i], other)) {
            module_->warnOnce("unknown item '" + lastSet_[i].text + "' for '" + p.name +
                              "'; keeping the current one");
            continue;
        }
        if (p.supervised) {
            const PF_Err err = session_->userChangedParam(p.hostIndex);
            if (err != PF_Err_NONE)
                module_->warnOnce("changing '" + p.name + "' failed with error " + std::to_string(err));
        }
    }
}

void Instance::update(double seconds, const uint32_t* const inputs[3], uint32_t* output)
{
    const size_t bytes = static_cast<size_t>(width_) * height_ * 4;
    std::lock_guard<std::mutex> g(module_->lock());
    // Larger than a GL texture may be (the same limit as glfx's frames): the
    // input passes through.
    const bool tooLarge =
        width_ > static_cast<unsigned>(media::kMaxSide) || height_ > static_cast<unsigned>(media::kMaxSide);
    if (tooLarge)
        module_->warnOnce("a " + std::to_string(width_) + "x" + std::to_string(height_) +
                          " frame is larger than the GL limit (" + std::to_string(media::kMaxSide) +
                          " a side); it passes through unchanged");
    if (tooLarge || !ensureSession()) {
        if (inputs[0])
            std::memmove(output, inputs[0], bytes);
        else
            std::memset(output, 0, bytes);
        return;
    }
    if (!(seconds >= 0.0 && seconds < kMaxSeconds)) {
        module_->warnOnce("the host gave a frame no valid time; counting frames at 30 a second instead");
        seconds = static_cast<double>(framesDone_) / kFramesPerSecond;
    }
    ++framesDone_;
    try {
        applyPending();
        for (size_t i = 0; i < inputs_.size() && i < 3; ++i)
            if (inputs[i])
                toWorld(inputs[i], inputs_[i]);
        const PF_Err err = session_->render(inputs_[0], output_, seconds);
        session_->clearRecords();
        if (err != PF_Err_NONE) {
            module_->warnOnce("rendering failed with error " + std::to_string(err) +
                              "; the input passes through unchanged");
            if (inputs[0])
                std::memmove(output, inputs[0], bytes);
            return;
        }
        fromWorld(output_, output);
    } catch (const std::exception& e) {
        module_->warnOnce(std::string("rendering failed: ") + e.what());
        if (inputs[0])
            std::memmove(output, inputs[0], bytes);
    }
}

} // namespace glfxfrei0r
