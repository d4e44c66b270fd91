// The instance owner registry without a GPU: which records are trusted,
// which have their pointers dropped unread, and what a release leaves.
#include "gl/InstanceOwner.h"

#include <gtest/gtest.h>

#include <cstring>

namespace {

// A record whose every byte is `fill`: what a project from elsewhere holds.
EffectData foreignRecord(unsigned char fill)
{
    EffectData d;
    std::memset(&d, fill, sizeof d);
    return d;
}

} // namespace

TEST(InstanceOwner, ForeignBytesAreDroppedUnread)
{
    const int handleA = 0, handleB = 0; // two sequence handles, by address
    for (unsigned char fill : {0x00, 0x41, 0xFF}) {
        SCOPED_TRACE(static_cast<int>(fill));
        const int before = glfxowner::liveCount();
        EffectData d = foreignRecord(fill);
        ASSERT_EQ(glfxowner::adopt(&d, &handleA), &d);
        EXPECT_TRUE(!d.glContext && !d.defines && !d.outputBuffer && !d.outputBufferWidth);
        for (int i = 0; i < glfxlimits::kMaxInputs; ++i)
            ASSERT_TRUE(!d.layerBuffers[i] && !d.layers[i] && !d.bufferWidth[i]) << i;
        EXPECT_EQ(glfxowner::liveCount(), before + 1);

        // The owner's buffer is what the record shows from now on, and a
        // second adopt with the same handle keeps it.
        float* buffer = glfxowner::outputBuffer(&d, 4);
        d.outputBuffer = reinterpret_cast<float*>(0x10); // overwritten bytes
        glfxowner::adopt(&d, &handleA);
        EXPECT_EQ(d.outputBuffer, buffer);
        EXPECT_EQ(glfxowner::outputCapacity(&d), 4u);

        // A copy of these bytes in another handle owns nothing.
        EffectData copy = d;
        glfxowner::adopt(&copy, &handleB);
        EXPECT_EQ(copy.outputBuffer, nullptr);
        EXPECT_NE(copy.ownerSerial, d.ownerSerial);

        EXPECT_FALSE(glfxowner::release(&copy, false));
        EXPECT_FALSE(glfxowner::release(&d, false)); // no context was held
        EXPECT_EQ(d.outputBuffer, nullptr);
        EXPECT_EQ(d.ownerSerial, 0u);
        EXPECT_EQ(glfxowner::liveCount(), before);
    }
}

TEST(InstanceOwner, BuffersGrowOnlyWhenTooSmallDefinesAreReplacedReleaseAllForgets)
{
    const int handle = 0;
    EffectData d{};
    glfxowner::adopt(&d, &handle);
    float* small = glfxowner::layerBuffer(&d, 3, 10);
    EXPECT_EQ(glfxowner::layerBuffer(&d, 3, 10), small);
    EXPECT_EQ(glfxowner::layerBuffer(&d, 3, 2), small);
    float* larger = glfxowner::layerBuffer(&d, 3, 1000);
    larger[4 * 1000 - 1] = 1.0f; // the whole request is writable
    EXPECT_EQ(d.layerBuffers[3], larger);

    glfxowner::outputBuffer(&d, 0);
    EXPECT_EQ(glfxowner::outputCapacity(&d), 1u); // at least one pixel
    glfxowner::outputBuffer(&d, 50);
    EXPECT_EQ(glfxowner::outputCapacity(&d), 50u);

    glfxowner::freshDefines(&d)["A"] = "1";
    EXPECT_TRUE(glfxowner::freshDefines(&d).empty());
    EXPECT_NE(d.defines, nullptr);

    d.layerSkip[3] = true;
    glfxowner::release(&d, false);
    EXPECT_TRUE(!d.layerBuffers[3] && !d.defines && !d.layerSkip[3]);

    // After releaseAll the records' serials name no owner: their views are dropped.
    EffectData records[3] = {};
    for (EffectData& r : records) {
        glfxowner::adopt(&r, &r);
        glfxowner::outputBuffer(&r, 8);
    }
    glfxowner::releaseAll();
    EXPECT_EQ(glfxowner::liveCount(), 0);
    for (EffectData& r : records) {
        glfxowner::adopt(&r, &r);
        EXPECT_EQ(r.outputBuffer, nullptr);
        glfxowner::release(&r, false);
    }
}
