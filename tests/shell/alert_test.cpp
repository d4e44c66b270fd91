// Alerts through host scripts.
#include <gtest/gtest.h>

#include <string>

#include "FakeHost.h"
#include "shell/Alert.h"

namespace {

TEST(Alert, ScriptTextIsMadeSafeAndCutToTheBuffer)
{
    FakeHost h;
    alert(&h.in, "it's\tdone\nnext\rend");
    alert(&h.in, std::string(20000, 'm'));
    ASSERT_EQ(h.scripts.size(), 2u);
    EXPECT_EQ(h.scripts[0], "alert('it\"s done\\nnext\\rend');");
    EXPECT_EQ(h.scripts[1], "alert('" + std::string(16381 - 7, 'm'));
    EXPECT_EQ(h.memHandlesLive, 0);
}

TEST(RunScript, ResultTextAndHandleRelease)
{
    FakeHost h;
    h.scriptResult = "42";
    std::string result = "before";
    runScript(&h.in, "1+41", result);
    EXPECT_EQ(result, "42");
    EXPECT_EQ(h.memHandlesLive, 0);
    for (const auto& a : h.acquired)
        EXPECT_EQ(h.released[a.first], a.second) << a.first;
}

TEST(RunScript, FailuresAndPremiereLeaveTheResultAlone)
{
    enum Case { ScriptError, NoUtilitySuite, Premiere };
    for (Case c : {ScriptError, NoUtilitySuite, Premiere}) {
        SCOPED_TRACE(c);
        FakeHost h(c == Premiere);
        h.scriptError = c == ScriptError ? 9 : 0;
        h.offered[kAEGPUtilitySuite] = c != NoUtilitySuite;
        std::string result = "before";
        runScript(&h.in, "x", result);
        EXPECT_EQ(result, "before");
        EXPECT_EQ(h.memHandlesLive, 0);
        EXPECT_EQ(h.scripts.size(), c == ScriptError ? 1u : 0u);
        if (c == Premiere) {
            alert(&h.in, "message");
            EXPECT_TRUE(h.scripts.empty());
            EXPECT_TRUE(h.acquired.empty());
        }
    }
}

} // namespace
