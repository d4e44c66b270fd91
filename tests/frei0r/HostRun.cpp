#include "HostRun.h"

#include <gtest/gtest.h>

#include <sys/wait.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>

namespace frei0rtest {

using clitest::q;

Shell sh(const std::string& dir, const std::string& cmd)
{
    Shell r;
    const std::string full = "FREI0R_PATH=" + q(dir) + " " + cmd + " 2>&1";
    if (FILE* pipe = popen(full.c_str(), "r")) {
        char buf[4096];
        for (size_t n; (n = fread(buf, 1, sizeof buf, pipe)) > 0;)
            r.output.append(buf, n);
        const int st = pclose(pipe);
        r.status = WIFEXITED(st) ? WEXITSTATUS(st) : -1;
    }
    return r;
}

bool have(const std::string& tool)
{
    return std::system(("command -v " + tool + " >/dev/null 2>&1").c_str()) == 0;
}

std::string meltProfile(const std::string& dir, int width, int height)
{
    std::ofstream(dir + "/profile") << "description=test\nframe_rate_num=5\nframe_rate_den=1\nwidth=" << width
                                    << "\nheight=" << height
                                    << "\nprogressive=1\nsample_aspect_num=1\nsample_aspect_den=1\n"
                                       "display_aspect_num="
                                    << width << "\ndisplay_aspect_den=" << height << "\ncolorspace=709\n";
    return q(dir + "/profile");
}

std::string meltImage(const std::string& path) { return "pixbuf:" + q(path); }

void expectSame(const clitest::Pixels& got, const clitest::Pixels& want)
{
    ASSERT_EQ(got.width, want.width);
    ASSERT_EQ(got.height, want.height);
    ASSERT_GE(got.channels, 3);
    ASSERT_GE(want.channels, 3);
    int bad = 0;
    for (int y = 0; y < want.height; ++y)
        for (int x = 0; x < want.width; ++x)
            for (int c = 0; c < 3; ++c)
                if (got.at(x, y, c) != want.at(x, y, c) && ++bad <= 5)
                    ADD_FAILURE() << "pixel " << x << "," << y << " channel " << c << ": "
                                  << got.at(x, y, c) * 255 << " against " << want.at(x, y, c) * 255;
    EXPECT_EQ(bad, 0);
}

int occurrences(const std::string& text, const std::string& needle)
{
    int n = 0;
    for (size_t at = text.find(needle); at != std::string::npos; at = text.find(needle, at + needle.size()))
        ++n;
    return n;
}

} // namespace frei0rtest
