// Global setup, About and parameter setup of the plug-in, seen from the host:
// what it answers, the parameters it adds, and how it fails when the host
// fails it.
#include "PluginFixture.h"

#include "sdk/AE_EffectCBSuites.h"

#include <array>

using namespace plugintest;

namespace {

const char* const kPlain = "[settings]\nname=Plain Look\nversion=1.2\ndescription=A plain description\n"
                           "[par1]\nname=Gain\nparam=gain\ntype=float\n";

constexpr PF_Fixed fixed(int whole) { return whole * 65536; }

TEST(GlobalSetup, AnswersPerHostAndFailuresOfTheGlobalRecord)
{
    enum Case { AfterEffects, Premiere, NoHandleSuite, NoMemory, RegistrationRefused };
    for (Case c : {AfterEffects, Premiere, NoHandleSuite, NoMemory, RegistrationRefused}) {
        SCOPED_TRACE(c);
        Effect fx(kPlain, c == Premiere ? HostMode::Premiere : HostMode::AfterEffects);
        Session& s = fx.session;
        if (c == NoHandleSuite)
            s.faults().missingSuites.insert(kPFHandleSuite);
        s.faults().failNewHandle = c == NoMemory;
        s.faults().registerError = c == RegistrationRefused ? 1234 : A_Err_NONE;
        const PF_Err expected = c == RegistrationRefused ? 1234
                                : c >= NoHandleSuite     ? PF_Err_INTERNAL_STRUCT_DAMAGED
                                                         : PF_Err_NONE;
        EXPECT_EQ(s.globalSetup(), expected);
        // A refused record is neither handed over nor leaked.
        EXPECT_EQ(s.hasGlobalData(), expected == PF_Err_NONE);
        EXPECT_EQ(s.liveHandles(), expected == PF_Err_NONE ? 1 : 0);
        const glfxhost::Records& r = s.records();
        // 2.0, develop stage, build 1. Wide time input, non-param vary,
        // dialog, deep colour, update params UI; group start collapsed flag,
        // smart render, float colour, no clone (the colour depths not under
        // Premiere, which gets 8-bit BGRA only).
        EXPECT_EQ(r.version, 0x100001u);
        const bool pr = c == Premiere;
        EXPECT_EQ(r.outFlags, pr ? 0x6000026 & ~PF_OutFlag_DEEP_COLOR_AWARE : 0x6000026);
        EXPECT_EQ(r.outFlags2, pr ? 0x9408 & ~PF_OutFlag2_FLOAT_COLOR_AWARE : 0x9408);
        EXPECT_EQ(r.supportedFormats,
                  pr ? std::vector<PrPixelFormat>{PrPixelFormat_BGRA_4444_8u} : std::vector<PrPixelFormat>{});
        EXPECT_GE(r.formatClears, pr ? 1 : 0);
        if (c == AfterEffects || pr) {
            EXPECT_EQ(r.registeredNames,
                      pr ? std::vector<std::string>{} : std::vector<std::string>{"Morvanta Cinema Plugin"});
        }
        for (const auto& a : r.suiteAcquires)
            EXPECT_EQ(r.suiteReleases.count(a.first) ? r.suiteReleases.at(a.first) : 0, a.second) << a.first;
        // The description is read whatever happened to the record.
        std::string about;
        ASSERT_EQ(s.about(about), PF_Err_NONE);
        EXPECT_EQ(about, c == Premiere ? "" : "Plain Look 1.2\rA plain description");
        EXPECT_EQ(s.globalSetdown(), PF_Err_NONE);
        EXPECT_EQ(s.liveHandles(), 0);
    }
}

TEST(About, NameVersionAndTheFirst201CharactersOfTheDescription)
{
    std::string alphabet;
    for (int i = 0; i < 300; ++i)
        alphabet += static_cast<char>('a' + i % 26);
    struct Row {
        std::string name, version, description, expected;
    };
    const Row rows[] = {
        {"Look", "v3", alphabet, "Look v3\r" + alphabet.substr(0, 201)},
        {"Look", "v3", "one\\rtwo\\nthree", "Look v3\rone\rtwo\nthree"},
        // An escape right before the cut is one character.
        {"Look", "v3", std::string(200, 'd') + "\\nXYZ", "Look v3\r" + std::string(200, 'd') + "\n"},
        // A long name is cut to the host's 31 characters and the version to
        // what is left of the 255.
        {std::string(80, 'n'), std::string(80, 'v'), std::string(300, 'd'),
         std::string(31, 'n') + " " + std::string(255 - 31 - 2 - 201, 'v') + "\r" + std::string(201, 'd')},
    };
    for (const Row& r : rows) {
        SCOPED_TRACE(r.description.substr(0, 20));
        Effect fx("[settings]\nname=" + r.name + "\nversion=" + r.version + "\ndescription=" + r.description +
                  "\n");
        ASSERT_EQ(fx.session.globalSetup(), PF_Err_NONE);
        std::string about;
        ASSERT_EQ(fx.session.about(about), PF_Err_NONE);
        EXPECT_EQ(about, r.expected);
    }
}

// Each described type becomes the host parameter the effect panel shows, its
// defaults in host units at their edges; ids follow the description index.
// A long name is cut to the host's field, with or without the host's strcpy
// (the host refuses unterminated names), and nothing runs past it.
TEST(ParamsSetup, TypesDefaultsFlagsAndIds)
{
    const std::string text = "[settings]\nname=Types\n"
                             "[par1]\nname=" +
                             std::string(45, 'L') +
                             "\ntype=popup\ntext=x|y|z\ndefault=1.9\n"
                             "[par2]\nname=Enable\ntype=check\ntext=on\ndefault=257\n"
                             "[par3]\nname=Tint\ntype=color\ndefault=1|0.5|0.1\n"
                             "[par4]\nname=Tilt\ntype=angle\ndefault=-30.7\n"
                             "[par5]\nname=Far\ntype=point\ndefault=-2|1\n"
                             "[par6]\nname=Matte\ntype=layer\n"
                             "[par7]\nname=Offset\ntype=float2\nmin=-1\nmax=1\ndefault=0.5\nflags=1\n"
                             "[par8]\nname=Open group\ntype=topic_start\nflags=1\n"
                             "[par9]\nname=Closed group\ntype=topic_start\n"
                             "[par10]\nname=not shown\ntype=topic_end\n"
                             "[par11]\nname=Disabled\ntype=int\ndisabled=1\nmin=0\nmax=9\n"
                             "[par12]\nname=" +
                             std::string(31, 'H') + "\ntype=float\nhidden=1\n";
    for (bool hostStrcpy : {true, false}) {
        SCOPED_TRACE(hostStrcpy);
        Effect fx(text);
        Session& s = fx.session;
        s.faults().nullAnsiStrcpy = !hostStrcpy;
        ASSERT_EQ(s.globalSetup(), PF_Err_NONE);
        ASSERT_EQ(s.paramsSetup(), PF_Err_NONE);
        EXPECT_EQ(s.records().numParams, 13);
        struct Expect {
            PF_ParamType type;
            PF_ParamFlags flags;
            PF_ParamUIFlags ui;
            std::string name;
        };
        const Expect expected[] = {
            {PF_Param_POPUP, PF_ParamFlag_SUPERVISE, 0, std::string(31, 'L')},
            {PF_Param_CHECKBOX, PF_ParamFlag_SUPERVISE, 0, "Enable"},
            {PF_Param_COLOR, 0, 0, "Tint"},
            {PF_Param_ANGLE, 0, 0, "Tilt"},
            {PF_Param_POINT, 0, 0, "Far"},
            {PF_Param_LAYER, 0, 0, "Matte"},
            {PF_Param_FLOAT_SLIDER, 0, 0, "Offset"},
            {PF_Param_GROUP_START, 0, 0, "Open group"},
            {PF_Param_GROUP_START, PF_ParamFlag_START_COLLAPSED, 0, "Closed group"},
            {PF_Param_GROUP_END, 0, 0, ""},
            {PF_Param_FLOAT_SLIDER, 0, PF_PUI_DISABLED, "Disabled"},
            {PF_Param_FLOAT_SLIDER, 0, PF_PUI_INVISIBLE, std::string(31, 'H')},
        };
        ASSERT_EQ(s.added().size(), std::size(expected));
        for (size_t k = 0; k < std::size(expected); ++k) {
            SCOPED_TRACE(k);
            const PF_ParamDef& d = s.added()[k].def;
            EXPECT_EQ(d.uu.id, static_cast<A_long>(k + 2));
            EXPECT_EQ(d.param_type, expected[k].type);
            EXPECT_EQ(d.flags, expected[k].flags);
            EXPECT_EQ(d.ui_flags, expected[k].ui);
            EXPECT_EQ(s.added()[k].name, expected[k].name);
        }
        auto def = [&](int hostIndex) -> const PF_ParamDef& { return s.added()[hostIndex - 1].def; };
        EXPECT_EQ(def(1).u.pd.num_choices, 3);
        EXPECT_EQ(def(1).u.pd.dephault, 2); // item trunc(1.9), counted from 1
        EXPECT_EQ(s.added()[0].choices, "x|y|z");
        EXPECT_EQ(def(2).u.bd.dephault, 1); // only the low 8 bits of 257
        EXPECT_EQ(s.added()[1].choices, "on");
        const PF_Pixel tint = def(3).u.cd.dephault; // 127.5 and 25.5 truncated
        EXPECT_EQ((std::vector<int>{tint.alpha, tint.red, tint.green, tint.blue}),
                  (std::vector<int>{255, 255, 127, 25}));
        EXPECT_EQ(def(4).u.ad.dephault, fixed(-30)); // toward zero
        EXPECT_EQ(def(5).u.td.x_dephault, fixed(-200));
        EXPECT_EQ(def(5).u.td.y_dephault, fixed(100)); // percent of the layer
        EXPECT_EQ(def(5).u.td.restrict_bounds, 0);
        EXPECT_EQ(def(6).u.ld.dephault, PF_LayerDefault_MYSELF);
        const PF_FloatSliderDef& f = def(7).u.fs_d;
        EXPECT_EQ(
            (std::vector<double>{f.value, f.dephault, f.valid_min, f.valid_max, f.slider_min, f.slider_max}),
            (std::vector<double>{0.5, 0.5, -1, 1, -1, 1}));
        EXPECT_EQ(f.precision, 2);
        EXPECT_EQ(f.display_flags, PF_ValueDisplayFlag_PERCENT);
        EXPECT_EQ(def(11).u.fs_d.precision, 0); // an int is a slider of whole numbers
        EXPECT_EQ(problems(s), "");
    }
}

TEST(ParamsSetup, ParameterCountsAtTheEdges)
{
    // Count 0 still leaves the host its input layer; more than the table
    // holds is read as the full table.
    std::string params;
    for (int i = 1; i < 128; ++i)
        params += (i == 1 ? "[par1]\nname=p" : "[par]\nname=p") + std::to_string(i) + "\ntype=float\n";
    // {count, parameters added, count told to the host}
    for (const auto& r : {std::array<int, 3>{0, 0, 1}, {1, 0, 1}, {127, 126, 127}, {500, 127, 128}}) {
        SCOPED_TRACE(r[0]);
        Effect fx(params + "[settings]\nparams=" + std::to_string(r[0]) + "\n");
        ASSERT_EQ(fx.session.globalSetup(), PF_Err_NONE);
        ASSERT_EQ(fx.session.paramsSetup(), PF_Err_NONE);
        ASSERT_EQ(fx.session.added().size(), static_cast<size_t>(r[1]));
        EXPECT_EQ(fx.session.records().numParams, r[2]);
        if (r[1]) {
            EXPECT_EQ(fx.session.added().back().def.uu.id, r[1] + 1);
            EXPECT_EQ(fx.session.added().back().name, "p" + std::to_string(r[1]));
        }
    }
}

// add_param failing ends the command with the host's error; a host callback
// that throws does not take the plug-in down.
TEST(ParamsSetup, HostFailuresEndTheCommand)
{
    using Throw = glfxhost::HostFaults::Throw;
    struct Row {
        int failAt;
        Throw throws;
        PF_Err expected;
        const char* message; // null: none shown
    };
    const Row rows[] = {
        {1, Throw::None, PF_Err_OUT_OF_MEMORY, nullptr},
        {-1, Throw::BadAlloc, PF_Err_OUT_OF_MEMORY, "Out of memory."},
        {-1, Throw::RuntimeError, PF_Err_INTERNAL_STRUCT_DAMAGED, "host failure"},
    };
    for (const Row& r : rows) {
        SCOPED_TRACE(r.expected);
        Effect fx("[par1]\ntype=float\n[par2]\ntype=float\n[par3]\ntype=float\n");
        Session& s = fx.session;
        ASSERT_EQ(s.globalSetup(), PF_Err_NONE);
        s.faults().failAddParamAt = r.failAt;
        s.faults().addParamThrows = r.throws;
        EXPECT_EQ(s.paramsSetup(), r.expected);
        EXPECT_EQ(s.added().size(), r.failAt < 0 ? 0u : static_cast<size_t>(r.failAt));
        EXPECT_EQ(s.records().numParams, 1); // not told any other count
        const glfxhost::CommandRecord& c = s.records().commands.back();
        EXPECT_EQ(c.returnMsg, r.message ? r.message : "");
        EXPECT_EQ((c.outFlags & PF_OutFlag_DISPLAY_ERROR_MESSAGE) != 0, r.message != nullptr);
    }
}

} // namespace
