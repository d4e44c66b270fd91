// The instance record through the sequence commands, seen from the host:
// setup, flatten, re-setup (a project saved and opened again) and setdown,
// the handles they leave, and the commands an instance cannot serve yet.
#include "PluginFixture.h"

using namespace plugintest;

namespace {

const char* const kCopy = "[settings]\nname=Copy\nversion=1\n"
                          "[par1]\nname=Gain\nparam=gain\ntype=float\ndefault=0.5\n";
const float kRed[4] = {1.f, 0.f, 0.f, 1.f};

// A frame through the instance: the input comes back (the default pass copies).
void renderCopies(Session& s, HostMode mode)
{
    World in = worldFor(mode, 8, 4), out = worldFor(mode, 8, 4);
    in.setPixel(3, 2, kRed);
    ASSERT_EQ(s.render(in, out), PF_Err_NONE);
    expectPixel(out, 3, 2, kRed);
    EXPECT_TRUE(out.paddingIntact());
}

// The record is a host handle of the size the effect reports for saving, or
// the effect's own memory where the host has no handle callbacks. Reopening
// a project closes the live instance first: it is set down (and releases its
// GPU context) before the saved bytes come back, whether or not it was
// flattened, and no handle piles up over many reopenings.
TEST(Sequence, ResetupSetsTheLiveInstanceDownFirstWithHostOrOwnHandles)
{
    for (HostMode mode : kModes)
        for (bool ownHandles : {false, true}) {
            SCOPED_TRACE(std::string(hostModeName(mode)) + (ownHandles ? ", no handle callbacks" : ""));
            Effect fx(kCopy, mode);
            Session& s = fx.session;
            s.faults().nullHandleCallbacks = ownHandles;
            ASSERT_EQ(s.start(), PF_Err_NONE);
            const size_t flatSize = static_cast<size_t>(s.records().flatSize);
            EXPECT_GT(flatSize, 0u);
            EXPECT_EQ(s.sequenceDataSize(), ownHandles ? 0u : flatSize);
            const int handles = ownHandles ? 1 : 2; // global data (through the handle suite) and record
            for (bool flattenFirst : {false, true, false, true}) {
                renderCopies(s, mode);
                if (flattenFirst) {
                    ASSERT_EQ(s.flatten(), PF_Err_NONE);
                    EXPECT_EQ(s.flatData().size(), ownHandles ? 0u : flatSize);
                }
                s.clearRecords();
                ASSERT_EQ(s.resetup(), PF_Err_NONE);
                EXPECT_EQ(commandNames(s),
                          (std::vector<std::string>{"SEQUENCE_SETDOWN", "SEQUENCE_RESETUP"}));
                EXPECT_EQ(s.liveHandles(), handles);
            }
            renderCopies(s, mode);
            ASSERT_EQ(s.sequenceSetdown(), PF_Err_NONE);
            EXPECT_FALSE(s.hasSequenceData());
            ASSERT_EQ(s.globalSetdown(), PF_Err_NONE);
            EXPECT_EQ(s.liveHandles(), 0);
            EXPECT_EQ(problems(s), "");
        }
}

// Saved bytes of another size (a project from another build) become one
// record of the right size; a project saved in one host and opened in the
// other renders in the channel order of the host it is opened in.
TEST(Sequence, SavedBytesFromAnotherBuildOrHost)
{
    const std::string text =
        std::string(kCopy) + "[ps0]\nvoid main() { gl_FragColor = vec4(0.2, 0.4, 0.6, 1.0); }\n";
    enum Source { Short, Long, OtherHost };
    for (HostMode opened : kModes)
        for (Source from : {Short, Long, OtherHost}) {
            SCOPED_TRACE(testing::Message() << hostModeName(opened) << " " << from);
            const HostMode other = opened == HostMode::Premiere ? HostMode::AfterEffects : HostMode::Premiere;
            Effect saver(text, other), fx(text, opened);
            ASSERT_EQ(saver.session.start(), PF_Err_NONE);
            ASSERT_EQ(saver.session.flatten(), PF_Err_NONE);
            Session& s = fx.session;
            ASSERT_EQ(s.start(), PF_Err_NONE);
            const size_t recordSize = s.sequenceDataSize();
            s.setFlatData(from == OtherHost
                              ? saver.session.flatData()
                              : std::vector<uint8_t>(from == Short ? 16 : recordSize + 1000, 0));
            ASSERT_EQ(s.resetup(), PF_Err_NONE);
            EXPECT_EQ(s.sequenceDataSize(), recordSize);
            World in = worldFor(opened, 3, 1), out = worldFor(opened, 3, 1);
            ASSERT_EQ(s.render(in, out), PF_Err_NONE);
            expectPixel(out, 2, 0, {0.2f, 0.4f, 0.6f, 1.0f});
            ASSERT_EQ(s.finish(), PF_Err_NONE);
            EXPECT_EQ(s.liveHandles(), 0);
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
    // Out of memory for the record is reported to the user.
    s.faults().failNewHandle = true;
    EXPECT_EQ(s.sequenceSetup(), PF_Err_INTERNAL_STRUCT_DAMAGED);
    EXPECT_NE(s.records().commands.back().outFlags & PF_OutFlag_DISPLAY_ERROR_MESSAGE, 0);
    EXPECT_NE(s.records().commands.back().returnMsg, "");
    EXPECT_FALSE(s.hasSequenceData());
    s.faults().failNewHandle = false;
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

} // namespace
