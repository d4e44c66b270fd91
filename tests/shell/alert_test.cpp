// The Options dialog of an instance that rendered: it rebuilds the shaders
// and shows a build log as an alert script, made safe for the script's
// string; host failures leave nothing behind.
#include "PluginFixture.h"

#include "sdk/AE_GeneralPlug.h"

using namespace plugintest;

namespace {

// A shader with `errors` undeclared names: a build log of that many lines
// (Mesa quotes each name with ` and ').
std::string brokenEffect(int errors)
{
    std::string text = "[settings]\nname=Broken\n[ps0]\nvoid main() {\n";
    for (int i = 0; i < errors; ++i)
        text += "float a" + std::to_string(i) + " = undeclared" + std::to_string(i) + ";\n";
    return text + "gl_FragColor = vec4(0.0);\n}\n";
}

// Renders a frame (an instance builds its shaders at its first render) and
// opens the dialog.
void renderThenDialog(Session& s, HostMode mode)
{
    ASSERT_EQ(s.start(), PF_Err_NONE);
    EXPECT_EQ(s.doDialog(), PF_Err_NONE); // before any render: nothing to rebuild
    EXPECT_TRUE(s.records().scripts.empty());
    World in = worldFor(mode, 4, 4), out = worldFor(mode, 4, 4);
    s.render(in, out); // a failed build is no render error
    EXPECT_EQ(s.doDialog(), PF_Err_NONE);
}

TEST(Alert, BuildLogIsShownAsOneSafeAlert)
{
    Effect fx(brokenEffect(3));
    Session& s = fx.session;
    renderThenDialog(s, HostMode::AfterEffects);
    const glfxhost::Records& r = s.records();
    ASSERT_EQ(r.scripts.size(), 1u);
    const std::string& script = r.scripts[0];
    ASSERT_GE(script.size(), 10u);
    EXPECT_EQ(script.substr(0, 7), "alert('");
    EXPECT_EQ(script.substr(script.size() - 3), "');");
    const std::string inside = script.substr(7, script.size() - 10);
    // Quotes become double quotes; line breaks arrive as escapes.
    EXPECT_EQ(inside.find_first_of("'\r\n\t"), std::string::npos) << inside;
    ASSERT_EQ(r.alerts.size(), 1u);
    for (const char* name : {"undeclared0", "undeclared1", "undeclared2"})
        EXPECT_NE(r.alerts[0].find(name), std::string::npos) << name;
    EXPECT_NE(r.alerts[0].find('\n'), std::string::npos);
    EXPECT_NE(r.alerts[0].find('"'), std::string::npos);
    EXPECT_EQ(s.liveMemHandles(), 0);
    ASSERT_EQ(s.finish(), PF_Err_NONE);
    EXPECT_EQ(problems(s), "");
}

// No alert in Premiere, and none when the host cannot run scripts: the
// dialog still answers no error and leaves no memory handle or suite behind.
TEST(Alert, PremiereAndFailingHostsShowNothing)
{
    enum Case { Premiere, ScriptError, NoUtilitySuite };
    for (Case c : {Premiere, ScriptError, NoUtilitySuite}) {
        SCOPED_TRACE(c);
        const HostMode mode = c == Premiere ? HostMode::Premiere : HostMode::AfterEffects;
        Effect fx(brokenEffect(1), mode);
        Session& s = fx.session;
        ASSERT_EQ(s.start(), PF_Err_NONE);
        s.faults().scriptError = c == ScriptError ? A_Err_GENERIC : A_Err_NONE;
        if (c == NoUtilitySuite)
            s.faults().missingSuites.insert(kAEGPUtilitySuite);
        World in = worldFor(mode, 4, 4), out = worldFor(mode, 4, 4);
        s.render(in, out);
        EXPECT_EQ(s.doDialog(), PF_Err_NONE);
        const glfxhost::Records& r = s.records();
        EXPECT_EQ(r.scripts.size(), c == ScriptError ? 1u : 0u);
        EXPECT_TRUE(r.alerts.empty());
        EXPECT_EQ(s.liveMemHandles(), 0);
        for (const auto& a : r.suiteAcquires)
            EXPECT_EQ(r.suiteReleases.count(a.first) ? r.suiteReleases.at(a.first) : 0, a.second) << a.first;
        ASSERT_EQ(s.finish(), PF_Err_NONE);
    }
}

} // namespace
