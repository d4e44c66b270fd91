// Alerts through host scripts, and the log location object.
#include <gtest/gtest.h>

#include <string>

#include "FakeHost.h"
#include "shell/Alert.h"
#include "shell/Log.h"

namespace {

TEST(Alert, QuotesAndControlCharactersAreMadeSafe)
{
    FakeHost h;
    alert(&h.in, "it's\tdone\nnext\rend");
    ASSERT_EQ(h.scripts.size(), 1u);
    EXPECT_EQ(h.scripts[0], "alert('it\"s done\\nnext\\rend');");
    EXPECT_EQ(h.memHandlesLive, 0);
}

TEST(Alert, LongMessagesAreCutToTheScriptBuffer)
{
    FakeHost h;
    alert(&h.in, std::string(20000, 'm'));
    ASSERT_EQ(h.scripts.size(), 1u);
    EXPECT_EQ(h.scripts[0].size(), 16381u);
    EXPECT_EQ(h.scripts[0], "alert('" + std::string(16381 - 7, 'm'));
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

    // Exactly 16381 characters pass whole; one more is cut.
    runScript(&h.in, std::string(16381, 's'), result);
    runScript(&h.in, std::string(16382, 's'), result);
    ASSERT_EQ(h.scripts.size(), 3u);
    EXPECT_EQ(h.scripts[1].size(), 16381u);
    EXPECT_EQ(h.scripts[2].size(), 16381u);
}

TEST(RunScript, FailuresLeaveTheResultAlone)
{
    {
        FakeHost h;
        h.scriptError = 9;
        std::string result = "before";
        runScript(&h.in, "x", result);
        EXPECT_EQ(result, "before");
        EXPECT_EQ(h.memHandlesLive, 0);
    }
    {
        FakeHost h;
        h.offered[kAEGPUtilitySuite] = false;
        std::string result = "before";
        runScript(&h.in, "x", result);
        EXPECT_EQ(result, "before");
        EXPECT_TRUE(h.scripts.empty());
    }
}

TEST(RunScript, NothingUnderPremiere)
{
    FakeHost h(true);
    std::string result = "before";
    runScript(&h.in, "x", result);
    alert(&h.in, "message");
    EXPECT_TRUE(h.scripts.empty());
    EXPECT_EQ(result, "before");
    EXPECT_TRUE(h.acquired.empty());
}

TEST(Log, RecordsWhereALogWouldGo)
{
    EXPECT_EQ(cLog.path, "./");
    EXPECT_EQ(cLog.name, "err.log");
    CLog other;
    EXPECT_EQ(other.path + other.name, "./err.log");
}

}  // namespace
