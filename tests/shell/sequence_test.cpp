// The instance record through the sequence commands, seen from the host:
// setup, flatten, re-setup (a project saved and opened again) and setdown,
// the handles they leave, and the commands an instance cannot serve yet.
#include "PluginFixture.h"

#include <cstring>

using namespace plugintest;

namespace {

const char* const kCopy = "[settings]\nname=Copy\nversion=1\n"
                          "[par1]\nname=Gain\nparam=gain\ntype=float\ndefault=0.5\n";

// A frame through the instance: the input comes back (the default pass copies).
void renderCopies(Session& s, HostMode mode)
{
    World in = worldFor(mode, 8, 4), out = worldFor(mode, 8, 4);
    const float red[4] = {1.f, 0.f, 0.f, 1.f};
    in.setPixel(3, 2, red);
    ASSERT_EQ(s.render(in, out), PF_Err_NONE);
    float got[4];
    out.getPixel(3, 2, got);
    EXPECT_EQ(got[0], 1.f);
    EXPECT_EQ(got[1], 0.f);
    EXPECT_TRUE(out.paddingIntact());
}

TEST(Sequence, LifecycleInEachHostWithHostOrOwnHandles)
{
    for (HostMode mode : kModes)
        for (bool ownHandles : {false, true}) {
            SCOPED_TRACE(std::string(hostModeName(mode)) + (ownHandles ? ", no handle callbacks" : ""));
            Effect fx(kCopy, mode);
            Session& s = fx.session;
            s.faults().nullHandleCallbacks = ownHandles;
            ASSERT_EQ(s.start(), PF_Err_NONE);
            ASSERT_TRUE(s.hasSequenceData());
            // The record is a host handle of the size the effect reports for
            // saving, or the effect's own memory where the host has no callbacks.
            const A_long flatSize = s.records().flatSize;
            EXPECT_GT(flatSize, 0);
            EXPECT_EQ(s.sequenceDataSize(), ownHandles ? 0u : static_cast<size_t>(flatSize));
            EXPECT_EQ(s.liveHandles(),
                      ownHandles ? 1 : 2); // global data (through the handle suite) and record
            renderCopies(s, mode);
            ASSERT_EQ(s.flatten(), PF_Err_NONE);
            EXPECT_EQ(s.flatData().size(), ownHandles ? 0u : static_cast<size_t>(flatSize));
            ASSERT_EQ(s.resetup(), PF_Err_NONE);
            renderCopies(s, mode);
            ASSERT_EQ(s.sequenceSetdown(), PF_Err_NONE);
            EXPECT_FALSE(s.hasSequenceData());
            ASSERT_EQ(s.globalSetdown(), PF_Err_NONE);
            EXPECT_EQ(s.liveHandles(), 0);
            EXPECT_EQ(problems(s), "");
        }
}

// Reopening a project closes the live instance first: it is set down (and
// releases its GPU context) before the saved bytes come back, whether or
// not it was flattened, and no handle piles up over many reopenings.
TEST(Sequence, ResetupSetsTheLiveInstanceDownFirst)
{
    for (HostMode mode : kModes) {
        SCOPED_TRACE(hostModeName(mode));
        Effect fx(kCopy, mode);
        Session& s = fx.session;
        ASSERT_EQ(s.start(), PF_Err_NONE);
        for (bool flattenFirst : {false, true, false, true}) {
            renderCopies(s, mode);
            if (flattenFirst) {
                ASSERT_EQ(s.flatten(), PF_Err_NONE);
            }
            s.clearRecords();
            ASSERT_EQ(s.resetup(), PF_Err_NONE);
            EXPECT_EQ(commandNames(s), (std::vector<std::string>{"SEQUENCE_SETDOWN", "SEQUENCE_RESETUP"}));
            EXPECT_EQ(s.liveHandles(), 2);
        }
        renderCopies(s, mode);
        ASSERT_EQ(s.finish(), PF_Err_NONE);
        EXPECT_EQ(s.liveHandles(), 0);
        EXPECT_EQ(problems(s), "");
    }
}

// Saved bytes of another size (a project from another build) become one
// record of the right size, which renders.
TEST(Sequence, SavedBytesOfAnotherSizeBecomeOneRecord)
{
    for (int extra : {-1, 1000}) {
        SCOPED_TRACE(extra);
        Effect fx(kCopy);
        Session& s = fx.session;
        ASSERT_EQ(s.start(), PF_Err_NONE);
        const size_t recordSize = s.sequenceDataSize();
        s.setFlatData(std::vector<uint8_t>(extra < 0 ? 16 : recordSize + extra, 0));
        ASSERT_EQ(s.resetup(), PF_Err_NONE);
        EXPECT_EQ(s.sequenceDataSize(), recordSize);
        renderCopies(s, HostMode::AfterEffects);
        ASSERT_EQ(s.finish(), PF_Err_NONE);
        EXPECT_EQ(s.liveHandles(), 0);
    }
}

// A project saved in one host and opened in the other renders in the
// channel order of the host it is opened in.
TEST(Sequence, ProjectSavedInOneHostOpensInTheOther)
{
    const std::string text =
        std::string(kCopy) + "[ps0]\nvoid main() { gl_FragColor = vec4(0.2, 0.4, 0.6, 1.0); }\n";
    for (HostMode saved : kModes) {
        const HostMode opened = saved == HostMode::Premiere ? HostMode::AfterEffects : HostMode::Premiere;
        SCOPED_TRACE(hostModeName(opened));
        Effect first(text, saved), second(text, opened);
        ASSERT_EQ(first.session.start(), PF_Err_NONE);
        ASSERT_EQ(first.session.flatten(), PF_Err_NONE);
        Session& s = second.session;
        ASSERT_EQ(s.start(), PF_Err_NONE);
        s.setFlatData(first.session.flatData());
        ASSERT_EQ(s.resetup(), PF_Err_NONE);
        World in = worldFor(opened, 3, 1), out = worldFor(opened, 3, 1);
        ASSERT_EQ(s.render(in, out), PF_Err_NONE);
        float got[4];
        out.getPixel(2, 0, got);
        EXPECT_NEAR(got[0], 0.2f, 1.f / 255);
        EXPECT_NEAR(got[2], 0.6f, 1.f / 255);
        ASSERT_EQ(s.finish(), PF_Err_NONE);
    }
}

TEST(Sequence, CommandsWithoutRecordsOrInstance)
{
    Effect fx(kCopy);
    Session& s = fx.session;
    // No records at all: the served commands refuse, the others do nothing.
    for (PF_Cmd cmd :
         {PF_Cmd_ABOUT, PF_Cmd_GLOBAL_SETUP, PF_Cmd_RENDER, PF_Cmd_SMART_RENDER, PF_Cmd_SEQUENCE_SETUP})
        EXPECT_EQ(fx.plugin.entry()(cmd, nullptr, nullptr, nullptr, nullptr, nullptr),
                  PF_Err_INTERNAL_STRUCT_DAMAGED)
            << glfxhost::commandName(cmd);
    const PF_Cmd unserved[] = {PF_Cmd_UNUSED_0,
                               PF_Cmd_FRAME_SETUP,
                               PF_Cmd_FRAME_SETDOWN,
                               PF_Cmd_EVENT,
                               PF_Cmd_GET_EXTERNAL_DEPENDENCIES,
                               PF_Cmd_COMPLETELY_GENERAL,
                               PF_Cmd_QUERY_DYNAMIC_FLAGS,
                               PF_Cmd_AUDIO_RENDER,
                               PF_Cmd_ARBITRARY_CALLBACK,
                               1000,
                               -1};
    for (PF_Cmd cmd : unserved)
        EXPECT_EQ(fx.plugin.entry()(cmd, nullptr, nullptr, nullptr, nullptr, nullptr), PF_Err_NONE) << cmd;

    // Set up without a sequence: frame commands refuse, the others pass.
    ASSERT_EQ(s.globalSetup(), PF_Err_NONE);
    ASSERT_EQ(s.paramsSetup(), PF_Err_NONE);
    EXPECT_EQ(s.sendCommand(PF_Cmd_SEQUENCE_FLATTEN), PF_Err_NONE);
    EXPECT_EQ(s.doDialog(), PF_Err_NONE);
    World in(4, 4, 8), out(4, 4, 8);
    EXPECT_EQ(s.render(in, out), PF_Err_INTERNAL_STRUCT_DAMAGED);
    ASSERT_EQ(s.sequenceSetup(), PF_Err_NONE);
    // Unserved selectors on a live instance touch nothing and take no suite.
    s.clearRecords();
    for (PF_Cmd cmd : unserved) {
        EXPECT_EQ(s.sendCommand(cmd), PF_Err_NONE) << cmd;
        EXPECT_EQ(s.records().commands.back().outFlags, 0) << cmd;
    }
    EXPECT_TRUE(s.records().suiteAcquires.empty());
    EXPECT_TRUE(s.records().scripts.empty());
    ASSERT_EQ(s.finish(), PF_Err_NONE);
    EXPECT_EQ(s.liveHandles(), 0);
}

TEST(Sequence, OutOfMemoryIsReportedToTheUser)
{
    Effect fx(kCopy);
    Session& s = fx.session;
    ASSERT_EQ(s.globalSetup(), PF_Err_NONE);
    ASSERT_EQ(s.paramsSetup(), PF_Err_NONE);
    s.faults().failNewHandle = true;
    EXPECT_EQ(s.sequenceSetup(), PF_Err_INTERNAL_STRUCT_DAMAGED);
    const glfxhost::CommandRecord& r = s.records().commands.back();
    EXPECT_NE(r.outFlags & PF_OutFlag_DISPLAY_ERROR_MESSAGE, 0);
    EXPECT_NE(r.returnMsg, "");
    EXPECT_FALSE(s.hasSequenceData());
    s.faults().failNewHandle = false;
    ASSERT_EQ(s.finish(), PF_Err_NONE);
    EXPECT_EQ(s.liveHandles(), 0);
}

} // namespace
