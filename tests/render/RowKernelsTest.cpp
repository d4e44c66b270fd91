// The row kernels without GL: every width from 1 to past two vector widths
// (so the vector body and the scalar tail both run), plain and streaming
// stores, aligned and unaligned sources, for each family: 8-bit in/out,
// 16-bit in/out, 16-bit wrap and float reordering.
#include "render/RowKernels.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <vector>

using namespace rowkernels;

namespace {

constexpr int kMaxWidth = 11; // > two 4-pixel vectors, not a multiple of 2 or 4

// Storage with a 16-byte aligned start; `offset` elements in (a source one
// float or channel off the alignment is unaligned).
template <typename T>
struct Row {
    explicit Row(int pixels, int offset = 0) : raw(pixels * 4 + offset + 16), off(offset) {}
    T* data()
    {
        auto p = reinterpret_cast<std::uintptr_t>(raw.data());
        const std::uintptr_t aligned = (p + 15) & ~std::uintptr_t(15);
        return reinterpret_cast<T*>(aligned) + off;
    }
    std::vector<T> raw;
    int off;
};

std::uint32_t bits(float f)
{
    std::uint32_t u;
    std::memcpy(&u, &f, sizeof u);
    return u;
}

} // namespace

TEST(RowKernels, EightBitValuesSurviveARoundTripInEveryOrder)
{
    for (int width = 1; width <= kMaxWidth; ++width)
        for (int offset : {0, 1}) {
            SCOPED_TRACE(testing::Message() << "width " << width << " offset " << offset);
            // 256 values spread over the row's channels, shifted per width.
            Row<std::uint8_t> src(width, offset), back(width);
            Row<float> floats(width);
            for (int base = 0; base < 256; base += 4 * width) {
                for (int i = 0; i < 4 * width; ++i)
                    src.data()[i] = static_cast<std::uint8_t>((base + i) & 0xFF);
                rowIn8<false, 1, 2, 3, 0>(src.data(), floats.data(), width);
                for (int x = 0; x < width; ++x) // red from channel 1, alpha from channel 0
                    ASSERT_FLOAT_EQ(floats.data()[4 * x] * 255.0f, src.data()[4 * x + 1]);
                rowOut8<true, 3, 0, 1, 2>(floats.data(), back.data(), width);
                ASSERT_EQ(0, std::memcmp(src.data(), back.data(), 4 * width));
                rowIn8<true, 2, 1, 0, 3>(src.data(), floats.data(), width);
                rowOut8<false, 2, 1, 0, 3>(floats.data(), back.data(), width);
                ASSERT_EQ(0, std::memcmp(src.data(), back.data(), 4 * width));
            }
        }
}

TEST(RowKernels, EightBitOutputClamps)
{
    const float nan = std::numeric_limits<float>::quiet_NaN();
    const float inf = std::numeric_limits<float>::infinity();
    const struct {
        float v;
        int want;
    } cases[] = {{-0.5f, 0}, {0.0f, 0},   {nan, 0},    {-inf, 0},    {1.0000001f, 255}, {2.0f, 255},
                 {inf, 255}, {1.0f, 255}, {0.5f, 127}, {kScale8, 1}, {0.999f, 254},     {1e-9f, 0}};
    const int n = static_cast<int>(sizeof cases / sizeof cases[0]);
    for (int width = 1; width <= kMaxWidth; ++width) {
        SCOPED_TRACE(width);
        Row<float> src(width);
        Row<std::uint8_t> dst(width);
        for (int i = 0; i < 4 * width; ++i)
            src.data()[i] = cases[i % n].v;
        rowOut8<false, 0, 1, 2, 3>(src.data(), dst.data(), width);
        for (int i = 0; i < 4 * width; ++i)
            ASSERT_EQ(cases[i % n].want, dst.data()[i]) << "value " << cases[i % n].v;
    }
}

TEST(RowKernels, SixteenBitRoundTripAndClamps)
{
    const float nan = std::numeric_limits<float>::quiet_NaN();
    const struct {
        float v;
        int clamped, wrapped;
    } outs[] = {
        {-0.5f, 0, 49152}, // -16384 keeps its low 16 bits
        {2.0f, 32768, 0},  // 65536 wraps to 0
        {1.5f, 32768, 49152}, {1.0000001f, 32768, 32768}, {1.0f, 32768, 32768}, {0.5f, 16384, 16384},
        {nan, 0, 0},          {1e10f, 32768, 0}}; // beyond 32 bits: the converting instruction's INT32_MIN
    const int n = static_cast<int>(sizeof outs / sizeof outs[0]);
    for (int width = 1; width <= kMaxWidth; ++width)
        for (int offset : {0, 1}) {
            SCOPED_TRACE(testing::Message() << "width " << width << " offset " << offset);
            Row<std::uint16_t> src(width, offset), back(width);
            Row<float> floats(width);
            for (int i = 0; i < 4 * width; ++i)
                src.data()[i] = static_cast<std::uint16_t>((i * 4099) % 32769);
            rowIn16<false, 1, 2, 3, 0>(src.data(), floats.data(), width);
            rowOut16<true, 3, 0, 1, 2>(floats.data(), back.data(), width);
            ASSERT_EQ(0, std::memcmp(src.data(), back.data(), 8 * width));
            // Unreordered in, wrapping out: also the identity within 0..32768.
            rowIn16<true, 0, 1, 2, 3>(src.data(), floats.data(), width);
            rowOut16Wrap<false>(floats.data(), back.data(), width);
            ASSERT_EQ(0, std::memcmp(src.data(), back.data(), 8 * width));

            Row<float> values(width, offset);
            for (int i = 0; i < 4 * width; ++i)
                values.data()[i] = outs[i % n].v;
            Row<std::uint16_t> clamped(width), wrapped(width);
            rowOut16<false, 0, 1, 2, 3>(values.data(), clamped.data(), width);
            rowOut16Wrap<true>(values.data(), wrapped.data(), width);
            for (int i = 0; i < 4 * width; ++i) {
                ASSERT_EQ(outs[i % n].clamped, clamped.data()[i]) << "value " << outs[i % n].v;
                ASSERT_EQ(outs[i % n].wrapped, wrapped.data()[i]) << "value " << outs[i % n].v;
            }
        }
}

TEST(RowKernels, FloatPixelsAreReorderedBitForBit)
{
    const float specials[] = {-0.0f, std::numeric_limits<float>::quiet_NaN(),  1e30f,
                              -2.5f, std::numeric_limits<float>::denorm_min(), 3.0f};
    for (int width = 1; width <= kMaxWidth; ++width)
        for (int offset : {0, 1}) {
            SCOPED_TRACE(testing::Message() << "width " << width << " offset " << offset);
            Row<float> src(width, offset), mid(width), back(width);
            for (int i = 0; i < 4 * width; ++i)
                src.data()[i] = specials[i % 6] + (i % 6 == 3 ? static_cast<float>(i) : 0.0f);
            rowShuffleFloat<false, 1, 2, 3, 0>(src.data(), mid.data(), width);
            for (int x = 0; x < width; ++x)
                for (int c = 0; c < 4; ++c)
                    ASSERT_EQ(bits(src.data()[4 * x + (c + 1) % 4]), bits(mid.data()[4 * x + c]));
            rowShuffleFloat<true, 3, 0, 1, 2>(mid.data(), back.data(), width);
            for (int i = 0; i < 4 * width; ++i)
                ASSERT_EQ(bits(src.data()[i]), bits(back.data()[i])) << i;
        }
}
