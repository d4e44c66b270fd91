// Global setup, setdown and About, driven with a fake host. Version, flags,
// pixel formats and the registration name per host are checked through the
// real plug-in in the host tests; here: the global record, the failures of
// its allocation, and the About text's cut.
#include <gtest/gtest.h>

#include <string>

#include "FakeHost.h"
#include "render/GlobalData.h"
#include "shell/Global.h"

namespace {

const char* kPlain = "[settings]\nname=Plain Look\nversion=1.2\ndescription=A plain description\n"
                     "[par1]\nname=Gain\nparam=gain\ntype=float\n";

TEST(GlobalSetup, GlobalRecordAndItsFailures)
{
    // The description is read whatever happens to the global data. A refused
    // registration passes the host's error on; the record is then neither
    // handed over nor leaked.
    enum Case { AfterEffects, Premiere, NoHandleSuite, NoMemory, RegistrationRefused };
    for (Case c : {AfterEffects, Premiere, NoHandleSuite, NoMemory, RegistrationRefused}) {
        SCOPED_TRACE(c);
        FakeHost h(c == Premiere);
        h.offered[kPFHandleSuite] = c != NoHandleSuite;
        h.failNewHandle = c == NoMemory;
        h.registerResult = c == RegistrationRefused ? 1234 : 0;
        cglfx fx;
        const PF_Err expected = c == RegistrationRefused ? 1234
                                : c >= NoHandleSuite     ? PF_Err_INTERNAL_STRUCT_DAMAGED
                                                         : PF_Err_NONE;
        EXPECT_EQ(glfxshell::GlobalSetup(&h.in, &h.out, fx, kPlain), expected);
        EXPECT_EQ(fx.settings.name, "Plain Look");
        EXPECT_EQ(fx.settings.params, 2);
        for (const auto& a : h.acquired)
            EXPECT_EQ(h.released[a.first], a.second) << a.first;
        if (expected == PF_Err_NONE) {
            ASSERT_NE(h.out.global_data, nullptr);
            EXPECT_EQ(h.sizeOf(h.out.global_data), sizeof(GlobalData));
            const GlobalData* g = static_cast<GlobalData*>(*h.out.global_data);
            EXPECT_EQ(g->initialized, 1);
            EXPECT_EQ(g->pluginID,
                      c == Premiere ? 0 : 77); // 77: the fake host's id; no registration in Premiere
            for (int w : g->reserved)
                EXPECT_EQ(w, 0);
        } else {
            EXPECT_EQ(h.out.global_data, nullptr);
        }
        h.in.global_data = h.out.global_data;
        EXPECT_EQ(glfxshell::GlobalSetdown(&h.in, &h.out), PF_Err_NONE);
        EXPECT_EQ(h.handlesLive, 0);
    }
}

TEST(About, NameVersionAndTheFirst201CharactersOfTheDescription)
{
    std::string alphabet;
    for (int i = 0; i < 300; ++i)
        alphabet += static_cast<char>('a' + i % 26);
    struct Row {
        std::string description, expected;
    };
    const Row rows[] = {
        {alphabet, "Look v3\r" + alphabet.substr(0, 201)},
        {"one\\rtwo\\nthree", "Look v3\rone\rtwo\nthree"},
        // 200 characters then an escape: the escape becomes one character
        // before the cut.
        {std::string(200, 'd') + "\\nXYZ", "Look v3\r" + std::string(200, 'd') + "\n"},
    };
    for (const Row& r : rows) {
        SCOPED_TRACE(r.description);
        cglfx fx;
        fx.settings.name = "Look";
        fx.settings.version = "v3";
        fx.settings.description = r.description;
        FakeHost h;
        ASSERT_EQ(glfxshell::About(&h.in, &h.out, fx), PF_Err_NONE);
        EXPECT_EQ(std::string(h.out.return_msg), r.expected);
    }
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

} // namespace
