// The instance record through the four sequence commands.
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <vector>

#include "FakeHost.h"
#include "gl/AE_GL_Context.h"
#include "shell/EntryPoint.h"
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
    fx.par[100].visibility = 2;  // beyond the count: copied all the same
    return fx;
}

TEST(Sequence, SetupCreatesOneZeroedRecord)
{
    for (bool premiere : {false, true}) {
        SCOPED_TRACE(premiere);
        FakeHost h(premiere);
        const cglfx fx = visibilityDescription();
        ASSERT_EQ(glfxshell::SequenceSetupCommand(&h.in, &h.out, nullptr, nullptr, fx), PF_Err_NONE);
        ASSERT_NE(h.out.sequence_data, nullptr);
        EXPECT_EQ(h.sizeOf(h.out.sequence_data), sizeof(EffectData));
        EXPECT_EQ(h.out.flat_sdata_size, static_cast<A_long>(sizeof(EffectData)));

        const EffectData* d = recordIn(h.out.sequence_data);
        EXPECT_EQ(d->visibility[0], 0);
        EXPECT_EQ(d->visibility[1], 1);
        EXPECT_EQ(d->visibility[2], 2);
        EXPECT_EQ(d->visibility[100], 2);
        EXPECT_TRUE(d->rebuild);
        EXPECT_EQ(d->isPremiere, premiere);
        EXPECT_EQ(d->glContext, nullptr);
        EXPECT_EQ(d->defines, nullptr);
        EXPECT_EQ(d->outputBuffer, nullptr);
        EXPECT_EQ(d->values[5][2], 0.f);  // fresh host memory is not zero: the record was cleared
        EXPECT_EQ(d->layerBuffers[31], nullptr);

        h.in.sequence_data = h.out.sequence_data;
        EXPECT_EQ(glfxshell::SequenceSetdown(&h.in, &h.out), PF_Err_NONE);
        EXPECT_EQ(h.in.sequence_data, nullptr);
        EXPECT_EQ(h.out.sequence_data, nullptr);
        EXPECT_EQ(h.handlesLive, 0);
    }
}

// A handle holding a record with state and stale pointers (as a saved
// project from another process would), followed by `extra` bytes.
PF_Handle recordWithExtraBytes(FakeHost& h, std::size_t extra)
{
    PF_Handle handle = h.newHandle(sizeof(EffectData) + extra);
    EffectData* d = recordIn(handle);
    std::memset(d, 0, sizeof(EffectData));
    d->visibility[3] = -2;
    d->values[1][0] = 0.5f;
    d->time = 7;
    d->glContext = reinterpret_cast<AE_GL_Context*>(0x20);
    d->layerBuffers[0] = reinterpret_cast<float*>(0x10);
    d->bufferWidth[0] = 64;
    d->outputBuffer = reinterpret_cast<float*>(0x30);
    d->outputBufferWidth = 64;
    d->defines = reinterpret_cast<std::map<std::string, std::string>*>(0x40);
    return handle;
}

TEST(Sequence, WrongSizedHandlesAreResizedToOneRecord)
{
    for (bool resetup : {false, true}) {
        SCOPED_TRACE(resetup);
        const auto command = [&](FakeHost& h) {
            return resetup ? glfxshell::SequenceResetup(&h.in, &h.out, nullptr, nullptr)
                           : glfxshell::SequenceSetupCommand(&h.in, &h.out, nullptr, nullptr,
                                                             visibilityDescription());
        };
        {
            // Too large: the record at the front keeps its state; pointers
            // from another process are dropped, never freed.
            FakeHost h;
            h.in.sequence_data = recordWithExtraBytes(h, 1000);
            ASSERT_EQ(command(h), PF_Err_NONE);
            EXPECT_EQ(h.sizeOf(h.in.sequence_data), sizeof(EffectData));
            EXPECT_EQ(h.out.sequence_data, h.in.sequence_data);
            const EffectData* d = recordIn(h.in.sequence_data);
            EXPECT_EQ(d->values[1][0], 0.5f);
            EXPECT_EQ(d->time, 7);
            // SETUP takes visibility from the description; RESETUP keeps it.
            EXPECT_EQ(d->visibility[3], resetup ? -2 : 0);
            EXPECT_EQ(d->visibility[1], resetup ? 0 : 1);
            EXPECT_TRUE(d->rebuild);
            EXPECT_EQ(d->glContext, nullptr);
            EXPECT_EQ(d->defines, nullptr);
            EXPECT_EQ(d->layerBuffers[0], nullptr);
            EXPECT_EQ(d->bufferWidth[0], 0);
            EXPECT_EQ(d->outputBuffer, nullptr);
            EXPECT_EQ(d->outputBufferWidth, 0);
            EXPECT_EQ(glfxshell::SequenceSetdown(&h.in, &h.out), PF_Err_NONE);
            EXPECT_EQ(h.handlesLive, 0);
        }
        {
            // Too small: its 16 bytes stay, everything the resize added is
            // zero (fresh host memory holds 0xCD).
            FakeHost h;
            h.in.sequence_data = h.newHandle(16);
            ASSERT_EQ(command(h), PF_Err_NONE);
            EXPECT_EQ(h.sizeOf(h.in.sequence_data), sizeof(EffectData));
            const EffectData* d = recordIn(h.in.sequence_data);
            const unsigned char pattern[16] = {0xCD, 0xCD, 0xCD, 0xCD, 0xCD, 0xCD, 0xCD, 0xCD,
                                               0xCD, 0xCD, 0xCD, 0xCD, 0xCD, 0xCD, 0xCD, 0xCD};
            EXPECT_EQ(std::memcmp(d->values[0], pattern, 16), 0);
            EXPECT_EQ(d->values[1][0], 0.f);
            EXPECT_EQ(d->values[127][3], 0.f);
            EXPECT_EQ(d->time, 0);
            EXPECT_EQ(d->outputWidth, 0);
            EXPECT_EQ(d->layerBuffers[0], nullptr);
            EXPECT_EQ(d->layerBuffers[31], nullptr);
            EXPECT_EQ(d->outputBuffer, nullptr);
            EXPECT_EQ(d->glContext, nullptr);
            EXPECT_TRUE(d->rebuild);
            EXPECT_EQ(glfxshell::SequenceSetdown(&h.in, &h.out), PF_Err_NONE);
            EXPECT_EQ(h.handlesLive, 0);
        }
    }
}

