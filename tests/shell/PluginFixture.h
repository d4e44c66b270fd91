// The product's plug-in driven through the reference host, for the shell,
// render and host tests: one session of a small effect text in one host mode.
#pragma once

#include "host/Host.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace plugintest {

using glfxhost::HostMode;
using glfxhost::Plugin;
using glfxhost::Session;
using glfxhost::World;

inline const HostMode kModes[] = {HostMode::AfterEffects, HostMode::Premiere};

// One effect instance: the plug-in with `text` as its description, in `mode`.
struct Effect {
    Effect(const std::string& text, HostMode mode = HostMode::AfterEffects)
        : plugin(GLFX_PLUGIN_PATH), session((plugin.setEffectText(text), plugin), mode)
    {}
    Plugin plugin;
    Session session;
};

// The host's world for a frame: Premiere takes 8-bit BGRA only.
inline World worldFor(HostMode mode, int w, int h, int depth = 8)
{
    return World(w, h, depth, mode == HostMode::Premiere);
}

// One pixel of a world, within one 8-bit step.
inline void expectPixel(const World& w, int x, int y, const float (&want)[4])
{
    float got[4];
    w.getPixel(x, y, got);
    for (int k = 0; k < 4; ++k)
        EXPECT_NEAR(got[k], want[k], 1.0f / 255.0f) << "channel " << k << " at " << x << "," << y;
}

// Every misuse of a host callback the session saw, one a line.
inline std::string problems(const Session& s)
{
    std::string all;
    for (const std::string& p : s.records().problems)
        all += p + "\n";
    return all;
}

// The commands sent so far, by name.
inline std::vector<std::string> commandNames(const Session& s)
{
    std::vector<std::string> names;
    for (const glfxhost::CommandRecord& c : s.records().commands)
        names.push_back(glfxhost::commandName(c.cmd));
    return names;
}

} // namespace plugintest
