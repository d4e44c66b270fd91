// What the host records of a long session stays bounded: the lists keep
// recent entries and count all of them.
#include "host/Host.h"

#include <gtest/gtest.h>

#include <string>

using namespace glfxhost;

namespace {

enum { kInvert = 2 }; // the test plug-in's supervised checkbox

// Every list the test plug-in's user change and dialog add to, with how many
// entries one round adds (a change, its undo and one dialog).
struct ListCase {
    const char* name;
    size_t (*size)(const Records&);
    uint64_t (*total)(const Records&);
    uint64_t perRound;
};

#define LIST(name, perRound)                                                                                 \
    {                                                                                                        \
#name, [](const Records& r) { return r.name.size(); }, [](const Records&                             \
                                                                      r) { return r.name.total(); },         \
                                                                                                  perRound   \
    }
const ListCase kLists[] = {LIST(commands, 3),      LIST(uiUpdates, 2), LIST(streamFlagSets, 2),
                           LIST(streamRenames, 2), LIST(scripts, 1),   LIST(alerts, 1)};
#undef LIST

// `rounds` user changes (on and off) and dialogs; the effect text is an
// alert script, which the test plug-in runs at its dialog.
void play(Session& s, int rounds)
{
    for (int i = 0; i < rounds; ++i) {
        s.setCheckbox(kInvert, true);
        ASSERT_EQ(s.userChangedParam(kInvert), PF_Err_NONE);
        s.setCheckbox(kInvert, false);
        ASSERT_EQ(s.userChangedParam(kInvert), PF_Err_NONE);
        ASSERT_EQ(s.doDialog(), PF_Err_NONE);
    }
}

TEST(HostRecords, ListsStayBoundedAndKeepTheLatestEntries)
{
    Plugin plugin(HOST_TEST_PLUGIN);
    plugin.setEffectText("alert('frame');");
    Session s(plugin, HostMode::AfterEffects);
    ASSERT_EQ(s.start(), PF_Err_NONE);
    const uint64_t commandsAtStart = s.records().commands.total();
    const int rounds = static_cast<int>(Records::kDefaultLimit) + 100; // > 2 × limit entries for most lists
    play(s, rounds);
    const Records& r = s.records();
    for (const ListCase& c : kLists) {
        SCOPED_TRACE(c.name);
        const uint64_t added =
            c.perRound * rounds + (c.name == std::string("commands") ? commandsAtStart : 0);
        EXPECT_EQ(c.total(r), added);
        EXPECT_LE(c.size(r), 2 * Records::kDefaultLimit);
        EXPECT_GE(c.size(r), std::min<uint64_t>(added, Records::kDefaultLimit));
    }
    // The newest entries are the ones kept.
    EXPECT_EQ(r.commands.back().cmd, PF_Cmd_DO_DIALOG);
    EXPECT_EQ(r.streamRenames.back().name, "Angle");
    EXPECT_EQ(r.alerts.back(), "frame");
    // The latest state per parameter is not a list and stays exact.
    EXPECT_FALSE(r.hidden.at(5));
    EXPECT_EQ(s.finish(), PF_Err_NONE);
}

TEST(HostRecords, LimitZeroKeepsOnlyTotals)
{
    Plugin plugin(HOST_TEST_PLUGIN);
    plugin.setEffectText("alert('x');");
    Session s(plugin, HostMode::AfterEffects);
    s.setRecordLimit(0);
    ASSERT_EQ(s.start(), PF_Err_NONE);
    play(s, 3);
    const Records& r = s.records();
    for (const ListCase& c : kLists) {
        SCOPED_TRACE(c.name);
        EXPECT_EQ(c.size(r), 0u);
        EXPECT_GE(c.total(r), c.perRound * 3);
    }
    // Answers that are not lists are kept whatever the limit.
    EXPECT_EQ(r.version, static_cast<A_u_long>(PF_VERSION(1, 2, 3, PF_Stage_BETA, 4)));
    EXPECT_EQ(r.numParams, 8);
    // clearRecords keeps the limit; a new limit applies from the next entry.
    s.clearRecords();
    EXPECT_EQ(s.recordLimit(), 0u);
    s.setRecordLimit(2);
    play(s, 3);
    EXPECT_EQ(r.commands.total(), 9u);
    EXPECT_GE(r.commands.size(), 2u);
    EXPECT_LE(r.commands.size(), 4u);
    EXPECT_EQ(s.finish(), PF_Err_NONE);
}

} // namespace