TEST(Sequence, FlattenReleasesEverythingAndResetupDropsTheContext)
{
    FakeHost h;
    const cglfx fx = visibilityDescription();
    ASSERT_EQ(glfxshell::SequenceSetupCommand(&h.in, &h.out, nullptr, nullptr, fx), PF_Err_NONE);
    h.in.sequence_data = h.out.sequence_data;
    EffectData* d = recordIn(h.in.sequence_data);

    // What a render leaves behind: a context (never set up, so releasing it
    // touches no GPU), defines and malloc'ed buffers.
    d->glContext = new AE_GL_Context();
    d->defines = new std::map<std::string, std::string>{{"A", "1"}};
    d->layerBuffers[0] = static_cast<float*>(std::malloc(64));
    d->layerBuffers[1] = static_cast<float*>(std::malloc(64));
    d->layerWidth[0] = d->layerHeight[0] = d->bufferWidth[0] = d->bufferHeight[0] = 2;
    d->layerSkip[1] = true;
    d->outputBuffer = static_cast<float*>(std::malloc(64));
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
    EXPECT_EQ(d->visibility[3], -2);  // state that is not a pointer survives
    EXPECT_EQ(h.sizeOf(h.in.sequence_data), sizeof(EffectData));

    // A project opened again: the host hands the flat bytes back in a new
    // handle; a stale context pointer read back from them is dropped.
    PF_Handle reopened = h.newHandle(sizeof(EffectData));
    std::memcpy(*reopened, d, sizeof(EffectData));
    recordIn(reopened)->glContext = reinterpret_cast<AE_GL_Context*>(0x1234);
    recordIn(reopened)->rebuild = false;
    EXPECT_EQ(glfxshell::SequenceSetdown(&h.in, &h.out), PF_Err_NONE);
    h.in.sequence_data = reopened;
    ASSERT_EQ(glfxshell::SequenceResetup(&h.in, &h.out, nullptr, nullptr), PF_Err_NONE);
    EXPECT_EQ(recordIn(reopened)->glContext, nullptr);
    EXPECT_TRUE(recordIn(reopened)->rebuild);
    EXPECT_EQ(recordIn(reopened)->visibility[3], -2);
    EXPECT_EQ(glfxshell::SequenceSetdown(&h.in, &h.out), PF_Err_NONE);
    EXPECT_EQ(h.handlesLive, 0);
}

TEST(Sequence, ResetupWithoutDataCreatesARecord)
{
    FakeHost h;
    ASSERT_EQ(glfxshell::SequenceResetup(&h.in, &h.out, nullptr, nullptr), PF_Err_NONE);
    ASSERT_NE(h.out.sequence_data, nullptr);
    EXPECT_TRUE(recordIn(h.out.sequence_data)->rebuild);
    h.in.sequence_data = h.out.sequence_data;
    EXPECT_EQ(glfxshell::SequenceSetdown(&h.in, &h.out), PF_Err_NONE);
    EXPECT_EQ(h.handlesLive, 0);
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
    EXPECT_EQ(glfxshell::SequenceSetdown(&h.in, &h.out), PF_Err_NONE);
    EXPECT_EQ(h.handlesLive, 0);
}

TEST(Sequence, OutOfMemoryIsReportedToTheUser)
{
    FakeHost h;
    h.failNewHandle = true;
    EXPECT_EQ(glfxshell::SequenceSetupCommand(&h.in, &h.out, nullptr, nullptr, cglfx()),
              PF_Err_INTERNAL_STRUCT_DAMAGED);
    EXPECT_EQ(h.out.sequence_data, nullptr);
    EXPECT_NE(h.out.out_flags & PF_OutFlag_DISPLAY_ERROR_MESSAGE, 0);
    EXPECT_STRNE(h.out.return_msg, "");
}

TEST(Sequence, OwnHandlesWhenTheHostHasNoHandleCallbacks)
{
    FakeHost h;
    h.removeUtilHandleCallbacks();
    ASSERT_EQ(glfxshell::SequenceSetupCommand(&h.in, &h.out, nullptr, nullptr, visibilityDescription()),
              PF_Err_NONE);
    h.in.sequence_data = h.out.sequence_data;
    EXPECT_EQ(recordIn(h.in.sequence_data)->visibility[2], 2);
    EXPECT_EQ(glfxshell::SequenceFlatten(&h.in, &h.out), PF_Err_NONE);
    EXPECT_EQ(glfxshell::SequenceSetdown(&h.in, &h.out), PF_Err_NONE);
    EXPECT_EQ(h.in.sequence_data, nullptr);
    EXPECT_EQ(h.handlesLive, 0);
}

}  // namespace
