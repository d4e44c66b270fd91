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

TEST(Sequence, WrongSizedHandlesAreResizedToOneRecord)
{
    for (std::size_t size : {std::size_t(16), sizeof(EffectData) + 1000}) {
        SCOPED_TRACE(size);
        {
            FakeHost h;
            h.in.sequence_data = h.newHandle(size);
            ASSERT_EQ(glfxshell::SequenceSetupCommand(&h.in, &h.out, nullptr, nullptr, visibilityDescription()),
                      PF_Err_NONE);
            EXPECT_EQ(h.sizeOf(h.in.sequence_data), sizeof(EffectData));
            const EffectData* d = recordIn(h.in.sequence_data);
            EXPECT_EQ(d->visibility[1], 1);
            EXPECT_EQ(d->defines, nullptr);
            EXPECT_EQ(d->outputBuffer, nullptr);
            EXPECT_EQ(glfxshell::SequenceSetdown(&h.in, &h.out), PF_Err_NONE);
            EXPECT_EQ(h.handlesLive, 0);
        }
        {
            FakeHost h;
            h.in.sequence_data = h.newHandle(size);
            ASSERT_EQ(glfxshell::SequenceResetup(&h.in, &h.out, nullptr, nullptr), PF_Err_NONE);
            EXPECT_EQ(h.sizeOf(h.in.sequence_data), sizeof(EffectData));
            const EffectData* d = recordIn(h.in.sequence_data);
            EXPECT_TRUE(d->rebuild);
            EXPECT_EQ(d->glContext, nullptr);
            EXPECT_EQ(d->layerBuffers[0], nullptr);
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
