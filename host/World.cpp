// Host-owned worlds with padded rows and conversions to and from normalised RGBA.
#include "host/World.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <mutex>
#include <new>
#include <set>
#include <stdexcept>

namespace glfxhost {

namespace {
std::mutex& worldMutex()
{
    static std::mutex m;
    return m;
}
// Worlds alive now: each World adds itself when it gets storage and removes
// itself when it lets go of it (moved from or destroyed).
std::set<const World*>& worlds()
{
    static std::set<const World*> s;
    return s;
}
void track(const World* w)
{
    std::lock_guard<std::mutex> g(worldMutex());
    worlds().insert(w);
}
void untrack(const World* w)
{
    std::lock_guard<std::mutex> g(worldMutex());
    worlds().erase(w);
}

A_u_char to8(float v)
{
    if (!(v > 0.0f))
        return 0; // also NaN
    if (v >= 1.0f)
        return 255;
    return static_cast<A_u_char>(std::lround(v * 255.0f));
}
A_u_short to16(float v)
{
    if (!(v > 0.0f))
        return 0;
    if (v >= 1.0f)
        return PF_MAX_CHAN16;
    return static_cast<A_u_short>(std::lround(v * static_cast<float>(PF_MAX_CHAN16)));
}
} // namespace

bool World::isLive(const World* w)
{
    std::lock_guard<std::mutex> g(worldMutex());
    return worlds().count(w) != 0;
}

World::World() { def_.pix_aspect_ratio = {1, 1}; }

World::World(int width, int height, int depth, bool bgra, int padding)
{
    if (width <= 0 || height <= 0)
        throw std::invalid_argument("world size must be positive");
    if (depth != 8 && depth != 16 && depth != 32)
        throw std::invalid_argument("world depth must be 8, 16 or 32");
    if (bgra && depth != 8)
        throw std::invalid_argument("BGRA worlds are 8-bit only");
    const int channel = depth / 8;
    if (padding < 0 || padding % channel != 0)
        throw std::invalid_argument("row padding must be a non-negative whole number of channels");
    depth_ = depth;
    bgra_ = bgra;
    const long long rb = static_cast<long long>(width) * 4 * channel + padding;
    const long long total = rb * height;
    if (rb > 0x7fffffffLL || total > (1LL << 40))
        throw std::invalid_argument("world too large");
    storage_ = static_cast<uint8_t*>(::operator new(static_cast<size_t>(total), std::align_val_t(64)));
    def_.data = reinterpret_cast<PF_PixelPtr>(storage_);
    def_.rowbytes = static_cast<A_long>(rb);
    def_.width = width;
    def_.height = height;
    def_.extent_hint = {0, 0, width, height};
    def_.pix_aspect_ratio = {1, 1};
    def_.world_flags = PF_WorldFlag_WRITEABLE | (depth == 16 ? PF_WorldFlag_DEEP : 0);
    def_.reserved0 = this;
    for (int y = 0; y < height; ++y) {
        uint8_t* r = storage_ + rb * y;
        std::memset(r, 0, static_cast<size_t>(width) * pixelSize());
        std::memset(r + static_cast<size_t>(width) * pixelSize(), kPaddingByte, static_cast<size_t>(padding));
    }
    track(this);
}

World::World(World&& o) noexcept { *this = std::move(o); }

World& World::operator=(World&& o) noexcept
{
    if (this == &o)
        return *this;
    reset();
    def_ = o.def_;
    depth_ = o.depth_;
    bgra_ = o.bgra_;
    storage_ = o.storage_;
    o.storage_ = nullptr;
    o.def_ = PF_LayerDef{};
    o.def_.pix_aspect_ratio = {1, 1};
    if (storage_) {
        def_.reserved0 = this;
        untrack(&o);
        track(this);
    }
    return *this;
}

World::~World() { reset(); }

void World::reset()
{
    if (storage_) {
        untrack(this);
        ::operator delete(storage_, std::align_val_t(64));
    }
    storage_ = nullptr;
    def_ = PF_LayerDef{};
    def_.pix_aspect_ratio = {1, 1};
}

int World::pixelSize() const { return depth_ / 2; }

PF_PixelFormat World::pixelFormat() const
{
    switch (depth_) {
    case 16: return PF_PixelFormat_ARGB64;
    case 32: return PF_PixelFormat_ARGB128;
    default: return PF_PixelFormat_ARGB32;
    }
}

PrPixelFormat World::premierePixelFormat() const
{
    return bgra_ ? PrPixelFormat_BGRA_4444_8u : static_cast<PrPixelFormat>(pixelFormat());
}

uint8_t* World::row(int y)
{
    if (!storage_ || y < 0 || y >= def_.height)
        throw std::out_of_range("world row out of range");
    return storage_ + static_cast<size_t>(def_.rowbytes) * y;
}

const uint8_t* World::row(int y) const { return const_cast<World*>(this)->row(y); }

void World::getPixel(int x, int y, float rgba[4]) const
{
    if (x < 0 || x >= def_.width)
        throw std::out_of_range("world column out of range");
    const uint8_t* p = row(y) + static_cast<size_t>(x) * pixelSize();
    if (depth_ == 8) {
        if (bgra_) {
            rgba[0] = p[2] / 255.0f;
            rgba[1] = p[1] / 255.0f;
            rgba[2] = p[0] / 255.0f;
            rgba[3] = p[3] / 255.0f;
        } else {
            rgba[0] = p[1] / 255.0f;
            rgba[1] = p[2] / 255.0f;
            rgba[2] = p[3] / 255.0f;
            rgba[3] = p[0] / 255.0f;
        }
    } else if (depth_ == 16) {
        PF_Pixel16 px;
        std::memcpy(&px, p, sizeof px);
        const float k = static_cast<float>(PF_MAX_CHAN16);
        rgba[0] = px.red / k;
        rgba[1] = px.green / k;
        rgba[2] = px.blue / k;
        rgba[3] = px.alpha / k;
    } else {
        PF_PixelFloat px;
        std::memcpy(&px, p, sizeof px);
        rgba[0] = px.red;
        rgba[1] = px.green;
        rgba[2] = px.blue;
        rgba[3] = px.alpha;
    }
}

void World::setPixel(int x, int y, const float rgba[4])
{
    if (x < 0 || x >= def_.width)
        throw std::out_of_range("world column out of range");
    uint8_t* p = row(y) + static_cast<size_t>(x) * pixelSize();
    if (depth_ == 8) {
        if (bgra_) {
            p[0] = to8(rgba[2]);
            p[1] = to8(rgba[1]);
            p[2] = to8(rgba[0]);
            p[3] = to8(rgba[3]);
        } else {
            p[0] = to8(rgba[3]);
            p[1] = to8(rgba[0]);
            p[2] = to8(rgba[1]);
            p[3] = to8(rgba[2]);
        }
    } else if (depth_ == 16) {
        PF_Pixel16 px{to16(rgba[3]), to16(rgba[0]), to16(rgba[1]), to16(rgba[2])};
        std::memcpy(p, &px, sizeof px);
    } else {
        PF_PixelFloat px{rgba[3], rgba[0], rgba[1], rgba[2]};
        std::memcpy(p, &px, sizeof px);
    }
}

std::vector<float> World::toRGBA() const
{
    std::vector<float> out(static_cast<size_t>(def_.width) * def_.height * 4);
    for (int y = 0; y < def_.height; ++y)
        for (int x = 0; x < def_.width; ++x)
            getPixel(x, y, &out[(static_cast<size_t>(y) * def_.width + x) * 4]);
    return out;
}

void World::fromRGBA(const std::vector<float>& rgba)
{
    if (rgba.size() != static_cast<size_t>(def_.width) * def_.height * 4)
        throw std::invalid_argument("RGBA data does not match the world size");
    for (int y = 0; y < def_.height; ++y)
        for (int x = 0; x < def_.width; ++x)
            setPixel(x, y, &rgba[(static_cast<size_t>(y) * def_.width + x) * 4]);
}

void World::fill(float r, float g, float b, float a)
{
    const float c[4] = {r, g, b, a};
    for (int y = 0; y < def_.height; ++y)
        for (int x = 0; x < def_.width; ++x)
            setPixel(x, y, c);
}

bool World::paddingIntact() const
{
    if (!storage_)
        return true;
    const size_t used = static_cast<size_t>(def_.width) * pixelSize();
    for (int y = 0; y < def_.height; ++y) {
        const uint8_t* r = row(y);
        for (size_t i = used; i < static_cast<size_t>(def_.rowbytes); ++i)
            if (r[i] != kPaddingByte)
                return false;
    }
    return true;
}

} // namespace glfxhost
