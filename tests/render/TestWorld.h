// Host worlds with padded rows and float buffers for the render tests.
#pragma once

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <new>
#include <vector>

#include "gl/EffectData.h"
#include "gl/InstanceOwner.h"
#include "sdk/AE_Effect.h"

// A world of `width` x `height` pixels of `pixelSize` bytes, each row
// followed by `padding` bytes. The storage is larger than the rows need, so
// that a routine reading past its rows stays inside it (and the test can see
// whether it wrote there).
struct TestWorld {
    std::vector<std::uint8_t> bytes;
    PF_LayerDef def{};

    TestWorld(int width, int height, int pixelSize, int padding = 0)
    {
        def.width = width;
        def.height = height;
        def.rowbytes = width * pixelSize + padding;
        bytes.assign(static_cast<std::size_t>(def.rowbytes) * (height > 0 ? height : 0) + 256, 0xEE);
        def.data = reinterpret_cast<PF_PixelPtr>(bytes.data());
    }
    std::uint8_t* row(int y) { return bytes.data() + static_cast<std::size_t>(y) * def.rowbytes; }
    template <typename T>
    T* pixel(int x, int y)
    {
        return reinterpret_cast<T*>(row(y)) + 4 * x;
    }
};

// A float RGBA buffer of the record's owner, every channel set to `fill`.
inline float* ownedLayer(EffectData& d, int i, std::size_t pixels, float fill = 0.0f)
{
    float* b = glfxowner::layerBuffer(&d, i, pixels);
    for (std::size_t k = 0; k < pixels * 4; ++k)
        b[k] = fill;
    return b;
}
inline float* ownedOutput(EffectData& d, std::size_t pixels, float fill = 0.0f)
{
    float* b = glfxowner::outputBuffer(&d, pixels);
    for (std::size_t k = 0; k < pixels * 4; ++k)
        b[k] = fill;
    return b;
}

// A zeroed record whose owner releases its buffers at the end of the test.
struct TestRecord {
    EffectData d{};
    TestRecord() = default;
    ~TestRecord() { glfxowner::release(&d, false); }
    TestRecord(const TestRecord&) = delete;
    TestRecord& operator=(const TestRecord&) = delete;
};

inline std::uint32_t floatBits(float f)
{
    std::uint32_t u;
    std::memcpy(&u, &f, sizeof u);
    return u;
}
inline float bitsFloat(std::uint32_t u)
{
    float f;
    std::memcpy(&f, &u, sizeof f);
    return f;
}
