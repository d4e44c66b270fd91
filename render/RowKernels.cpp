#include "render/RowKernels.h"

namespace rowkernels {
namespace {

// Truncation to a 32-bit integer as the processor's converting instruction
// does it: a value out of range, or not a number, gives INT32_MIN.
std::int32_t truncWrap(float v)
{
    if (!(v >= -2147483648.0f && v < 2147483648.0f))
        return INT32_MIN;
    return static_cast<std::int32_t>(v);
}

} // namespace

// The product is taken in double, where v * 255 is exact, so the truncation
// gives the integer part of the true product.
std::uint8_t clamp8(float v)
{
    if (v > 1.0f)
        return 255;
    if (!(v >= 0.0f))
        return 0; // negative, or not a number
    return static_cast<std::uint8_t>(static_cast<int>(static_cast<double>(v) * 255.0));
}

std::uint16_t clamp16(float v)
{
    if (v > 1.0f)
        return 32768;
    if (!(v >= 0.0f))
        return 0;
    return static_cast<std::uint16_t>(static_cast<int>(v * 32768.0f));
}

std::uint16_t wrap16(float v)
{
    return static_cast<std::uint16_t>(static_cast<std::uint32_t>(truncWrap(v * 32768.0f)) & 0xFFFFu);
}

} // namespace rowkernels
