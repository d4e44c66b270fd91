// The Options dialog of an instance that rendered: it rebuilds the shaders
// and shows a build log as an alert script, made safe for the script's
// string; host failures leave nothing behind.
#include "PluginFixture.h"

#include "sdk/AE_GeneralPlug.h"

using namespace plugintest;

namespace {

// A shader with three undeclared names: a build log of three lines (Mesa
// quotes each name with ` and ').
const char* const kBroken = "[settings]\nname=Broken\n[ps0]\nvoid main() {\n"
                            "float a0 = undeclared0;\nfloat a1 = undeclared1;\nfloat a2 = undeclared2;\n"
                            "gl_FragColor = vec4(0.0);\n}\n";

// No alert in Premiere, and none when the host cannot run scripts: the
// dialog still answers no error and leaves no memory handle or suite behind.
TEST(Alert, BuildLogIsOneSafeAlertUnlessTheHostCannotShowIt)
{
    enum Case { AfterEffects, Premiere, ScriptError, NoUtilitySuite };
    for (Case c : {AfterEffects, Premiere, ScriptError, NoUtilitySuite}) {
        SCOPED_TRACE(c);
        const HostMode mode = c == Premiere ? HostMode::Premiere : HostMode::AfterEffects;
        Effect fx(kBroken, mode);
        Session& s = fx.session;
        ASSERT_EQ(s.start(), PF_Err_NONE);
        s.faults().scriptError = c == ScriptError ? A_Err_GENERIC : A_Err_NONE;
        if (c == NoUtilitySuite)
            s.faults().missingSuites.insert(kAEGPUtilitySuite);
        EXPECT_EQ(s.doDialog(), PF_Err_NONE); // before any render: nothing to rebuild
        EXPECT_TRUE(s.records().scripts.empty());
        World in = worldFor(mode, 4, 4), out = worldFor(mode, 4, 4);
        s.render(in, out); // an instance builds its shaders at its first render; failing is no error
        EXPECT_EQ(s.doDialog(), PF_Err_NONE);
        const glfxhost::Records& r = s.records();
        EXPECT_EQ(r.scripts.size(), c == AfterEffects || c == ScriptError ? 1u : 0u);
        EXPECT_EQ(r.alerts.size(), c == AfterEffects ? 1u : 0u);
        EXPECT_EQ(s.liveMemHandles(), 0);
        for (const auto& a : r.suiteAcquires)
            EXPECT_EQ(r.suiteReleases.count(a.first) ? r.suiteReleases.at(a.first) : 0, a.second) << a.first;
        if (c == AfterEffects && r.alerts.size() == 1) {
            const std::string& script = r.scripts[0];
            ASSERT_GE(script.size(), 10u);
            EXPECT_EQ(script.substr(0, 7), "alert('");
            EXPECT_EQ(script.substr(script.size() - 3), "');");
            // Quotes become double quotes; line breaks arrive as escapes.
            const std::string inside = script.substr(7, script.size() - 10);
            EXPECT_EQ(inside.find_first_of("'\r\n\t"), std::string::npos) << inside;
            for (const char* name : {"undeclared0", "undeclared1", "undeclared2", "\n", "\""})
                EXPECT_NE(r.alerts[0].find(name), std::string::npos) << name;
        }
        ASSERT_EQ(s.finish(), PF_Err_NONE);
        EXPECT_EQ(problems(s), "");
    }
}

} // namespace
