// Global setup, setdown and About, driven with a fake host.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <string>

#include "FakeHost.h"
#include "render/GlobalData.h"
#include "shell/Global.h"

namespace {

const char* kPlain =
    "[settings]\nname=Plain Look\nversion=1.2\ndescription=A plain description\n"
    "[par1]\nname=Gain\nparam=gain\ntype=float\n";

GlobalData* globalRecord(PF_Handle h) { return h ? static_cast<GlobalData*>(*h) : nullptr; }

TEST(GlobalSetup, VersionFlagsAndRegistrationOutsidePremiere)
{
    FakeHost h;
    cglfx fx;
    ASSERT_EQ(glfxshell::GlobalSetup(&h.in, &h.out, fx, kPlain), PF_Err_NONE);
    EXPECT_EQ(h.out.my_version, 0x100001u);
    EXPECT_EQ(h.out.out_flags, 0x6000026);
    EXPECT_EQ(h.out.out_flags2, 0x9408);
    EXPECT_EQ(h.formatClears, 0);
    EXPECT_TRUE(h.formats.empty());
    ASSERT_EQ(h.registered.size(), 1u);
    EXPECT_EQ(h.registered[0], "Morvanta Cinema Plugin");

    GlobalData* g = globalRecord(h.out.global_data);
    ASSERT_NE(g, nullptr);
    EXPECT_EQ(h.sizeOf(h.out.global_data), sizeof(GlobalData));
    EXPECT_EQ(g->initialized, 1);
    EXPECT_EQ(g->pluginID, 77);  // the id the fake host hands out
    for (int w : g->reserved)
        EXPECT_EQ(w, 0);
    // Every suite taken was given back.
    for (const auto& a : h.acquired)
        EXPECT_EQ(h.released[a.first], a.second) << a.first;

    EXPECT_EQ(fx.settings.name, "Plain Look");
    EXPECT_EQ(fx.settings.params, 2);

    h.in.global_data = h.out.global_data;
    EXPECT_EQ(glfxshell::GlobalSetdown(&h.in, &h.out), PF_Err_NONE);
    EXPECT_EQ(h.handlesLive, 0);
}

TEST(GlobalSetup, PremiereGetsEightBitBgraAndNoRegistration)
{
    FakeHost h(true);
    cglfx fx;
    ASSERT_EQ(glfxshell::GlobalSetup(&h.in, &h.out, fx, kPlain), PF_Err_NONE);
    EXPECT_EQ(h.out.my_version, 0x100001u);
    EXPECT_EQ(h.out.out_flags, 0x6000026 & ~(1 << 25));
    EXPECT_EQ(h.out.out_flags2, 0x8408);
    EXPECT_EQ(h.formatClears, 1);
    ASSERT_EQ(h.formats.size(), 1u);
    EXPECT_EQ(h.formats[0], 0x61726762);  // 'b' 'g' 'r' 'a' in memory order
    EXPECT_EQ(h.acquired[kPFPixelFormatSuite], h.released[kPFPixelFormatSuite]);
    EXPECT_TRUE(h.registered.empty());
    ASSERT_NE(globalRecord(h.out.global_data), nullptr);
    EXPECT_EQ(globalRecord(h.out.global_data)->initialized, 1);
    EXPECT_EQ(globalRecord(h.out.global_data)->pluginID, 0);
}

TEST(GlobalSetup, GlobalDataFailuresAreReportedAfterTheDescriptionIsRead)
{
    {
        FakeHost h;
        h.offered[kPFHandleSuite] = false;
        cglfx fx;
        EXPECT_EQ(glfxshell::GlobalSetup(&h.in, &h.out, fx, kPlain), PF_Err_INTERNAL_STRUCT_DAMAGED);
        EXPECT_EQ(h.out.global_data, nullptr);
        EXPECT_EQ(fx.settings.name, "Plain Look");
        EXPECT_EQ(h.out.out_flags, 0x6000026);
    }
    {
        FakeHost h;
        h.failNewHandle = true;
        cglfx fx;
        EXPECT_EQ(glfxshell::GlobalSetup(&h.in, &h.out, fx, kPlain), PF_Err_INTERNAL_STRUCT_DAMAGED);
        EXPECT_EQ(fx.settings.name, "Plain Look");
    }
    {
        // A refused registration passes the host's error on; the record is
        // not handed over, and not leaked either.
        FakeHost h;
        h.registerResult = 1234;
        cglfx fx;
        EXPECT_EQ(glfxshell::GlobalSetup(&h.in, &h.out, fx, kPlain), 1234);
        EXPECT_EQ(h.out.global_data, nullptr);
        EXPECT_EQ(h.handlesLive, 0);
        EXPECT_EQ(fx.settings.name, "Plain Look");
    }
}

TEST(GlobalSetdown, NoGlobalDataIsNoError)
{
    FakeHost h;
    h.in.global_data = nullptr;
    EXPECT_EQ(glfxshell::GlobalSetdown(&h.in, &h.out), PF_Err_NONE);
}

TEST(About, NameVersionAndTheFirst201CharactersOfTheDescription)
{
    cglfx fx;
    fx.settings.name = "Look";
    fx.settings.version = "v3";
    std::string description;
    for (int i = 0; i < 300; ++i)
        description += static_cast<char>('a' + i % 26);
    fx.settings.description = description;

    FakeHost h;
    ASSERT_EQ(glfxshell::About(&h.in, &h.out, fx), PF_Err_NONE);
    EXPECT_EQ(std::string(h.out.return_msg), "Look v3\r" + description.substr(0, 201));
}

TEST(About, EscapesBecomeLineBreaksBeforeTheCut)
{
    cglfx fx;
    fx.settings.name = "N";
    fx.settings.version = "1";
    fx.settings.description = "one\\rtwo\\nthree";
    FakeHost h;
    ASSERT_EQ(glfxshell::About(&h.in, &h.out, fx), PF_Err_NONE);
    EXPECT_EQ(std::string(h.out.return_msg), "N 1\rone\rtwo\nthree");

    // 200 characters then an escape: the escape counts as one character.
    fx.settings.description = std::string(200, 'd') + "\\nXYZ";
    std::memset(h.out.return_msg, 0, sizeof h.out.return_msg);
    ASSERT_EQ(glfxshell::About(&h.in, &h.out, fx), PF_Err_NONE);
    EXPECT_EQ(std::string(h.out.return_msg), "N 1\r" + std::string(200, 'd') + "\n");
}

TEST(About, LongNameAndVersionStillFitTheMessage)
{
    cglfx fx;
    fx.settings.name = std::string(80, 'n');
    fx.settings.version = std::string(80, 'v');
    fx.settings.description = std::string(300, 'd');
    FakeHost h;
    ASSERT_EQ(glfxshell::About(&h.in, &h.out, fx), PF_Err_NONE);
    const std::string msg = h.out.return_msg;
    EXPECT_LE(msg.size(), 255u);
    EXPECT_EQ(msg.substr(0, 32), std::string(31, 'n') + " ");
    EXPECT_EQ(msg.substr(msg.size() - 202), "\r" + std::string(201, 'd'));
}

TEST(About, NothingUnderPremiere)
{
    cglfx fx;
    fx.settings.name = "Look";
    fx.settings.description = "text";
    FakeHost h(true);
    std::strcpy(h.out.return_msg, "untouched");
    EXPECT_EQ(glfxshell::About(&h.in, &h.out, fx), PF_Err_NONE);
    EXPECT_STREQ(h.out.return_msg, "untouched");
}

}  // namespace
