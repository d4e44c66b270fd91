// A user's change of a supervised parameter: group switches (UI flags,
// hidden streams, stream names), presets written back into the host, and
// definitions that rebuild the shaders.
#include "tests/shell/PluginFixture.h"

using namespace plugintest;

namespace {

using Calls = std::vector<std::pair<int, bool>>;
using Names = std::vector<std::pair<int, std::string>>;

Calls uiCalls(const Session& s, PF_ParamUIFlags flag)
{
    Calls calls;
    for (const glfxhost::UIUpdate& u : s.records().uiUpdates)
        calls.push_back({u.index, (u.uiFlags & flag) != 0});
    return calls;
}

Calls hiddenCalls(const Session& s)
{
    Calls calls;
    for (const glfxhost::StreamFlagSet& f : s.records().streamFlagSets)
        calls.push_back({f.index, f.set});
    return calls;
}

Names renames(const Session& s)
{
    Names names;
    for (const glfxhost::StreamRename& r : s.records().streamRenames)
        names.push_back({r.index, r.name});
    return names;
}

// A checkbox switch over groups 3 and 4 (disable mode); parameter 5 sits in
// groups 4 and 3, parameter 6 is a layer in group 4, parameter 7 is in group
// 5, outside the switch's range.
const char* const kCheckSwitch = "[settings]\nname=Switch\n"
                                 "[par1]\nname=Switch\ntype=check\ngroupswitch=3\nmax=1\n"
                                 "[par2]\nname=Two\ntype=float\ngroup=3\n"
                                 "[par3]\nname=Three\ntype=float\ngroup=4\n"
                                 "[par4]\nname=Four\ntype=float\n"
                                 "[par5]\nname=Five\nname1=Five in three\ntype=float\ngroup=4\ngroup1=3\n"
                                 "[par6]\nname=Six\ntype=layer\ngroup=4\n"
                                 "[par7]\nname=Seven\ntype=float\ngroup=5\n";

TEST(GroupSwitch, CheckboxDisablesTheOtherGroup)
{
    struct Case {
        bool on;
        Calls disabled; // UI updates: (index, disabled), in order
        Names names;
    };
    const Case cases[] = {
        // Off: group 3. Parameter 5 is disabled by its first group (4) and
        // enabled again by its second (3), taking that group's name.
        {false,
         {{2, false}, {3, true}, {5, true}, {5, false}, {6, true}},
         {{2, "Two"}, {3, "Three"}, {5, "Five"}, {5, "Five in three"}, {6, "Six"}}},
        // On: group 4. Parameter 5 is enabled by its first group, which ends its scan.
        {true,
         {{2, true}, {3, false}, {5, false}, {6, false}},
         {{2, "Two"}, {3, "Three"}, {5, "Five"}, {6, "Six"}}},
    };
    for (HostMode mode : kModes)
        for (const Case& c : cases) {
            SCOPED_TRACE(std::string(hostModeName(mode)) + (c.on ? " on" : " off"));
            Effect fx(kCheckSwitch, mode);
            Session& s = fx.session;
            ASSERT_EQ(s.start(), PF_Err_NONE);
            s.clearRecords();
            s.setCheckbox(1, c.on);
            ASSERT_EQ(s.userChangedParam(1), PF_Err_NONE);
            EXPECT_EQ(s.records().commands.back().outFlags,
                      PF_OutFlag_REFRESH_UI | PF_OutFlag_FORCE_RERENDER);
            EXPECT_EQ(uiCalls(s, PF_PUI_DISABLED), c.disabled);
            Calls visible = c.disabled;
            for (auto& v : visible)
                v.second = false;
            EXPECT_EQ(uiCalls(s, PF_PUI_INVISIBLE), visible);
            // Disable mode renames streams but hides none; Premiere has no streams.
            EXPECT_TRUE(hiddenCalls(s).empty());
            EXPECT_EQ(renames(s), mode == HostMode::Premiere ? Names{} : c.names);
            EXPECT_EQ(s.liveEffectRefs(), 0);
            EXPECT_EQ(s.liveStreamRefs(), 0);
            ASSERT_EQ(s.finish(), PF_Err_NONE);
            EXPECT_EQ(problems(s), "");
        }
}

// A popup switch over groups 101..103 hides the others' parameters. A failing
// hidden flag skips that parameter's name; the later ones still get theirs.
TEST(GroupSwitch, PopupAboveGroupHundredHidesAndAFailureSkipsOneStream)
{
    const char* text = "[settings]\nname=Hide\n[par1]\ntype=popup\ntext=a|b|c\ngroupswitch=101\n"
                       "[par2]\nname=B\ntype=float\ngroup=101\n[par3]\nname=C\ntype=float\ngroup=102\n"
                       "[par4]\nname=D\ntype=float\ngroup=103\n[par5]\nname=E\ntype=float\ngroup=104\n";
    for (bool failing : {false, true}) {
        SCOPED_TRACE(failing);
        Effect fx(text);
        Session& s = fx.session;
        ASSERT_EQ(s.start(), PF_Err_NONE);
        if (failing)
            s.faults().streamFlagErrors[2] = A_Err_ALLOC;
        s.clearRecords();
        s.setPopup(1, 2); // group 102
        ASSERT_EQ(s.userChangedParam(1), PF_Err_NONE);
        EXPECT_EQ(uiCalls(s, PF_PUI_INVISIBLE), (Calls{{2, true}, {3, false}, {4, true}}));
        EXPECT_EQ(uiCalls(s, PF_PUI_DISABLED), (Calls{{2, false}, {3, false}, {4, false}}));
        EXPECT_EQ(hiddenCalls(s),
                  failing ? (Calls{{3, false}, {4, true}}) : (Calls{{2, true}, {3, false}, {4, true}}));
        EXPECT_EQ(renames(s), failing ? (Names{{3, "C"}, {4, "D"}}) : (Names{{2, "B"}, {3, "C"}, {4, "D"}}));
        EXPECT_EQ(s.liveStreamRefs(), 0);
        ASSERT_EQ(s.finish(), PF_Err_NONE);
    }
}

// A failing UI update is the command's answer, and no stream is touched
// after it.
TEST(GroupSwitch, UpdateErrorsAreReturned)
{
    Effect fx(kCheckSwitch);
    Session& s = fx.session;
    ASSERT_EQ(s.start(), PF_Err_NONE);
    s.faults().updateParamUIError = PF_Err_OUT_OF_MEMORY;
    s.clearRecords();
    EXPECT_EQ(s.userChangedParam(1), PF_Err_OUT_OF_MEMORY);
    EXPECT_EQ(renames(s), (Names{{2, "Two"}}));
    ASSERT_EQ(s.finish(), PF_Err_NONE);
}

// Item 2 of a preset chooser writes a value into every other type of
// parameter, in the host's units; item 1 has no preset and changes nothing.
TEST(Presets, WrittenBackIntoTheHost)
{
    const char* text =
        "[settings]\nname=Presets\n"
        "[par1]\nparam=look\ntype=popup\ntext=plain|warm\nflags=3\n"
        "[par2]\nparam=gain\ntype=float\nmin=-10\nmax=10\n[par3]\nparam=on\ntype=check\n"
        "[par4]\nparam=mode\ntype=popup\ntext=x|y|z|w\n[par5]\nparam=tint\ntype=color\n"
        "[par6]\nparam=tilt\ntype=angle\n[par7]\nparam=at\ntype=point\n"
        "[par8]\nparam=edge\ntype=point\n"
        "[preset_look_1]\ngain=0.25\non=1.7\nmode=2.9\ntint=1|0.5|0.2\ntilt=-45.9\nat=0.25|-0.5\n"
        // 3 x 2^-20 x 40 x 65536 = 7.5 and -27 x 2^-19 x 20 x 65536 = -67.5:
        // halves round away from zero.
        "edge=0.00000286102294921875|-0.000051498413085937500\n";
    Effect fx(text);
    Session& s = fx.session;
    ASSERT_EQ(s.start(), PF_Err_NONE);
    World in(40, 20, 8), out(40, 20, 8); // preset points are fractions of the input
    ASSERT_EQ(s.render(in, out), PF_Err_NONE);
    const PF_Fixed atX = s.value(7).u.td.x_value;
    s.setPopup(1, 1);
    ASSERT_EQ(s.userChangedParam(1), PF_Err_NONE);
    EXPECT_EQ(s.value(2).u.fs_d.value, 0.0);
    EXPECT_EQ(s.value(7).u.td.x_value, atX);
    EXPECT_TRUE(s.records().uiUpdates.empty());

    s.setPopup(1, 2);
    ASSERT_EQ(s.userChangedParam(1), PF_Err_NONE);
    EXPECT_EQ(s.value(2).u.fs_d.value, 0.25);
    EXPECT_EQ(s.value(3).u.bd.value, 1);
    EXPECT_EQ(s.value(4).u.pd.value, 3); // item 2 counted from 0
    const PF_Pixel tint = s.value(5).u.cd.value;
    EXPECT_EQ((std::vector<int>{tint.alpha, tint.red, tint.green, tint.blue}),
              (std::vector<int>{255, 255, 127, 51}));
    EXPECT_EQ(s.value(6).u.ad.value, -45 * 65536);
    EXPECT_EQ(s.value(7).u.td.x_value, 10 * 65536);
    EXPECT_EQ(s.value(7).u.td.y_value, -10 * 65536);
    EXPECT_EQ(s.value(8).u.td.x_value, 8);
    EXPECT_EQ(s.value(8).u.td.y_value, -68);
    ASSERT_EQ(s.finish(), PF_Err_NONE);
    EXPECT_EQ(problems(s), "");
}

// A checkbox or popup with definitions (names with a leading underscore)
// changes the shader's text: the change
// rebuilds the shaders, and the next frame shows it.
TEST(Definitions, ChangeRebuildsTheShaders)
{
    const char* text = "[settings]\nname=Defines\n[par1]\nparam=grain\ntype=check\nflags=1\n"
                       "[par2]\nparam=mode\ntype=popup\ntext=SOFT|HARD\nflags=2\n[ps0]\n"
                       "#define SOFT 0.25\n#define HARD 0.75\n"
                       "void main() { gl_FragColor = vec4(float(_grain), _mode, 0.0, 1.0); }\n";
    Effect fx(text);
    Session& s = fx.session;
    ASSERT_EQ(s.start(), PF_Err_NONE);
    auto frame = [&] {
        World in(1, 1, 32), out(1, 1, 32);
        EXPECT_EQ(s.render(in, out), PF_Err_NONE);
        const std::vector<float> p = out.toRGBA();
        return std::vector<float>{p[0], p[1]};
    };
    EXPECT_EQ(frame(), (std::vector<float>{0.f, 0.25f}));
    s.setCheckbox(1, true);
    ASSERT_EQ(s.userChangedParam(1), PF_Err_NONE);
    EXPECT_EQ(frame(), (std::vector<float>{1.f, 0.25f}));
    s.setPopup(2, 2);
    ASSERT_EQ(s.userChangedParam(2), PF_Err_NONE);
    EXPECT_EQ(frame(), (std::vector<float>{1.f, 0.75f}));
    s.doDialog();
    EXPECT_TRUE(s.records().alerts.empty()) << s.records().alerts.front();
    ASSERT_EQ(s.finish(), PF_Err_NONE);
}

} // namespace
