// Host worlds with padded rows and float buffers for the render tests.
#pragma once

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <new>
#include <vector>

#include "gl/EffectData.h"
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

// A float RGBA buffer as the record holds them (malloc'd: the record's owner
// frees it with free()).
inline float* newBuffer(std::size_t pixels, float fill = 0.0f)
{
    float* b = static_cast<float*>(std::malloc(pixels * 4 * sizeof(float)));
    if (!b)
        throw std::bad_alloc();
    for (std::size_t i = 0; i < pixels * 4; ++i)
        b[i] = fill;
    return b;
}

// A zeroed record that frees its buffers at the end of the test.
struct TestRecord {
    EffectData d{};
    TestRecord() = default;
    ~TestRecord()
    {
        std::free(d.outputBuffer == d.layerBuffers[0] ? nullptr : d.outputBuffer);
        for (float* b : d.layerBuffers)
            std::free(b);
    }
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
