// What the video benchmarks share: a scratch folder holding a 10 s 1080p
// 30 fps 8-bit H.264 clip made from ffmpeg's test source, and a one-pass
// gain effect, with the glfx command built beside the benchmarks. Removed
// with the workspace.
#pragma once

#include <cstdlib>
#include <fstream>
#include <string>

#include <stdlib.h>

namespace benchsupport {

inline const char* const kGainEffect =
    "[settings]\nname=Gain\ninterp=0\n[par1]\nparam=gain\ntype=float\nmin=0\nmax=4\ndefault=1.2\n"
    "[ps0]\nuniform sampler2D in0;\nuniform float gain;\n"
    "void main() { vec4 c = texture2D(in0, gl_TexCoord[0].st); gl_FragColor = vec4(c.rgb * gain, "
    "c.a); }\n";

struct GainWorkspace {
    std::string dir;
    std::string clip; // 10 s, 1920x1080, 30 fps, 8-bit H.264
    std::string fx;   // the gain effect
    std::string glfx; // the command
    bool clipMade = false;

    explicit GainWorkspace(const std::string& name)
    {
        std::string tmpl = "/tmp/glfx-" + name + "-XXXXXX";
        dir = mkdtemp(tmpl.data());
        clip = dir + "/clip.mp4";
        fx = dir + "/gain.glfx";
        glfx = std::string(GLFX_BINARY_DIR) + "/glfx";
        std::ofstream(fx) << kGainEffect;
        clipMade = sh("ffmpeg -v error -y -f lavfi -i testsrc2=s=1920x1080:r=30:d=10 -c:v libx264 -crf 18 "
                      "-pix_fmt yuv420p -colorspace bt709 '" +
                      clip + "'") == 0;
    }
    ~GainWorkspace() { sh("rm -rf '" + dir + "'"); }
    GainWorkspace(const GainWorkspace&) = delete;
    GainWorkspace& operator=(const GainWorkspace&) = delete;

    static int sh(const std::string& cmd) { return std::system(cmd.c_str()); }
};

} // namespace benchsupport
