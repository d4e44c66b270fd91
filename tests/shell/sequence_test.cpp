// The instance record through the four sequence commands.
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "FakeHost.h"
#include "gl/AE_GL_Context.h"
#include "gl/InstanceOwner.h"
#include "shell/EntryPoint.h"
#include "shell/Handles.h"
#include "shell/Sequence.h"

namespace {

EffectData* recordIn(PF_Handle h) { return h ? static_cast<EffectData*>(*h) : nullptr; }

cglfx visibilityDescription()
{
    cglfx fx;
    fx.settings.params = 4;
    fx.settings.layerCount = 2;
    fx.par[1].visibility = 1;
    fx.par[2].visibility = 2;
    fx.par[100].visibility = 2; // beyond the count: copied all the same
    return fx;
}

PF_Err setup(FakeHost& h)
{
    return glfxshell::SequenceSetupCommand(&h.in, &h.out, nullptr, nullptr, visibilityDescription());
}

void setdown(FakeHost& h)
{
    EXPECT_EQ(glfxshell::SequenceSetdown(&h.in, &h.out), PF_Err_NONE);
    EXPECT_EQ(h.in.sequence_data, nullptr);
    EXPECT_EQ(h.out.sequence_data, nullptr);
    EXPECT_EQ(h.handlesLive, 0);
}

TEST(Sequence, SetupCreatesOneZeroedRecord)
{
    // After Effects, Premiere, and a host without handle callbacks (the
    // plug-in's own handles).
    for (int host : {0, 1, 2}) {
        SCOPED_TRACE(host);
        FakeHost h(host == 1);
        if (host == 2)
            h.removeUtilHandleCallbacks();
        ASSERT_EQ(setup(h), PF_Err_NONE);
        ASSERT_NE(h.out.sequence_data, nullptr);
        EXPECT_EQ(glfxshell::handleSize(&h.in, h.out.sequence_data), std::int64_t(sizeof(EffectData)));
        EXPECT_EQ(h.out.flat_sdata_size, static_cast<A_long>(sizeof(EffectData)));

        const EffectData* d = recordIn(h.out.sequence_data);
        EXPECT_EQ(d->visibility[0], 0);
        EXPECT_EQ(d->visibility[1], 1);
        EXPECT_EQ(d->visibility[2], 2);
        EXPECT_EQ(d->visibility[100], 2);
        EXPECT_TRUE(d->rebuild);
        EXPECT_EQ(d->isPremiere, host == 1);
        EXPECT_EQ(d->glContext, nullptr);
        EXPECT_EQ(d->defines, nullptr);
        EXPECT_EQ(d->outputBuffer, nullptr);
        EXPECT_EQ(d->values[5][2], 0.f); // fresh host memory is not zero: the record was cleared
        EXPECT_EQ(d->layerBuffers[31], nullptr);

        h.in.sequence_data = h.out.sequence_data;
        EXPECT_EQ(glfxshell::SequenceFlatten(&h.in, &h.out), PF_Err_NONE);
        setdown(h);
    }
}

TEST(Sequence, WrongSizedHandlesAreResizedToOneRecord)
{
    for (bool resetup : {false, true})
        for (bool large : {false, true}) {
            SCOPED_TRACE(std::string(resetup ? "RESETUP" : "SETUP") +
                         (large ? ", too large" : ", too small"));
            FakeHost h;
            h.in.sequence_data = h.newHandle(large ? sizeof(EffectData) + 1000 : 16);
            if (large) {
                // A record with state and with pointers from another process,
                // which must be dropped, never freed.
                EffectData* d = recordIn(h.in.sequence_data);
                std::memset(d, 0, sizeof(EffectData));
                d->visibility[3] = -2;
                d->values[1][0] = 0.5f;
                d->glContext = reinterpret_cast<AE_GL_Context*>(0x20);
                d->layerBuffers[0] = reinterpret_cast<float*>(0x10);
                d->bufferWidth[0] = 64;
                d->outputBuffer = reinterpret_cast<float*>(0x30);
                d->outputBufferWidth = 64;
                d->defines = reinterpret_cast<std::map<std::string, std::string>*>(0x40);
            }
            ASSERT_EQ(resetup ? glfxshell::SequenceResetup(&h.in, &h.out, nullptr, nullptr) : setup(h),
                      PF_Err_NONE);
            EXPECT_EQ(h.sizeOf(h.in.sequence_data), sizeof(EffectData));
            const EffectData* d = recordIn(h.in.sequence_data);
            EXPECT_TRUE(d->rebuild);
            EXPECT_EQ(d->glContext, nullptr);
            EXPECT_EQ(d->defines, nullptr);
            EXPECT_EQ(d->layerBuffers[0], nullptr);
            EXPECT_EQ(d->layerBuffers[31], nullptr);
            EXPECT_EQ(d->bufferWidth[0], 0);
            EXPECT_EQ(d->outputBuffer, nullptr);
            EXPECT_EQ(d->outputBufferWidth, 0);
            if (large) {
                // The record at the front keeps its state. SETUP takes
                // visibility from the description; RESETUP keeps it.
                EXPECT_EQ(d->values[1][0], 0.5f);
                EXPECT_EQ(d->visibility[3], resetup ? -2 : 0);
                EXPECT_EQ(d->visibility[1], resetup ? 0 : 1);
            } else {
                // The 16 bytes stay; everything the resize added is zero
                // (fresh host memory holds 0xCD).
                EXPECT_EQ(std::memcmp(d->values[0], std::vector<unsigned char>(16, 0xCD).data(), 16), 0);
                EXPECT_EQ(d->values[1][0], 0.f);
                EXPECT_EQ(d->values[127][3], 0.f);
                EXPECT_EQ(d->outputWidth, 0);
            }
            setdown(h);
        }
}

TEST(Sequence, FlattenReleasesEverythingTheRecordOwns)
{
    FakeHost h;
    ASSERT_EQ(setup(h), PF_Err_NONE);
    h.in.sequence_data = h.out.sequence_data;
    EffectData* d = recordIn(h.in.sequence_data);

    // What a render leaves behind: a context (never set up, so releasing it
    // touches no GPU), defines and malloc'ed buffers.
    glfxowner::adopt(d, h.in.sequence_data);
    glfxowner::setContext(d, new AE_GL_Context());
    glfxowner::freshDefines(d)["A"] = "1";
    glfxowner::layerBuffer(d, 0, 4);
    glfxowner::layerBuffer(d, 1, 4);
    d->layerWidth[0] = d->layerHeight[0] = d->bufferWidth[0] = d->bufferHeight[0] = 2;
    d->layerSkip[1] = true;
    glfxowner::outputBuffer(d, 4);
    d->outputBufferWidth = d->outputBufferHeight = 2;
    d->rebuild = false;
    d->visibility[3] = -2;

    ASSERT_EQ(glfxshell::SequenceFlatten(&h.in, &h.out), PF_Err_NONE);
    EXPECT_EQ(d->glContext, nullptr);
    EXPECT_EQ(d->defines, nullptr);
    EXPECT_TRUE(d->rebuild);
    EXPECT_EQ(d->layerBuffers[0], nullptr);
    EXPECT_EQ(d->layerBuffers[1], nullptr);
    EXPECT_EQ(d->layerWidth[0], 0);
    EXPECT_EQ(d->bufferHeight[0], 0);
    EXPECT_FALSE(d->layerSkip[1]);
    EXPECT_EQ(d->outputBuffer, nullptr);
    EXPECT_EQ(d->outputBufferWidth, 0);
    EXPECT_EQ(d->visibility[3], -2); // state that is not a pointer survives
    EXPECT_EQ(h.sizeOf(h.in.sequence_data), sizeof(EffectData));

    setdown(h);
}

TEST(Sequence, MissingOrBrokenDataIsIgnored)
{
    FakeHost h;
    EXPECT_EQ(glfxshell::SequenceFlatten(&h.in, &h.out), PF_Err_NONE);
    EXPECT_EQ(glfxshell::SequenceSetdown(&h.in, &h.out), PF_Err_NONE);
    // A handle too small for a record is never read as one.
    h.in.sequence_data = h.newHandle(8);
    EXPECT_EQ(glfxshell::recordOf(&h.in, h.in.sequence_data), nullptr);
    EXPECT_EQ(glfxshell::SequenceFlatten(&h.in, &h.out), PF_Err_NONE);
    setdown(h);
    // RESETUP without data creates a record.
    ASSERT_EQ(glfxshell::SequenceResetup(&h.in, &h.out, nullptr, nullptr), PF_Err_NONE);
    ASSERT_NE(h.out.sequence_data, nullptr);
    EXPECT_TRUE(recordIn(h.out.sequence_data)->rebuild);
    h.in.sequence_data = h.out.sequence_data;
    setdown(h);
}

TEST(Sequence, OutOfMemoryIsReportedToTheUser)
{
    FakeHost h;
    h.failNewHandle = true;
    EXPECT_EQ(setup(h), PF_Err_INTERNAL_STRUCT_DAMAGED);
    EXPECT_EQ(h.out.sequence_data, nullptr);
    EXPECT_NE(h.out.out_flags & PF_OutFlag_DISPLAY_ERROR_MESSAGE, 0);
    EXPECT_STRNE(h.out.return_msg, "");
}

} // namespace
